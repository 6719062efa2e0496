#pragma once

#include <QtCore/qglobal.h>

#if defined(VORABOX_BUILD)
#define VORABOX_EXPORT Q_DECL_EXPORT
#else
#define VORABOX_EXPORT Q_DECL_IMPORT
#endif

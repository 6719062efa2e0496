#pragma once

#include <QtCore/qglobal.h>

#if defined(VORACONFIG_BUILD)
#define VORACONFIG_EXPORT Q_DECL_EXPORT
#else
#define VORACONFIG_EXPORT Q_DECL_IMPORT
#endif

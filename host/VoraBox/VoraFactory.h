#pragma once

#include "VoraBoxExport.h"

#include <QObject>
#include <QVariantMap>

// The interface identifier under which a plug-in offers a VoraFactory. It is
// written into the plug-in's metadata, and the host refuses a plug-in whose
// identifier differs.
#define VoraFactory_iid "com.vorascan.hostsdk.v1.CommonLib.VoraQFactory"

namespace CommonLib {

// The factory that a host plug-in returns from qt_plugin_instance(). Its one
// virtual function after QObject's makes the plug-in's objects; the caller
// owns what it gets.
class VORABOX_EXPORT VoraFactory : public QObject
{
    Q_OBJECT

public:
    explicit VoraFactory(QObject *parent = nullptr);
    ~VoraFactory() override;

    virtual QObject *createObject(const QString &name, const QVariantMap &params) = 0;
};

} // namespace CommonLib

// A plug-in with the right interface whose factory makes nothing.
#include <VoraFactory.h>

#include <QtPlugin>

class NullFactoryPlugin : public CommonLib::VoraFactory
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID VoraFactory_iid)

public:
    QObject *createObject(const QString &, const QVariantMap &) override { return nullptr; }
};

#include "NullFactoryPlugin.moc"

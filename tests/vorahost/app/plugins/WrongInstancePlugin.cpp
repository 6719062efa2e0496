// A plug-in that claims the host's factory interface but whose instance is
// no factory.
#include <VoraFactory.h>

#include <QtPlugin>

class WrongInstancePlugin : public QObject
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID VoraFactory_iid)
};

#include "WrongInstancePlugin.moc"

// A well-formed Qt plug-in for some other host: vorahost must refuse it by
// its interface identifier, before its instance is made.
#include <QObject>
#include <QtPlugin>

class ForeignPlugin : public QObject
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "org.example.OtherHost.Factory")
};

#include "ForeignPlugin.moc"

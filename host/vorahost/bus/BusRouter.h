#pragma once

#include <QHash>
#include <QObject>
#include <QPair>
#include <QPointer>
#include <QString>
#include <QVariantMap>

#include <functional>

namespace CommonLib {
class VoraBox;
class VoraQObject;
struct VoraBusMessage;
} // namespace CommonLib

// The host's side of the bus. Messages from the host (its main window, a
// script, its own modules' answers) go to the plug-in's controller; messages
// the plug-in or one of its pages publishes go to the handler that the table
// names for their route, which the host's modules fill (HostModules). A
// message without a handler is dropped with a debug line. docs/protocol.md
// lists the commands.
class BusRouter : public QObject
{
    Q_OBJECT

public:
    // Where a message goes: its command and, for a "query", the service its
    // "target" asks (empty for every other command).
    using Route = QPair<QString, QString>;
    // unstoredWrites: the plug-in's writes that had not reached the database
    // when it published (0 from a page).
    using Handler = std::function<void(const QVariantMap &param, int unstoredWrites)>;
    using Table = QHash<Route, Handler>;

    static Route routeOf(const QVariantMap &param);

    explicit BusRouter(CommonLib::VoraBox *box, QObject *parent = nullptr);
    ~BusRouter() override;

    void setPlugin(CommonLib::VoraQObject *controller);
    void setHandlers(Table handlers);

    // A message from the host to the plug-in's controller.
    void deliverToPlugin(const QVariantMap &param);
    // A message from the host to the pages.
    void deliverToPages(const QVariantMap &param);
    // A message that a page published (through "$app").
    void publishFromPage(const QVariantMap &param);

signals:
    // Every message in the order it travels: from "host", "plugin" or "page".
    void messageRouted(const QString &from, const QVariantMap &param);
    // A host message for the pages; "$app" hands it to their onSubscribeData.
    void pageDelivery(const QVariantMap &param);

private:
    void onBoxPublished(const CommonLib::VoraBusMessage &message);
    void dispatch(const QVariantMap &param, int unstoredWrites);

    CommonLib::VoraBox *m_box;
    QPointer<CommonLib::VoraQObject> m_plugin;
    Table m_handlers;
};

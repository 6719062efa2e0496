#include "AppStandIn.h"

#include <QJSValue>
#include <QMetaMethod>
#include <QMutex>

namespace {

QStringList &logLines()
{
    static QStringList lines;
    return lines;
}

QMutex &logMutex()
{
    static QMutex mutex;
    return mutex;
}

QtMessageHandler previousHandler = nullptr;

void recordMessage(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    {
        QMutexLocker lock(&logMutex());
        logLines().append(message);
    }
    if (previousHandler)
        previousHandler(type, context, message);
}

QVariant plain(const QVariant &value)
{
    if (value.userType() == qMetaTypeId<QJSValue>())
        return value.value<QJSValue>().toVariant();
    return value;
}

} // namespace

AppStandIn::AppStandIn(QObject *parent) : QObject(parent)
{ }

AppStandIn::~AppStandIn() = default;

void AppStandIn::installLogRecorder()
{
    // The test logger installs its own handler when a test run starts, so
    // this is called again from clearLogs() and keeps that handler as the
    // one lines are passed on to.
    const QtMessageHandler current = qInstallMessageHandler(recordMessage);
    if (current != recordMessage)
        previousHandler = current;
}

void AppStandIn::init(QObject *root)
{
    if (m_root)
        disconnect(m_root, nullptr, this, nullptr);
    m_root = root;
    ++m_initCount;
    if (root) {
        const QMetaObject *meta = root->metaObject();
        const int signal = meta->indexOfSignal("publish(QString,QString,QString,QVariant,bool)");
        const QMetaMethod slot = metaObject()->method(
                metaObject()->indexOfSlot("onPagePublish(QString,QString,QString,QVariant,bool)"));
        if (signal >= 0)
            connect(root, meta->method(signal), this, slot);
    }
    emit changed();
}

QVariantList AppStandIn::params() const
{
    QVariantList result;
    for (const QVariant &entry : m_published)
        result.append(entry.toMap().value(QStringLiteral("param")));
    return result;
}

void AppStandIn::clear()
{
    m_published.clear();
    emit changed();
}

void AppStandIn::deliver(const QVariantMap &param)
{
    if (!m_root)
        return;
    QMetaObject::invokeMethod(m_root, "onSubscribeData", Q_ARG(QVariant, QString()),
                              Q_ARG(QVariant, QString()), Q_ARG(QVariant, QString()),
                              Q_ARG(QVariant, QVariant(param)));
}

void AppStandIn::respond(const QString &text)
{
    deliver({{QStringLiteral("cmd"), QStringLiteral("dataBaseResponseCmd")},
             {QStringLiteral("dataBaseResponse"), text}});
}

QStringList AppStandIn::logs() const
{
    QMutexLocker lock(&logMutex());
    return logLines();
}

void AppStandIn::clearLogs()
{
    installLogRecorder();
    QMutexLocker lock(&logMutex());
    logLines().clear();
}

bool AppStandIn::logged(const QString &line) const
{
    return logs().contains(line);
}

void AppStandIn::onPagePublish(const QString &topic, const QString &type, const QString &cmd,
                               const QVariant &param, bool bSync)
{
    m_published.append(QVariantMap{{QStringLiteral("topic"), topic},
                                   {QStringLiteral("type"), type},
                                   {QStringLiteral("cmd"), cmd},
                                   {QStringLiteral("param"), plain(param)},
                                   {QStringLiteral("bSync"), bSync}});
    emit changed();
}

#include "PageBridge.h"

#include "BusJson.h"
#include "HostLogging.h"

#include <QMetaMethod>

PageBridge::PageBridge(QObject *parent) : QObject(parent)
{ }

PageBridge::~PageBridge() = default;

void PageBridge::init(QObject *root)
{
    if (!root) {
        qCWarning(lcHostPage, "$app.init called without a root item; ignored");
        return;
    }
    m_roots.removeAll(nullptr);
    for (const auto &known : qAsConst(m_roots)) {
        if (known == root)
            return;
    }
    const QMetaObject *meta = root->metaObject();
    const int signal = meta->indexOfSignal("publish(QString,QString,QString,QVariant,bool)");
    if (signal < 0) {
        qCWarning(lcHostPage,
                  "page %s has no signal publish(string, string, string, variant, bool); "
                  "its messages will not reach the bus",
                  meta->className());
    } else {
        const QMetaMethod slot = metaObject()->method(
                metaObject()->indexOfSlot("onPagePublish(QString,QString,QString,QVariant,bool)"));
        connect(root, meta->method(signal), this, slot);
    }
    if (meta->indexOfMethod("onSubscribeData(QVariant,QVariant,QVariant,QVariant)") < 0)
        qCWarning(lcHostPage,
                  "page %s has no function onSubscribeData(topic, type, cmd, param); "
                  "it will not hear the bus",
                  meta->className());
    m_roots.append(root);
    qCDebug(lcHostPage, "page %s joined the bus", meta->className());
}

void PageBridge::deliverToPages(const QVariantMap &param)
{
    // A page may close while it handles a message: walk a copy.
    const auto roots = m_roots;
    for (const QPointer<QObject> &root : roots) {
        if (!root)
            continue;
        QMetaObject::invokeMethod(root, "onSubscribeData", Q_ARG(QVariant, QString()),
                                  Q_ARG(QVariant, QString()), Q_ARG(QVariant, QString()),
                                  Q_ARG(QVariant, QVariant(param)));
    }
}

int PageBridge::pageCount() const
{
    int count = 0;
    for (const auto &root : m_roots)
        count += root ? 1 : 0;
    return count;
}

void PageBridge::onPagePublish(const QString &topic, const QString &type, const QString &cmd,
                              const QVariant &param, bool bSync)
{
    Q_UNUSED(topic)
    Q_UNUSED(type)
    Q_UNUSED(cmd)
    Q_UNUSED(bSync)
    const QVariant map = BusJson::plain(param);
    if (map.userType() != QMetaType::QVariantMap) {
        qCWarning(lcHostPage, "a page published a %s instead of a parameter map; dropped",
                  map.typeName() ? map.typeName() : "nothing");
        return;
    }
    emit pagePublished(map.toMap());
}

#include "ConfigEditorController.h"

#include <QCoreApplication>
#include <QEvent>
#include <QPointer>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickView>
#include <QUrl>

ConfigEditorController::ConfigEditorController(QObject *parent) : QObject(parent)
{
    showView();
}

ConfigEditorController::~ConfigEditorController()
{
    if (!m_view)
        return;
    m_view->hide();
    if (m_inCloseEvent) {
        // We are inside the view's own close event (the user closed the
        // window by its frame): the toolkit still hands the event to the view
        // after the filter returns, so only the freeing waits for the event
        // loop. The window is already hidden and no longer ours.
        m_view->deleteLater();
    } else {
        delete m_view;
    }
    m_view = nullptr;
}

void ConfigEditorController::showView()
{
    if (m_view)
        return;

    QQmlEngine *engine = qvariant_cast<QQmlEngine *>(
            QCoreApplication::instance()->property("__vora_MainQmlEngine__"));
    if (engine)
        m_view = new QQuickView(engine, nullptr);
    else
        m_view = new QQuickView(static_cast<QWindow *>(nullptr));
    engine = m_view->engine();

    m_view->installEventFilter(this);
    m_view->setTitle(QStringLiteral("配置工具"));
    engine->rootContext()->setContextProperty(QStringLiteral("$configEditorController"), this);
    m_view->setResizeMode(QQuickView::SizeRootObjectToView);
    m_view->setSource(QUrl(QStringLiteral("qrc:/ConfigEditor/views/VoraTableView.qml"), QUrl::TolerantMode));
    m_view->show();
}

void ConfigEditorController::onSubscribeData(const QString &topic, const QString &type,
                                             const QString &event, const QVariantMap &param,
                                             const QString &module)
{
    // The page talks to the bus through the host's "$app"; nothing here.
    Q_UNUSED(topic)
    Q_UNUSED(type)
    Q_UNUSED(event)
    Q_UNUSED(param)
    Q_UNUSED(module)
}

bool ConfigEditorController::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_view && event->type() == QEvent::Close) {
        QPointer<ConfigEditorController> self(this);
        m_inCloseEvent = true;
        // Runs the owner's "showConfigEditor" handler synchronously, which
        // deletes this object: nothing of it may be touched afterwards unless
        // it is still alive.
        emit publish(QVariantMap{{QStringLiteral("cmd"), QStringLiteral("showConfigEditor")},
                                 {QStringLiteral("visible"), false}});
        if (!self)
            return false; // what QObject::eventFilter answers, without a freed this
        m_inCloseEvent = false;
    }
    return QObject::eventFilter(watched, event);
}

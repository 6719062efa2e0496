#pragma once

#include <QObject>
#include <QVariantMap>

class QEvent;
class QQuickView;

// The configuration editor while it is wanted: its construction opens the
// window, its destruction closes it. The page talks to the host's database
// service over the bus by itself; this object carries no editor logic.
class ConfigEditorController : public QObject
{
    Q_OBJECT

public:
    explicit ConfigEditorController(QObject *parent = nullptr);
    ~ConfigEditorController() override;

    void showView();
    void onSubscribeData(const QString &topic, const QString &type, const QString &event,
                         const QVariantMap &param, const QString &module);

    bool eventFilter(QObject *watched, QEvent *event) override;

signals:
    void publish(const QVariantMap &param);

private:
    QQuickView *m_view = nullptr;
    // True while the view's close event is being delivered to the filter:
    // the destructor may run inside it and must then not free the view
    // under the toolkit's feet.
    bool m_inCloseEvent = false;
};

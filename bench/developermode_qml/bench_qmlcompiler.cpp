// The developer-mode page compiled into the program as QML text (rcc) or
// ahead of time by the Qt Quick Compiler, built once each way from the same
// resource file. Measures, on a fresh shared engine per round, the page's
// creation alone and its window from show to first frame, first open and
// reopen. A stand-in controller holds a full settings map, so the two builds
// differ in nothing but the compilation.
//
//   bench_qmlcompiler_rcc [ROUNDS]     (also with QML_DISABLE_DISK_CACHE=1)
//   bench_qmlcompiler_qmlc [ROUNDS]

#include "FirstFrame.h"

#include <QColor>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickView>
#include <QQuickWindow>

#include <cstdio>
#include <memory>

class Controller : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QVariantMap config READ config NOTIFY configChanged FINAL)

public:
    Controller()
    {
        const char *switches[] = {"enableScanDistanceValue",
                                  "enableSecondCameraWindow",
                                  "enableSaveReadImage",
                                  "enableReadCaliImage",
                                  "enableSaveCaliImage",
                                  "enableReadScanImage",
                                  "enableSaveScanImage",
                                  "enableSaveScanImage_GrayPic",
                                  "enableSaveScanImage_ColorPic",
                                  "enablePseudoColor",
                                  "enableWatermark"};
        for (const char *key : switches)
            m_config.insert(QLatin1String(key), true);
        for (int n = 1; n <= 6; ++n) {
            m_config.insert(QStringLiteral("pseudo_color_section_%1").arg(n), n * 10);
            m_config.insert(QStringLiteral("pseudo_color_bound_%1").arg(n), QColor(Qt::red));
        }
        m_config.insert(QStringLiteral("rollbackFrame"), 5);
    }

    const QVariantMap &config() const { return m_config; }
    Q_INVOKABLE void updateValue(const QString &, const QVariant &) { }
    Q_INVOKABLE void quitDeveloperMode() { }

signals:
    void configChanged();

private:
    QVariantMap m_config;
};

int main(int argc, char *argv[])
{
    QGuiApplication app(argc, argv);
    const int rounds = argc > 1 ? qMax(1, QByteArray(argv[1]).toInt()) : 15;
    const QUrl page(QStringLiteral("qrc:/DeveloperMode/views/DeveloperModeView.qml"));
    Controller controller;

    std::vector<double> create, first, reopen;
    for (int round = 0; round < rounds; ++round) {
        // Creation alone, on an engine of its own.
        {
            QQmlEngine engine;
            engine.rootContext()->setContextProperty(QStringLiteral("$developerModeController"), &controller);
            QElapsedTimer timer;
            timer.start();
            QQmlComponent component(&engine, page);
            std::unique_ptr<QObject> object(component.create());
            create.push_back(timer.nsecsElapsed() / 1e6);
            if (!object) {
                std::fprintf(stderr, "bench: %s\n", qPrintable(component.errorString()));
                return 1;
            }
        }
        QQmlEngine engine;
        engine.rootContext()->setContextProperty(QStringLiteral("$developerModeController"), &controller);
        std::unique_ptr<QQuickView> view;
        auto open = [&] {
            return FirstFrame::measure([&] {
                view = std::make_unique<QQuickView>(&engine, nullptr);
                view->setResizeMode(QQuickView::SizeRootObjectToView);
                view->setSource(page);
                view->show();
                return view.get();
            });
        };
        first.push_back(open());
        FirstFrame::close(view.get());
        view.reset();
        reopen.push_back(open());
        FirstFrame::close(view.get());
        view.reset();
    }

    std::printf("developer-mode page, %s (%d rounds, platform %s, disk cache %s)\n",
                qPrintable(QCoreApplication::applicationName()), rounds,
                qPrintable(QGuiApplication::platformName()),
                qEnvironmentVariableIsSet("QML_DISABLE_DISK_CACHE") ? "off" : "on");
    std::printf("  create on a fresh engine  median %8.2f ms\n", FirstFrame::median(create));
    std::printf("  first open to frame       median %8.2f ms\n", FirstFrame::median(first));
    std::printf("  reopen to frame           median %8.2f ms\n", FirstFrame::median(reopen));
    return 0;
}

#include "bench_qmlcompiler.moc"

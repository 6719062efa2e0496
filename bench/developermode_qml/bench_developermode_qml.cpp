// From delivering "showDeveloperModeView" to the window's first frame, on a
// host engine shared with the rest of the application, against an empty page
// opened the same way on the same engine in the same run.
//
// Each round takes a fresh engine, so "first" pays for resolving the imports
// and compiling the page on that engine; "reopen" follows a close, when the
// engine already holds the compiled components. The developer-mode page and
// the empty page take turns at going first on each engine, so that neither
// always pays for loading the Qt Quick Controls style alone. Windows are
// drawn as vorahost draws them (its render loop choice) while a stand-in of
// the host's main window stays open, as the real one does.
//
//   bench_developermode_qml [ROUNDS]
//   QSG_RENDER_LOOP=threaded bench_developermode_qml     Qt's threaded loop
//
// Run it under xvfb-run with QT_QPA_PLATFORM=xcb, or with
// QT_QPA_PLATFORM=offscreen QT_QUICK_BACKEND=software.

#include "FirstFrame.h"
#include "PluginHarness.h"
#include "RenderLoop.h"

#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickView>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QTextStream>

#include <cstdio>
#include <memory>

namespace {

const QString WindowTitle = QStringLiteral("开发者模式");

QQuickView *developerModeWindow()
{
    const auto windows = QGuiApplication::topLevelWindows();
    for (QWindow *window : windows) {
        auto *view = qobject_cast<QQuickView *>(window);
        if (view && view->title() == WindowTitle)
            return view;
    }
    return nullptr;
}

bool enter(VoraTest::Controller &controller)
{
    const QVariantMap enable{{QStringLiteral("cmd"), QStringLiteral("enableDeveloperMode")},
                             {QStringLiteral("enabled"), true}};
    return QTest::qWaitFor(
                   [&] {
                       if (!controller.child("DeveloperModeController"))
                           controller.deliver(enable);
                       return controller.child("DeveloperModeController") != nullptr;
                   },
                   2000)
            // The settings arrive a second later; the page shows them.
            && QTest::qWaitFor(
                    [&] {
                        const auto published = controller.published();
                        for (const QVariantMap &param : published) {
                            if (param.value(QStringLiteral("changedKey")) == QLatin1String("all"))
                                return true;
                        }
                        return false;
                    },
                    5000);
}

} // namespace

int main(int argc, char *argv[])
{
    QGuiApplication app(argc, argv);
    const int rounds = argc > 1 ? qMax(1, QByteArray(argv[1]).toInt()) : 15;
    // Drawn as vorahost draws (QSG_RENDER_LOOP=threaded gives Qt's own loop
    // back), and with a window open all along, as the host's main window is.
    RenderLoop::choose();
    const QByteArray renderLoop = qEnvironmentVariableIsSet("QSG_RENDER_LOOP") ? qgetenv("QSG_RENDER_LOOP")
                                                                               : QByteArray("Qt's default");
    QQuickView hostWindow;

    QTemporaryDir dir;
    if (!dir.isValid()) {
        std::fprintf(stderr, "bench: no temporary folder: %s\n", qPrintable(dir.errorString()));
        return 1;
    }
    // The same imports as the developer-mode page, and nothing on it.
    const QString emptyPage = dir.filePath(QStringLiteral("EmptyPage.qml"));
    {
        QFile file(emptyPage);
        if (!file.open(QIODevice::WriteOnly)) {
            std::fprintf(stderr, "bench: %s: %s\n", qPrintable(emptyPage), qPrintable(file.errorString()));
            return 1;
        }
        file.write("import QtQml 2.15\nimport QtQuick 2.15\nimport QtQuick.Controls 2.15\n"
                   "import QtQuick.Layouts 1.15\n"
                   "Page { width: 600; height: 400; background: Rectangle { color: \"#434349\" } }\n");
    }

    VoraTest::TempDatabase db(
            VoraTest::TempDatabase::tableSql({QStringLiteral("config"), QStringLiteral("ui"),
                                              QStringLiteral("calibration"), QStringLiteral("scan")}));
    VoraTest::Controller controller;
    if (!db.isValid() || !controller.isValid() || !enter(controller)) {
        std::fprintf(stderr, "bench: cannot enter the developer mode: %s\n",
                     qPrintable(controller.errorString()));
        return 1;
    }
    {
        QQmlComponent main(hostWindow.engine());
        main.setData("import QtQuick 2.15\nRectangle { width: 400; height: 100; color: \"#f4f4f4\"\n"
                     "    Text { x: 12; y: 12; text: \"vorahost\"; font.pixelSize: 20 } }\n",
                     QUrl());
        hostWindow.setContent(QUrl(), &main, main.create());
        hostWindow.show();
        if (!QTest::qWaitForWindowExposed(&hostWindow)) {
            std::fprintf(stderr, "bench: the stand-in main window was never shown\n");
            return 1;
        }
    }
    const QVariantMap show{{QStringLiteral("module"), QStringLiteral("DeveloperMode")},
                           {QStringLiteral("cmd"), QStringLiteral("showDeveloperModeView")}};

    std::vector<double> devFirst, devReopen, emptyFirst, emptyReopen, devMade, emptyMade;
    for (int round = 0; round < rounds; ++round) {
        auto engine = std::make_unique<QQmlEngine>();
        qApp->setProperty("__vora_MainQmlEngine__", QVariant::fromValue(engine.get()));

        // The part before the first frame (the page made, the window shown)
        // is noted for reopening, where the engine already knows the types.
        double made = 0;
        auto openDeveloperMode = [&] {
            return FirstFrame::measure(
                    [&] {
                        controller.deliver(show);
                        return developerModeWindow();
                    },
                    &made);
        };
        std::unique_ptr<QQuickView> emptyView;
        auto openEmpty = [&] {
            return FirstFrame::measure(
                    [&] {
                        emptyView = std::make_unique<QQuickView>(engine.get(), nullptr);
                        emptyView->setResizeMode(QQuickView::SizeRootObjectToView);
                        emptyView->setSource(QUrl::fromLocalFile(emptyPage));
                        emptyView->show();
                        return emptyView.get();
                    },
                    &made);
        };
        auto closeEmpty = [&] {
            FirstFrame::close(emptyView.get());
            emptyView.reset();
        };
        auto run = [&](bool developerMode, std::vector<double> &first, std::vector<double> &reopen) {
            if (developerMode) {
                first.push_back(openDeveloperMode());
                FirstFrame::close(developerModeWindow());
                reopen.push_back(openDeveloperMode());
                devMade.push_back(made);
                FirstFrame::close(developerModeWindow());
            } else {
                first.push_back(openEmpty());
                closeEmpty();
                reopen.push_back(openEmpty());
                emptyMade.push_back(made);
                closeEmpty();
            }
        };
        const bool developerModeFirst = round % 2 == 0;
        run(developerModeFirst, developerModeFirst ? devFirst : emptyFirst,
            developerModeFirst ? devReopen : emptyReopen);
        run(!developerModeFirst, developerModeFirst ? emptyFirst : devFirst,
            developerModeFirst ? emptyReopen : devReopen);

        qApp->setProperty("__vora_MainQmlEngine__", QVariant());
        engine.reset();
    }

    for (const auto *series : {&devFirst, &devReopen, &emptyFirst, &emptyReopen}) {
        if (std::find(series->begin(), series->end(), -1.0) != series->end()) {
            std::fprintf(stderr, "bench: a window never drew a frame\n");
            return 1;
        }
    }
    const double df = FirstFrame::median(devFirst), dr = FirstFrame::median(devReopen);
    const double ef = FirstFrame::median(emptyFirst), er = FirstFrame::median(emptyReopen);
    std::printf("developer-mode window, show to first frame, shared engine (%d rounds, platform %s, %s, "
                "render loop %s)\n",
                rounds, qPrintable(QGuiApplication::platformName()),
                QQuickWindow::sceneGraphBackend().isEmpty() ? "OpenGL scene graph"
                                                            : qPrintable(QQuickWindow::sceneGraphBackend()),
                renderLoop.constData());
    std::printf("  first open   median %8.2f ms   empty page %8.2f ms   ratio %5.2f\n", df, ef, df / ef);
    std::printf("  reopen       median %8.2f ms   empty page %8.2f ms   ratio %5.2f\n", dr, er, dr / er);
    std::printf("  reopen / first open: developer mode %.2f, empty page %.2f\n", dr / df, er / ef);
    const double dm = FirstFrame::median(devMade), em = FirstFrame::median(emptyMade);
    std::printf("  reopen, page made and window shown  %6.2f ms   empty page %6.2f ms; the rest is the "
                "first frame (%.2f ms, %.2f ms)\n",
                dm, em, dr - dm, er - em);
    return 0;
}

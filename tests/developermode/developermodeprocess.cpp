// A stand-in host process for the crash test: it loads the real plug-in,
// prints every bus message as one JSON line {"bus": {...}} and its own
// progress as {"state": ...}, and is driven by the test through its
// arguments and standard input.
//
//   developermodeprocess enter DBFILE
//       switches the developer mode on, changes settings, answers the
//       "rollbackFrame" question, prints {"state": "ready"} and waits to be
//       killed.
//   developermodeprocess resume DBFILE
//       does nothing itself: waits until the controller has switched the
//       developer mode back on from the stored flag, prints
//       {"state": "resumed"}, then on the line "quit" presses the page's exit
//       button, prints {"state": "left"} and exits.

#include "PluginHarness.h"

#include <QColor>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSocketNotifier>
#include <QTimer>

#include <cstdio>
#include <unistd.h>

namespace {

void printLine(const QJsonObject &object)
{
    const QByteArray line = QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
    std::fwrite(line.constData(), 1, size_t(line.size()), stdout);
    std::fflush(stdout);
}

void printState(const char *state)
{
    printLine(QJsonObject{{QStringLiteral("state"), QString::fromLatin1(state)}});
}

bool isFullAnnouncement(const QVariantMap &param)
{
    return param.value(QStringLiteral("cmd")).toString() == QLatin1String("developerModeSettingChanged")
            && param.value(QStringLiteral("changedKey")).toString() == QLatin1String("all");
}

} // namespace

int main(int argc, char *argv[])
{
    QGuiApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() != 3 || (args.at(1) != QLatin1String("enter") && args.at(1) != QLatin1String("resume"))) {
        std::fprintf(stderr, "usage: developermodeprocess enter|resume DBFILE\n");
        return 2;
    }
    const bool enter = args.at(1) == QLatin1String("enter");
    VoraConfigSQLite::setDatabaseFileOverride(args.at(2));

    VoraTest::Controller controller;
    if (!controller.isValid()) {
        std::fprintf(stderr, "cannot load the plug-in: %s\n", qPrintable(controller.errorString()));
        return 1;
    }
    auto devMode = [&] { return controller.child("DeveloperModeController"); };

    QObject::connect(
            &controller.box(), &CommonLib::VoraBox::messagePublished, &app,
            [&](const CommonLib::VoraBusMessage &message) {
                printLine(QJsonObject{{QStringLiteral("bus"), QJsonObject::fromVariantMap(message.param)}});
                if (!isFullAnnouncement(message.param) || !devMode())
                    return;
                // Let the announcement finish before acting on it.
                QTimer::singleShot(0, &app, [&, enter] {
                    if (!enter) {
                        printState("resumed");
                        return;
                    }
                    QObject *controllerObject = devMode();
                    const QList<QPair<QString, QVariant>> changes = {
                            {QStringLiteral("enableReadCaliImage"), false},
                            {QStringLiteral("enableSaveScanImage"), false},
                            {QStringLiteral("enableSaveScanImage_GrayPic"), true},
                            {QStringLiteral("enableSecondCameraWindow"), false},
                            {QStringLiteral("pseudo_color_bound_1"), QColor(10, 20, 30)},
                            {QStringLiteral("pseudo_color_section_2"), 99},
                            {QStringLiteral("enableWatermark"), false},
                            {QStringLiteral("enablePseudoColor"), false}};
                    for (const auto &change : changes)
                        QMetaObject::invokeMethod(controllerObject, "updateValue",
                                                  Q_ARG(QString, change.first),
                                                  Q_ARG(QVariant, change.second));
                    controller.deliver(
                            {{QStringLiteral("cmd"), QStringLiteral("developerModeQuerySettingResp")},
                             {QStringLiteral("module"), QStringLiteral("DeveloperMode")},
                             {QStringLiteral("key"), QStringLiteral("rollbackFrame")},
                             {QStringLiteral("value"), 4}});
                    printState("ready");
                });
            });

    if (enter) {
        // The command is the controller's own only after its start-up; until
        // then it is handed on and lost, so it is repeated until it takes.
        QTimer poll;
        QObject::connect(&poll, &QTimer::timeout, &app, [&] {
            if (devMode()) {
                poll.stop();
                return;
            }
            controller.deliver({{QStringLiteral("cmd"), QStringLiteral("enableDeveloperMode")},
                                {QStringLiteral("enabled"), true}});
        });
        poll.start(20);
        return app.exec();
    }

    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, &app, [&] {
        char line[64] = {};
        if (!std::fgets(line, sizeof line, stdin) || qstrcmp(line, "quit\n") != 0) {
            input.setEnabled(false);
            app.exit(3);
            return;
        }
        if (QObject *controllerObject = devMode())
            QMetaObject::invokeMethod(controllerObject, "quitDeveloperMode");
        printState("left");
        app.quit();
    });
    return app.exec();
}

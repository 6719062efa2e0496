// vorahost with the plug-in against the same host without it:
//   start-up: process start until the plug-in's controller has run its start
//             (its 10 ms timer included; the host leaves right after), wall
//             time over N runs;
//   memory:   peak resident set (VmHWM) with the developer-mode window and
//             the config editor open.
// Prints medians and the ratio plug-in / bare host.
//
//   bench_vorahost [runs]     (default 15)

#include "Median.h"

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

bool copyBundle(const QString &target)
{
    const QString source = QStringLiteral(VORA_BUNDLE_DIR);
    QDirIterator it(source, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString file = it.next();
        const QString relative = QDir(source).relativeFilePath(file);
        if (relative.startsWith(QLatin1String("Resources/")))
            continue;
        const QString copy = target + QLatin1Char('/') + relative;
        QDir().mkpath(QFileInfo(copy).absolutePath());
        if (!QFile::copy(file, copy))
            return false;
        QFile::setPermissions(copy, QFile::permissions(file));
    }
    return true;
}

struct Result
{
    int exitCode = -1;
    double ms = 0;
    double peakKb = 0;
};

Result run(const QString &host, const QStringList &arguments, const QProcessEnvironment &env)
{
    QProcess process;
    process.setProcessEnvironment(env);
    process.setStandardOutputFile(QProcess::nullDevice());
    QElapsedTimer timer;
    timer.start();
    process.start(host, arguments);
    process.waitForFinished(60000);
    Result result;
    result.ms = timer.nsecsElapsed() / 1e6;
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    const QString err = QString::fromUtf8(process.readAllStandardError());
    const QRegularExpressionMatch match = QRegularExpression(QStringLiteral("peak memory (\\d+) kB"))
                                                  .match(err);
    if (match.hasMatch())
        result.peakKb = match.captured(1).toDouble();
    return result;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const int runs = argc > 1 ? std::max(1, atoi(argv[1])) : 15;

    QTemporaryDir dir;
    if (!dir.isValid() || !copyBundle(dir.path())) {
        std::fprintf(stderr, "bench_vorahost: cannot copy the bundle %s\n", VORA_BUNDLE_DIR);
        return 1;
    }
    const QString host = dir.filePath(QStringLiteral("bin/vorahost"));
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    env.insert(QStringLiteral("QT_QUICK_BACKEND"), QStringLiteral("software"));
    env.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("*.debug=false;*.info=false"));
    env.insert(QStringLiteral("XDG_RUNTIME_DIR"), dir.path());

    const QString script = dir.filePath(QStringLiteral("windows.jsonl"));
    {
        QFile file(script);
        if (!file.open(QIODevice::WriteOnly))
            return 1;
        file.write("{\"deliver\": {\"cmd\": \"enableDeveloperMode\", \"enabled\": true}}\n"
                   "{\"wait\": 1200}\n"
                   "{\"deliver\": {\"module\": \"DeveloperMode\", \"cmd\": \"showDeveloperModeView\"}}\n"
                   "{\"deliver\": {\"cmd\": \"showConfigEditor\", \"visible\": true}}\n"
                   "{\"wait\": 600}\n"
                   "{\"deliver\": {\"cmd\": \"enableDeveloperMode\", \"enabled\": false}}\n");
    }

    // Warm-up: makes the database and fills the page cache.
    run(host, {QStringLiteral("--bench-startup")}, env);
    run(host, {QStringLiteral("--bench-startup"), QStringLiteral("--no-plugin")}, env);

    std::vector<double> withPlugin, without;
    for (int i = 0; i < runs; ++i) {
        // Alternated, so a slow phase of the machine hits both alike.
        const Result a = run(host, {QStringLiteral("--bench-startup")}, env);
        const Result b = run(host, {QStringLiteral("--bench-startup"), QStringLiteral("--no-plugin")}, env);
        if (a.exitCode != 0 || b.exitCode != 0) {
            std::fprintf(stderr, "bench_vorahost: a start-up run failed (%d, %d)\n", a.exitCode, b.exitCode);
            return 1;
        }
        withPlugin.push_back(a.ms);
        without.push_back(b.ms);
    }
    const double startWith = Bench::median(withPlugin);
    const double startWithout = Bench::median(without);
    std::printf("start-up until the controller has started, median of %d runs:\n", runs);
    std::printf("  vorahost with plug-in     %8.1f ms\n", startWith);
    std::printf("  vorahost --no-plugin      %8.1f ms\n", startWithout);
    std::printf("  ratio                     %8.2f\n", startWith / startWithout);

    const int memoryRuns = std::max(3, runs / 3);
    std::vector<double> peakWith, peakWithout;
    for (int i = 0; i < memoryRuns; ++i) {
        const Result a = run(
                host, {QStringLiteral("--report-peak-memory"), QStringLiteral("--script"), script}, env);
        const Result b = run(host,
                             {QStringLiteral("--report-peak-memory"), QStringLiteral("--no-plugin"),
                              QStringLiteral("--script"), script},
                             env);
        if (a.exitCode != 0 || b.exitCode != 0 || a.peakKb <= 0 || b.peakKb <= 0) {
            std::fprintf(stderr, "bench_vorahost: a memory run failed (%d, %d)\n", a.exitCode, b.exitCode);
            return 1;
        }
        peakWith.push_back(a.peakKb);
        peakWithout.push_back(b.peakKb);
    }
    const double memWith = Bench::median(peakWith);
    const double memWithout = Bench::median(peakWithout);
    std::printf("peak memory (VmHWM), both windows open, median of %d runs:\n", memoryRuns);
    std::printf("  vorahost with plug-in     %8.0f kB\n", memWith);
    std::printf("  vorahost --no-plugin      %8.0f kB\n", memWithout);
    std::printf("  ratio                     %8.2f\n", memWith / memWithout);
    return 0;
}

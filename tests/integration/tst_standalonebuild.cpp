// The plug-in as the host's integrators get it: what its dynamic symbol table
// exports, and the same plug-in built from src/ alone against the stand-in
// host installed as an SDK, then run by the installed host: enter the
// developer mode, change a setting, leave.
//
// Needs cmake, nm and readelf, as the build does. The standalone build goes
// into <build>/integration, the same folder on every run, so that the
// compiler cache serves it. It gets no sanitizer flags, as an integrator's
// would not; in a sanitizer build the installed host is instrumented and
// loads it all the same.

#include "HostRun.h"

#include <QtTest>

using namespace HostTest;

namespace {

// Runs a program to its end: what it printed and whether it succeeded (on a
// failure, with what it said on standard error).
QByteArray run(const QString &program, const QStringList &arguments, bool *ok)
{
    QProcess process;
    process.start(program, arguments);
    *ok = process.waitForFinished(600000) && process.exitStatus() == QProcess::NormalExit
            && process.exitCode() == 0;
    return process.readAllStandardOutput() + (*ok ? QByteArray() : process.readAllStandardError());
}

// The metadata block: the header and one indefinite-length CBOR map of small
// keys and text, which ends at the first 0xff.
QByteArray metadataBlock(const QString &file)
{
    QFile f(file);
    const QByteArray bytes = f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
    const int at = bytes.indexOf("QTMETADATA !");
    return at < 0 ? QByteArray() : bytes.mid(at, bytes.indexOf('\xff', at + 16) + 1 - at);
}

} // namespace

class tst_StandaloneBuild : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY(QDir(m_root).removeRecursively());
        const QList<QStringList> steps = {
                {"--install", VORA_BUILD_DIR, "--prefix", m_sdk},
                {"-S", VORA_SOURCE_DIR "/src", "-B", m_root + "/build", "-G", VORA_GENERATOR,
                 "-DCMAKE_PREFIX_PATH=" + m_sdk, "-DCMAKE_MAKE_PROGRAM=" VORA_MAKE_PROGRAM,
                 "-DCMAKE_CXX_COMPILER=" VORA_CXX_COMPILER, "-DCMAKE_BUILD_TYPE=" VORA_BUILD_TYPE},
                {"--build", m_root + "/build"}};
        for (const QStringList &arguments : steps) {
            bool ok = false;
            const QByteArray said = run(QStringLiteral(VORA_CMAKE), arguments, &ok);
            QVERIFY2(ok, said.constData());
        }
    }
    void exportedSymbols_data()
    {
        QTest::addColumn<QString>("file");
        QTest::newRow("in the tree") << QStringLiteral(VORA_PLUGIN_FILE);
        QTest::newRow("built alone") << m_plugin;
    }
    void exportedSymbols()
    {
        QFETCH(QString, file);
        // The entry points of Qt's plug-in loader and the resource functions as
        // rcc declares them (int qInitResources_<bundle>(), C++ linkage).
        const QList<QByteArray> expected =
                QByteArray("_Z27qInitResources_ConfigEditorv _Z28qInitResources_DeveloperModev "
                           "_Z30qCleanupResources_ConfigEditorv _Z31qCleanupResources_DeveloperModev "
                           "qt_plugin_instance qt_plugin_query_metadata")
                        .split(' ');
        bool ok = false;
        const QStringList nm = {"--dynamic", "--defined-only", "--format=just-symbols", file};
        QList<QByteArray> symbols = run("nm", nm, &ok).trimmed().split('\n');
        std::sort(symbols.begin(), symbols.end());
        QCOMPARE(symbols, expected);
        // Its own calls of them are bound inside: no relocation names one, so a
        // host defining the same name cannot take their place.
        const QByteArray relocations = run("readelf", {"--relocs", "--wide", file}, &ok);
        QVERIFY(ok);
        for (const QByteArray &symbol : expected)
            QVERIFY2(!relocations.contains(symbol), symbol.constData());
    }
    void sameMetadataAndLogFileNames()
    {
        QVERIFY(!metadataBlock(QStringLiteral(VORA_PLUGIN_FILE)).isEmpty());
        QCOMPARE(metadataBlock(m_plugin), metadataBlock(QStringLiteral(VORA_PLUGIN_FILE)));
        // Log lines name their files from the project root (debug information,
        // where there is some, keeps full paths).
        bool ok = false;
        const QByteArray strings = run("readelf", {"--string-dump=.rodata", m_plugin}, &ok);
        QVERIFY(strings.contains("  src/DeveloperMode/DeveloperModeController.cpp\n"));
        QVERIFY(!strings.contains(VORA_SOURCE_DIR));
    }
    void installedHostRunsIt()
    {
        bool ok = false;
        QCOMPARE(run(m_sdk + "/bin/vorahost", {"--version"}, &ok),
                 QByteArray("vorahost " VORA_VERSION ", Qt ") + qVersion() + '\n');

        // The installed bundle makes its database from the sample, in its own
        // Resources/res.
        Run host(m_sdk + "/bin/vorahost", m_root);
        host.start({"--plugin", m_plugin, "--script", "-"});
        auto deliver = [](const QJsonObject &param) { return QJsonObject{{"deliver", param}}; };
        host.send(deliver({{"cmd", "enableDeveloperMode"}, {"enabled", true}}));
        const int loaded = host.waitForLine(
                [](const QJsonObject &line) { return isCmd(line, "plugin", "developerModeSettingChanged"); });
        QVERIFY2(loaded >= 0, qPrintable(host.errorOutput()));
        host.send(deliver({{"cmd", "enableDeveloperMode"}, {"enabled", false}}));
        QCOMPARE(host.finish(), 0);

        QStringList changes;
        for (const QJsonObject &param : host.messages("plugin", "developerModeSettingChanged"))
            changes.append(param["changedKey"].toString());
        QCOMPARE(changes, QStringList({"all", "all"}));
        QCOMPARE(value(m_sdk + "/Resources/res/config.db", "config", "developerModeEnabled"),
                 QString("false|text"));
    }

private:
    const QString m_root = QStringLiteral(VORA_BUILD_DIR "/integration");
    const QString m_sdk = m_root + QStringLiteral("/sdk");
    const QString m_plugin = m_root + QStringLiteral("/build/libApplicationTools.so");
};

QTEST_GUILESS_MAIN(tst_StandaloneBuild)
#include "tst_standalonebuild.moc"

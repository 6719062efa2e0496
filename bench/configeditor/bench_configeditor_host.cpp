// The config editor inside vorahost at the sizes users have: the whole host
// (its bus, its main window with the bus log, its log output, its database
// service) and the real plug-in, on a configuration database of 50,000 rows
// made from the host's own sample plus generated rows.
//
// Each measure runs in a child process of its own, with its log going to a
// file as a host's would, so the figures include writing every log line but
// not a terminal's speed:
//   --timing DB ROWS   reopen, "show all", combo back to "all", commit an edit
//                      (each until the first frame that shows the new rows),
//                      and a listing's round trip against the page's parse
//                      of the same answer
//   --memory DB ROWS   a fresh host: open the editor until its rows are shown,
//                      then its peak resident memory (VmHWM)
// Without arguments it builds the databases, runs the children and prints
// medians, each with its ratio to its goal or to its floor.
//
//   bench_configeditor_host [REPEATS]     (default 5)
//   bench_configeditor_host --make-db FILE ROWS      only the database, for profiling by hand

#include "ConfigDatabase.h"
#include "DatabaseService.h"
#include "HostApplication.h"
#include "HostLogging.h"
#include "Median.h"
#include "RenderLoop.h"
#include "WindowDriver.h"

#include <QAbstractListModel>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QQmlContext>
#include <QQmlExpression>
#include <QQuickItem>
#include <QQuickView>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <ctime>
#include <functional>
#include <memory>
#include <vector>

#include <sqlite3.h>

namespace {

const QString EditorTitle = QStringLiteral("配置工具");
const QString ResponseKey = QStringLiteral("dataBaseResponse");

// ---------------------------------------------------------------------------
// The database: the host's sample, then generated rows spread over its ten
// tables until it holds `rows` rows. Keys, values and comments are as long as
// the scanner's own; one generated row in ten is a real-time setting.

int countRows(sqlite3 *db)
{
    int total = 0;
    sqlite3_stmt *stmt = nullptr;
    sqlite3_prepare_v2(db, "select name from sqlite_master where type = 'table'", -1, &stmt, nullptr);
    QStringList tables;
    while (stmt && sqlite3_step(stmt) == SQLITE_ROW)
        tables.append(QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(stmt, 0))));
    sqlite3_finalize(stmt);
    for (const QString &table : tables) {
        const QByteArray sql = QStringLiteral("select count(*) from \"%1\"").arg(table).toUtf8();
        sqlite3_prepare_v2(db, sql.constData(), -1, &stmt, nullptr);
        if (stmt && sqlite3_step(stmt) == SQLITE_ROW)
            total += sqlite3_column_int(stmt, 0);
        sqlite3_finalize(stmt);
    }
    return total;
}

bool makeDatabase(const QString &file, int rows, QString *error)
{
    ConfigDatabase sample;
    if (!sample.prepare(file, error))
        return false;
    sqlite3 *db = nullptr;
    if (sqlite3_open_v2(QFile::encodeName(file).constData(), &db, SQLITE_OPEN_READWRITE, nullptr)
        != SQLITE_OK) {
        *error = QStringLiteral("cannot open %1").arg(file);
        sqlite3_close(db);
        return false;
    }
    const int generated = rows - countRows(db);
    static const char *const tables[] = {"config", "ui",          "calibration", "scan",         "project",
                                         "alg",    "postprocess", "navigation",  "deviceadjust", "clouddisk"};
    QString sql = QStringLiteral("BEGIN;\n");
    for (int t = 0; t < 10 && generated > t; ++t) {
        sql += QStringLiteral(
                       "INSERT INTO \"%1\" (key, value, comment)\n"
                       "WITH RECURSIVE n(i) AS (SELECT %2 UNION ALL SELECT i + 10 FROM n WHERE i + 10 <= "
                       "%3)\n"
                       "SELECT printf('%s.%s_%d',\n"
                       "  CASE (i / 10) % 6 WHEN 0 THEN 'IRSpeckle.Exposure' WHEN 1 THEN 'cameraVideo.E7'\n"
                       "    WHEN 2 THEN 'mainWindow.layout' WHEN 3 THEN 'alg.meshFusion'\n"
                       "    WHEN 4 THEN 'navigation.marker' ELSE 'cloudDisk.upload' END,\n"
                       "  CASE (i / 60) % 5 WHEN 0 THEN 'autoGainLimit' WHEN 1 THEN 'frameRateTarget'\n"
                       "    WHEN 2 THEN 'pointSpacing' WHEN 3 THEN 'maxEdgeLength' ELSE 'retryCount' END, "
                       "i),\n"
                       "  CASE (i / 10) % 5 WHEN 0 THEN i % 2000 WHEN 1 THEN printf('%.4f', i / 13.0)\n"
                       "    WHEN 2 THEN CASE WHEN i % 20 < 10 THEN 'true' ELSE 'false' END\n"
                       "    WHEN 3 THEN printf('%d,%d,%d', i % 256, i * 7 % 256, i * 13 % 256)\n"
                       "    ELSE printf('D:/VoraScan/projects/p%d/scan.vproj', i) END,\n"
                       "  CASE WHEN (i / 10) % 10 = 0 THEN '调整后立即生效 (实时设置)'\n"
                       "    ELSE CASE (i / 10) % 4 WHEN 0 THEN '扫描时相机曝光增益的上限'\n"
                       "      WHEN 1 THEN '网格融合的点间距, 单位毫米' WHEN 2 THEN "
                       "'导航标记点识别的重试次数'\n"
                       "      ELSE '云盘上传分块大小' END END\n"
                       "FROM n;\n")
                       .arg(QLatin1String(tables[t]))
                       .arg(t + 1)
                       .arg(generated);
    }
    sql += QStringLiteral("COMMIT;");
    char *message = nullptr;
    const bool ok = sqlite3_exec(db, sql.toUtf8().constData(), nullptr, nullptr, &message) == SQLITE_OK;
    if (!ok)
        *error = QStringLiteral("cannot fill %1: %2").arg(file, QString::fromUtf8(message));
    sqlite3_free(message);
    const int total = ok ? countRows(db) : 0;
    sqlite3_close(db);
    if (ok && total != rows) {
        *error = QStringLiteral("%1 holds %2 rows, not %3").arg(file).arg(total).arg(rows);
        return false;
    }
    return ok;
}

// ---------------------------------------------------------------------------
// Inside the host.

QQuickView *editorWindow()
{
    return qobject_cast<QQuickView *>(WindowDriver::find(EditorTitle));
}

void collectItems(QQuickItem *item, const QString &name, QList<QQuickItem *> *found)
{
    if (item->objectName() == name)
        found->append(item);
    const auto children = item->childItems();
    for (QQuickItem *child : children)
        collectItems(child, name, found);
}

QQuickItem *findItem(QQuickItem *root, const QString &name)
{
    QList<QQuickItem *> found;
    collectItems(root, name, &found);
    return found.value(0);
}

// Waits for a listing to reach the page and then for the first frame of the
// editor window that was synchronised after it: the frame that shows it.
// Frames are synchronised and swapped on the render thread with the threaded
// render loop, hence the atomics and the direct connections. On the way it
// notes when the page's query and the host's answer had been through the
// host's bus (its log included) and when the page had parsed the answer.
// The calling thread's processor time: what a listing costs the GUI thread
// whatever else the machine runs meanwhile.
double threadCpuMs()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return now.tv_sec * 1e3 + now.tv_nsec / 1e6;
}

class ListingProbe : public QObject
{
public:
    struct Times
    {
        double queried = -1; // the query has left the page and the bus has logged it
        double routed = -1; // the answer is made and the bus has logged it
        double parsed = -1; // the page has parsed it into its table
        double parsedCpu = -1; // the GUI thread's processor time until then
        double shown = -1; // the frame that shows it is on screen
    };

    explicit ListingProbe(BusRouter &router)
    {
        // Connected after the host's own receivers, so each runs once the
        // host is done with the message.
        connect(&router, &BusRouter::messageRouted, this,
                [this](const QString &from, const QVariantMap &param) {
                    if (m_stage.load() != Waiting)
                        return;
                    const QString cmd = param.value(QStringLiteral("cmd")).toString();
                    if (from == QLatin1String("page") && cmd == QLatin1String("query"))
                        m_times.queried = m_clock.nsecsElapsed() / 1e6;
                    else if (cmd == QLatin1String("dataBaseResponseCmd")
                             && !param.value(ResponseKey).toString().isEmpty())
                        m_times.routed = m_clock.nsecsElapsed() / 1e6;
                });
        connect(&router, &BusRouter::pageDelivery, this, [this](const QVariantMap &param) {
            if (m_stage.load() == Waiting && !param.value(ResponseKey).toString().isEmpty()) {
                m_answer = param;
                m_times.parsed = m_clock.nsecsElapsed() / 1e6;
                m_times.parsedCpu = threadCpuMs() - m_cpuStart;
                m_stage.store(Parsed);
            }
        });
    }

    void watch(QQuickWindow *window)
    {
        if (window == m_window)
            return;
        m_window = window;
        connect(
                window, &QQuickWindow::afterSynchronizing, this,
                [this] {
                    int parsed = Parsed;
                    m_stage.compare_exchange_strong(parsed, Synced);
                },
                Qt::DirectConnection);
        connect(
                window, &QQuickWindow::frameSwapped, this,
                [this] {
                    int synced = Synced;
                    if (m_stage.compare_exchange_strong(synced, Shown))
                        m_shownNs = m_clock.nsecsElapsed();
                },
                Qt::DirectConnection);
    }

    void arm()
    {
        m_times = Times();
        m_stage.store(Waiting);
        m_clock.start();
        m_cpuStart = threadCpuMs();
    }

    // Milliseconds from arm() until the page had parsed the listing
    // (untilShown false) or until its frame was on screen; -1 on a timeout.
    double wait(bool untilShown)
    {
        const int goal = untilShown ? Shown : Parsed;
        if (!QTest::qWaitFor([&] { return m_stage.load() >= goal; }, 60000))
            return -1;
        if (untilShown)
            m_times.shown = m_shownNs.load() / 1e6;
        return untilShown ? m_times.shown : m_times.parsed;
    }

    Times times() const { return m_times; }
    double elapsedMs() const { return m_clock.nsecsElapsed() / 1e6; }
    QVariantMap answer() const { return m_answer; }

private:
    enum Stage { Idle, Waiting, Parsed, Synced, Shown };
    std::atomic<int> m_stage{Idle};
    QElapsedTimer m_clock;
    double m_cpuStart = 0;
    Times m_times;
    std::atomic<qint64> m_shownNs{0};
    QVariantMap m_answer;
    QQuickWindow *m_window = nullptr;
};

struct Editor
{
    QQuickView *window = nullptr;
    QQuickItem *root = nullptr;
    QObject *sqlModel = nullptr;
    QAbstractListModel *rows = nullptr;
};

// madeMs, when given, receives the time until the page was made and its
// window shown, before its query.
Editor openEditor(HostApplication &host, ListingProbe &probe, double *ms, double *madeMs = nullptr)
{
    // The plug-in's controller knows the command only once it has started,
    // after its first turns of the event loop: asked again until it opens.
    Editor editor;
    (void)QTest::qWaitFor(
            [&] {
                probe.arm();
                host.router().deliverToPlugin({{QStringLiteral("cmd"), QStringLiteral("showConfigEditor")},
                                               {QStringLiteral("visible"), true}});
                editor.window = editorWindow();
                if (madeMs)
                    *madeMs = probe.elapsedMs();
                return editor.window != nullptr;
            },
            10000);
    if (!editor.window)
        return editor;
    probe.watch(editor.window);
    editor.root = editor.window->rootObject();
    editor.sqlModel = editor.root->property("sqlModelCore").value<QObject *>();
    editor.rows = qobject_cast<QAbstractListModel *>(editor.sqlModel->property("sqlData").value<QObject *>());
    *ms = probe.wait(true);
    return editor;
}

void closeEditor(HostApplication &host)
{
    host.router().deliverToPlugin({{QStringLiteral("cmd"), QStringLiteral("showConfigEditor")},
                                   {QStringLiteral("visible"), false}});
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();
}

QString roleText(const QAbstractListModel *model, int row, const QByteArray &role)
{
    const auto roles = model->roleNames();
    return model->data(model->index(row), roles.key(role)).toString();
}

// A value cell on screen whose row is not a real-time setting: its commit
// re-lists at once instead of after the real-time timer.
QQuickItem *plainValueCell(const Editor &editor)
{
    QList<QQuickItem *> edits;
    collectItems(editor.root, QStringLiteral("valueEdit"), &edits);
    for (QQuickItem *edit : qAsConst(edits)) {
        QQmlExpression expression(qmlContext(edit), edit, QStringLiteral("styleData.row"));
        const int row = expression.evaluate().toInt();
        if (row < 0 || row >= editor.rows->rowCount())
            continue;
        if (roleText(editor.rows, row, "comment").contains(QStringLiteral("实时设置"))
            || roleText(editor.rows, row, "key") == QLatin1String("developerModeEnabled"))
            continue;
        return edit;
    }
    return nullptr;
}

int fail(const char *what)
{
    std::fprintf(stdout, "{\"error\": \"%s\"}\n", what);
    return 1;
}

// Kilobytes from /proc/self/status (VmHWM: peak, VmRSS: now).
double statusKb(const char *field)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    const QList<QByteArray> lines = status.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith(field))
            return line.mid(int(qstrlen(field))).trimmed().split(' ').value(0).toDouble();
    }
    return -1;
}

// Resident kilobytes of Mesa's software OpenGL driver (llvmpipe and the LLVM
// it compiles shaders with): the part of the memory that a GPU's driver
// would stand in for on a user's machine.
double driverKb()
{
    QFile maps(QStringLiteral("/proc/self/smaps"));
    if (!maps.open(QIODevice::ReadOnly))
        return -1;
    double total = 0;
    bool driver = false;
    const QList<QByteArray> lines = maps.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith("Rss:")) {
            if (driver)
                total += line.mid(4).trimmed().split(' ').value(0).toDouble();
        } else if (line.left(line.indexOf(' ')).contains('-')) {
            // A mapping's first line: "start-end perms offset dev inode path".
            driver = line.contains("libLLVM") || line.contains("/dri/");
        }
    }
    return total;
}

int runChild(const QString &mode, const QString &database, int rows, int repeats)
{
    HostOptions options;
    options.databaseFile = database;
    options.pluginFile = QStringLiteral(VORA_PLUGIN_FILE);
    HostApplication host(options);
    if (!host.start())
        return fail("the host did not start");
    ListingProbe probe(host.router());
    QJsonObject result;
    const double idleKb = statusKb("VmRSS:");

    double ms = 0;
    Editor editor = openEditor(host, probe, &ms);
    if (!editor.window)
        return fail("the editor window did not open");
    if (ms < 0 || editor.rows->rowCount() != rows) {
        std::fprintf(stderr, "bench: %d rows listed\n", editor.rows->rowCount());
        return fail("the editor did not list every row");
    }
    if (mode == QLatin1String("--memory")) {
        result.insert(QStringLiteral("firstOpen"), ms);
        result.insert(QStringLiteral("peakKb"), statusKb("VmHWM:"));
        result.insert(QStringLiteral("idleKb"), idleKb);
        result.insert(QStringLiteral("driverKb"), driverKb());
        std::printf("%s\n", QJsonDocument(result).toJson(QJsonDocument::Compact).constData());
        return 0;
    }

    std::vector<double> reopenMade, reopenParsed, reopen, showAll, comboAll, commit, trip, parse, parseQuiet,
            parseBare, service;
    std::vector<double> splitQuery, splitBus, splitPage, splitFrame, busyCpu;
    DatabaseService directService(database);
    const QVariantMap selectAll{{QStringLiteral("cmd"), QStringLiteral("query")},
                                {QStringLiteral("target"), QStringLiteral("dataBaseQuery")},
                                {QStringLiteral("param"), QStringLiteral("select * from $table$")}};
    // Work that runs on the GUI thread alone is measured in its processor
    // time, which other programs on the machine disturb far less.
    auto timeCall = [](const std::function<void()> &call) {
        const double start = threadCpuMs();
        call();
        return threadCpuMs() - start;
    };
    for (int i = 0; i < repeats; ++i) {
        closeEditor(host);
        double made = 0;
        editor = openEditor(host, probe, &ms, &made);
        if (!editor.window || ms < 0)
            return fail("the editor did not reopen");
        reopen.push_back(ms);
        reopenMade.push_back(made);
        reopenParsed.push_back(probe.times().parsed);
        QQuickItem *showAllButton = findItem(editor.root, QStringLiteral("showAllButton"));
        QQuickItem *tableChoice = findItem(editor.root, QStringLiteral("tableChoice"));
        QQuickItem *tableView = findItem(editor.root, QStringLiteral("tableView"));

        probe.arm();
        QMetaObject::invokeMethod(showAllButton, "clicked");
        showAll.push_back(probe.wait(true));
        // Where the time of this listing went.
        const ListingProbe::Times times = probe.times();
        service.push_back(timeCall([&] { directService.answer(selectAll); }));
        splitQuery.push_back(times.queried);
        splitBus.push_back(times.routed - times.queried - service.back());
        splitPage.push_back(times.parsed - times.routed);
        splitFrame.push_back(times.shown - times.parsed);
        busyCpu.push_back(times.parsedCpu);

        // Away to one table (not timed), then back to every table.
        probe.arm();
        tableChoice->setProperty("currentIndex", 2);
        probe.wait(true);
        probe.arm();
        tableChoice->setProperty("currentIndex", 0);
        comboAll.push_back(probe.wait(true));

        QQuickItem *edit = plainValueCell(editor);
        if (!edit)
            return fail("no value cell of a plain setting on screen");
        edit->setProperty("text", QStringLiteral("bench-%1").arg(i));
        probe.arm();
        QMetaObject::invokeMethod(edit->parentItem(), "commit");
        commit.push_back(probe.wait(true));

        // The listing's round trip (query, bus, service, answer, parse)
        // against the page's parse of the very same answer: with the host's
        // log, with its lines dropped, and with the table view detached too.
        probe.arm();
        QMetaObject::invokeMethod(editor.sqlModel, "selectAll", Q_ARG(QVariant, QVariant(QString())));
        if (probe.wait(false) < 0)
            return fail("a listing never arrived");
        trip.push_back(probe.times().parsedCpu);
        const QVariant answer(probe.answer());
        auto parseOnce = [&] {
            return timeCall([&] {
                QMetaObject::invokeMethod(editor.sqlModel, "dbResponse", Q_ARG(QVariant, answer));
            });
        };
        parse.push_back(parseOnce());
        const QtMessageHandler hostHandler = qInstallMessageHandler(
                [](QtMsgType, const QMessageLogContext &, const QString &) {});
        parseQuiet.push_back(parseOnce());
        const QVariant model = tableView->property("model");
        tableView->setProperty("model", QVariant());
        parseBare.push_back(parseOnce());
        tableView->setProperty("model", model);
        qInstallMessageHandler(hostHandler);
        QTest::qWait(20);
    }
    for (const auto &series : {showAll, comboAll, commit}) {
        if (std::find(series.begin(), series.end(), -1.0) != series.end())
            return fail("a listing never arrived");
    }
    if (editor.rows->rowCount() != rows)
        return fail("the last listing is short");
    const std::pair<const char *, const std::vector<double> *> series[] = {
            {"reopen", &reopen},       {"reopenMade", &reopenMade}, {"reopenParsed", &reopenParsed},
            {"showAll", &showAll},     {"comboAll", &comboAll},     {"commit", &commit},
            {"trip", &trip},           {"parse", &parse},           {"parseQuiet", &parseQuiet},
            {"parseBare", &parseBare}, {"service", &service},       {"splitQuery", &splitQuery},
            {"splitBus", &splitBus},   {"splitPage", &splitPage},   {"splitFrame", &splitFrame},
            {"busyCpu", &busyCpu}};
    for (const auto &entry : series)
        result.insert(QLatin1String(entry.first), Bench::median(*entry.second));
    result.insert(QStringLiteral("peakKb"), statusKb("VmHWM:"));
    std::printf("%s\n", QJsonDocument(result).toJson(QJsonDocument::Compact).constData());
    return 0;
}

// ---------------------------------------------------------------------------
// The parent: databases, children, the table.

QJsonObject runChildProcess(const QStringList &arguments, const QString &logFile)
{
    QProcess child;
    child.setStandardErrorFile(logFile);
    child.start(QCoreApplication::applicationFilePath(), arguments);
    if (!child.waitForFinished(600000)) {
        child.kill();
        child.waitForFinished();
    }
    const QByteArray out = child.readAllStandardOutput().trimmed();
    const QJsonObject result = QJsonDocument::fromJson(out.split('\n').value(out.count('\n'))).object();
    if (child.exitCode() != 0 || result.isEmpty() || result.contains(QStringLiteral("error"))) {
        std::fprintf(stderr, "bench: %s failed: %s (log in %s)\n", qUtf8Printable(arguments.join(' ')),
                     out.constData(), qUtf8Printable(logFile));
        return QJsonObject();
    }
    return result;
}

double loadAverage()
{
    QFile file(QStringLiteral("/proc/loadavg"));
    return file.open(QIODevice::ReadOnly) ? file.readAll().split(' ').value(0).toDouble() : -1;
}

int runParent(int repeats)
{
    QTemporaryDir dir;
    if (!dir.isValid()) {
        std::fprintf(stderr, "bench: no temporary folder: %s\n", qUtf8Printable(dir.errorString()));
        return 1;
    }
    // Kept when a child fails, so its log can be read.
    dir.setAutoRemove(false);
    const int large = 50000, small = 10000;
    const QString largeDb = dir.filePath(QStringLiteral("config-50000.db"));
    const QString smallDb = dir.filePath(QStringLiteral("config-10000.db"));
    QString error;
    if (!makeDatabase(largeDb, large, &error) || !makeDatabase(smallDb, small, &error)) {
        std::fprintf(stderr, "bench: %s\n", qUtf8Printable(error));
        return 1;
    }
    const double loadBefore = loadAverage();
    const QString log = dir.filePath(QStringLiteral("host.log"));
    const QString r = QString::number(repeats);
    const QJsonObject timing = runChildProcess(
            {QStringLiteral("--timing"), largeDb, QString::number(large), r}, log);
    const QJsonObject smallTiming = runChildProcess(
            {QStringLiteral("--timing"), smallDb, QString::number(small), QStringLiteral("5")}, log);
    std::vector<double> firstOpen, peak, idle, driver;
    for (int i = 0; i < 3; ++i) {
        const QJsonObject memory = runChildProcess(
                {QStringLiteral("--memory"), largeDb, QString::number(large), r}, log);
        if (memory.isEmpty())
            return 1;
        firstOpen.push_back(memory.value(QStringLiteral("firstOpen")).toDouble());
        peak.push_back(memory.value(QStringLiteral("peakKb")).toDouble() / 1024);
        idle.push_back(memory.value(QStringLiteral("idleKb")).toDouble() / 1024);
        driver.push_back(memory.value(QStringLiteral("driverKb")).toDouble() / 1024);
    }
    if (timing.isEmpty() || smallTiming.isEmpty())
        return 1;
    dir.setAutoRemove(true);

    auto v = [](const QJsonObject &o, const char *key) { return o.value(QLatin1String(key)).toDouble(); };
    std::printf("config editor in vorahost, 50,000 rows (median of %d; platform %s; load %.1f before, %.1f "
                "after)\n",
                repeats, qUtf8Printable(QGuiApplication::platformName()), loadBefore, loadAverage());
    std::printf("  %-50s %9s  %9s  %7s\n", "measure", "median", "goal", "ratio");
    auto row = [](const char *what, double value, double goal, const char *unit) {
        std::printf("  %-50s %6.0f %-2s  %6.0f %-2s  %6.2fx\n", what, value, unit, goal, unit, value / goal);
    };
    row("open -> rows shown (fresh host, of 3)", Bench::median(firstOpen), 400, "ms");
    row("open -> rows shown (reopen)", v(timing, "reopen"), 400, "ms");
    std::printf("    of which the page made and its window shown %.0f ms, the listing parsed at %.0f ms\n",
                v(timing, "reopenMade"), v(timing, "reopenParsed"));
    row("\"show all\" -> rows shown", v(timing, "showAll"), 400, "ms");
    row("combo back to \"all\" -> rows shown", v(timing, "comboAll"), 400, "ms");
    row("commit an edit -> re-listed", v(timing, "commit"), 400, "ms");
    row("peak memory, rows shown (fresh host, of 3)", Bench::median(peak), 200, "MB");
    row("peak memory, after every measure above", v(timing, "peakKb") / 1024, 200, "MB");
    std::printf("  memory: %.0f MB before the editor opens; %.0f MB of the peak is Mesa's software GL "
                "driver\n",
                Bench::median(idle), Bench::median(driver));
    std::printf("  \"show all\", where the time goes: page and query %.0f ms, service %.0f ms (processor "
                "time), bus and its log %.0f ms,\n    page (answer logged, parsed, table filled) %.0f ms, "
                "frame %.0f ms\n",
                v(timing, "splitQuery"), v(timing, "service"), v(timing, "splitBus"), v(timing, "splitPage"),
                v(timing, "splitFrame"));
    std::printf("  \"show all\" until parsed: the GUI thread's processor time %.0f ms (less sensitive to "
                "other load)\n",
                v(timing, "busyCpu"));
    std::printf("  page's parse %.0f ms: log lines dropped %.0f ms, table view detached too %.0f ms "
                "(processor time)\n",
                v(timing, "parse"), v(timing, "parseQuiet"), v(timing, "parseBare"));
    std::printf("config editor in vorahost, 10,000 rows (median of 5, the GUI thread's processor time)\n");
    std::printf("  round trip %.1f ms vs the page's own parse %.1f ms: ratio %.2fx (goal <= 1.50x)\n",
                v(smallTiming, "trip"), v(smallTiming, "parse"),
                v(smallTiming, "trip") / v(smallTiming, "parse"));
    std::printf(
            "  page's parse: log lines dropped %.1f ms, table view detached too %.1f ms; service %.1f ms\n",
            v(smallTiming, "parseQuiet"), v(smallTiming, "parseBare"), v(smallTiming, "service"));
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    const QStringList arguments = [&] {
        QStringList list;
        for (int i = 1; i < argc; ++i)
            list.append(QString::fromLocal8Bit(argv[i]));
        return list;
    }();
    const bool child = arguments.value(0).startsWith(QLatin1String("--"));
    if (child)
        HostLogging::install();
    QGuiApplication app(argc, argv);
    app.setApplicationName(QStringLiteral("vorahost"));
    app.setQuitOnLastWindowClosed(false);
    if (child) {
        HostLogging::flushWhenIdle();
        RenderLoop::choose();
    }
    if (arguments.value(0) == QLatin1String("--make-db")) {
        QString error;
        if (makeDatabase(arguments.value(1), arguments.value(2).toInt(), &error))
            return 0;
        std::fprintf(stderr, "bench: %s\n", qUtf8Printable(error));
        return 1;
    }
    if (child)
        return runChild(arguments.value(0), arguments.value(1), arguments.value(2).toInt(),
                        std::max(1, arguments.value(3).toInt()));
    return runParent(std::max(1, arguments.value(0, QStringLiteral("5")).toInt()));
}

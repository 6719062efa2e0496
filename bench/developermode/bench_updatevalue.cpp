// One developer-mode change end to end (store, database write, notification,
// snapshot save) against its floor: the same SQLite write on a connection of
// the same durability, and the same snapshot bytes saved with QSaveFile. The
// two are measured alternately in one run; the ratio of the medians is the
// cost of everything the plug-in adds to the two writes it cannot avoid.
//
//   bench_updatevalue [ROUNDS]

#include "PluginHarness.h"

#include <QColor>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QSaveFile>
#include <QTest>
#include <QTimer>

#include <sqlite3.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <vector>

namespace {

double median(std::vector<qint64> values)
{
    std::sort(values.begin(), values.end());
    const size_t n = values.size();
    return n % 2 ? double(values[n / 2]) : (values[n / 2 - 1] + values[n / 2]) / 2.0;
}

QString snapshotFile()
{
    return QCoreApplication::applicationDirPath()
            + QStringLiteral("/../Resources/ScanSets/developer_mode_temp.json");
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The floor's database side: the statement VoraConfigSQLite runs for one
// write, on its own connection with SQLite's default journal and
// synchronous modes, as the configuration library opens it. It writes a row
// of its own in the same table: rewriting the value the plug-in has just
// stored would change nothing and SQLite would skip the commit.
class FloorDatabase
{
public:
    explicit FloorDatabase(const QString &file)
    {
        if (sqlite3_open_v2(QFile::encodeName(file).constData(), &m_db, SQLITE_OPEN_READWRITE, nullptr)
            != SQLITE_OK)
            return;
        sqlite3_busy_timeout(m_db, 10000);
        sqlite3_prepare_v2(m_db,
                           "INSERT INTO \"calibration\" (key, value) VALUES (?1, ?2) "
                           "ON CONFLICT(key) DO UPDATE SET value = excluded.value",
                           -1, &m_stmt, nullptr);
    }
    ~FloorDatabase()
    {
        sqlite3_finalize(m_stmt);
        sqlite3_close(m_db);
    }
    bool isValid() const { return m_stmt != nullptr; }

    void write(int value)
    {
        sqlite3_bind_text(m_stmt, 1, "readPicModFloor", -1, SQLITE_STATIC);
        sqlite3_bind_int64(m_stmt, 2, value);
        sqlite3_step(m_stmt);
        sqlite3_reset(m_stmt);
    }

    QString pragma(const char *name) const
    {
        const QByteArray sql = QByteArray("PRAGMA ") + name;
        sqlite3_stmt *stmt = nullptr;
        QString result;
        if (sqlite3_prepare_v2(m_db, sql.constData(), -1, &stmt, nullptr) == SQLITE_OK
            && sqlite3_step(stmt) == SQLITE_ROW)
            result = QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(stmt, 0)));
        sqlite3_finalize(stmt);
        return result;
    }

private:
    sqlite3 *m_db = nullptr;
    sqlite3_stmt *m_stmt = nullptr;
};

bool saveSnapshot(const QString &path, const QByteArray &bytes)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    if (file.write(bytes) != bytes.size()) {
        file.cancelWriting();
        return false;
    }
    return file.commit();
}

} // namespace

int main(int argc, char *argv[])
{
    QGuiApplication app(argc, argv);
    const int rounds = argc > 1 ? qMax(5, QByteArray(argv[1]).toInt()) : 300;

    QFile::remove(snapshotFile());
    VoraTest::TempDatabase db(
            VoraTest::TempDatabase::tableSql({QStringLiteral("config"), QStringLiteral("ui"),
                                              QStringLiteral("calibration"), QStringLiteral("scan")})
            + QStringLiteral("INSERT INTO calibration (key, value) VALUES ('readPicMod', 0), "
                             "('readPicModFloor', 0);"));
    if (!db.isValid()) {
        std::fprintf(stderr, "cannot make the database: %s\n", qPrintable(db.errorString()));
        return 1;
    }
    VoraTest::Controller controller;
    if (!controller.isValid()) {
        std::fprintf(stderr, "cannot load the plug-in: %s\n", qPrintable(controller.errorString()));
        return 1;
    }
    // A host running for hours keeps no record of its bus; neither does this.
    controller.box().setRecording(false);

    const QVariantMap enable{{QStringLiteral("cmd"), QStringLiteral("enableDeveloperMode")},
                             {QStringLiteral("enabled"), true}};
    const bool made = QTest::qWaitFor(
            [&] {
                if (!controller.child("DeveloperModeController"))
                    controller.deliver(enable);
                return controller.child("DeveloperModeController") != nullptr;
            },
            2000);
    QObject *devMode = controller.child("DeveloperModeController");
    if (!made || !devMode || !QTest::qWaitFor([&] { return QFile::exists(snapshotFile()); }, 5000)) {
        std::fprintf(stderr, "the developer mode did not come up\n");
        return 1;
    }
    const QString key = QStringLiteral("enableReadCaliImage");
    const QMetaMethod updateValue = devMode->metaObject()->method(
            devMode->metaObject()->indexOfMethod("updateValue(QString,QVariant)"));

    FloorDatabase floorDb(db.fileName());
    if (!floorDb.isValid()) {
        std::fprintf(stderr, "cannot open the database for the floor\n");
        return 1;
    }
    // The floor saves exactly the bytes the plug-in writes, to the same place.
    updateValue.invoke(devMode, Qt::DirectConnection, Q_ARG(QString, key), Q_ARG(QVariant, QVariant(true)));
    const QByteArray snapshotOn = readFile(snapshotFile());
    updateValue.invoke(devMode, Qt::DirectConnection, Q_ARG(QString, key), Q_ARG(QVariant, QVariant(false)));
    const QByteArray snapshotOff = readFile(snapshotFile());

    std::vector<qint64> plugin;
    std::vector<qint64> floor;
    plugin.reserve(size_t(rounds));
    floor.reserve(size_t(rounds));
    // Each round is one turn of the running event loop, as in the host: the
    // plug-in's write is then batched and committed by its own announcement.
    int round = 0;
    QElapsedTimer timer;
    std::function<void()> nextRound = [&] {
        const bool on = round % 2 == 0;
        timer.start();
        updateValue.invoke(devMode, Qt::DirectConnection, Q_ARG(QString, key), Q_ARG(QVariant, QVariant(on)));
        plugin.push_back(timer.nsecsElapsed());

        timer.start();
        floorDb.write(on ? 1 : 0);
        saveSnapshot(snapshotFile(), on ? snapshotOn : snapshotOff);
        floor.push_back(timer.nsecsElapsed());
        if (++round < rounds)
            QTimer::singleShot(0, nextRound);
        else
            app.quit();
    };
    QTimer::singleShot(0, nextRound);
    app.exec();

    // The plug-in's writes must have happened for the figures to mean anything.
    const QString last = db.stored(QStringLiteral("calibration"), QStringLiteral("readPicMod"))
                                 .section('|', 0, 0);
    if (last.toInt() != ((rounds - 1) % 2 == 0 ? 1 : 0)) {
        std::fprintf(stderr, "the plug-in did not write readPicMod\n");
        return 1;
    }

    const double pluginMedian = median(plugin);
    const double floorMedian = median(floor);
    std::printf(
            "updateValue(\"%s\") end to end, %d rounds, journal_mode=%s synchronous=%s, snapshot %d bytes\n",
            qPrintable(key), rounds, qPrintable(floorDb.pragma("journal_mode")),
            qPrintable(floorDb.pragma("synchronous")), int(snapshotOn.size()));
    std::printf("  plug-in median: %10.1f us\n", pluginMedian / 1000.0);
    std::printf("  floor median:   %10.1f us  (SQLite write + QSaveFile of the same bytes)\n",
                floorMedian / 1000.0);
    std::printf("  ratio:          %10.3f  (goal <= 1.2)\n", pluginMedian / floorMedian);

    controller.deliver({{QStringLiteral("cmd"), QStringLiteral("enableDeveloperMode")},
                        {QStringLiteral("enabled"), false}});
    QFile::remove(snapshotFile());
    return 0;
}

// How long the config editor takes from its query to a table holding every
// row, for 1,000 and 10,000 rows: the real SqlModel.qml publishes its
// "select * from $table$", the host's DatabaseService runs it on a real
// SQLite file and SqlModel.qml parses the text answer into its ListModel.
// Measured against splitting the same answer text in C++, in the same run.
//
// The page logs one line per row; the bench counts those lines instead of
// printing them, so terminal speed does not decide the figures.

#include "DatabaseService.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QTemporaryDir>
#include <QVariant>
#include <QVector>

#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>
#include <memory>

#include <sqlite3.h>

namespace {

int g_logLines = 0;

void countMessage(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    ++g_logLines;
    if (type >= QtWarningMsg)
        std::fprintf(stderr, "%s\n", qUtf8Printable(message));
}

// The page's ui item: only its publish signal is used.
class PageStandIn : public QObject
{
    Q_OBJECT

signals:
    void publish(const QString &topic, const QString &type, const QString &cmd, const QVariant &param,
                 bool bSync);
};

bool makeDatabase(const QString &file, int rows)
{
    sqlite3 *db = nullptr;
    if (sqlite3_open(QFile::encodeName(file).constData(), &db) != SQLITE_OK)
        return false;
    QString sql = QStringLiteral("BEGIN;\n");
    for (const QString &table : DatabaseService::configurationTables())
        sql += QStringLiteral(
                       "CREATE TABLE \"%1\" (key TEXT PRIMARY KEY NOT NULL, value, comment TEXT NOT NULL "
                       "DEFAULT '');\n")
                       .arg(table);
    sql += QStringLiteral("COMMIT;");
    bool ok = sqlite3_exec(db, sql.toUtf8().constData(), nullptr, nullptr, nullptr) == SQLITE_OK;
    sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);
    sqlite3_stmt *stmt = nullptr;
    const QStringList &tables = DatabaseService::configurationTables();
    for (int i = 0; ok && i < rows; ++i) {
        const QByteArray insert = QStringLiteral("INSERT INTO \"%1\" VALUES (?1, ?2, ?3)")
                                          .arg(tables.at(i % tables.size()))
                                          .toUtf8();
        ok = sqlite3_prepare_v2(db, insert.constData(), -1, &stmt, nullptr) == SQLITE_OK;
        const QByteArray key = QStringLiteral("module%1.setting%2").arg(i % 37).arg(i).toUtf8();
        const QByteArray comment = QStringLiteral("设置 %1, 实时设置").arg(i).toUtf8();
        sqlite3_bind_text(stmt, 1, key.constData(), key.size(), SQLITE_TRANSIENT);
        if (i % 3 == 0)
            sqlite3_bind_int(stmt, 2, i);
        else if (i % 3 == 1)
            sqlite3_bind_double(stmt, 2, i / 8.0);
        else
            sqlite3_bind_text(stmt, 2, "true", 4, SQLITE_STATIC);
        sqlite3_bind_text(stmt, 3, comment.constData(), comment.size(), SQLITE_TRANSIENT);
        ok = ok && sqlite3_step(stmt) == SQLITE_DONE;
        sqlite3_finalize(stmt);
    }
    sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
    sqlite3_close(db);
    return ok;
}

// The same answer text split into four-field rows, as a C++ page would.
int splitInCpp(const QString &text, QVector<std::array<QString, 4>> *rows)
{
    rows->clear();
    const QVector<QStringRef> lines = text.splitRef(QLatin1Char('\n'));
    rows->reserve(lines.size());
    for (const QStringRef &line : lines) {
        const QVector<QStringRef> fields = line.split(QLatin1Char('#'));
        if (fields.size() != 4)
            continue;
        rows->append(
                {fields[0].toString(), fields[1].toString(), fields[2].toString(), fields[3].toString()});
    }
    return rows->size();
}

double medianMs(int repeats, const std::function<void()> &run)
{
    QVector<qint64> times;
    for (int i = 0; i < repeats; ++i) {
        QElapsedTimer timer;
        timer.start();
        run();
        times.append(timer.nsecsElapsed());
    }
    std::sort(times.begin(), times.end());
    return times.at(times.size() / 2) / 1e6;
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    qInstallMessageHandler(countMessage);
    qmlRegisterModule("VoraDesign", 1, 0);

    QQmlEngine engine;
    QQmlComponent component(&engine, QUrl(QStringLiteral("qrc:/ConfigEditor/views/SqlModel.qml")));
    std::unique_ptr<QObject> model(component.create());
    if (!model) {
        std::fprintf(stderr, "SqlModel.qml did not load: %s\n", qUtf8Printable(component.errorString()));
        return 1;
    }
    PageStandIn page;
    model->setProperty("ui", QVariant::fromValue<QObject *>(&page));
    QObject *rowsModel = model->property("sqlData").value<QObject *>();

    std::printf("config editor listing round trip (median of repeated runs, milliseconds)\n");
    std::printf("%7s  %12s  %10s  %10s  %10s  %10s  %12s  %12s\n", "rows", "round trip", "service",
                "QML parse", "C++ split", "log lines", "trip/C++", "QML/C++");

    for (const int rows : {1000, 10000}) {
        QTemporaryDir dir;
        const QString file = dir.filePath(QStringLiteral("config.db"));
        if (!dir.isValid() || !makeDatabase(file, rows)) {
            std::fprintf(stderr, "cannot make the database in %s\n", qUtf8Printable(dir.path()));
            return 1;
        }
        DatabaseService service(file);
        QVariantMap answer;
        // The host answers on a later turn; here the answer goes straight
        // back so the time is the work alone.
        QObject::connect(&page, &PageStandIn::publish, &page,
                         [&](const QString &, const QString &, const QString &, const QVariant &param, bool) {
                             QVariant plain = param;
                             answer = service.answer(plain.toMap());
                             QMetaObject::invokeMethod(model.get(), "dbResponse",
                                                       Q_ARG(QVariant, QVariant(answer)));
                         });
        const int repeats = rows >= 10000 ? 7 : 21;

        g_logLines = 0;
        const double trip = medianMs(repeats, [&] {
            QMetaObject::invokeMethod(model.get(), "selectAll", Q_ARG(QVariant, QVariant(QString())));
        });
        const int logPerTrip = g_logLines / repeats;
        QObject::disconnect(&page, &PageStandIn::publish, &page, nullptr);
        const int listed = rowsModel->property("count").toInt();
        if (listed != rows) {
            std::fprintf(stderr, "the table holds %d rows, not %d\n", listed, rows);
            return 1;
        }

        const QVariantMap query{{QStringLiteral("cmd"), QStringLiteral("query")},
                                {QStringLiteral("target"), QStringLiteral("dataBaseQuery")},
                                {QStringLiteral("param"), QStringLiteral("select * from $table$")}};
        const double serviceMs = medianMs(repeats, [&] { answer = service.answer(query); });
        const QString text = answer.value(QStringLiteral("dataBaseResponse")).toString();
        const double qmlParse = medianMs(repeats, [&] {
            QMetaObject::invokeMethod(model.get(), "dbResponse", Q_ARG(QVariant, QVariant(answer)));
        });
        QVector<std::array<QString, 4>> split;
        const double cpp = medianMs(repeats * 5, [&] { splitInCpp(text, &split); });
        if (split.size() != rows || rowsModel->property("count").toInt() != rows) {
            std::fprintf(stderr, "row counts differ: C++ %d, QML %d, expected %d\n", int(split.size()),
                         rowsModel->property("count").toInt(), rows);
            return 1;
        }
        std::printf("%7d  %12.2f  %10.2f  %10.2f  %10.3f  %10d  %11.0fx  %11.0fx\n", rows, trip, serviceMs,
                    qmlParse, cpp, logPerTrip, trip / cpp, qmlParse / cpp);
    }
    return 0;
}

#include "bench_configeditor_listing.moc"

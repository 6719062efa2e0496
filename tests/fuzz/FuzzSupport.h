#pragma once

// What the libFuzzer harnesses share: the Qt application the host's classes
// need (offscreen, logs silenced: a harness runs millions of inputs), a
// scratch folder, a small configuration database restored before each input,
// and the check that turns a broken promise into a finding.

#include <VoraConfigSQLite.h>

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QString>

#include <sanitizer/common_interface_defs.h>
#include <sqlite3.h>

#include <cstdlib>

namespace Fuzz {

inline void check(bool ok, const char *promise)
{
    if (!ok) {
        // Where the sanitizers report, which libFuzzer keeps when it closes stderr.
        __sanitizer_report_error_summary((QByteArray("fuzz: broken promise: ") + promise).constData());
        std::abort();
    }
}

// The application, made on the first input; the host's logs go nowhere.
inline void init()
{
    static int argc = 1;
    static char name[] = "fuzz";
    static char *argv[] = {name, nullptr};
    static QGuiApplication *app = nullptr;
    if (app)
        return;
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    app = new QGuiApplication(argc, argv);
}

// A file in the harness's scratch folder, "<exe dir>/../scratch".
inline QString scratch(const QString &name)
{
    const QString dir = QCoreApplication::applicationDirPath() + QStringLiteral("/../scratch");
    QDir().mkpath(dir);
    return dir + QLatin1Char('/') + name;
}

inline QByteArray bytes(const uint8_t *data, size_t size)
{
    return QByteArray(reinterpret_cast<const char *>(data), int(size));
}

inline QByteArray readAll(const QString &file)
{
    QFile in(file);
    return in.open(QIODevice::ReadOnly) ? in.readAll() : QByteArray();
}

inline void writeAll(const QString &file, const QByteArray &bytes)
{
    QFile out(file);
    check(out.open(QIODevice::WriteOnly | QIODevice::Truncate) && out.write(bytes) == bytes.size(),
          "scratch file written");
}

// The configuration database every input starts from: four tables of the
// page's shape with values of each storage class, and the developer mode on.
inline QByteArray pristineDatabase()
{
    static const QByteArray bytes = [] {
        const QString file = scratch(QStringLiteral("pristine.db"));
        QFile::remove(file);
        sqlite3 *db = nullptr;
        check(sqlite3_open(qPrintable(file), &db) == SQLITE_OK, "pristine database opened");
        QByteArray sql;
        for (const char *table : {"config", "ui", "calibration", "scan"})
            sql += QByteArray("CREATE TABLE \"") + table
                    + "\" (key TEXT PRIMARY KEY NOT NULL, value, comment TEXT NOT NULL DEFAULT '');";
        sql += "INSERT INTO config VALUES ('developerModeEnabled', 1, ''), ('name', 'text', 'a comment');"
               "INSERT INTO ui VALUES ('cameraVideo.E7.needRightCamera', 'true', '');"
               "INSERT INTO calibration VALUES ('calibSavePic', 0, ''), ('readPicMod', 1, '');"
               "INSERT INTO scan VALUES ('IRSpeckle.gain', 2.5, '实时设置'), ('IRSpeckle.If_Save_Pic', 1, "
               "''),"
               " ('IRSpeckle.pseudo_color_section_1', 120, ''), ('blank', NULL, '');";
        check(sqlite3_exec(db, sql.constData(), nullptr, nullptr, nullptr) == SQLITE_OK, "pristine rows");
        sqlite3_close(db);
        return readAll(file);
    }();
    return bytes;
}

// The configuration database, as it was before any input.
inline QString freshDatabase()
{
    const QString file = scratch(QStringLiteral("config.db"));
    writeAll(file, pristineDatabase());
    VoraConfigSQLite::setDatabaseFileOverride(file);
    return file;
}

inline bool isJson(const QByteArray &text)
{
    QJsonParseError error;
    QJsonDocument::fromJson(text, &error);
    return error.error == QJsonParseError::NoError;
}

} // namespace Fuzz

#pragma once

#include <QString>

// The host's configuration database file: which file it is, and making it
// from the shipped sample when it does not exist yet.
class ConfigDatabase
{
public:
    // The default: "../Resources/res/config.db" against the executable's
    // directory, the place the plug-in names too.
    static QString defaultFile();

    // Makes sure file exists (creating it and its folder from the sample when
    // missing), that it is a sound SQLite database with tables (PRAGMA
    // quick_check), switches it to write-ahead logging, in which readers are
    // never blocked by a writer, and makes it the file every VoraConfigSQLite
    // opens. On failure returns false with a one-line reason naming the file;
    // nothing is left half-written and a damaged file is not written to.
    bool prepare(const QString &file, QString *error);

    QString fileName() const { return m_file; }
    bool wasCreated() const { return m_created; }

    // The sample database as SQL text, as compiled into the host.
    static QString sampleSql();

private:
    bool createFromSample(QString *error);
    bool checkAndUseWal(QString *error);

    QString m_file;
    bool m_created = false;
};

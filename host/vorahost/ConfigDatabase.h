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
    // missing) and makes it the file every VoraConfigSQLite opens. On failure
    // returns false with a one-line reason; nothing is left half-written.
    bool prepare(const QString &file, QString *error);

    QString fileName() const { return m_file; }
    bool wasCreated() const { return m_created; }

    // The sample database as SQL text, as compiled into the host.
    static QString sampleSql();

private:
    bool createFromSample(QString *error);

    QString m_file;
    bool m_created = false;
};

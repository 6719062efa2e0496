#pragma once

// Loads the built plug-in the way the host does and puts its controller into
// a box, so tests talk to the real thing over the real bus classes.

#include <VoraBox.h>
#include <VoraConfigSQLite.h>
#include <VoraFactory.h>
#include <VoraQObject.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QPluginLoader>
#include <QPointer>
#include <QScopedPointer>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QVariantMap>

#include <memory>

namespace VoraTest {

inline QString pluginFile()
{
    return QStringLiteral(VORA_PLUGIN_FILE);
}

// The plug-in's factory, loaded once per process like the host does.
inline CommonLib::VoraFactory *factory(QString *error = nullptr)
{
    static QPluginLoader loader(pluginFile());
    QObject *instance = loader.instance();
    if (!instance && error)
        *error = loader.errorString();
    return qobject_cast<CommonLib::VoraFactory *>(instance);
}

// The application tools controller, made through the factory and attached to
// a box of its own. Destroying the harness destroys both.
class Controller
{
public:
    Controller()
    {
        QString error;
        CommonLib::VoraFactory *f = factory(&error);
        if (!f) {
            m_error = error;
            return;
        }
        QObject *object = f->createObject(
                QString(), {{QStringLiteral("paramname"), QStringLiteral("ApplicationToolsController")}});
        m_object.reset(qobject_cast<CommonLib::VoraQObject *>(object));
        if (!m_object) {
            delete object;
            m_error = QStringLiteral("factory made no VoraQObject");
            return;
        }
        m_object->setBox(&m_box);
        m_object->start();
    }

    ~Controller()
    {
        m_object.reset();
        // Let deferred deletions (the developer mode's, the windows') run
        // before the next test.
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    bool isValid() const { return m_object != nullptr; }
    QString errorString() const { return m_error; }

    CommonLib::VoraQObject *object() const { return m_object.get(); }
    CommonLib::VoraBox &box() { return m_box; }

    // Delivers one message as the host does: empty topic, type and event.
    int deliver(const QVariantMap &param)
    {
        return m_box.deliver(m_object.get(), QString(), QString(), QString(), param);
    }

    // The parameter maps of every published message, oldest first.
    QList<QVariantMap> published() const
    {
        QList<QVariantMap> result;
        const auto messages = m_box.messages();
        for (const auto &message : messages)
            result.append(message.param);
        return result;
    }

    QStringList publishedCommands() const
    {
        QStringList result;
        const auto messages = m_box.messages();
        for (const auto &message : messages)
            result.append(message.param.value(QStringLiteral("cmd")).toString());
        return result;
    }

    // The live child of the controller whose class is className, if any.
    QObject *child(const char *className) const
    {
        if (!m_object)
            return nullptr;
        const auto children = m_object->children();
        for (QObject *child : children) {
            if (qstrcmp(child->metaObject()->className(), className) == 0)
                return child;
        }
        return nullptr;
    }

private:
    CommonLib::VoraBox m_box;
    std::unique_ptr<CommonLib::VoraQObject> m_object;
    QString m_error;
};

// A configuration database in a temporary folder, made from SQL text, and
// made the file every VoraConfigSQLite opens while the object lives.
class TempDatabase
{
public:
    explicit TempDatabase(const QString &sql = QString())
    {
        if (!m_dir.isValid())
            return;
        m_file = m_dir.filePath(QStringLiteral("config.db"));
        VoraConfigSQLite::setDatabaseFileOverride(m_file);
        create(sql);
    }

    ~TempDatabase() { VoraConfigSQLite::setDatabaseFileOverride(QString()); }

    bool isValid() const { return m_dir.isValid() && QFile::exists(m_file); }
    QString errorString() const { return m_dir.errorString(); }
    QString fileName() const { return m_file; }

    // The stored value and its SQLite type name ("integer", "real", "text",
    // "null"), read by a connection of its own; empty type for a missing row.
    QPair<QVariant, QString> value(const QString &table, const QString &key) const;
    bool exec(const QString &sql) const;

    static QString tableSql(const QStringList &tables)
    {
        QString sql;
        for (const QString &table : tables)
            sql += QStringLiteral("CREATE TABLE \"%1\" (key TEXT PRIMARY KEY NOT NULL, value, "
                                  "comment TEXT NOT NULL DEFAULT '');\n")
                           .arg(table);
        return sql;
    }

private:
    void create(const QString &sql);

    QTemporaryDir m_dir;
    QString m_file;
};

} // namespace VoraTest

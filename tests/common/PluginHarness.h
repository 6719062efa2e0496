#pragma once

// Loads the built plug-in the way the host does and puts its controller into
// a box, so tests talk to the real thing over the real bus classes; and a
// configuration database in a temporary folder, read back with the SQLite
// type of every value.

#include <VoraBox.h>
#include <VoraConfigSQLite.h>
#include <VoraFactory.h>
#include <VoraQObject.h>

#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPluginLoader>
#include <QSignalSpy>
#include <QStringList>
#include <QTemporaryDir>
#include <QTest>
#include <QVariantMap>

#include <memory>

namespace VoraTest {

// How long a test waits for what must come (a host's start, a window, a
// load): long, because under the sanitizers on one shared core these take
// seconds. A wait ends as soon as its thing comes; CTest's limit is the bound.
constexpr int PatienceMs = 60000;

// A table from a test's JSON data file, path relative to tests/.
inline QJsonValue dataTable(const char *file, const char *name)
{
    QFile f(QStringLiteral(VORA_SOURCE_DIR "/tests/") + QLatin1String(file));
    return f.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(f.readAll())[QLatin1String(name)]
                                       : QJsonValue();
}

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
        CommonLib::VoraFactory *f = factory(&m_error);
        QObject *object = f ? f->createObject(QString(), {{"paramname", "ApplicationToolsController"}})
                            : nullptr;
        m_object.reset(qobject_cast<CommonLib::VoraQObject *>(object));
        if (!m_object) {
            delete object;
            m_error += QStringLiteral(" (no controller made)");
            return;
        }
        m_object->setBox(&m_box);
        m_object->start();
    }

    ~Controller()
    {
        m_object.reset();
        // Deferred deletions (the developer mode's, the windows') run before
        // the next test.
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    bool isValid() const { return m_object != nullptr; }
    QString errorString() const { return m_error; }
    CommonLib::VoraQObject *object() const { return m_object.get(); }
    CommonLib::VoraBox &box() { return m_box; }

    // Delivers one message as the host does: empty topic, type and event.
    int deliver(const QVariantMap &param) { return m_box.deliver(m_object.get(), {}, {}, {}, param); }

    // Waits until the controller has run its start-up (10 ms after it was
    // made): from then on its last command is its own and not handed on.
    bool waitUntilStarted()
    {
        QSignalSpy handedOn(m_object.get(),
                            SIGNAL(notifySubscribeData(QString, QString, QString, QVariantMap, QString)));
        return QTest::qWaitFor([&] {
            const int before = handedOn.count();
            deliver({{"cmd", "showConfigEditor"}, {"visible", false}});
            return handedOn.count() == before;
        });
    }

    // The parameter maps of every published message, oldest first.
    QList<QVariantMap> published() const
    {
        QList<QVariantMap> result;
        for (const auto &message : m_box.messages())
            result.append(message.param);
        return result;
    }

    // The same as "cmd", or "cmd:changedKey" where there is one.
    QStringList publishedCommands() const
    {
        QStringList result;
        for (const QVariantMap &param : published())
            result.append(param.value("cmd").toString()
                          + (param.contains("changedKey") ? ":" + param.value("changedKey").toString() : ""));
        return result;
    }

    // The live child of the controller whose class is className, if any.
    QObject *child(const char *className) const
    {
        for (QObject *child : m_object->children()) {
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

// The rows a statement returns, fields joined by '|' (NULL as empty text),
// through a connection of its own, read-only unless write.
QStringList query(const QString &file, const QString &sql, bool write = false);
// A stored value and its SQLite type, "1|integer", "true|text", "|null";
// empty for a missing row.
QString value(const QString &file, const QString &table, const QString &key);
// The schema and every row of every table as "table|key|value|type|comment",
// sorted: anything a statement could have changed.
QStringList dump(const QString &file);
// Sets the "value|type" of row "table|key" in a dump, as a write would.
void setRow(QStringList &dump, const QString &tableKey, const QString &valueType);

// A configuration database in a temporary folder, made from SQL text, and
// made the file every VoraConfigSQLite opens while the object lives.
class TempDatabase
{
public:
    explicit TempDatabase(const QString &sql = QString());
    ~TempDatabase() { VoraConfigSQLite::setDatabaseFileOverride(QString()); }

    bool isValid() const;
    QString errorString() const { return m_dir.errorString(); }
    QString fileName() const { return m_file; }
    // "value|type" as VoraTest::value gives it.
    QString stored(const QString &table, const QString &key) const
    {
        return VoraTest::value(m_file, table, key);
    }
    QStringList dump() const { return VoraTest::dump(m_file); }
    bool exec(const QString &sql) const;

    static QString tableSql(const QStringList &tables);

private:
    QTemporaryDir m_dir;
    QString m_file;
};

} // namespace VoraTest

#include "MainWindowBackend.h"

#include "BusJson.h"
#include "BusLogModel.h"
#include "BusRouter.h"
#include "Protocol.h"
#include "SettingsInspector.h"
#include "WindowWatch.h"
#include "WriteJournal.h"

#include <QCoreApplication>
#include <QDir>

MainWindowBackend::MainWindowBackend(BusRouter *router, const QString &pluginFile, const QString &databaseFile,
                         SettingsInspector *inspector, WriteJournal *journal, QObject *parent)
    : QObject(parent),
      m_router(router),
      m_pluginFile(pluginFile),
      m_databaseFile(databaseFile),
      m_log(new BusLogModel(this)),
      m_configEditor(new WindowWatch(Protocol::ConfigEditorTitle, this)),
      m_inspector(inspector),
      m_journal(journal)
{
    connect(m_router, &BusRouter::messageRouted, this, [this](const QString &from, const QVariantMap &param) {
        m_log->add(from, param);
        // The editor opens or closes inside the delivery of this message.
        QMetaObject::invokeMethod(m_configEditor, &WindowWatch::check, Qt::QueuedConnection);
    });
    connect(m_configEditor, &WindowWatch::changed, this, &MainWindowBackend::configEditorOpenChanged);
}

MainWindowBackend::~MainWindowBackend() = default;

bool MainWindowBackend::configEditorOpen() const
{
    return m_configEditor->isOpen();
}

QObject *MainWindowBackend::log() const
{
    return m_log;
}

QObject *MainWindowBackend::journal() const
{
    return m_journal;
}

QObject *MainWindowBackend::inspector() const
{
    return m_inspector;
}

void MainWindowBackend::send(const QVariantMap &param)
{
    m_router->deliverToPlugin(BusJson::plain(param).toMap());
}

QString MainWindowBackend::shortPath(const QString &path)
{
    if (path.isEmpty())
        return path;
    const QString bundle = QDir::cleanPath(QCoreApplication::applicationDirPath() + QStringLiteral("/.."));
    if (path.startsWith(bundle + QLatin1Char('/')))
        return QStringLiteral("…/") + path.mid(bundle.size() + 1);
    const QString home = QDir::homePath();
    if (home.size() > 1 && path.startsWith(home + QLatin1Char('/')))
        return QStringLiteral("~/") + path.mid(home.size() + 1);
    const QStringList parts = path.split(QLatin1Char('/'));
    if (path.size() > 40 && parts.size() > 4)
        return QStringLiteral("…/") + parts.mid(parts.size() - 3).join(QLatin1Char('/'));
    return path;
}

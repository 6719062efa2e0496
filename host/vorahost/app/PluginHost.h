#pragma once

#include <QPluginLoader>
#include <QString>

#include <memory>

namespace CommonLib {
class VoraBox;
class VoraQObject;
} // namespace CommonLib

// Loads libApplicationTools the way the scanner host does: QPluginLoader,
// the factory's interface identifier checked in the metadata, the controller
// made by the factory, put into the host's box and started.
class PluginHost
{
public:
    PluginHost();
    ~PluginHost();

    // The bundle's plug-in: "<exe dir>/../plugins/libApplicationTools.so".
    static QString defaultFile();

    // On failure returns false and sets error to one line naming the file and
    // the reason.
    bool load(const QString &file, CommonLib::VoraBox *box, QString *error);

    CommonLib::VoraQObject *controller() const { return m_controller.get(); }

    // Stops and destroys the controller (and with it its windows) while the
    // host's engine and box still exist.
    void unload();

private:
    QPluginLoader m_loader;
    std::unique_ptr<CommonLib::VoraQObject> m_controller;
};

// The developer-mode snapshot as the host reads it: the input's first line is
// the snapshot's database record, the rest developer_mode_temp.json. The
// snapshot keeper checks it at start (keeping, binding or setting it aside),
// and the settings inspector reads it with the database into its rows and
// its "inspect" line, which must be JSON.
#include "FuzzSupport.h"

#include <BusRouter.h>
#include <SettingsInspector.h>
#include <SnapshotKeeper.h>
#include <VoraBox.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Fuzz::init();
    const QString database = Fuzz::freshDatabase();
    QDir folder(QFileInfo(SnapshotKeeper::snapshotFile()).absolutePath());
    folder.removeRecursively(); // what earlier inputs set aside
    QDir().mkpath(folder.path());
    const QByteArray input = Fuzz::bytes(data, size);
    const int end = input.indexOf('\n');
    const QByteArray snapshot = input.mid(end + 1);
    Fuzz::writeAll(SnapshotKeeper::ownerFile(), end < 0 ? QByteArray() : input.left(end));
    Fuzz::writeAll(SnapshotKeeper::snapshotFile(), snapshot);

    SnapshotKeeper keeper(database);
    QString error;
    QString notice;
    if (keeper.checkAtStart(false, &error, &notice))
        Fuzz::check(error.isEmpty(), "no error when the snapshot can be used");
    else
        Fuzz::check(!error.isEmpty() && Fuzz::readAll(SnapshotKeeper::snapshotFile()) == snapshot,
                    "a refused snapshot stays as it was");

    CommonLib::VoraBox box;
    BusRouter router(&box);
    SettingsInspector inspector(&router, nullptr, database);
    emit router.messageRouted("plugin", {{"cmd", "developerModeEnabledChanged"}, {"enabled", true}});
    inspector.refresh();
    Fuzz::check(Fuzz::isJson(inspector.inspectLine()), "the inspect line is JSON");
    return 0;
}

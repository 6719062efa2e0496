// The developer mode's snapshot on a full disk, for real: a small tmpfs
// mounted over the snapshot folder (as root) and filled. A save that does
// not fit keeps the previous snapshot whole and logs the file's error.

#include "DeveloperModeFixture.h"

#include <QProcess>
#include <QtTest>

#include <unistd.h>

using namespace DevModeTest;

class tst_SnapshotFullDisk : public QObject
{
    Q_OBJECT

private slots:
    void failedSaveKeepsThePreviousSnapshot()
    {
        if (geteuid() != 0)
            QSKIP("mounting a tmpfs needs root");
        removeSnapshotDir();
        QVERIFY(QDir().mkpath(snapshotDir()));
        if (QProcess::execute("mount", {"-t", "tmpfs", "-o", "size=64k", "tmpfs", snapshotDir()}) != 0)
            QSKIP("mount cannot mount a tmpfs here");
        struct Unmount
        {
            ~Unmount() { QProcess::execute("umount", {snapshotDir()}); }
        } unmount;
        VoraTest::TempDatabase db(schema() + row("calibration", "readPicMod", "0"));
        VoraTest::Controller controller;
        QObject *devMode = enterDeveloperMode(controller);
        QVERIFY(devMode);
        const QByteArray good = readFile(snapshotFile());
        QVERIFY(good.contains("\"enableReadCaliImage\": false"));

        QFile filler(snapshotDir() + "/filler");
        QVERIFY(filler.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
        while (filler.write(QByteArray(4096, 'f')) > 0) { }
        while (filler.write("f", 1) > 0) { }
        const QString full = filler.errorString();
        LogCollector log;
        QVERIFY(QMetaObject::invokeMethod(devMode, "updateValue", Q_ARG(QString, "enableReadCaliImage"),
                                          Q_ARG(QVariant, true)));
        QCOMPARE(readFile(snapshotFile()), good);
        QCOMPARE(log.lines("src/DeveloperMode/"),
                 QStringList("warning default src/DeveloperMode/DeveloperModeController.cpp "
                             "void DeveloperModeController::saveConfig(): "
                             + full));
    }
};

QTEST_GUILESS_MAIN(tst_SnapshotFullDisk)
#include "tst_snapshotfulldisk.moc"

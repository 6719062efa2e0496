// A host killed inside the developer mode, for real: one process enters the
// developer mode, changes settings and is killed with SIGKILL; the next
// process comes back in the developer mode from the stored flag and the
// snapshot alone, and leaving then puts the database back as it was before.

#include "DeveloperModeFixture.h"

#include <QJsonArray>
#include <QProcess>
#include <QtTest>

using namespace DevModeTest;

namespace {

QString insert(const char *table, const char *key, const char *sqlValue)
{
    return QStringLiteral("INSERT INTO %1 (key, value) VALUES ('%2', %3);\n")
            .arg(QLatin1String(table), QLatin1String(key), QLatin1String(sqlValue));
}

// Reads JSON lines of the helper until one says {"state": state}; the lines
// before it are appended to lines. False on a timeout or an early exit.
bool readUntilState(QProcess &process, const QString &state, QList<QJsonObject> *lines, int timeoutMs = 15000)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < timeoutMs) {
        while (process.canReadLine()) {
            const QJsonObject line = QJsonDocument::fromJson(process.readLine()).object();
            if (line.value("state").toString() == state)
                return true;
            lines->append(line);
        }
        if (process.state() == QProcess::NotRunning)
            return false;
        process.waitForReadyRead(100);
    }
    return false;
}

QStringList busCommands(const QList<QJsonObject> &lines)
{
    QStringList result;
    for (const QJsonObject &line : lines) {
        const QJsonObject bus = line.value("bus").toObject();
        QString cmd = bus.value("cmd").toString();
        if (bus.contains("changedKey"))
            cmd += QLatin1Char(':') + bus.value("changedKey").toString();
        result.append(cmd);
    }
    return result;
}

} // namespace

class tst_DeveloperModeCrash : public QObject
{
    Q_OBJECT

private slots:
    void init() { removeSnapshotDir(); }
    void cleanup() { removeSnapshotDir(); }
    void killedInsideDeveloperModeResumesAndRestores();

private:
    void startHelper(QProcess &process, const char *mode, const QString &db);
};

void tst_DeveloperModeCrash::startHelper(QProcess &process, const char *mode, const QString &db)
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    if (!env.contains("QT_QPA_PLATFORM"))
        env.insert("QT_QPA_PLATFORM", "offscreen");
    process.setProcessEnvironment(env);
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(QCoreApplication::applicationDirPath() + QStringLiteral("/developermodeprocess"),
                  {QString::fromLatin1(mode), db});
}

void tst_DeveloperModeCrash::killedInsideDeveloperModeResumesAndRestores()
{
    // Stored in the forms that leaving writes back, so that the restored
    // database can be compared with this one row by row.
    VoraTest::TempDatabase db(
            schema() + insert("ui", "cameraVideo.E7.needRightCamera", "'true'")
            + insert("calibration", "calibSavePic", "'false'") + insert("calibration", "readPicMod", "1")
            + insert("scan", "IRSpeckle.If_Save_Pic", "1") + insert("scan", "IRSpeckle.If_Save_GrayPic", "0")
            + insert("scan", "IRSpeckle.If_Save_ColorPic", "1") + insert("scan", "IRSpeckle.If_Read_Pic", "0")
            + insert("scan", "IRSpeckle.pseudo_color_section_1", "5")
            + insert("scan", "IRSpeckle.pseudo_color_section_2", "2.5")
            + insert("scan", "IRSpeckle.pseudo_color_section_3", "'x'")
            + insert("scan", "IRSpeckle.pseudo_color_section_4", "40")
            + insert("scan", "IRSpeckle.pseudo_color_section_5", "50")
            + insert("scan", "IRSpeckle.pseudo_color_section_6", "60")
            + insert("scan", "IRSpeckle.pseudo_color_bound_1", "'255,0,0'")
            + insert("scan", "IRSpeckle.pseudo_color_bound_2", "'0,255,0'")
            + insert("scan", "IRSpeckle.pseudo_color_bound_3", "'0,0,255'")
            + insert("scan", "IRSpeckle.pseudo_color_bound_4", "'1,2,3'")
            + insert("scan", "IRSpeckle.pseudo_color_bound_5", "'4,5,6'")
            + insert("scan", "IRSpeckle.pseudo_color_bound_6", "'7,8,9'")
            + insert("config", "watermarkEnabled", "'true'") + insert("config", "other", "'kept'"));
    QVERIFY2(db.isValid(), qPrintable(db.errorString()));
    const Dump original = dump(db.fileName());

    // First run: in, change, killed.
    QProcess first;
    startHelper(first, "enter", db.fileName());
    QVERIFY2(first.waitForStarted(), qPrintable(first.errorString()));
    QList<QJsonObject> lines;
    QVERIFY(readUntilState(first, "ready", &lines));
    QCOMPARE(
            busCommands(lines),
            QStringList({"developerModeEnabledChanged", "developerModeQuerySetting",
                         "developerModeSettingChanged:all", "developerModeSettingChanged:enableReadCaliImage",
                         "developerModeSettingChanged:enableSaveScanImage",
                         "developerModeSettingChanged:enableSaveScanImage_GrayPic",
                         "developerModeSettingChanged:enableSecondCameraWindow",
                         "developerModeSettingChanged:pseudo_color_bound_1",
                         "developerModeSettingChanged:pseudo_color_section_2",
                         "developerModeSettingChanged:enableWatermark",
                         "developerModeSettingChanged:enablePseudoColor"}));
    // What the host does on hearing that the developer mode is on.
    QVERIFY(db.exec("INSERT INTO config (key, value) VALUES ('developerModeEnabled', 'true')"));

    const QByteArray snapshotBeforeKill = readFile(snapshotFile());
    first.kill();
    QVERIFY(first.waitForFinished());
    QCOMPARE(first.exitStatus(), QProcess::CrashExit);

    const QByteArray snapshot = readFile(snapshotFile());
    QCOMPARE(snapshot, snapshotBeforeKill);
    const QJsonObject init = QJsonDocument::fromJson(snapshot).object().value("init").toObject();
    const QJsonObject last = QJsonDocument::fromJson(snapshot).object().value("last").toObject();
    QCOMPARE(init.value("enableReadCaliImage"), QJsonValue(true));
    QCOMPARE(last.value("enableReadCaliImage"), QJsonValue(false));
    QCOMPARE(init.value("pseudo_color_bound_1"), QJsonValue("#ff0000"));
    QCOMPARE(last.value("pseudo_color_bound_1"), QJsonValue("#0a141e"));
    QCOMPARE(init.value("rollbackFrame"), QJsonValue(4));
    QCOMPARE(last.value("rollbackFrame"), QJsonValue(4));
    // The changes reached the database before the kill.
    QCOMPARE(db.value("calibration", "readPicMod"), qMakePair(QVariant(0), QStringLiteral("integer")));
    QCOMPARE(db.value("scan", "IRSpeckle.pseudo_color_bound_1"),
             qMakePair(QVariant("10,20,30"), QStringLiteral("text")));

    // Someone changes the database meanwhile; the next run must not read it.
    QVERIFY(db.exec("UPDATE calibration SET value = 'tampered' WHERE key = 'readPicMod';"
                    "UPDATE scan SET value = 7 WHERE key = 'IRSpeckle.If_Save_Pic';"
                    "UPDATE scan SET value = '1,1,1' WHERE key = 'IRSpeckle.pseudo_color_bound_1';"
                    "UPDATE scan SET value = -1 WHERE key = 'IRSpeckle.pseudo_color_section_2';"
                    "UPDATE ui SET value = 'tampered' WHERE key = 'cameraVideo.E7.needRightCamera';"));

    // Second run: back in the developer mode by itself.
    QProcess second;
    startHelper(second, "resume", db.fileName());
    QVERIFY2(second.waitForStarted(), qPrintable(second.errorString()));
    lines.clear();
    QVERIFY(readUntilState(second, "resumed", &lines));
    QCOMPARE(busCommands(lines),
             QStringList({"developerModeEnabledChanged", "developerModeSettingChanged:all"}));
    QCOMPARE(lines.at(0).value("bus").toObject().value("enabled"), QJsonValue(true));
    QCOMPARE(lines.at(1).value("bus").toObject().value("settings").toObject(), last);
    QCOMPARE(readFile(snapshotFile()), snapshot);

    second.write("quit\n");
    second.closeWriteChannel();
    lines.clear();
    QVERIFY(readUntilState(second, "left", &lines));
    QVERIFY(second.waitForFinished());
    QCOMPARE(second.exitStatus(), QProcess::NormalExit);
    QCOMPARE(second.exitCode(), 0);
    QCOMPARE(busCommands(lines),
             QStringList({"developerModeSettingChanged:all", "developerModeEnabledChanged"}));
    QCOMPARE(lines.at(0).value("bus").toObject().value("settings").toObject(), init);
    QCOMPARE(lines.at(1).value("bus").toObject().value("enabled"), QJsonValue(false));

    // Every value from before is back, in the forms leaving writes; the
    // watermark keeps the developer mode's choice.
    Dump expected = original;
    expected.insert("calibration|readPicMod", stored("true", "text"));
    expected.insert("config|watermarkEnabled", stored("false", "text"));
    expected.insert("config|developerModeEnabled", stored("false", "text"));
    const QString mismatch = diff(dump(db.fileName()), expected);
    QVERIFY2(mismatch.isEmpty(), qPrintable(mismatch));
    QVERIFY(!QFile::exists(snapshotFile()));
}

QTEST_GUILESS_MAIN(tst_DeveloperModeCrash)
#include "tst_developermodecrash.moc"

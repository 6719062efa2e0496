// The plug-in as the host sees it: the metadata bytes in the built file,
// loading through QPluginLoader, the factory, and the resource bundles
// compiled in. (Its exported symbols: tst_standalonebuild.)

#include "PluginHarness.h"

#include <QtTest>

#include <dlfcn.h>

class tst_PluginContract : public QObject
{
    Q_OBJECT

private slots:
    void metadataBytes()
    {
        QFile file(VoraTest::pluginFile());
        QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(file.errorString()));
        const QByteArray bytes = file.readAll();
        const QByteArray magic("QTMETADATA !");
        const int at = bytes.indexOf(magic);
        QVERIFY2(at >= 0, "no metadata block in the plug-in");
        QCOMPARE(bytes.indexOf(magic, at + 1), -1);

        const QByteArray block = bytes.mid(at);
        QCOMPARE(quint8(block.at(12)), quint8(0)); // metadata format
        QCOMPARE(quint8(block.at(13)), quint8(5)); // Qt major
        QCOMPARE(quint8(block.at(14)), quint8(15)); // Qt minor
        QCOMPARE(quint8(block.at(15)), quint8(0)); // no debug, no special CPU features

        // One indefinite-length CBOR map of exactly two entries, no metadata key.
        int pos = 16;
        QCOMPARE(quint8(block.at(pos++)), quint8(0xbf));
        QCOMPARE(quint8(block.at(pos++)), quint8(0x02)); // interface identifier
        QCOMPARE(quint8(block.at(pos++)), quint8(0x78)); // text, one-byte length
        const int iidLength = quint8(block.at(pos++));
        QCOMPARE(iidLength, 46);
        const QByteArray iid = block.mid(pos, iidLength);
        pos += iidLength;
        QCOMPARE(iid, QByteArray(VoraFactory_iid));
        QVERIFY(iid.endsWith(".CommonLib.VoraQFactory"));
        QCOMPARE(quint8(block.at(pos++)), quint8(0x03)); // class name
        QCOMPARE(quint8(block.at(pos++)), quint8(0x78));
        const int classLength = quint8(block.at(pos++));
        QCOMPARE(classLength, 26);
        QCOMPARE(block.mid(pos, classLength), QByteArray("ApplicationToolsFactoryImp"));
        pos += classLength;
        QCOMPARE(quint8(block.at(pos)), quint8(0xff)); // end of map
    }
    void instanceIsSingle()
    {
        // The loader's instance is the factory, made without a parent.
        QString error;
        CommonLib::VoraFactory *first = VoraTest::factory(&error);
        QVERIFY2(first, qPrintable(error));
        QVERIFY(!first->parent());
        QPluginLoader other(VoraTest::pluginFile());
        QVERIFY(!other.metaData().value("debug").toBool());
        QCOMPARE(other.instance(), static_cast<QObject *>(first));

        void *handle = dlopen(QFile::encodeName(VoraTest::pluginFile()).constData(), RTLD_NOW | RTLD_NOLOAD);
        QVERIFY(handle);
        auto instanceFn = reinterpret_cast<QObject *(*)()>(dlsym(handle, "qt_plugin_instance"));
        QVERIFY(instanceFn);
        QCOMPARE(instanceFn(), static_cast<QObject *>(first));
        QCOMPARE(instanceFn(), instanceFn());
        dlclose(handle);
    }
    void createObject_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QVariantMap>("params");
        QTest::addColumn<bool>("made");
        for (const QJsonValue r : VoraTest::dataTable("plugin/plugincontract.json", "createObject").toArray())
            QTest::newRow(qPrintable(r[0].toString()))
                    << r[1].toString() << r[2].toObject().toVariantMap() << r[3].toBool();
    }
    // A new controller without a parent, owned by the caller; its start and
    // stop do nothing and say 0.
    void createObject()
    {
        QFETCH(QString, name);
        QFETCH(QVariantMap, params);
        QFETCH(bool, made);
        std::unique_ptr<QObject> object(VoraTest::factory()->createObject(name, params));
        QCOMPARE(bool(object), made);
        auto *vora = qobject_cast<CommonLib::VoraQObject *>(object.get());
        if (made)
            QVERIFY(vora && !vora->parent() && vora->start() == 0 && vora->stop() == 0);
    }
    void resourceBundles_data()
    {
        QTest::addColumn<QString>("file");
        for (const QJsonValue file : VoraTest::dataTable("plugin/plugincontract.json", "resources").toArray())
            QTest::newRow(qPrintable(file.toString())) << ":/" + file.toString();
    }
    void resourceBundles()
    {
        QFETCH(QString, file);
        QVERIFY(VoraTest::factory()); // loading registers both bundles

        // The compiled-in file is the one in the source tree.
        QFile compiled(file);
        QVERIFY2(compiled.open(QIODevice::ReadOnly), qPrintable(file));
        QFile source(QStringLiteral(VORA_SOURCE_DIR "/src/") + file.mid(2));
        QVERIFY2(source.open(QIODevice::ReadOnly), qPrintable(source.fileName()));
        QCOMPARE(compiled.readAll(), source.readAll());
    }
};

QTEST_GUILESS_MAIN(tst_PluginContract)
#include "tst_plugincontract.moc"

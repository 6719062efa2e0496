// The plug-in as the host sees it: the metadata bytes in the built file, the
// exported entry points, loading through QPluginLoader, and the factory.

#include "PluginHarness.h"

#include <QtTest>

#include <dlfcn.h>

class tst_PluginContract : public QObject
{
    Q_OBJECT

private slots:
    void metadataBytes();
    void loaderSeesFactory();
    void instanceIsSingle();
    void createObject_data();
    void createObject();
    void resourceBundles_data();
    void resourceBundles();
    void bundleIsRelocatable();
};

void tst_PluginContract::metadataBytes()
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

void tst_PluginContract::loaderSeesFactory()
{
    QPluginLoader loader(VoraTest::pluginFile());
    const QJsonObject meta = loader.metaData();
    QCOMPARE(meta.value(QLatin1String("IID")).toString(), QStringLiteral(VoraFactory_iid));
    QCOMPARE(meta.value(QLatin1String("className")).toString(), QStringLiteral("ApplicationToolsFactoryImp"));
    QVERIFY(!meta.value(QLatin1String("debug")).toBool());
    QVERIFY(!meta.contains(QLatin1String("MetaData"))
            || meta.value(QLatin1String("MetaData")).toObject().isEmpty());

    QObject *instance = loader.instance();
    QVERIFY2(instance, qPrintable(loader.errorString()));
    QCOMPARE(instance->metaObject()->className(), "ApplicationToolsFactoryImp");
    QVERIFY(qobject_cast<CommonLib::VoraFactory *>(instance));
    QVERIFY(!instance->parent());
    // The factory adds nothing to its meta-object but its name.
    const QMetaObject *mo = instance->metaObject();
    QCOMPARE(mo->methodCount(), mo->superClass()->methodCount());
    QCOMPARE(mo->propertyCount(), mo->superClass()->propertyCount());
}

void tst_PluginContract::instanceIsSingle()
{
    QString error;
    CommonLib::VoraFactory *first = VoraTest::factory(&error);
    QVERIFY2(first, qPrintable(error));
    QPluginLoader other(VoraTest::pluginFile());
    QCOMPARE(other.instance(), static_cast<QObject *>(first));

    void *handle = dlopen(QFile::encodeName(VoraTest::pluginFile()).constData(), RTLD_NOW | RTLD_NOLOAD);
    QVERIFY(handle);
    auto instanceFn = reinterpret_cast<QObject *(*)()>(dlsym(handle, "qt_plugin_instance"));
    QVERIFY(instanceFn);
    QCOMPARE(instanceFn(), static_cast<QObject *>(first));
    QCOMPARE(instanceFn(), instanceFn());
    dlclose(handle);
}

void tst_PluginContract::createObject_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QVariantMap>("params");
    QTest::addColumn<bool>("made");

    const QString key = QStringLiteral("paramname");
    QTest::newRow("exact") << QString() << QVariantMap{{key, QStringLiteral("ApplicationToolsController")}}
                           << true;
    QTest::newRow("upper case") << QString()
                                << QVariantMap{{key, QStringLiteral("APPLICATIONTOOLSCONTROLLER")}} << true;
    QTest::newRow("lower case") << QString()
                                << QVariantMap{{key, QStringLiteral("applicationtoolscontroller")}} << true;
    QTest::newRow("name argument ignored")
            << QStringLiteral("SomethingElse")
            << QVariantMap{{key, QStringLiteral("ApplicationToolsController")}} << true;
    QTest::newRow("shorter") << QString() << QVariantMap{{key, QStringLiteral("ApplicationTools")}} << false;
    QTest::newRow("other") << QString() << QVariantMap{{key, QStringLiteral("DeveloperModeController")}}
                           << false;
    QTest::newRow("trailing blank") << QString()
                                    << QVariantMap{{key, QStringLiteral("ApplicationToolsController ")}}
                                    << false;
    QTest::newRow("empty map") << QStringLiteral("ApplicationToolsController") << QVariantMap() << false;
    QTest::newRow("other key") << QString()
                               << QVariantMap{{QStringLiteral("name"),
                                               QStringLiteral("ApplicationToolsController")}}
                               << false;
    QTest::newRow("key case") << QString()
                              << QVariantMap{{QStringLiteral("ParamName"),
                                              QStringLiteral("ApplicationToolsController")}}
                              << false;
}

void tst_PluginContract::createObject()
{
    QFETCH(QString, name);
    QFETCH(QVariantMap, params);
    QFETCH(bool, made);

    CommonLib::VoraFactory *factory = VoraTest::factory();
    QVERIFY(factory);
    std::unique_ptr<QObject> object(factory->createObject(name, params));
    QCOMPARE(bool(object), made);
    if (made) {
        QCOMPARE(object->metaObject()->className(), "ApplicationToolsController");
        QVERIFY(!object->parent());
        auto *vora = qobject_cast<CommonLib::VoraQObject *>(object.get());
        QVERIFY(vora);
        QCOMPARE(vora->start(), 0);
        QCOMPARE(vora->stop(), 0);
    }
}

void tst_PluginContract::resourceBundles_data()
{
    QTest::addColumn<QString>("file");
    QTest::newRow("editor table") << QStringLiteral(":/ConfigEditor/views/VoraTableView.qml");
    QTest::newRow("editor model") << QStringLiteral(":/ConfigEditor/views/SqlModel.qml");
    QTest::newRow("developer page") << QStringLiteral(":/DeveloperMode/views/DeveloperModeView.qml");
    QTest::newRow("basic tab") << QStringLiteral(":/DeveloperMode/views/BasicConfiguration.qml");
    QTest::newRow("device tab") << QStringLiteral(":/DeveloperMode/views/DeviceRelated.qml");
    QTest::newRow("input bar") << QStringLiteral(":/DeveloperMode/views/comps/InputBar.qml");
    QTest::newRow("switch bar") << QStringLiteral(":/DeveloperMode/views/comps/SwitchBar.qml");
    QTest::newRow("switch bar multi") << QStringLiteral(":/DeveloperMode/views/comps/SwitchBarMulti.qml");
    QTest::newRow("colour picker bar") << QStringLiteral(":/DeveloperMode/views/comps/ColorPickerBar.qml");
    QTest::newRow("split line") << QStringLiteral(":/DeveloperMode/views/comps/SplitLine.qml");
}

void tst_PluginContract::resourceBundles()
{
    QFETCH(QString, file);
    QVERIFY(VoraTest::factory()); // loading registers both bundles

    // The compiled-in file is the one in the source tree.
    QFile compiled(file);
    QVERIFY2(compiled.open(QIODevice::ReadOnly), qPrintable(file));
    const QString relative = file.mid(2); // drop ":/"
    QFile source(QStringLiteral(VORA_SOURCE_DIR "/src/") + relative);
    QVERIFY2(source.open(QIODevice::ReadOnly), qPrintable(source.fileName()));
    QCOMPARE(compiled.readAll(), source.readAll());

    // The exported functions unregister and register the bundle again.
    void *handle = dlopen(QFile::encodeName(VoraTest::pluginFile()).constData(), RTLD_NOW | RTLD_NOLOAD);
    QVERIFY(handle);
    const QByteArray bundle = relative.startsWith(QLatin1String("ConfigEditor")) ? "ConfigEditor"
                                                                                 : "DeveloperMode";
    const QByteArray init = "_Z" + QByteArray::number(15 + bundle.size()) + "qInitResources_" + bundle + "v";
    const QByteArray cleanup = "_Z" + QByteArray::number(18 + bundle.size()) + "qCleanupResources_" + bundle
            + "v";
    auto initFn = reinterpret_cast<int (*)()>(dlsym(handle, init.constData()));
    auto cleanupFn = reinterpret_cast<int (*)()>(dlsym(handle, cleanup.constData()));
    QVERIFY(initFn && cleanupFn);
    QCOMPARE(cleanupFn(), 1);
    QVERIFY(!QFile::exists(file));
    QCOMPARE(initFn(), 1);
    QVERIFY(QFile::exists(file));
    dlclose(handle);
}

void tst_PluginContract::bundleIsRelocatable()
{
    // The plug-in finds the host libraries relative to itself, so the bundle
    // can be copied anywhere.
    const QString plugin = VoraTest::pluginFile();
    QProcess readelf;
    readelf.start(QStringLiteral("readelf"), {QStringLiteral("-d"), plugin});
    if (!readelf.waitForFinished() || readelf.exitCode() != 0)
        QSKIP("readelf is not available");
    const QString dynamic = QString::fromLocal8Bit(readelf.readAllStandardOutput());
    QVERIFY2(dynamic.contains(QLatin1String("[$ORIGIN/../lib]")), qPrintable(dynamic));
    QVERIFY(!dynamic.contains(QStringLiteral(VORA_BUNDLE_DIR)));
    // Linked against the two host libraries and Qt only.
    const QRegularExpression needed(QStringLiteral("\\(NEEDED\\).*\\[(.*)\\]"));
    auto it = needed.globalMatch(dynamic);
    while (it.hasNext()) {
        const QString lib = it.next().captured(1);
        QVERIFY2(lib.startsWith(QLatin1String("libQt5")) || lib.startsWith(QLatin1String("libVora"))
                         || lib.startsWith(QLatin1String("libstdc++"))
                         || lib.startsWith(QLatin1String("libgcc_s"))
                         || lib.startsWith(QLatin1String("libc.")) || lib.startsWith(QLatin1String("libm."))
                         || lib.startsWith(QLatin1String("libasan"))
                         || lib.startsWith(QLatin1String("libubsan")),
                 qPrintable(lib));
    }
}

QTEST_GUILESS_MAIN(tst_PluginContract)
#include "tst_plugincontract.moc"

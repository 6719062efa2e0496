// The virtual slot order of the host classes. A plug-in compiled against
// these headers calls the host through its virtual tables, so the order is
// binary interface: this reads each slot from the Itanium representation of a
// pointer to a virtual member function (1 + byte offset into the table).
// The plug-in's own classes are compiled in here as well, for what the
// loaded plug-in cannot show: the strategy's values and the factory's
// constructor.

#include "ApplicationToolsFactoryImp.h"
#include "ConfigStrategy.h"

#include <VoraConfigSQLite.h>
#include <VoraQObject.h>

#include <QtTest>

#include <cstring>

namespace {

// Slot index of a virtual member function in its class's primary table (the
// this-adjustment must be 0); -1 for a non-virtual one.
template<typename F>
int slotOf(F f)
{
    struct
    {
        std::uintptr_t ptr;
        std::ptrdiff_t adj;
    } rep;
    static_assert(sizeof(F) == sizeof rep, "Itanium member function pointers expected");
    std::memcpy(&rep, &f, sizeof rep);
    return rep.adj != 0 ? -2 : rep.ptr & 1 ? int((rep.ptr - 1) / sizeof(void *)) : -1;
}

// Where the first new virtual of a direct subclass lands: after QObject's
// slots, or after a virtual destructor's two.
struct QObjectProbe : QObject
{
    virtual void firstNewVirtual() { }
};
struct PlainProbe
{
    virtual ~PlainProbe() = default;
    virtual void firstNewVirtual() { }
};

using CommonLib::VoraQObject;
using S = VoraConfigStrategy;

} // namespace

class tst_VtableLayout : public QObject
{
    Q_OBJECT

private slots:
    void slotOrder_data()
    {
        QTest::addColumn<int>("slot");
        QTest::addColumn<int>("expected");
        const int q = slotOf(&QObjectProbe::firstNewVirtual), d = slotOf(&PlainProbe::firstNewVirtual);
        auto row = [](const char *tag, int slot, int expected) { QTest::newRow(tag) << slot << expected; };
        row("VoraQObject::start", slotOf(&VoraQObject::start), q);
        row("VoraQObject::stop", slotOf(&VoraQObject::stop), q + 1);
        row("getConfig int",
            slotOf(static_cast<int (VoraQObject::*)(QString, int &, S *)>(&VoraQObject::getConfig)), q + 2);
        row("getConfig float",
            slotOf(static_cast<int (VoraQObject::*)(QString, float &, S *)>(&VoraQObject::getConfig)), q + 3);
        row("getConfig double",
            slotOf(static_cast<int (VoraQObject::*)(QString, double &, S *)>(&VoraQObject::getConfig)),
            q + 4);
        row("getConfig bool",
            slotOf(static_cast<int (VoraQObject::*)(QString, bool &, S *)>(&VoraQObject::getConfig)), q + 5);
        row("getConfig QString",
            slotOf(static_cast<int (VoraQObject::*)(QString, QString &, S *)>(&VoraQObject::getConfig)),
            q + 6);
        row("getConfig QVariant",
            slotOf(static_cast<QVariant (VoraQObject::*)(const QString &, S *)>(&VoraQObject::getConfig)),
            q + 7);
        row("setConfig int",
            slotOf(static_cast<int (VoraQObject::*)(QString, int, S *)>(&VoraQObject::setConfig)), q + 8);
        row("setConfig float",
            slotOf(static_cast<int (VoraQObject::*)(QString, float, S *)>(&VoraQObject::setConfig)), q + 9);
        row("setConfig double",
            slotOf(static_cast<int (VoraQObject::*)(QString, double, S *)>(&VoraQObject::setConfig)), q + 10);
        row("setConfig bool",
            slotOf(static_cast<int (VoraQObject::*)(QString, bool, S *)>(&VoraQObject::setConfig)), q + 11);
        row("setConfig QString",
            slotOf(static_cast<int (VoraQObject::*)(QString, QString, S *)>(&VoraQObject::setConfig)),
            q + 12);
        row("setConfig QVariant",
            slotOf(static_cast<int (VoraQObject::*)(QString, QVariant, S *)>(&VoraQObject::setConfig)),
            q + 13);
        row("VoraQObject::execQuery", slotOf(&VoraQObject::execQuery), q + 14);
        row("VoraQObject::box", slotOf(&VoraQObject::box), q + 15);
        row("VoraQObject::setBox", slotOf(&VoraQObject::setBox), q + 16);
        row("VoraQObject::onSubscribeData", slotOf(&VoraQObject::onSubscribeData), q + 17);
        row("VoraQObject::publish is not virtual", slotOf(&VoraQObject::publish), -1);
        // The configuration interface is the second base, without a virtual
        // destructor: its own table starts with the first overload.
        using A = CommonLib::VoraConfigAccess;
        row("VoraConfigAccess first getConfig",
            slotOf(static_cast<int (A::*)(QString, int &, S *)>(&A::getConfig)), 0);
        row("VoraConfigAccess last setConfig",
            slotOf(static_cast<int (A::*)(QString, QVariant, S *)>(&A::setConfig)), 11);
        row("VoraConfigAccess has no virtual destructor", std::has_virtual_destructor<A>::value, 0);
        row("VoraFactory::createObject", slotOf(&CommonLib::VoraFactory::createObject), q);
        row("VoraConfigStrategy::getDBFile", slotOf(&S::getDBFile), d);
        row("VoraConfigStrategy::getXmlFile", slotOf(&S::getXmlFile), d + 1);
        row("VoraConfigStrategy::getDBTableName", slotOf(&S::getDBTableName), d + 2);
        row("VoraConfigStrategy::getDBTablePrefix", slotOf(&S::getDBTablePrefix), d + 3);
        row("ConfigStrategy::getDBFile", slotOf(&ConfigStrategy::getDBFile), d);
        row("ConfigStrategy::getDBTablePrefix", slotOf(&ConfigStrategy::getDBTablePrefix), d + 3);
        row("VoraConfigSQLite::open", slotOf(&VoraConfigSQLite::open), d);
        row("VoraConfigSQLite::close", slotOf(&VoraConfigSQLite::close), d + 1);
        row("VoraConfigSQLite::getConfig", slotOf(&VoraConfigSQLite::getConfig), d + 2);
        row("VoraConfigSQLite::setConfig", slotOf(&VoraConfigSQLite::setConfig), d + 3);
        row("VoraConfigSQLite::setConfigStrategy is not virtual",
            slotOf(&VoraConfigSQLite::setConfigStrategy), -1);
    }
    void slotOrder()
    {
        QFETCH(int, slot);
        QFETCH(int, expected);
        QCOMPARE(slot, expected);
    }
    // What the plug-in's strategy reports to the host, whose success is
    // 0x31000001; its table name is open to its user.
    void configStrategy()
    {
        ConfigStrategy strategy("config", QString());
        VoraConfigStrategy &asHost = strategy;
        QString file, password, xml = "x", name, prefix = "x";
        QCOMPARE(QVector<int>({asHost.getDBFile(file, password), asHost.getXmlFile(xml),
                               asHost.getDBTableName(name), asHost.getDBTablePrefix(prefix)}),
                 QVector<int>(4, 0x31000001));
        QCOMPARE(QStringList({file, password, xml, name, prefix}),
                 QStringList({"../Resources/res/config.db", "1987marbles7Q", "", "config", ""}));
        strategy.m_tableName = "scan";
        asHost.getDBTableName(name);
        asHost.getDBFile(file, password);
        QCOMPARE(QStringList({file, password, name}),
                 QStringList({"../Resources/res/config.db", "1987marbles7Q", "scan"}));
    }
    void factoryIgnoresItsParent()
    {
        QObject parent;
        ApplicationToolsFactoryImp factory(&parent);
        QCOMPARE(factory.parent(), nullptr);
        QVERIFY(parent.children().isEmpty());
    }
};

QTEST_GUILESS_MAIN(tst_VtableLayout)
#include "tst_vtablelayout.moc"

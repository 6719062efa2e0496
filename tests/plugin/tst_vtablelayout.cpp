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
#include <VoraConfigStrategy.h>
#include <VoraFactory.h>
#include <VoraQObject.h>

#include <QtTest>

#include <cstring>

namespace {

struct MemberFunctionRep
{
    std::uintptr_t ptr;
    std::ptrdiff_t adj;
};

// Slot index of a virtual member function and the this-adjustment of the
// table it lives in; -1 for a non-virtual one.
template<typename F>
QPair<int, int> slotOf(F f)
{
    static_assert(sizeof(F) == sizeof(MemberFunctionRep), "Itanium member function pointers expected");
    MemberFunctionRep rep;
    std::memcpy(&rep, &f, sizeof rep);
    if (!(rep.ptr & 1))
        return {-1, int(rep.adj)};
    return {int((rep.ptr - 1) / sizeof(void *)), int(rep.adj)};
}

// The number of slots QObject's own table has: a new virtual of a direct
// subclass lands right after them.
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

} // namespace

class tst_VtableLayout : public QObject
{
    Q_OBJECT

private slots:
    void voraQObject();
    void configAccessBase();
    void voraFactory();
    void configStrategy();
    void configSQLite();
    void factoryIgnoresItsParent();
};

void tst_VtableLayout::voraQObject()
{
    const int base = slotOf(&QObjectProbe::firstNewVirtual).first;
    QVERIFY(base > 0);

    using S = VoraConfigStrategy;
    const QVector<QPair<int, int>> table = {
            slotOf(&VoraQObject::start),
            slotOf(&VoraQObject::stop),
            slotOf(static_cast<int (VoraQObject::*)(QString, int &, S *)>(&VoraQObject::getConfig)),
            slotOf(static_cast<int (VoraQObject::*)(QString, float &, S *)>(&VoraQObject::getConfig)),
            slotOf(static_cast<int (VoraQObject::*)(QString, double &, S *)>(&VoraQObject::getConfig)),
            slotOf(static_cast<int (VoraQObject::*)(QString, bool &, S *)>(&VoraQObject::getConfig)),
            slotOf(static_cast<int (VoraQObject::*)(QString, QString &, S *)>(&VoraQObject::getConfig)),
            slotOf(static_cast<QVariant (VoraQObject::*)(const QString &, S *)>(&VoraQObject::getConfig)),
            slotOf(static_cast<int (VoraQObject::*)(QString, int, S *)>(&VoraQObject::setConfig)),
            slotOf(static_cast<int (VoraQObject::*)(QString, float, S *)>(&VoraQObject::setConfig)),
            slotOf(static_cast<int (VoraQObject::*)(QString, double, S *)>(&VoraQObject::setConfig)),
            slotOf(static_cast<int (VoraQObject::*)(QString, bool, S *)>(&VoraQObject::setConfig)),
            slotOf(static_cast<int (VoraQObject::*)(QString, QString, S *)>(&VoraQObject::setConfig)),
            slotOf(static_cast<int (VoraQObject::*)(QString, QVariant, S *)>(&VoraQObject::setConfig)),
            slotOf(&VoraQObject::execQuery),
            slotOf(&VoraQObject::box),
            slotOf(&VoraQObject::setBox),
            slotOf(&VoraQObject::onSubscribeData),
    };
    for (int i = 0; i < table.size(); ++i) {
        QCOMPARE(table.at(i).second, 0); // all in the primary (QObject) table
        QCOMPARE(table.at(i).first, base + i);
    }
    // publish is not virtual.
    QCOMPARE(slotOf(&VoraQObject::publish).first, -1);
}

void tst_VtableLayout::configAccessBase()
{
    using A = CommonLib::VoraConfigAccess;
    using S = VoraConfigStrategy;
    // No virtual destructor in this base: the first overload is slot 0.
    QCOMPARE(slotOf(static_cast<int (A::*)(QString, int &, S *)>(&A::getConfig)).first, 0);
    QCOMPARE(slotOf(static_cast<QVariant (A::*)(const QString &, S *)>(&A::getConfig)).first, 5);
    QCOMPARE(slotOf(static_cast<int (A::*)(QString, int, S *)>(&A::setConfig)).first, 6);
    QCOMPARE(slotOf(static_cast<int (A::*)(QString, QVariant, S *)>(&A::setConfig)).first, 11);
    QVERIFY(!std::has_virtual_destructor<A>::value);
    // It is the second base: objects are reached through their QObject half.
    QVERIFY((std::is_base_of<A, VoraQObject>::value));
}

void tst_VtableLayout::voraFactory()
{
    const int base = slotOf(&QObjectProbe::firstNewVirtual).first;
    QCOMPARE(slotOf(&CommonLib::VoraFactory::createObject).first, base);
}

void tst_VtableLayout::configStrategy()
{
    // A virtual destructor takes two slots (complete and deleting).
    const int afterDestructor = slotOf(&PlainProbe::firstNewVirtual).first;
    QCOMPARE(afterDestructor, 2);
    QCOMPARE(slotOf(&VoraConfigStrategy::getDBFile).first, afterDestructor);
    QCOMPARE(slotOf(&VoraConfigStrategy::getXmlFile).first, afterDestructor + 1);
    QCOMPARE(slotOf(&VoraConfigStrategy::getDBTableName).first, afterDestructor + 2);
    QCOMPARE(slotOf(&VoraConfigStrategy::getDBTablePrefix).first, afterDestructor + 3);
    // The plug-in's strategy only fills them in.
    QCOMPARE(slotOf(&ConfigStrategy::getDBFile).first, afterDestructor);
    QCOMPARE(slotOf(&ConfigStrategy::getDBTablePrefix).first, afterDestructor + 3);

    // And it reports what the host expects.
    ConfigStrategy strategy(QStringLiteral("config"), QString());
    VoraConfigStrategy &asHost = strategy;
    QString file, password, xml = QStringLiteral("x"), name, prefix = QStringLiteral("x");
    QCOMPARE(asHost.getDBFile(file, password), 0x31000001);
    QCOMPARE(asHost.getXmlFile(xml), 0x31000001);
    QCOMPARE(asHost.getDBTableName(name), 0x31000001);
    QCOMPARE(asHost.getDBTablePrefix(prefix), 0x31000001);
    QCOMPARE(file, QStringLiteral("../Resources/res/config.db"));
    QCOMPARE(password, QStringLiteral("1987marbles7Q"));
    QCOMPARE(xml, QString(""));
    QCOMPARE(name, QStringLiteral("config"));
    QCOMPARE(prefix, QString(""));
    strategy.m_tableName = QStringLiteral("scan");
    asHost.getDBTableName(name);
    asHost.getDBFile(file, password);
    QCOMPARE(name, QStringLiteral("scan"));
    QCOMPARE(file, QStringLiteral("../Resources/res/config.db"));
    QCOMPARE(password.size(), 13);
}

void tst_VtableLayout::configSQLite()
{
    const int afterDestructor = slotOf(&PlainProbe::firstNewVirtual).first;
    QCOMPARE(slotOf(&VoraConfigSQLite::open).first, afterDestructor);
    QCOMPARE(slotOf(&VoraConfigSQLite::close).first, afterDestructor + 1);
    QCOMPARE(slotOf(&VoraConfigSQLite::getConfig).first, afterDestructor + 2);
    QCOMPARE(slotOf(&VoraConfigSQLite::setConfig).first, afterDestructor + 3);
    QCOMPARE(slotOf(&VoraConfigSQLite::setConfigStrategy).first, -1);
}

void tst_VtableLayout::factoryIgnoresItsParent()
{
    QObject parent;
    ApplicationToolsFactoryImp factory(&parent);
    QCOMPARE(factory.parent(), nullptr);
    QVERIFY(parent.children().isEmpty());
}

QTEST_GUILESS_MAIN(tst_VtableLayout)
#include "tst_vtablelayout.moc"

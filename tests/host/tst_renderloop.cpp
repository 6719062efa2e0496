// Which OpenGL renderers vorahost takes for software rasterizers, whose
// windows then share one render loop.

#include "RenderLoop.h"

#include <QtTest>

class tst_RenderLoop : public QObject
{
    Q_OBJECT

private slots:
    void softwareRenderers_data();
    void softwareRenderers();
};

void tst_RenderLoop::softwareRenderers_data()
{
    QTest::addColumn<QByteArray>("renderer");
    QTest::addColumn<bool>("software");
    QTest::newRow("llvmpipe") << QByteArray("llvmpipe (LLVM 15.0.6, 256 bits)") << true;
    QTest::newRow("softpipe") << QByteArray("softpipe") << true;
    QTest::newRow("swrast") << QByteArray("Software Rasterizer") << true;
    QTest::newRow("Intel") << QByteArray("Mesa Intel(R) UHD Graphics 620 (KBL GT2)") << false;
    QTest::newRow("AMD") << QByteArray("AMD Radeon RX 6600 (radeonsi, navi23, LLVM 15.0.6)") << false;
    QTest::newRow("NVIDIA") << QByteArray("NVIDIA GeForce RTX 3060/PCIe/SSE2") << false;
    QTest::newRow("none") << QByteArray() << false;
}

void tst_RenderLoop::softwareRenderers()
{
    QFETCH(QByteArray, renderer);
    QFETCH(bool, software);
    QCOMPARE(RenderLoop::isSoftwareRenderer(renderer), software);
}

QTEST_APPLESS_MAIN(tst_RenderLoop)
#include "tst_renderloop.moc"

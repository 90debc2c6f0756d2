// SPDX-License-Identifier: MIT
#include "CallbackPacer.h"
#include "SpeedMeter.h"

#include <QtTest>

using namespace VantorEngine;

class tst_CallbackPacer : public QObject
{
    Q_OBJECT
private slots:
    void paces_data();
    void paces();
    void measuresSpeed();
    void forgetsTheSpeedOfAStall();
};

void tst_CallbackPacer::paces_data()
{
    QTest::addColumn<int>("configured");
    QTest::addColumn<qint64>("costUs");
    QTest::addColumn<qint64>("files");
    QTest::addColumn<int>("interval");
    QTest::newRow("few files") << 100 << qint64(50) << qint64(3) << 100;
    QTest::newRow("a cost of a fifth is borne") << 100 << qint64(25000) << qint64(3) << 100;
    QTest::newRow("a greater cost stretches") << 100 << qint64(50000) << qint64(3) << 200;
    QTest::newRow("1,000 files") << 100 << qint64(0) << qint64(1000) << 100;
    QTest::newRow("10,000 files") << 100 << qint64(0) << qint64(10000) << 1000;
    QTest::newRow("a long interval stays") << 5000 << qint64(1000) << qint64(10000) << 5000;
}

void tst_CallbackPacer::paces()
{
    QFETCH(int, configured);
    QFETCH(qint64, costUs);
    QFETCH(qint64, files);
    QTEST(CallbackPacer::interval(configured, costUs, files), "interval");
}

void tst_CallbackPacer::measuresSpeed()
{
    SpeedMeter meter;
    meter.start(5000);
    QCOMPARE(meter.bytesPerSecond(5000), 0);
    meter.add(100);
    QCOMPARE(meter.bytesPerSecond(5100), 1000);
    meter.add(1900);
    QCOMPARE(meter.bytesPerSecond(6000), 2000);
    meter.add(500);
    QCOMPARE(meter.bytesPerSecond(6500), 2000); // until the window is whole
    QCOMPARE(meter.bytesPerSecond(7000), 500);
}

void tst_CallbackPacer::forgetsTheSpeedOfAStall()
{
    SpeedMeter meter;
    meter.start(0);
    meter.add(1000);
    QCOMPARE(meter.bytesPerSecond(1000), 1000);
    QCOMPARE(meter.bytesPerSecond(2000), 0);
    meter.add(1000);
    meter.start(2000);
    QCOMPARE(meter.bytesPerSecond(2000), 0);
}

QTEST_GUILESS_MAIN(tst_CallbackPacer)
#include "tst_CallbackPacer.moc"

// SPDX-License-Identifier: MIT
#include "Tool/IntervalOperator.h"

#include <QDateTime>
#include <QList>
#include <QtTest>

namespace {

constexpr qint64 kStart = 1700000000000;

/// A throttle whose clock the test sets. Readings that are given in advance come first, one per look at the clock.
class ClockedInterval : public IntervalOperator
{
public:
    using IntervalOperator::IntervalOperator;

    qint64 now = kStart;
    mutable QList<qint64> readings;

protected:
    qint64 CurrentTimeMs() const override { return readings.isEmpty() ? now : readings.takeFirst(); }
};

} // namespace

class tst_IntervalOperator : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void startsUnset();
    void firstCallIsTimeout();
    void intervalBoundary_data();
    void intervalBoundary();
    void keepsTheTimeStampUntilTimeout();
    void readsTheClockAgainOnTimeout();
    void setIntervalStartsAnew();
    void resetStartsAnewWithTheSameInterval();
    void clockSetBackIsNoTimeout();
    void usesTheSystemClock();
    void belongsToItsParent();
};

void tst_IntervalOperator::startsUnset()
{
    const ClockedInterval interval;
    QCOMPARE(interval.GetLastTimeStamp(), qint64(0));
    QCOMPARE(interval.GetTimeCost(), qint64(0));
}

void tst_IntervalOperator::firstCallIsTimeout()
{
    ClockedInterval interval;
    QVERIFY(interval.IsTimeout());
    QCOMPARE(interval.GetTimeCost(), kStart);
    QCOMPARE(interval.GetLastTimeStamp(), kStart);
}

void tst_IntervalOperator::intervalBoundary_data()
{
    QTest::addColumn<qint64>("interval"); // -1: as constructed
    QTest::addColumn<qint64>("passed");
    QTest::addColumn<bool>("timeout");
    QTest::newRow("default, at once") << qint64(-1) << qint64(0) << false;
    QTest::newRow("default, 99 ms") << qint64(-1) << qint64(99) << false;
    QTest::newRow("default, 100 ms") << qint64(-1) << qint64(100) << true;
    QTest::newRow("default, 101 ms") << qint64(-1) << qint64(101) << true;
    QTest::newRow("1000 ms, 999 ms") << qint64(1000) << qint64(999) << false;
    QTest::newRow("1000 ms, 1000 ms") << qint64(1000) << qint64(1000) << true;
    QTest::newRow("1 ms, at once") << qint64(1) << qint64(0) << false;
    QTest::newRow("0 ms, at once") << qint64(0) << qint64(0) << true;
    QTest::newRow("negative, at once") << qint64(-5) << qint64(0) << true;
}

void tst_IntervalOperator::intervalBoundary()
{
    QFETCH(const qint64, interval);
    QFETCH(const qint64, passed);
    QFETCH(const bool, timeout);
    ClockedInterval throttle;
    if (interval == -1)
        throttle.Reset();
    else
        throttle.SetInterval(interval);
    throttle.now += passed;
    QCOMPARE(throttle.IsTimeout(), timeout);
    QCOMPARE(throttle.GetTimeCost(), passed);
}

void tst_IntervalOperator::keepsTheTimeStampUntilTimeout()
{
    ClockedInterval interval;
    interval.Reset();
    interval.now = kStart + 60;
    QVERIFY(!interval.IsTimeout());
    QCOMPARE(interval.GetLastTimeStamp(), kStart);
    QCOMPARE(interval.GetTimeCost(), qint64(60));
    interval.now = kStart + 120;
    QVERIFY(interval.IsTimeout());
    QCOMPARE(interval.GetLastTimeStamp(), kStart + 120);
    QCOMPARE(interval.GetTimeCost(), qint64(120));
    QVERIFY(!interval.IsTimeout());
    QCOMPARE(interval.GetTimeCost(), qint64(0));
}

void tst_IntervalOperator::readsTheClockAgainOnTimeout()
{
    ClockedInterval interval;
    interval.Reset();
    interval.readings = {kStart + 100, kStart + 103};
    QVERIFY(interval.IsTimeout());
    QCOMPARE(interval.GetTimeCost(), qint64(100));
    QCOMPARE(interval.GetLastTimeStamp(), kStart + 103);
    QVERIFY(interval.readings.isEmpty());
}

void tst_IntervalOperator::setIntervalStartsAnew()
{
    ClockedInterval interval;
    QVERIFY(interval.IsTimeout());
    interval.now = kStart + 50;
    interval.SetInterval(200);
    QCOMPARE(interval.GetLastTimeStamp(), kStart + 50);
    QCOMPARE(interval.GetTimeCost(), qint64(0));
    interval.now = kStart + 249;
    QVERIFY(!interval.IsTimeout());
    interval.now = kStart + 250;
    QVERIFY(interval.IsTimeout());
}

void tst_IntervalOperator::resetStartsAnewWithTheSameInterval()
{
    ClockedInterval interval;
    interval.SetInterval(200);
    interval.now = kStart + 150;
    QVERIFY(!interval.IsTimeout());
    interval.Reset();
    QCOMPARE(interval.GetLastTimeStamp(), kStart + 150);
    QCOMPARE(interval.GetTimeCost(), qint64(0));
    interval.now = kStart + 349;
    QVERIFY(!interval.IsTimeout());
    interval.now = kStart + 350;
    QVERIFY(interval.IsTimeout());
}

void tst_IntervalOperator::clockSetBackIsNoTimeout()
{
    ClockedInterval interval;
    interval.Reset();
    interval.now = kStart - 5000;
    QVERIFY(!interval.IsTimeout());
    QCOMPARE(interval.GetTimeCost(), qint64(-5000));
    QCOMPARE(interval.GetLastTimeStamp(), kStart);
}

void tst_IntervalOperator::usesTheSystemClock()
{
    IntervalOperator interval;
    const qint64 before = QDateTime::currentMSecsSinceEpoch();
    QVERIFY(interval.IsTimeout());
    const qint64 after = QDateTime::currentMSecsSinceEpoch();
    QVERIFY(interval.GetTimeCost() >= before && interval.GetTimeCost() <= after);
    QVERIFY(interval.GetLastTimeStamp() >= before && interval.GetLastTimeStamp() <= after);
    interval.SetInterval(3600000);
    QVERIFY(!interval.IsTimeout());
}

void tst_IntervalOperator::belongsToItsParent()
{
    QObject parent;
    const IntervalOperator interval(&parent);
    QCOMPARE(interval.parent(), &parent);
    QCOMPARE(IntervalOperator().parent(), nullptr);
}

QTEST_GUILESS_MAIN(tst_IntervalOperator)
#include "tst_IntervalOperator.moc"

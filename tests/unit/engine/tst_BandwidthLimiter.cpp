// SPDX-License-Identifier: MIT
#include "BandwidthLimiter.h"

#include <QtTest>

using namespace VantorEngine;

namespace {

constexpr qint64 kMs = 1000 * 1000;

/// Takes what it can get whenever it is served.
struct Taker : BandwidthClient
{
    explicit Taker(BandwidthLimiter& bandwidth) : limiter(bandwidth) {}
    void bandwidthAvailable() override
    {
        ++calls;
        const qint64 got = limiter.take(1000 * 1000);
        taken += got;
        limiter.wait(this);
    }
    BandwidthLimiter& limiter;
    qint64 taken = 0;
    int calls = 0;
};

} // namespace

class tst_BandwidthLimiter : public QObject
{
    Q_OBJECT
private slots:
    void grantsAllWithoutALimit_data();
    void grantsAllWithoutALimit();
    void grantsTheLimitOverTime_data();
    void grantsTheLimitOverTime();
    void savesUpNoMoreThanABurst();
    void grantsNoCrumbs();
    void startsEmptyAfterAChange();
    void sharesEquallyAmongThoseWhoWait();
    void forgetsAClientWhileServing();
    void callsThoseWhoWaitByItself();
    void callsThoseWhoWaitWhenTheLimitIsLifted();

private:
    qint64 m_now = 0;
    BandwidthLimiter::Clock m_clock = [this] { return m_now; };
};

void tst_BandwidthLimiter::grantsAllWithoutALimit_data()
{
    QTest::addColumn<qint64>("limit");
    QTest::newRow("zero") << qint64(0);
    QTest::newRow("negative") << qint64(-1024);
}

void tst_BandwidthLimiter::grantsAllWithoutALimit()
{
    QFETCH(qint64, limit);
    BandwidthLimiter limiter(m_clock);
    limiter.setLimit(limit);
    QCOMPARE(limiter.take(123456789), 123456789);
}

void tst_BandwidthLimiter::grantsTheLimitOverTime_data()
{
    QTest::addColumn<qint64>("limit");
    for (const qint64 limit : {64LL * 1024, 1024LL * 1024, 100LL * 1024 * 1024}) {
        QTest::newRow(QByteArray::number(limit).constData()) << limit;
    }
}

void tst_BandwidthLimiter::grantsTheLimitOverTime()
{
    QFETCH(qint64, limit);
    BandwidthLimiter limiter(m_clock);
    limiter.setLimit(limit);
    qint64 granted = 0;
    for (int i = 0; i < 1000; ++i) { // ten seconds
        m_now += 10 * kMs;
        granted += limiter.take(limit);
    }
    QVERIFY2(granted > limit * 98 / 10 && granted <= limit * 10, QByteArray::number(granted).constData());
}

void tst_BandwidthLimiter::savesUpNoMoreThanABurst()
{
    BandwidthLimiter limiter(m_clock);
    limiter.setLimit(1000 * 1000);
    m_now += 3600LL * 1000 * kMs;
    QCOMPARE(limiter.take(1000 * 1000), qint64(1000 * 1000 * BandwidthLimiter::kBurstSeconds));
}

void tst_BandwidthLimiter::grantsNoCrumbs()
{
    BandwidthLimiter limiter(m_clock);
    limiter.setLimit(1000 * 1000);
    m_now += 9 * kMs;
    QCOMPARE(limiter.take(1000 * 1000), 0);
    QCOMPARE(limiter.take(500), 500); // all that was wanted is no crumb
    m_now += 2 * kMs;
    QVERIFY(limiter.take(1000 * 1000) >= 10000);
}

void tst_BandwidthLimiter::startsEmptyAfterAChange()
{
    BandwidthLimiter limiter(m_clock);
    limiter.setLimit(1000 * 1000);
    m_now += 100 * kMs;
    limiter.setLimit(2000 * 1000);
    QCOMPARE(limiter.take(1000), 0);
}

void tst_BandwidthLimiter::sharesEquallyAmongThoseWhoWait()
{
    BandwidthLimiter limiter(m_clock);
    limiter.setLimit(1000 * 1000);
    Taker first(limiter);
    Taker second(limiter);
    limiter.wait(&first);
    limiter.wait(&second);
    limiter.wait(&second); // waiting twice is waiting once
    for (int i = 0; i < 100; ++i) {
        m_now += 20 * kMs;
        limiter.serve();
    }
    QCOMPARE(first.calls, 100);
    QCOMPARE(second.calls, 100);
    QVERIFY(qAbs(first.taken - second.taken) <= 20000);
    QVERIFY(first.taken + second.taken > 1900 * 1000);
    QVERIFY(first.taken + second.taken <= 2000 * 1000);
}

void tst_BandwidthLimiter::forgetsAClientWhileServing()
{
    struct Forgetter : BandwidthClient
    {
        void bandwidthAvailable() override { limiter->forget(other); }
        BandwidthLimiter* limiter = nullptr;
        BandwidthClient* other = nullptr;
    };
    BandwidthLimiter limiter(m_clock);
    limiter.setLimit(1000);
    Taker victim(limiter);
    Forgetter forgetter;
    forgetter.limiter = &limiter;
    forgetter.other = &victim;
    limiter.wait(&forgetter);
    limiter.wait(&victim);
    m_now += 100 * kMs;
    limiter.serve();
    QCOMPARE(victim.calls, 0);
}

void tst_BandwidthLimiter::callsThoseWhoWaitByItself()
{
    BandwidthLimiter limiter;
    limiter.setLimit(1000 * 1000);
    Taker taker(limiter);
    limiter.wait(&taker);
    QTRY_VERIFY(taker.calls > 3);
    QVERIFY(taker.taken > 0);
}

void tst_BandwidthLimiter::callsThoseWhoWaitWhenTheLimitIsLifted()
{
    BandwidthLimiter limiter;
    limiter.setLimit(1);
    Taker taker(limiter);
    limiter.wait(&taker);
    limiter.setLimit(0);
    QTRY_VERIFY(taker.taken >= 1000 * 1000);
}

QTEST_GUILESS_MAIN(tst_BandwidthLimiter)
#include "tst_BandwidthLimiter.moc"

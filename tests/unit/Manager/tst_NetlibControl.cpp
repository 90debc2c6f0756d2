// SPDX-License-Identifier: MIT
#include "Manager/NetlibControl.h"

#include <QtTest>

#include <atomic>
#include <limits>
#include <thread>
#include <vector>

class tst_NetlibControl : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void givesEveryThreadTheSameInstance();
    void startsWithDefaults();
    void namesTheConstants();
    void keepsTheNetlibType();
    void keepsTheSpeedLimit();
    void keepsTheSizeSource();
    void keepsTheSwitchFor416();
    void keepsTheLoginFlag();
    void keepsTheStrategy();
    void gettersReturnCopies();
};

void tst_NetlibControl::givesEveryThreadTheSameInstance()
{
    // First of all: the threads race for the creation.
    constexpr int kThreads = 8;
    std::atomic<int> ready = 0;
    std::vector<NetlibControl*> seen(kThreads, nullptr);
    std::vector<std::thread> threads;
    for (NetlibControl*& place : seen) {
        threads.emplace_back([&ready, &place] {
            ++ready;
            while (ready < kThreads)
                std::this_thread::yield();
            place = NetlibControl::Instance();
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    QVERIFY(NetlibControl::Instance() != nullptr);
    for (const NetlibControl* instance : seen)
        QCOMPARE(instance, NetlibControl::Instance());
}

void tst_NetlibControl::startsWithDefaults()
{
    const NetlibControl* control = NetlibControl::Instance();
    QCOMPARE(control->GetNetlibType(), QStringLiteral("QT"));
    QCOMPARE(control->GetLimitDownloadSpeed(), qint64(0));
    QCOMPARE(control->GetPkgSizeInfo(), QStringLiteral("header"));
    QCOMPARE(control->GetSwitchFor416(), false);
    QCOMPARE(control->GetIsDownloadWithLogin(), false);
    QCOMPARE(control->GetFlushOrGzipStrategy(), 1);
}

void tst_NetlibControl::namesTheConstants()
{
    QCOMPARE(NetlibControl::kNetlibTypeLibcurl, QStringLiteral("libcurl"));
    QCOMPARE(NetlibControl::kNetlibTypeQT, QStringLiteral("QT"));
    QCOMPARE(NetlibControl::kNetlibTypeVantor, QStringLiteral("vantor"));
    QCOMPARE(NetlibControl::kPkgSizeInfoHeader, QStringLiteral("header"));
    QCOMPARE(NetlibControl::kPkgSizeInfoResource, QStringLiteral("resource"));
}

void tst_NetlibControl::keepsTheNetlibType()
{
    NetlibControl::Instance()->SetNetlibType(NetlibControl::kNetlibTypeVantor);
    QCOMPARE(NetlibControl::Instance()->GetNetlibType(), QStringLiteral("vantor"));
    NetlibControl::Instance()->SetNetlibType(QString());
    QCOMPARE(NetlibControl::Instance()->GetNetlibType(), QString());
}

void tst_NetlibControl::keepsTheSpeedLimit()
{
    for (const qint64 limit : {qint64(1024), qint64(-1), std::numeric_limits<qint64>::max(), qint64(0)}) {
        NetlibControl::Instance()->SetLimitDownloadSpeed(limit);
        QCOMPARE(NetlibControl::Instance()->GetLimitDownloadSpeed(), limit);
    }
}

void tst_NetlibControl::keepsTheSizeSource()
{
    NetlibControl::Instance()->SetPkgSizeInfo(NetlibControl::kPkgSizeInfoResource);
    QCOMPARE(NetlibControl::Instance()->GetPkgSizeInfo(), QStringLiteral("resource"));
    QCOMPARE(NetlibControl::Instance()->GetNetlibType(), QString());
}

void tst_NetlibControl::keepsTheSwitchFor416()
{
    NetlibControl::Instance()->SetSwitchFor416(true);
    QCOMPARE(NetlibControl::Instance()->GetSwitchFor416(), true);
    QCOMPARE(NetlibControl::Instance()->GetIsDownloadWithLogin(), false);
    NetlibControl::Instance()->SetSwitchFor416(false);
    QCOMPARE(NetlibControl::Instance()->GetSwitchFor416(), false);
}

void tst_NetlibControl::keepsTheLoginFlag()
{
    NetlibControl::Instance()->SetIsDownloadWithLogin(true);
    QCOMPARE(NetlibControl::Instance()->GetIsDownloadWithLogin(), true);
    QCOMPARE(NetlibControl::Instance()->GetSwitchFor416(), false);
    NetlibControl::Instance()->SetIsDownloadWithLogin(false);
    QCOMPARE(NetlibControl::Instance()->GetIsDownloadWithLogin(), false);
}

void tst_NetlibControl::keepsTheStrategy()
{
    for (const int strategy : {2, 3, 1}) {
        NetlibControl::Instance()->SetFlushOrGzipStrategy(strategy);
        QCOMPARE(NetlibControl::Instance()->GetFlushOrGzipStrategy(), strategy);
    }
}

void tst_NetlibControl::gettersReturnCopies()
{
    NetlibControl::Instance()->SetNetlibType(QStringLiteral("QT"));
    QString type = NetlibControl::Instance()->GetNetlibType();
    type.append(QLatin1String("changed"));
    QCOMPARE(NetlibControl::Instance()->GetNetlibType(), QStringLiteral("QT"));
}

QTEST_GUILESS_MAIN(tst_NetlibControl)
#include "tst_NetlibControl.moc"

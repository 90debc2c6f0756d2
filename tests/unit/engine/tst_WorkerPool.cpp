// SPDX-License-Identifier: MIT
#include "WorkerPool.h"

#include <QThread>
#include <QtTest>

#include <atomic>
#include <future>
#include <memory>

using namespace VantorEngine;

class tst_WorkerPool : public QObject
{
    Q_OBJECT
private slots:
    void worksElsewhereAndReportsHere();
    void runsEverything();
    void endsWithoutWhatHasNotBegun();
};

void tst_WorkerPool::worksElsewhereAndReportsHere()
{
    WorkerPool pool;
    std::atomic<QThread*> workedOn{nullptr};
    QThread* reportedOn = nullptr;
    pool.post([&] { workedOn = QThread::currentThread(); }, [&] { reportedOn = QThread::currentThread(); });
    QTRY_VERIFY(reportedOn != nullptr);
    QCOMPARE(reportedOn, QThread::currentThread());
    QVERIFY(workedOn.load() != QThread::currentThread());
}

void tst_WorkerPool::runsEverything()
{
    constexpr int kPieces = 2000;
    WorkerPool pool;
    std::atomic<int> worked{0};
    int reported = 0;
    for (int i = 0; i < kPieces; ++i) {
        pool.post([&worked] { ++worked; }, [&reported] { ++reported; });
    }
    QTRY_COMPARE(reported, kPieces);
    QCOMPARE(worked.load(), kPieces);
}

void tst_WorkerPool::endsWithoutWhatHasNotBegun()
{
    std::promise<void> begun;
    std::promise<void> gate;
    std::shared_future<void> open = gate.get_future().share();
    std::atomic<int> worked{0};
    int reported = 0;
    auto pool = std::make_unique<WorkerPool>();
    pool->post(
        [&begun, open] {
            begun.set_value();
            open.wait();
        },
        [&reported] { ++reported; });
    begun.get_future().wait();
    for (unsigned i = 0; i < WorkerPool::kMostThreads; ++i) {
        pool->post([open] { open.wait(); }, [&reported] { ++reported; });
    }
    pool->post([&worked] { ++worked; }, [&reported] { ++reported; });
    // The destructor waits for what runs, so somebody else opens the gate once it has begun.
    std::thread opener([&gate] { gate.set_value(); });
    pool.reset();
    opener.join();
    QCoreApplication::processEvents();
    QCOMPARE(reported, 0);
}

QTEST_GUILESS_MAIN(tst_WorkerPool)
#include "tst_WorkerPool.moc"

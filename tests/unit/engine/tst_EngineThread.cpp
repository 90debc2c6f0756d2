// SPDX-License-Identifier: MIT
// Starting and stopping the engine's thread.
#include "EngineThread.h"

#include "CallbackTable.h"
#include "EngineCore.h"
#include "Log.h"
#include "Settings.h"

#include <QSemaphore>
#include <QtTest>

#include <atomic>
#include <memory>

using namespace VantorEngine;

class tst_EngineThread : public QObject
{
    Q_OBJECT
private slots:
    void keepsTasksForItsStart();
    void startsAnewAfterAStop();
    void goesOnWhenTheThreadBeforeEndsLate();

private:
    static constexpr int kWaitMs = 10000;

    CallbackTable m_callbacks;
    Log m_log{m_callbacks};
    Settings m_settings;
};

void tst_EngineThread::keepsTasksForItsStart()
{
    EngineThread thread(m_callbacks, m_log, m_settings);
    QVector<int> done;
    QSemaphore all;
    thread.post([&](EngineCore&) { done.append(1); });
    thread.postIfRunning([&](EngineCore&) { done.append(0); });
    thread.start();
    thread.post([&](EngineCore&) {
        done.append(2);
        all.release();
    });
    QVERIFY(all.tryAcquire(1, kWaitMs));
    thread.stop();
    QCOMPARE(done, (QVector<int>{1, 2}));
}

void tst_EngineThread::startsAnewAfterAStop()
{
    EngineThread thread(m_callbacks, m_log, m_settings);
    QSemaphore done;
    for (int i = 0; i < 3; ++i) {
        thread.start();
        thread.post([&done](EngineCore&) { done.release(); });
        QVERIFY(done.tryAcquire(1, kWaitMs));
        thread.stop();
    }
}

/// A host may stop the engine from inside a callback, where its thread is not waited for, and start it again.
void tst_EngineThread::goesOnWhenTheThreadBeforeEndsLate()
{
    EngineThread thread(m_callbacks, m_log, m_settings);
    std::atomic<QThread*> before{nullptr};
    std::atomic<QThread*> next{nullptr};
    QSemaphore done;
    thread.start();
    thread.post([&](EngineCore&) {
        before = QThread::currentThread();
        thread.stop();
        thread.post([&](EngineCore&) {
            next = QThread::currentThread();
            done.release();
        });
        thread.start();
        done.tryAcquire(1, kWaitMs);
    });
    QTRY_VERIFY_WITH_TIMEOUT(before.load() != nullptr, kWaitMs);
    const std::unique_ptr<QThread> ended(before.load()); // left to whoever can wait for it
    QVERIFY(ended->wait(kWaitMs));
    QVERIFY(next.load() != nullptr && next.load() != before.load());
    thread.post([&done](EngineCore&) { done.release(); });
    QVERIFY2(done.tryAcquire(1, kWaitMs), "the thread was not woken");
    thread.stop();
}

QTEST_GUILESS_MAIN(tst_EngineThread)
#include "tst_EngineThread.moc"

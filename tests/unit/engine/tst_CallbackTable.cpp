// SPDX-License-Identifier: MIT
#include "CallbackOutbox.h"
#include "CallbackTable.h"
#include "Log.h"

#include <QElapsedTimer>
#include <QtTest>

#include <atomic>
#include <thread>

using namespace VantorEngine;

namespace {

// Callbacks have no context argument; each test sets these anew.
QStringList calls;
std::atomic<int> callCount{0};
std::atomic<bool> insideCall{false};
std::atomic<bool> mayReturn{false};
CallbackTable* tableToClear = nullptr;

void onState(const char* data)
{
    calls.append(QStringLiteral("state %1").arg(QString::fromUtf8(data)));
}

void onSingle(const char* group, const char* task, const char* data)
{
    calls.append(QStringLiteral("single %1 %2 %3")
                     .arg(QString::fromUtf8(group), QString::fromUtf8(task), QString::fromUtf8(data)));
}

void onGroup(const char* guid, const char* data)
{
    calls.append(QStringLiteral("group %1 %2").arg(QString::fromUtf8(guid), QString::fromUtf8(data)));
}

void onChunk(const char* guid, const char* data)
{
    calls.append(QStringLiteral("chunk %1 %2").arg(QString::fromUtf8(guid), QString::fromUtf8(data)));
}

void onLog(int severity, const char*, int line, int messageStart, const char* message)
{
    calls.append(
        QStringLiteral("log %1 %2 %3").arg(severity).arg(line > 0).arg(QString::fromUtf8(message + messageStart)));
}

void blockUntilAllowed(const char*)
{
    insideCall = true;
    while (!mayReturn) {
        std::this_thread::yield();
    }
    insideCall = false;
}

void clearFromInside(const char*)
{
    tableToClear->removeAll();
    ++callCount;
}

void count(const char*)
{
    ++callCount;
}

} // namespace

class tst_CallbackTable : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void callsWhatIsInstalled();
    void removesAll();
    void waitsForARunningCall();
    void givesUpOnACallThatDoesNotReturn();
    void removesFromInsideACall();
    void startsNoCallAfterRemoval();
    void holdsNewGuidsBackInOrder();
    void holdsAChunkAnswerOfTheSameGuidToo();
    void dropsWhatIsHeld();
    void logsFromTheConfiguredLevelOn();
};

void tst_CallbackTable::init()
{
    calls.clear();
    callCount = 0;
    insideCall = false;
    mayReturn = false;
}

void tst_CallbackTable::callsWhatIsInstalled()
{
    CallbackTable table;
    table.callState("x"); // nothing is installed: nothing happens
    table.setState(onState);
    table.setSingleTask(onSingle);
    table.setGroupTask(onGroup);
    table.setChunkTask(onChunk);
    table.callState("s");
    table.callSingleTask("g", "t", "d");
    table.callGroupTask("g", "d");
    table.callChunkTask("c", "d");
    QCOMPARE(calls, QStringList({QStringLiteral("state s"), QStringLiteral("single g t d"), QStringLiteral("group g d"),
                                 QStringLiteral("chunk c d")}));
}

void tst_CallbackTable::removesAll()
{
    CallbackTable table;
    table.setState(onState);
    table.setSingleTask(onSingle);
    table.setGroupTask(onGroup);
    table.setChunkTask(onChunk);
    table.setLogHandler(onLog);
    table.removeAll();
    table.callState("s");
    table.callSingleTask("g", "t", "d");
    table.callGroupTask("g", "d");
    table.callChunkTask("c", "d");
    table.callLog(4, "f", 1, 0, "m");
    QVERIFY(calls.isEmpty());
    QVERIFY(!table.wantsGroupTask());
    QVERIFY(!table.wantsSingleTask());
}

void tst_CallbackTable::waitsForARunningCall()
{
    CallbackTable table;
    table.setState(blockUntilAllowed);
    std::thread caller([&table] { table.callState(""); });
    QTRY_VERIFY(insideCall);
    std::thread releaser([&table] {
        while (table.stateCallback() != nullptr) {
            std::this_thread::yield(); // the remover has begun
        }
        mayReturn = true;
    });
    table.removeAll();
    QVERIFY(!insideCall);
    caller.join();
    releaser.join();
}

void tst_CallbackTable::givesUpOnACallThatDoesNotReturn()
{
    CallbackTable table;
    table.setState(blockUntilAllowed);
    std::thread caller([&table] { table.callState(""); });
    QTRY_VERIFY(insideCall);
    QElapsedTimer timer;
    timer.start();
    table.removeAll();
    const qint64 elapsed = timer.elapsed();
    mayReturn = true;
    caller.join();
    QVERIFY(elapsed >= CallbackTable::kRemoveTimeoutMs);
    QVERIFY(elapsed < CallbackTable::kRemoveTimeoutMs * 10);
}

void tst_CallbackTable::removesFromInsideACall()
{
    CallbackTable table;
    tableToClear = &table;
    table.setState(clearFromInside);
    QElapsedTimer timer;
    timer.start();
    table.callState("");
    QVERIFY(timer.elapsed() < CallbackTable::kRemoveTimeoutMs);
    table.callState("");
    QCOMPARE(callCount.load(), 1);
}

void tst_CallbackTable::startsNoCallAfterRemoval()
{
    for (int round = 0; round < 50; ++round) {
        CallbackTable table;
        table.setState(count);
        std::atomic<bool> stop{false};
        std::thread caller([&] {
            while (!stop) {
                table.callState("");
            }
        });
        table.removeAll();
        const int after = callCount;
        for (int i = 0; i < 10; ++i) {
            std::this_thread::yield();
        }
        const int later = callCount;
        stop = true;
        caller.join();
        QCOMPARE(later, after);
    }
}

void tst_CallbackTable::holdsNewGuidsBackInOrder()
{
    CallbackTable table;
    table.setSingleTask(onSingle);
    table.setGroupTask(onGroup);
    CallbackOutbox outbox(table);
    outbox.hold("new", 1);
    outbox.sendGroupTask("new", "1");
    outbox.sendSingleTask("new", "t", "2");
    outbox.sendGroupTask("old", "x");
    outbox.sendGroupTask("new", "3");
    QCOMPARE(calls, QStringList({QStringLiteral("group old x")}));
    QTRY_COMPARE(calls.size(), 4);
    outbox.sendGroupTask("new", "4");
    QCOMPARE(calls.mid(1), QStringList({QStringLiteral("group new 1"), QStringLiteral("single new t 2"),
                                        QStringLiteral("group new 3"), QStringLiteral("group new 4")}));
}

void tst_CallbackTable::holdsAChunkAnswerOfTheSameGuidToo()
{
    CallbackTable table;
    table.setChunkTask(onChunk);
    CallbackOutbox outbox(table);
    outbox.hold("c", 1);
    outbox.sendChunkTask("c", "1");
    outbox.hold("c", 1);
    outbox.sendChunkTask("c", "2");
    QVERIFY(calls.isEmpty());
    QTRY_COMPARE(calls, QStringList({QStringLiteral("chunk c 1"), QStringLiteral("chunk c 2")}));
}

void tst_CallbackTable::dropsWhatIsHeld()
{
    CallbackTable table;
    table.setGroupTask(onGroup);
    CallbackOutbox outbox(table);
    outbox.hold("a", 1);
    outbox.hold("b", 1);
    outbox.sendGroupTask("a", "1");
    outbox.sendGroupTask("b", "1");
    outbox.drop("a");
    QTRY_COMPARE(calls, QStringList({QStringLiteral("group b 1")}));
    outbox.hold("c", 1);
    outbox.hold("d", 1);
    outbox.sendGroupTask("c", "1");
    outbox.drop({});
    outbox.sendGroupTask("d", "2"); // no longer held
    QCOMPARE(calls.constLast(), QStringLiteral("group d 2"));
    QCOMPARE(calls.size(), 2);
}

void tst_CallbackTable::logsFromTheConfiguredLevelOn()
{
    CallbackTable table;
    table.setLogHandler(onLog);
    Log log(table);
    VANTOR_LOG(log, Info, QStringLiteral("by default"));
    VANTOR_LOG(log, Detail, QStringLiteral("not by default"));
    log.configure(3, 0);
    VANTOR_LOG(log, Info, QStringLiteral("below"));
    VANTOR_LOG(log, Warning, QStringLiteral("warning"));
    VANTOR_LOG(log, Error, QStringLiteral("error"));
    QCOMPARE(calls, QStringList({QStringLiteral("log 2 1 by default"), QStringLiteral("log 3 1 warning"),
                                 QStringLiteral("log 4 1 error")}));
}

QTEST_GUILESS_MAIN(tst_CallbackTable)
#include "tst_CallbackTable.moc"

// SPDX-License-Identifier: MIT
// What happens to an API object over several attempts and at its end: retries, time-outs, deletion, WaitSend. Replies
// are made by the test.
#include "ApiProbe.h"

#include <QElapsedTimer>
#include <QPointer>
#include <QtTest>

#include <functional>
#include <limits>
#include <memory>

namespace {

// The half second of WaitSend() less what its timer, a coarse one, may be early: a twentieth.
constexpr int kHalfASecondMs = 470;
constexpr int kTries = 10;

/// The shortest of a few durations, in milliseconds, tried until one is below `bound`: a busy machine may draw out any
/// of them, but not all.
qint64 shortest(qint64 bound, const std::function<void()>& action)
{
    qint64 least = std::numeric_limits<qint64>::max();
    for (int tries = 0; tries < kTries && least >= bound; ++tries) {
        QElapsedTimer clock;
        clock.start();
        action();
        least = qMin(least, clock.elapsed());
    }
    return least;
}

/// Leaves its reply to the event loop when it is deleted, as an object without a test's interest does.
class LeavingApi : public TestApi
{
public:
    QPointer<FakeReply> reply;

protected:
    QNetworkReply* GetRequest() override
    {
        reply = new FakeReply;
        return reply;
    }
};

/// Notes which of its overridable functions a call goes through, with the retries that are left.
class OverridingApi : public FakeApi
{
public:
    OverridingApi()
    {
        connect(this, &BaseHttpApi::apiFailed, this, [this] { note("failed"); });
        connect(this, &BaseHttpApi::apiFinished, this, [this] { note("finished"); });
    }

    void Send() override
    {
        note("Send");
        FakeApi::Send();
    }
    void Stop() override
    {
        note("Stop");
        FakeApi::Stop();
    }
    bool CanRetry() override
    {
        note("CanRetry");
        return FakeApi::CanRetry();
    }
    void DoRetry() override
    {
        note("DoRetry");
        FakeApi::DoRetry();
    }

    QStringList calls;

protected:
    void parseReceiveData(const QByteArray& /*data*/) override { note("parseReceiveData"); }
    void ResetRetryTimes() override
    {
        note("ResetRetryTimes");
        FakeApi::ResetRetryTimes();
    }

private:
    void note(const char* name) { calls << QStringLiteral("%1 %2").arg(QLatin1String(name)).arg(m_retryLeft); }
};

} // namespace

class tst_BaseHttpApiRetries : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void retriesAreCounted();
    void retryBudgetIsRestored_data();
    void retryBudgetIsRestored();
    void backoffDoubles_data();
    void backoffDoubles();
    void backoffDoesNotOverflow_data();
    void backoffDoesNotOverflow();

    void overridesTakePart();
    void overridesTakePartInATimeout();

    void timeoutWithoutReply();
    void timeoutWithReply();
    void timerEndsInTimeout();
    void sendInATimeoutHandlerIsRefused();
    void destroyedReplyClearsItsSuccessor();
    void forgottenRepliesAreReleased();
    void answerAfterAForgottenOneCounts();
    void forgottenReplyDoesNotEndTheNextCall();
    void sendInAHandlerIsForgotten();

    void deletedInItsHandlers_data();
    void deletedInItsHandlers();
    void deletingReleasesTheReply();
    void deletedManagerIsNoManager();
    void replacedManagerMayGo();

    void waitSendEndsWithTheReply_data();
    void waitSendEndsWithTheReply();
    void waitSendEndsAfterHalfASecond();
    void waitSendWaitsWithoutAReplyToo();
    void waitSendSurvivesDeletion();
};

// Three retries: three silent failures, then the one that is reported.
void tst_BaseHttpApiRetries::retriesAreCounted()
{
    FakeApi api;
    setAddress(&api);
    api.SetRetryTimes(3, false);
    const ApiEvents events(&api);
    api.Send();
    for (int attempt = 1; attempt <= 3; ++attempt) {
        QCOMPARE(api.replies.size(), attempt);
        QCOMPARE(api.m_retryLeft, 4 - attempt);
        if (attempt == 2)
            api.replies.last()->fail(QNetworkReply::ContentNotFoundError, QStringLiteral("E"));
        else
            api.replies.last()->setStatus(500);
        // No event loop in between: the former reply is not destroyed yet.
        api.replies.last()->finish();
        QVERIFY(events.log.isEmpty());
        QVERIFY(api.IsRunning());
        QVERIFY(api.m_timer.isActive());
    }
    QCOMPARE(api.replies.size(), 4);
    QVERIFY(!api.CanRetry());
    api.replies.last()->setStatus(404);
    api.replies.last()->fail(QNetworkReply::ContentNotFoundError, QStringLiteral("E"));
    api.replies.last()->finish();
    QCOMPARE(events.log, texts({"failed 3002 404 203", "finished"}));
    QCOMPARE(api.m_retryLeft, 3);
    QCOMPARE(api.replies.size(), 4);
}

void tst_BaseHttpApiRetries::retryBudgetIsRestored_data()
{
    QTest::addColumn<int>("times");
    QTest::addColumn<int>("left");
    QTest::addColumn<int>("restored");
    QTest::newRow("used up") << 3 << 0 << 3;
    QTest::newRow("none allowed") << 0 << -2 << -2;
    QTest::newRow("default") << -1 << -5 << -5;
}

void tst_BaseHttpApiRetries::retryBudgetIsRestored()
{
    QFETCH(int, times);
    QFETCH(int, left);
    QFETCH(int, restored);
    // After each of the three ends.
    for (const QString& end : {QStringLiteral("success"), QStringLiteral("failure"), QStringLiteral("time-out")}) {
        FakeApi api;
        setAddress(&api);
        api.SetRetryTimes(times, false);
        api.m_retryLeft = left;
        api.Send();
        api.replies.last()->setStatus(end == QStringLiteral("success") ? 200 : 500);
        int leftInHandler = 0;
        connect(&api, &BaseHttpApi::apiFailed, &api, [&] { leftInHandler = api.m_retryLeft; });
        if (end == QStringLiteral("time-out"))
            api.OnTimeout();
        else
            api.replies.last()->finish();
        QCOMPARE(api.m_retryLeft, restored);
        // Restored after the signal, not before.
        if (end != QStringLiteral("success"))
            QCOMPARE(leftInHandler, left);
    }
}

void tst_BaseHttpApiRetries::backoffDoubles_data()
{
    QTest::addColumn<bool>("backoff");
    QTest::addColumn<QVector<int>>("intervals");
    QTest::newRow("with") << true << QVector<int>{1000, 2000, 4000, 8000};
    QTest::newRow("without") << false << QVector<int>{1000, 1000, 1000, 1000};
}

void tst_BaseHttpApiRetries::backoffDoubles()
{
    QFETCH(bool, backoff);
    QFETCH(QVector<int>, intervals);
    FakeApi api;
    setAddress(&api);
    api.SetRetryTimes(3, backoff);
    api.SetTimeout(1000);
    const ApiEvents events(&api);
    const LogCapture log;
    // Twice, because the second call begins anew.
    for (int call = 1; call <= 2; ++call) {
        api.intervals.clear();
        api.Send();
        for (int attempt = 1; attempt <= 4; ++attempt) {
            QCOMPARE(events.log.size(), call - 1);
            api.OnTimeout();
        }
        QCOMPARE(api.intervals, intervals);
        QCOMPARE(events.log.size(), call);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    QCOMPARE(api.replies.size(), 8);
    for (const int interval : {1000, 2000, 4000, 8000}) {
        const QString line = QStringLiteral(" request http://host/path with time interval %1 ms").arg(interval);
        QCOMPARE(log.count(0, line), 2 * intervals.count(interval));
    }
}

void tst_BaseHttpApiRetries::backoffDoesNotOverflow_data()
{
    QTest::addColumn<int>("times");
    QTest::addColumn<int>("left");
    QTest::addColumn<int>("timeout");
    QTest::addColumn<int>("interval");
    const int most = std::numeric_limits<int>::max();
    QTest::newRow("largest that fits") << 16 << 0 << 30000 << 1966080000;
    QTest::newRow("one more") << 17 << 0 << 30000 << most;
    QTest::newRow("31 doublings of 1") << 31 << 0 << 1 << most;
    QTest::newRow("30 doublings of 1") << 30 << 0 << 1 << 1073741824;
    QTest::newRow("more than a double can") << 5000 << 0 << 30000 << most;
    QTest::newRow("more than an int can count") << most << -2 << 30000 << most;
    QTest::newRow("nothing to double") << 5000 << 0 << 0 << 0;
    QTest::newRow("more left than allowed") << 1 << 5 << 700 << 700;
}

void tst_BaseHttpApiRetries::backoffDoesNotOverflow()
{
    QFETCH(int, times);
    QFETCH(int, left);
    QFETCH(int, timeout);
    FakeApi api;
    setAddress(&api);
    api.SetRetryTimes(times, true);
    api.m_retryLeft = left;
    api.SetTimeout(timeout);
    api.Send();
    QTEST(api.intervals.value(0, -1), "interval");
}

// What subclasses override is called, and in this order: a retry is used up before the attempt is stopped.
void tst_BaseHttpApiRetries::overridesTakePart()
{
    OverridingApi api;
    setAddress(&api);
    api.SetRetryTimes(1, false);
    api.Send();
    api.replies.last()->setStatus(500);
    api.replies.last()->finish();
    QCOMPARE(api.calls, texts({"Send 1", "Stop 1", "CanRetry 1", "DoRetry 1", "Stop 0", "Send 0"}));
    api.calls.clear();
    api.replies.last()->setStatus(500);
    api.replies.last()->finish();
    QCOMPARE(api.calls, texts({"Stop 0", "CanRetry 0", "failed 0", "ResetRetryTimes 0", "finished 1"}));
    api.calls.clear();
    api.Send();
    api.replies.last()->setStatus(200);
    api.replies.last()->finish();
    QCOMPARE(api.calls, texts({"Send 1", "Stop 1", "parseReceiveData 1", "ResetRetryTimes 1", "finished 1"}));
}

void tst_BaseHttpApiRetries::overridesTakePartInATimeout()
{
    OverridingApi api;
    setAddress(&api);
    api.SetRetryTimes(1, false);
    api.Send();
    api.OnTimeout();
    QCOMPARE(api.calls, texts({"Send 1", "CanRetry 1", "DoRetry 1", "Stop 0", "Send 0"}));
    api.calls.clear();
    api.OnTimeout();
    QCOMPARE(api.calls, texts({"CanRetry 0", "failed 0", "Stop 0", "ResetRetryTimes 0"}));
    QCOMPARE(api.m_retryLeft, 1);
}

void tst_BaseHttpApiRetries::timeoutWithoutReply()
{
    TestApi api;
    setAddress(&api);
    const ApiEvents events(&api);
    const LogCapture log;
    api.OnTimeout();
    QCOMPARE(logLines(log), texts({"0 BaseHttpApi::OnTimeout| http://host/path timeout"}));
    QCOMPARE(events.log, texts({"failed 3001 638 -1"}));
    QCOMPARE(events.message, QStringLiteral("CommonErrorCode::HTTP_REQUEST_TIMEOUT"));
}

void tst_BaseHttpApiRetries::timeoutWithReply()
{
    FakeApi api;
    setAddress(&api);
    const ApiEvents events(&api);
    api.Send();
    const QPointer<FakeReply> reply = api.replies.first();
    reply->setStatus(206);
    reply->fail(QNetworkReply::TimeoutError, QStringLiteral("E"));
    bool heldInHandler = false;
    connect(&api, &BaseHttpApi::apiFailed, &api, [&] { heldInHandler = api.m_reply == reply; });
    api.OnTimeout();
    QCOMPARE(events.log, texts({"failed 3001 206 4"}));
    QCOMPARE(events.message, QStringLiteral("CommonErrorCode::HTTP_REQUEST_TIMEOUT"));
    QVERIFY(heldInHandler);
    QVERIFY(!api.IsRunning());
    QCOMPARE(reply->aborts, 0);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!reply);
}

void tst_BaseHttpApiRetries::timerEndsInTimeout()
{
    FakeApi api;
    setAddress(&api);
    api.SetTimeout(20);
    const ApiEvents events(&api);
    api.Send();
    QTRY_COMPARE(events.log, texts({"failed 3001 0 0"}));
    QVERIFY(!api.IsRunning());
    QVERIFY(!api.m_timer.isActive());
}

void tst_BaseHttpApiRetries::sendInATimeoutHandlerIsRefused()
{
    FakeApi api;
    setAddress(&api);
    connect(&api, &BaseHttpApi::apiFailed, &api, &BaseHttpApi::Send);
    api.Send();
    const LogCapture log;
    api.OnTimeout();
    QCOMPARE(log.count(1, QStringLiteral(" http://host/path networkReplay is running")), 1);
    QCOMPARE(api.replies.size(), 1);
    QVERIFY(!api.IsRunning());
}

// The reply of the failed attempt takes its successor along, whose answer is then not heard.
void tst_BaseHttpApiRetries::destroyedReplyClearsItsSuccessor()
{
    FakeApi api;
    setAddress(&api);
    api.SetRetryTimes(1, false);
    const ApiEvents events(&api);
    api.Send();
    api.replies.last()->setStatus(500);
    api.replies.last()->finish();
    QCOMPARE(api.replies.size(), 2);
    QCOMPARE(api.m_reply, api.replies.last().data());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!api.replies.first());
    QVERIFY(api.replies.last());
    QVERIFY(!api.m_reply);
    QVERIFY(!api.IsRunning());
    QVERIFY(api.m_timer.isActive());

    api.replies.last()->setStatus(200);
    api.replies.last()->finish();
    QVERIFY(events.log.isEmpty());
    api.OnTimeout();
    QCOMPARE(events.log, texts({"failed 3001 638 -1"}));
}

// What nobody holds any more does not stay until the network access goes.
void tst_BaseHttpApiRetries::forgottenRepliesAreReleased()
{
    FakeApi api;
    setAddress(&api);
    api.SetRetryTimes(1, false);
    for (int call = 0; call < 3; ++call) {
        api.Send();
        api.OnTimeout();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(!api.IsRunning());
        QVERIFY(api.replies.last());
        api.OnTimeout();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(!api.replies.last());
    }
    QCOMPARE(api.replies.size(), 6);
}

// The attempt after the forgotten one is complete again: neither the forgotten reply nor its end touches it.
void tst_BaseHttpApiRetries::answerAfterAForgottenOneCounts()
{
    FakeApi api;
    setAddress(&api);
    api.SetRetryTimes(2, false);
    const ApiEvents events(&api);
    api.Send();
    api.OnTimeout();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    api.OnTimeout();
    QCOMPARE(api.replies.size(), 3);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!api.replies.at(1));
    QCOMPARE(api.m_reply, api.replies.last().data());
    api.replies.last()->setStatus(200);
    api.replies.last()->setBody("late");
    api.replies.last()->finish();
    QCOMPARE(events.log, texts({"succeed 4", "finished"}));
}

// Nor after a call that was started while the forgotten reply was still under way.
void tst_BaseHttpApiRetries::forgottenReplyDoesNotEndTheNextCall()
{
    FakeApi api;
    setAddress(&api);
    api.SetRetryTimes(1, false);
    const ApiEvents events(&api);
    api.Send();
    api.OnTimeout();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!api.IsRunning());
    api.Send();
    QCOMPARE(api.replies.size(), 3);
    api.replies.at(1)->finish();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!api.replies.at(1));
    QVERIFY(events.log.isEmpty());
    QCOMPARE(api.m_reply, api.replies.last().data());
}

// The reply of the call that ended takes the new one along, as in a retry.
void tst_BaseHttpApiRetries::sendInAHandlerIsForgotten()
{
    FakeApi api;
    setAddress(&api);
    connect(&api, &BaseHttpApi::apiFinished, &api, &BaseHttpApi::Send);
    api.Send();
    api.replies.last()->setStatus(200);
    api.replies.last()->finish();
    QCOMPARE(api.replies.size(), 2);
    QVERIFY(api.IsRunning());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!api.IsRunning());
    QVERIFY(api.m_timer.isActive());
}

void tst_BaseHttpApiRetries::deletedInItsHandlers_data()
{
    QTest::addColumn<QString>("signal");
    QTest::addColumn<int>("status");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("apiSucceed") << QStringLiteral("succeed") << 200 << texts({"succeed"});
    QTest::newRow("apiFailed") << QStringLiteral("failed") << 404 << texts({"failed"});
    QTest::newRow("apiFailed of a time-out") << QStringLiteral("failed") << -1 << texts({"failed"});
    QTest::newRow("apiFinished") << QStringLiteral("finished") << 200 << texts({"succeed", "finished"});
}

void tst_BaseHttpApiRetries::deletedInItsHandlers()
{
    QFETCH(QString, signal);
    QFETCH(int, status);
    QStringList seen;
    auto* api = new LeavingApi;
    setAddress(api);
    const auto note = [&seen, &signal, api](const QString& name) {
        seen << name;
        if (name == signal)
            delete api;
    };
    connect(api, &BaseHttpApi::apiSucceed, this, [&] { note(QStringLiteral("succeed")); });
    connect(api, &BaseHttpApi::apiFailed, this, [&] { note(QStringLiteral("failed")); });
    connect(api, &BaseHttpApi::apiFinished, this, [&] { note(QStringLiteral("finished")); });
    const QPointer<BaseHttpApi> watched(api);
    api->Send();
    const QPointer<FakeReply> reply = api->reply;
    if (status < 0) {
        api->SetTimeout(1);
        api->m_timer.start();
        QTRY_VERIFY(!watched);
    } else {
        reply->setStatus(status);
        reply->finish();
    }
    QVERIFY(!watched);
    QTEST(seen, "expected");
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!reply);
}

void tst_BaseHttpApiRetries::deletingReleasesTheReply()
{
    auto api = std::make_unique<LeavingApi>();
    setAddress(api.get());
    api->Send();
    const QPointer<FakeReply> reply = api->reply;
    api.reset();
    QVERIFY(reply);
    reply->finish();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!reply);
}

void tst_BaseHttpApiRetries::deletedManagerIsNoManager()
{
    TestApi api;
    setAddress(&api);
    auto manager = std::make_unique<HttpNetworkManager>();
    api.SetNetworkManager(manager.get());
    manager.reset();
    QVERIFY(!api.m_networkManager);
    const LogCapture log;
    api.Send();
    QCOMPARE(log.count(1, QStringLiteral(" http://host/path networkReplay is nullptr")), 1);
}

void tst_BaseHttpApiRetries::replacedManagerMayGo()
{
    TestApi api;
    HttpNetworkManager second;
    auto first = std::make_unique<HttpNetworkManager>();
    api.SetNetworkManager(first.get());
    api.SetNetworkManager(&second);
    first.reset();
    QCOMPARE(api.m_networkManager, &second);
    api.SetNetworkManager(nullptr);
    QVERIFY(!api.m_networkManager);
}

void tst_BaseHttpApiRetries::waitSendEndsWithTheReply_data()
{
    QTest::addColumn<bool>("running");
    QTest::newRow("of its own call") << false;
    // It sends nothing then, and waits for the reply that is held.
    QTest::newRow("of a call under way") << true;
}

void tst_BaseHttpApiRetries::waitSendEndsWithTheReply()
{
    QFETCH(bool, running);
    const qint64 elapsed = shortest(kHalfASecondMs, [running] {
        FakeApi api;
        setAddress(&api);
        const ApiEvents events(&api);
        if (running)
            api.Send();
        QTimer::singleShot(20, &api, [&api] {
            api.replies.last()->setStatus(200);
            api.replies.last()->finish();
        });
        api.WaitSend();
        QTRY_COMPARE(events.log, texts({"succeed 0", "finished"}));
        QCOMPARE(api.replies.size(), 1);
    });
    QVERIFY2(elapsed < kHalfASecondMs, qPrintable(QString::number(elapsed)));
}

void tst_BaseHttpApiRetries::waitSendEndsAfterHalfASecond()
{
    const qint64 elapsed = shortest(1500, [] {
        FakeApi api;
        setAddress(&api);
        const ApiEvents events(&api);
        api.WaitSend();
        QVERIFY(api.IsRunning());
        QVERIFY(events.log.isEmpty());
        // The call goes on.
        api.replies.last()->setStatus(200);
        api.replies.last()->finish();
        QCOMPARE(events.log, texts({"succeed 0", "finished"}));
    });
    QVERIFY2(elapsed >= kHalfASecondMs && elapsed < 1500, qPrintable(QString::number(elapsed)));
}

void tst_BaseHttpApiRetries::waitSendWaitsWithoutAReplyToo()
{
    const qint64 elapsed = shortest(1500, [] {
        TestApi api;
        const LogCapture log;
        api.WaitSend();
        QCOMPARE(logLines(log), texts({"3 BaseHttpApi::Send|  http url is empty"}));
        QVERIFY(!api.IsRunning());
    });
    QVERIFY2(elapsed >= kHalfASecondMs && elapsed < 1500, qPrintable(QString::number(elapsed)));
}

void tst_BaseHttpApiRetries::waitSendSurvivesDeletion()
{
    auto* api = new LeavingApi;
    setAddress(api);
    const QPointer<BaseHttpApi> watched(api);
    connect(api, &BaseHttpApi::apiSucceed, this, [api] { delete api; });
    QTimer::singleShot(0, this, [api] {
        api->reply->setStatus(200);
        api->reply->finish();
    });
    api->WaitSend();
    QVERIFY(!watched);
}

QTEST_GUILESS_MAIN(tst_BaseHttpApiRetries)
#include "tst_BaseHttpApiRetries.moc"

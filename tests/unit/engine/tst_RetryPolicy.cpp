// SPDX-License-Identifier: MIT
#include "RetryPolicy.h"
#include "Settings.h"

#include <QNetworkReply>
#include <QtTest>

using namespace VantorEngine;

class tst_RetryPolicy : public QObject
{
    Q_OBJECT
private slots:
    void doublesTheDelayUpToTheCapAndGivesUp();
    void neverRetriesWithALimitOfZero();
    void leavesHalfOfTheDelayToChance();
    void waitsAsTheServerAsksWithinTheCap();
    void startsAnewAfterProgress();
    void survivesManyFailures();
    void knowsTransientNetworkErrors();
};

void tst_RetryPolicy::doublesTheDelayUpToTheCapAndGivesUp()
{
    Settings settings;
    settings.retryLimit = 5;
    settings.retryDelayMs = 500;
    settings.retryDelayCapMs = 3000;
    RetryPolicy policy(settings, [] { return 1.0; });
    QVector<int> delays;
    for (int i = 0; i < 6; ++i) {
        delays.append(policy.nextDelay(0));
    }
    QCOMPARE(delays, QVector<int>({500, 1000, 2000, 3000, 3000, -1}));
}

void tst_RetryPolicy::neverRetriesWithALimitOfZero()
{
    Settings settings;
    settings.retryLimit = 0;
    RetryPolicy policy(settings, [] { return 1.0; });
    QCOMPARE(policy.nextDelay(0), -1);
}

void tst_RetryPolicy::leavesHalfOfTheDelayToChance()
{
    Settings settings;
    settings.retryDelayMs = 1000;
    settings.retryDelayCapMs = 1500;
    double chance = 0;
    RetryPolicy policy(settings, [&chance] { return chance; });
    QCOMPARE(policy.nextDelay(0), 500);
    chance = 0.5;
    QCOMPARE(policy.nextDelay(0), 750 + 375); // of the cap
    RetryPolicy usual(settings);
    for (int i = 0; i < settings.retryLimit; ++i) {
        const int delay = usual.nextDelay(0);
        QVERIFY(delay >= 500 && delay <= 1500);
    }
}

void tst_RetryPolicy::waitsAsTheServerAsksWithinTheCap()
{
    Settings settings;
    settings.retryDelayMs = 100;
    settings.retryDelayCapMs = 5000;
    RetryPolicy policy(settings, [] { return 1.0; });
    QCOMPARE(policy.nextDelay(0, 3000), 3000);
    QCOMPARE(policy.nextDelay(0, 60000), 5000);
    QCOMPARE(policy.nextDelay(0, 1), 400); // no sooner than without
}

void tst_RetryPolicy::startsAnewAfterProgress()
{
    Settings settings;
    settings.retryLimit = 2;
    settings.retryDelayMs = 10;
    settings.retryDelayCapMs = 1000;
    RetryPolicy policy(settings, [] { return 1.0; });
    const qint64 step = RetryPolicy::kProgressBytes;
    QCOMPARE(policy.nextDelay(0), 10);
    QCOMPARE(policy.nextDelay(step - 1), 20); // not enough
    QCOMPARE(policy.nextDelay(step), 10);
    QCOMPARE(policy.nextDelay(step), 20);
    QCOMPARE(policy.nextDelay(0), -1); // a file that starts over brings nothing new
    QCOMPARE(policy.nextDelay(step), -1);
}

void tst_RetryPolicy::survivesManyFailures()
{
    Settings settings;
    settings.retryLimit = 100;
    RetryPolicy policy(settings, [] { return 1.0; });
    for (int i = 0; i < 100; ++i) {
        const int delay = policy.nextDelay(0);
        QVERIFY(delay > 0 && delay <= settings.retryDelayCapMs);
    }
    QCOMPARE(policy.nextDelay(0), -1);
}

void tst_RetryPolicy::knowsTransientNetworkErrors()
{
    for (const int error : {QNetworkReply::ConnectionRefusedError, QNetworkReply::RemoteHostClosedError,
                            QNetworkReply::HostNotFoundError, QNetworkReply::TimeoutError}) {
        QVERIFY(isTransientNetworkError(error));
    }
    for (const int error : {QNetworkReply::TooManyRedirectsError, QNetworkReply::InsecureRedirectError,
                            QNetworkReply::ProtocolUnknownError, QNetworkReply::ProxyAuthenticationRequiredError}) {
        QVERIFY(!isTransientNetworkError(error));
    }
}

QTEST_GUILESS_MAIN(tst_RetryPolicy)
#include "tst_RetryPolicy.moc"

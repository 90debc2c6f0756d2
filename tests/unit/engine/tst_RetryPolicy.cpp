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
    RetryPolicy policy(settings);
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
    RetryPolicy policy(settings);
    QCOMPARE(policy.nextDelay(0), -1);
}

void tst_RetryPolicy::startsAnewAfterProgress()
{
    Settings settings;
    settings.retryLimit = 2;
    settings.retryDelayMs = 10;
    settings.retryDelayCapMs = 1000;
    RetryPolicy policy(settings);
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
    RetryPolicy policy(settings);
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

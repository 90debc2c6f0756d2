// SPDX-License-Identifier: MIT
#include "Settings.h"

#include <QtTest>

using namespace VantorEngine;

class tst_EngineSettings : public QObject
{
    Q_OBJECT
private slots:
    void hasTheDocumentedDefaults();
    void readsEveryStartupMember();
    void bringsNumbersIntoRange_data();
    void bringsNumbersIntoRange();
    void keepsValuesOfMissingAndWrongMembers();
    void changesNothingForUnreadableText_data();
    void changesNothingForUnreadableText();
    void refusesUnusableProxies_data();
    void refusesUnusableProxies();
    void readsPolicy_data();
    void readsPolicy();
};

void tst_EngineSettings::hasTheDocumentedDefaults()
{
    const Settings settings;
    QCOMPARE(settings.maxParallelFiles, 6);
    QCOMPARE(settings.retryLimit, 5);
    QCOMPARE(settings.retryDelayMs, 500);
    QCOMPARE(settings.retryDelayCapMs, 8000);
    QCOMPARE(settings.responseTimeoutMs, 30000);
    QCOMPARE(settings.stallTimeoutMs, 30000);
    QCOMPARE(settings.maxParallelChunks, 8);
    QCOMPARE(settings.packageBaseUrl, QString());
    QCOMPARE(settings.caFile, QString());
    QCOMPARE(settings.proxy, QStringLiteral("system"));
    QCOMPARE(settings.bandwidthLimit, 0);
    QCOMPARE(settings.progressIntervalMs, 100);
}

void tst_EngineSettings::readsEveryStartupMember()
{
    Settings settings;
    QVERIFY(applyStartup(settings, R"({"max_parallel_files":3,"retry_limit":7,"retry_delay_ms":11,
        "retry_delay_cap_ms":99,"response_timeout_ms":4321,"stall_timeout_ms":1234,"ca_file":"/a b.pem",
        "proxy":"none",
        "max_parallel_chunks":5,"package_base_url":"packages",
        "download_policy":{"download_bandwidth":2048,"progress_callback_interval":50}})"));
    QCOMPARE(settings.maxParallelFiles, 3);
    QCOMPARE(settings.retryLimit, 7);
    QCOMPARE(settings.retryDelayMs, 11);
    QCOMPARE(settings.retryDelayCapMs, 99);
    QCOMPARE(settings.responseTimeoutMs, 4321);
    QCOMPARE(settings.stallTimeoutMs, 1234);
    QCOMPARE(settings.caFile, QStringLiteral("/a b.pem"));
    QCOMPARE(settings.proxy, QStringLiteral("none"));
    QCOMPARE(settings.maxParallelChunks, 5);
    QCOMPARE(settings.packageBaseUrl, QStringLiteral("packages"));
    QCOMPARE(settings.bandwidthLimit, 2048);
    QCOMPARE(settings.progressIntervalMs, 50);
}

void tst_EngineSettings::bringsNumbersIntoRange_data()
{
    QTest::addColumn<int>("given");
    QTest::addColumn<int>("used");
    QTest::newRow("below the least") << 0 << 1;
    QTest::newRow("least") << 1 << 1;
    QTest::newRow("most") << 64 << 64;
    QTest::newRow("above the most") << 65 << 64;
}

void tst_EngineSettings::bringsNumbersIntoRange()
{
    QFETCH(int, given);
    QFETCH(int, used);
    Settings settings;
    applyStartup(settings, "{\"max_parallel_files\":" + QByteArray::number(given) + '}');
    QCOMPARE(settings.maxParallelFiles, used);
}

void tst_EngineSettings::keepsValuesOfMissingAndWrongMembers()
{
    Settings settings;
    settings.maxParallelFiles = 4;
    settings.caFile = QStringLiteral("kept");
    settings.bandwidthLimit = 77;
    QVERIFY(applyStartup(settings, R"({"max_parallel_files":"2","ca_file":5,"download_policy":[1]})"));
    QCOMPARE(settings.maxParallelFiles, 4);
    QCOMPARE(settings.caFile, QStringLiteral("kept"));
    QCOMPARE(settings.bandwidthLimit, 77);
}

void tst_EngineSettings::changesNothingForUnreadableText_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<bool>("readable");
    QTest::newRow("empty") << QByteArray() << true;
    QTest::newRow("blanks") << QByteArray(" \n") << true;
    QTest::newRow("not JSON") << QByteArray("{\"max_parallel_files\":2") << false;
    QTest::newRow("array") << QByteArray("[2]") << false;
}

void tst_EngineSettings::changesNothingForUnreadableText()
{
    QFETCH(QByteArray, text);
    QFETCH(bool, readable);
    Settings settings;
    settings.bandwidthLimit = 5;
    QCOMPARE(applyStartup(settings, text), readable);
    QCOMPARE(applyPolicy(settings, text), readable);
    QCOMPARE(settings.maxParallelFiles, 6);
    QCOMPARE(settings.bandwidthLimit, 5);
}

void tst_EngineSettings::refusesUnusableProxies_data()
{
    QTest::addColumn<QByteArray>("proxy");
    QTest::newRow("no text") << QByteArray("8080");
    QTest::newRow("empty") << QByteArray("\"\"");
    QTest::newRow("a word") << QByteArray("\"automatic\"");
    QTest::newRow("no port") << QByteArray("\"http://proxy.example\"");
    QTest::newRow("no host") << QByteArray("\"http://:8080\"");
    QTest::newRow("another scheme") << QByteArray("\"ftp://proxy.example:21\"");
}

void tst_EngineSettings::refusesUnusableProxies()
{
    QFETCH(QByteArray, proxy);
    Settings settings;
    settings.proxy = QStringLiteral("none");
    QVERIFY(applyStartup(settings, "{\"proxy\":" + proxy + '}'));
    QCOMPARE(settings.proxy, QStringLiteral("none"));
    QVERIFY(applyStartup(settings, "{\"proxy\":\"http://proxy.example:3128\"}"));
    QCOMPARE(settings.proxy, QStringLiteral("http://proxy.example:3128"));
    QVERIFY(applyStartup(settings, R"({"proxy":"system"})"));
    QCOMPARE(settings.proxy, QStringLiteral("system"));
}

void tst_EngineSettings::readsPolicy_data()
{
    QTest::addColumn<QByteArray>("policy");
    QTest::addColumn<qint64>("bandwidth");
    QTest::addColumn<int>("interval");
    QTest::newRow("both") << QByteArray(R"({"download_bandwidth":524288,"progress_callback_interval":250})")
                          << qint64(524288) << 250;
    QTest::newRow("zero is no limit") << QByteArray(R"({"download_bandwidth":0})") << qint64(0) << 70;
    QTest::newRow("negative is no limit") << QByteArray(R"({"download_bandwidth":-1024})") << qint64(0) << 70;
    QTest::newRow("interval 0 is the default") << QByteArray(R"({"progress_callback_interval":0})") << qint64(9) << 100;
    QTest::newRow("shortest interval") << QByteArray(R"({"progress_callback_interval":1})") << qint64(9) << 10;
    QTest::newRow("nothing") << QByteArray("{}") << qint64(9) << 70;
}

void tst_EngineSettings::readsPolicy()
{
    QFETCH(QByteArray, policy);
    QFETCH(qint64, bandwidth);
    QFETCH(int, interval);
    Settings settings;
    settings.bandwidthLimit = 9;
    settings.progressIntervalMs = 70;
    QVERIFY(applyPolicy(settings, "{\"download_policy\":" + policy + '}'));
    QCOMPARE(settings.bandwidthLimit, bandwidth);
    QCOMPARE(settings.progressIntervalMs, interval);
}

QTEST_GUILESS_MAIN(tst_EngineSettings)
#include "tst_EngineSettings.moc"

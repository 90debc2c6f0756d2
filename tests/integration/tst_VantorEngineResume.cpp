// SPDX-License-Identifier: MIT
// Going on from partial files: of an earlier attempt, an earlier run, a killed process.
#include "EngineTest.h"

#include <QJsonDocument>
#include <QProcess>
#include <QtTest>

using namespace EngineTesting;

class tst_VantorEngineResume : public EngineTest
{
    Q_OBJECT
private slots:
    void resumesFromThePartialFile();
    void resumesWithoutAKnownSize();
    void resumesWithinARun();
    void goesOnAsLongAsThereIsProgress();
    void startsOverWhenResumingIsDisabled();
    void startsOverWhenTheServerSendsTheWhole();
    void neverSplicesPartialContentFromElsewhere();

    void acceptsARefusedRangeWhenAllIsThere();
    void startsOverAfterARefusedRange_data();
    void startsOverAfterARefusedRange();
    void givesUpOnARangeThatIsRefusedTwice();

    void startsOverWithAPartialFileThatIsTooLong();
    void verifiesAPartialFileThatIsComplete();
    void resumesAfterBeingKilled();
};

void tst_VantorEngineResume::resumesFromThePartialFile()
{
    const QByteArray content = sampleContent(300000);
    makeFile(QStringLiteral("a_tmp"), content.left(100000));
    m_server->serve("/a", content);
    const QString guid = engine().submit({itemFor("/a", content)});
    TRY_END(guid, "Success");
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QCOMPARE(m_server->requests("/a").value(0).header("Range"), QByteArray("bytes=100000-"));
    const QJsonObject file = engine().lastItem(guid, url("/a"));
    QCOMPARE(number(file, "existing_byte_count"), 100000);
    QCOMPARE(number(file, "written_byte_count"), 200000);
    QCOMPARE(number(file, "verified_byte_count"), 300000);
    QVERIFY(!QFile::exists(at(QStringLiteral("a_tmp"))));
}

void tst_VantorEngineResume::resumesWithoutAKnownSize()
{
    const QByteArray content = sampleContent(300000);
    makeFile(QStringLiteral("a_tmp"), content.left(100000));
    m_server->serve("/a", content);
    const QString guid = engine().submit({item("/a", 0, md5Of(content))});
    TRY_END(guid, "Success");
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QCOMPARE(number(engine().lastItem(guid, url("/a")), "size"), content.size());
}

void tst_VantorEngineResume::resumesWithinARun()
{
    const QByteArray content = sampleContent(300000);
    m_server->once("/a", HttpResponse::ok(content).closeAfter(120000));
    m_server->serve("/a", content);
    const QString guid = engine().submit({itemFor("/a", content)});
    TRY_END(guid, "Success");
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QCOMPARE(rangesAsked("/a"), QList<QByteArray>{"bytes=120000-"});
    const QJsonObject file = engine().lastItem(guid, url("/a"));
    QCOMPARE(number(file, "existing_byte_count"), 0); // all of it came in this run
    QCOMPARE(number(file, "written_byte_count"), content.size());
}

void tst_VantorEngineResume::goesOnAsLongAsThereIsProgress()
{
    // Three retries in a row are the limit, but each of these ten brings the file on.
    const QByteArray content = sampleContent(1000 * 1000);
    m_server->on("/a", [content](const HttpRequest& request) {
        return HttpResponse::content(request, content).closeAfter(100 * 1000);
    });
    const QString guid = engine().submit({itemFor("/a", content)});
    TRY_END(guid, "Success");
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QCOMPARE(number(engine().lastItem(guid, url("/a")), "current_retry_times"), 9);
}

void tst_VantorEngineResume::startsOverWhenResumingIsDisabled()
{
    const QByteArray content = sampleContent(300000);
    makeFile(QStringLiteral("a_tmp"), sampleContent(100000, 99));
    m_server->serve("/a", content);
    m_server->once("/a", HttpResponse::ok(content).closeAfter(200000));
    QJsonObject file = itemFor("/a", content);
    file.insert(QStringLiteral("disable_resume_download"), true);
    const QString guid = engine().submit({file});
    TRY_END(guid, "Success");
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QCOMPARE(rangesAsked("/a"), QList<QByteArray>());
    const QJsonObject last = engine().lastItem(guid, url("/a"));
    QCOMPARE(number(last, "current_retry_times"), 1);
    QCOMPARE(number(last, "existing_byte_count"), 0);
    QCOMPARE(number(last, "written_byte_count"), content.size());
}

void tst_VantorEngineResume::startsOverWhenTheServerSendsTheWhole()
{
    const QByteArray content = sampleContent(300000);
    makeFile(QStringLiteral("a_tmp"), sampleContent(100000, 99)); // would spoil the file if it were kept
    m_server->always("/a", HttpResponse::ok(content));
    const QString guid = engine().submit({itemFor("/a", content)});
    TRY_END(guid, "Success");
    QVERIFY(m_server->requests("/a").value(0).hasHeader("Range"));
    QCOMPARE(m_server->requestCount("/a"), 1);
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    const QJsonObject file = engine().lastItem(guid, url("/a"));
    QCOMPARE(number(file, "existing_byte_count"), 0);
    QCOMPARE(number(file, "written_byte_count"), content.size());
}

void tst_VantorEngineResume::neverSplicesPartialContentFromElsewhere()
{
    const QByteArray content = sampleContent(300000);
    makeFile(QStringLiteral("a_tmp"), content.left(100000));
    m_server->once(
        "/a",
        HttpResponse::withStatus(206, content.mid(100001)).addHeader("Content-Range", "bytes 100001-299999/300000"));
    m_server->serve("/a", content);
    const QString guid = engine().submit({item("/a", content.size(), {})}); // nothing but the range can tell
    TRY_END(guid, "Success");
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    const QVector<QJsonObject> texts = engine().fileTexts(guid, url("/a"));
    QCOMPARE(engine().fileStatuses(guid, url("/a")),
             words("Start Preparing Prepared Failed Start Downloading Downloaded Success"));
    QCOMPARE(number(member(texts.at(3), "url_net_error"), "error_code"), 902);
    QCOMPARE(number(texts.at(3), "current_retry_times"), 1);
    QVERIFY(!texts.at(3).value(QStringLiteral("completed")).toBool());
    QVERIFY(!texts.at(4).contains(QStringLiteral("url_net_error"))); // told once
}

void tst_VantorEngineResume::acceptsARefusedRangeWhenAllIsThere()
{
    const QByteArray content = sampleContent(3000);
    makeFile(QStringLiteral("a_tmp"), content);
    m_server->serve("/a", content);
    const QString guid = engine().submit({item("/a", 0, md5Of(content))});
    TRY_END(guid, "Success");
    QCOMPARE(m_server->requestCount("/a"), 1);
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QCOMPARE(number(engine().lastItem(guid, url("/a")), "existing_byte_count"), content.size());
    QCOMPARE(number(engine().lastItem(guid, url("/a")), "written_byte_count"), 0);
}

void tst_VantorEngineResume::startsOverAfterARefusedRange_data()
{
    QTest::addColumn<int>("partial");
    QTest::addColumn<bool>("sizeKnown");
    QTest::addColumn<qint64>("total");
    QTest::newRow("more than the server has") << 5000 << false << qint64(3000);
    QTest::newRow("no total told") << 1000 << false << qint64(-1);
    QTest::newRow("size known") << 1000 << true << qint64(1000);
}

void tst_VantorEngineResume::startsOverAfterARefusedRange()
{
    QFETCH(int, partial);
    QFETCH(bool, sizeKnown);
    QFETCH(qint64, total);
    const QByteArray content = sampleContent(3000);
    makeFile(QStringLiteral("a_tmp"), sampleContent(partial, 99));
    m_server->once("/a", HttpResponse::rangeNotSatisfiable(total));
    m_server->serve("/a", content);
    const QString guid = engine().submit({item("/a", sizeKnown ? content.size() : 0, md5Of(content))});
    TRY_END(guid, "Success");
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QCOMPARE(m_server->requestCount("/a"), 2);
    QVERIFY(!m_server->requests("/a").value(1).hasHeader("Range"));
    QCOMPARE(number(engine().lastItem(guid, url("/a")), "existing_byte_count"), 0);
    QCOMPARE(number(engine().lastItem(guid, url("/a")), "current_retry_times"), 0);
}

void tst_VantorEngineResume::givesUpOnARangeThatIsRefusedTwice()
{
    const QByteArray content = sampleContent(3000);
    makeFile(QStringLiteral("a_tmp"), content.left(1000));
    m_server->once("/a", HttpResponse::rangeNotSatisfiable(-1));
    m_server->once("/a", HttpResponse::ok(content).closeAfter(2000)); // leaves something to resume from
    m_server->always("/a", HttpResponse::rangeNotSatisfiable(-1));
    const QString guid = engine().submit({itemFor("/a", content)});
    TRY_END(guid, "Failed");
    QCOMPARE(rangesAsked("/a"), (QList<QByteArray>{"bytes=1000-", "bytes=2000-"}));
    const QJsonObject file = engine().lastItem(guid, url("/a"));
    QCOMPARE(number(member(file, "url_net_error"), "error_code"), 416);
    QVERIFY(file.value(QStringLiteral("completed")).toBool());
}

void tst_VantorEngineResume::startsOverWithAPartialFileThatIsTooLong()
{
    const QByteArray content = sampleContent(3000);
    makeFile(QStringLiteral("a_tmp"), content + "x");
    m_server->serve("/a", content);
    const QString guid = engine().submit({itemFor("/a", content)});
    TRY_END(guid, "Success");
    QVERIFY(!m_server->requests("/a").value(0).hasHeader("Range"));
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QCOMPARE(number(engine().lastItem(guid, url("/a")), "existing_byte_count"), 0);
}

void tst_VantorEngineResume::verifiesAPartialFileThatIsComplete()
{
    const QByteArray content = sampleContent(3000);
    makeFile(QStringLiteral("a_tmp"), content);
    const QString guid = engine().submit({itemFor("/a", content)});
    TRY_END(guid, "Success");
    QCOMPARE(m_server->requestCount(), 0);
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QCOMPARE(engine().fileStatuses(guid, url("/a")),
             words("Start Preparing Prepared Downloaded Verifying Verified Success"));
    QCOMPARE(number(engine().lastItem(guid, url("/a")), "existing_byte_count"), content.size());
}

void tst_VantorEngineResume::resumesAfterBeingKilled()
{
    const QByteArray content = sampleContent(3 * 1000 * 1000);
    m_server->on("/a", [content](const HttpRequest& request) {
        return HttpResponse::content(request, content).rate(4 * 1000 * 1000);
    });
    const QJsonObject list{{QStringLiteral("download_items"), QJsonArray{itemFor("/a", content)}}};
    const QStringList arguments = hostArguments(QJsonDocument(list).toJson(), {});
    for (int i = 1; i <= 4; ++i) {
        QProcess host;
        host.start(QStringLiteral(ENGINE_HOST), arguments);
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo(at(QStringLiteral("a_tmp"))).size() > i * 400 * 1000, 20000);
        host.kill();
        QVERIFY(host.waitForFinished());
        QVERIFY(!QFile::exists(at(QStringLiteral("a"))));
        const QByteArray left = contentOf(QStringLiteral("a_tmp"));
        QVERIFY(content.startsWith(left));
    }
    QProcess host;
    host.start(QStringLiteral(ENGINE_HOST), arguments);
    QVERIFY(host.waitForFinished(20000));
    QCOMPARE(host.exitCode(), 0);
    QCOMPARE(contentOf(QStringLiteral("a")), content);
    QVERIFY(!QFile::exists(at(QStringLiteral("a_tmp"))));
    const QVector<HttpRequest> requests = m_server->requests("/a");
    QCOMPARE(requests.size(), 5);
    for (int i = 1; i < requests.size(); ++i) {
        QVERIFY(requests.at(i).rangeStart() > i * 400 * 1000); // goes on where it was, never from the start
    }
}

QTEST_GUILESS_MAIN(tst_VantorEngineResume)
#include "tst_VantorEngineResume.moc"

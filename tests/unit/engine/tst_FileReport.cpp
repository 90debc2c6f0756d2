// SPDX-License-Identifier: MIT
#include "FileReport.h"
#include "Json.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

using namespace VantorEngine;

class tst_FileReport : public QObject
{
    Q_OBJECT
private slots:
    void writesStringsThatReadBack_data();
    void writesStringsThatReadBack();
    void writesAllMembers();
    void writesNumbersWithAllDigits();
    void writesErrorsUnderTheirKinds_data();
    void writesErrorsUnderTheirKinds();
    void keepsTheResponseOutOfBriefObjectsWithoutError();
    void namesEveryStatus();
};

namespace {

QJsonObject parsed(const QByteArray& text)
{
    return QJsonDocument::fromJson(text).object();
}

FileState sampleState()
{
    FileState state;
    state.guid = QStringLiteral("task");
    state.groupGuid = QStringLiteral("group");
    state.url = QStringLiteral("http://h/ä \"b\"");
    state.status = ItemStatus::Downloading;
    state.size = 100;
    state.existing = 10;
    state.written = 20;
    state.verified = 5;
    state.verifiedSpeed = 6;
    state.bandwidth = 7;
    state.retries = 2;
    state.hostName = QStringLiteral("host.example");
    state.remoteAddress = QStringLiteral("127.0.0.1");
    state.response = {206, R"({"Content-Length":"90"})"};
    return state;
}

} // namespace

void tst_FileReport::writesStringsThatReadBack_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QString();
    QTest::newRow("quotes") << QStringLiteral("a\"b\\c/d");
    QTest::newRow("controls") << QStringLiteral("\x01\t\r\n\x1f");
    QTest::newRow("non-ASCII") << QString::fromUtf8("äöü 漢字 😀");
    QTest::newRow("braces") << QStringLiteral("{[");
}

void tst_FileReport::writesStringsThatReadBack()
{
    QFETCH(QString, text);
    QByteArray out = "{";
    appendJsonMember(out, "a", text);
    appendJsonMember(out, "b", true);
    out.append('}');
    const QJsonObject object = parsed(out);
    QCOMPARE(object.size(), 2);
    QCOMPARE(object.value(QStringLiteral("a")).toString(), text);
}

void tst_FileReport::writesAllMembers()
{
    FileState state = sampleState();
    const QJsonObject expected =
        parsed(R"({"guid":"task","group_guid":"group","url":"http://h/ä \"b\"","status":"Downloading",
        "completed":false,"size":100,"existing_byte_count":10,"written_byte_count":20,"verified_byte_count":5,
        "verified_speed_byte":6,"bandwidth_byte":7,"current_retry_times":2,"remote_address":"127.0.0.1",
        "canonical_name":["host.example"],"pcdn_alias":"","using_pcdn":false,
        "url_response_info":{"http_status_code":206,"http_header":{"Content-Length":"90"}}})");
    QVERIFY(!expected.isEmpty());
    QCOMPARE(parsed(singleTaskText(state)), expected);
}

void tst_FileReport::writesNumbersWithAllDigits()
{
    FileState state = sampleState();
    state.size = 9007199254740993;
    QVERIFY(singleTaskText(state).contains("\"size\":9007199254740993,"));
}

void tst_FileReport::writesErrorsUnderTheirKinds_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<QString>("key");
    QTest::newRow("network") << int(FileError::Kind::Net) << QStringLiteral("url_net_error");
    QTest::newRow("write") << int(FileError::Kind::Write) << QStringLiteral("file_write_error");
    QTest::newRow("checksum") << int(FileError::Kind::Checksum) << QStringLiteral("checksum_check_error");
}

void tst_FileReport::writesErrorsUnderTheirKinds()
{
    QFETCH(int, kind);
    QFETCH(QString, key);
    FileState state = sampleState();
    state.error.kind = static_cast<FileError::Kind>(kind);
    state.error.code = 5;
    state.error.internalCode = 6;
    state.error.message = QStringLiteral("it \"broke\"");
    const QJsonObject object = parsed(singleTaskText(state));
    const QJsonObject expected{{QStringLiteral("error_code"), 5},
                               {QStringLiteral("internal_error_code"), 6},
                               {QStringLiteral("message"), QStringLiteral("it \"broke\"")}};
    QCOMPARE(object.value(key).toObject(), expected);
    int errors = 0;
    for (const QString& each : object.keys()) {
        errors += each.endsWith(QLatin1String("_error")) ? 1 : 0;
    }
    QCOMPARE(errors, 1);
}

void tst_FileReport::keepsTheResponseOutOfBriefObjectsWithoutError()
{
    FileState state = sampleState();
    QByteArray brief;
    appendFileObject(brief, state, Detail::Brief);
    QVERIFY(!parsed(brief).contains(QStringLiteral("url_response_info")));
    state.error = FileError::net(404, QStringLiteral("gone"), false);
    brief.clear();
    appendFileObject(brief, state, Detail::Brief);
    QVERIFY(parsed(brief).contains(QStringLiteral("url_response_info")));
    QVERIFY(parsed(brief).contains(QStringLiteral("url_net_error")));
}

void tst_FileReport::namesEveryStatus()
{
    const QStringList items{QStringLiteral("Pending"),   QStringLiteral("Start"),       QStringLiteral("Preparing"),
                            QStringLiteral("Prepared"),  QStringLiteral("Downloading"), QStringLiteral("Downloaded"),
                            QStringLiteral("Verifying"), QStringLiteral("Verified"),    QStringLiteral("Cancelling"),
                            QStringLiteral("Cancelled"), QStringLiteral("Failed"),      QStringLiteral("Success")};
    for (int i = 0; i < items.size(); ++i) {
        QCOMPARE(QString::fromLatin1(statusName(static_cast<ItemStatus>(i))), items.at(i));
    }
    const QStringList groups{QStringLiteral("Pending"),   QStringLiteral("Start"),      QStringLiteral("Progressing"),
                             QStringLiteral("Verifying"), QStringLiteral("Cancelling"), QStringLiteral("Cancelled"),
                             QStringLiteral("Failed"),    QStringLiteral("Success"),    QStringLiteral("Duplicated")};
    for (int i = 0; i < groups.size(); ++i) {
        QCOMPARE(QString::fromLatin1(statusName(static_cast<GroupStatus>(i))), groups.at(i));
    }
}

QTEST_GUILESS_MAIN(tst_FileReport)
#include "tst_FileReport.moc"

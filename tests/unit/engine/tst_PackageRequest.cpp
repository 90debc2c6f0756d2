// SPDX-License-Identifier: MIT
#include "package/PackageReport.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

using namespace VantorEngine;

namespace {

QJsonObject usable()
{
    return {{QStringLiteral("guid"), QStringLiteral("g")},
            {QStringLiteral("action"), QStringLiteral("normal_download")},
            {QStringLiteral("package_id"), QStringLiteral("p")},
            {QStringLiteral("branch"), QStringLiteral("b")},
            {QStringLiteral("install_dir"), QDir::tempPath() + QStringLiteral("/x/../y/")},
            {QStringLiteral("pre_download"), true},
            {QStringLiteral("current_version"), QStringLiteral("1.0")}};
}

PackageRequest parsed(const QJsonObject& object)
{
    return parsePackageRequest(QJsonDocument(object).toJson());
}

} // namespace

class tst_PackageRequest : public QObject
{
    Q_OBJECT
private slots:
    void readsEveryMember();
    void readsNothingFromOtherTexts_data();
    void readsNothingFromOtherTexts();
    void namesTheActions_data();
    void namesTheActions();
    void tellsWhatCannotBeUsed_data();
    void tellsWhatCannotBeUsed();
    void responsesHaveTheMembersOfTheirAction_data();
    void responsesHaveTheMembersOfTheirAction();
};

void tst_PackageRequest::readsEveryMember()
{
    const PackageRequest request = parsed(usable());
    QCOMPARE(request.guid, QStringLiteral("g"));
    QCOMPARE(request.action, PackageAction::NormalDownload);
    QCOMPARE(request.actionName, QStringLiteral("normal_download"));
    QCOMPARE(request.package, QStringLiteral("p"));
    QCOMPARE(request.branch, QStringLiteral("b"));
    QCOMPARE(request.installDir, QDir::tempPath() + QStringLiteral("/y"));
    QCOMPARE(request.currentVersion, QStringLiteral("1.0"));
    QCOMPARE(request.preDownload, true);
    QCOMPARE(request.stagingDir, QString());
    QCOMPARE(requestProblem(request), QString());
}

void tst_PackageRequest::readsNothingFromOtherTexts_data()
{
    QTest::addColumn<QByteArray>("text");
    for (const char* text : {"", "null", "[]", "{", "{\"action\": 3, \"package_id\": [], \"install_dir\": {}}"}) {
        QTest::newRow(text) << QByteArray(text);
    }
}

void tst_PackageRequest::readsNothingFromOtherTexts()
{
    QFETCH(const QByteArray, text);
    const PackageRequest request = parsePackageRequest(text);
    QCOMPARE(request.action, PackageAction::Unknown);
    QCOMPARE(request.package, QString());
    QCOMPARE(request.installDir, QString());
    QVERIFY(!requestProblem(request).isEmpty());
}

void tst_PackageRequest::namesTheActions_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("action");
    QTest::addColumn<bool>("writes");
    const auto row = [](const char* name, PackageAction action, bool writes) {
        QTest::newRow(name) << QString::fromLatin1(name) << static_cast<int>(action) << writes;
    };
    row("fetch_version", PackageAction::FetchVersion, false);
    row("fetch_size", PackageAction::FetchSize, false);
    row("normal_download", PackageAction::NormalDownload, true);
    row("repair_download", PackageAction::RepairDownload, true);
    row("delete_database", PackageAction::DeleteDatabase, true);
    row("Fetch_Size", PackageAction::Unknown, false);
    row("unknown", PackageAction::Unknown, false);
    row("", PackageAction::Unknown, false);
}

void tst_PackageRequest::namesTheActions()
{
    QFETCH(const QString, name);
    QFETCH(const int, action);
    QFETCH(const bool, writes);
    QJsonObject object = usable();
    object.insert(QStringLiteral("action"), name);
    QCOMPARE(static_cast<int>(parsed(object).action), action);
    QCOMPARE(writesInstallation(parsed(object).action), writes);
}

void tst_PackageRequest::tellsWhatCannotBeUsed_data()
{
    QTest::addColumn<QString>("action");
    QTest::addColumn<QString>("missing");
    QTest::addColumn<bool>("usableWithout");
    const auto row = [](const char* action, const char* missing, bool well) {
        QTest::addRow("%s without %s", action, missing)
            << QString::fromLatin1(action) << QString::fromLatin1(missing) << well;
    };
    for (const char* action : {"fetch_size", "normal_download", "repair_download"}) {
        for (const char* key : {"package_id", "branch", "install_dir"}) {
            row(action, key, false);
        }
        row(action, "guid", true);
    }
    row("fetch_version", "install_dir", true);
    row("fetch_version", "branch", false);
    row("delete_database", "branch", true);
    row("delete_database", "install_dir", false);
}

void tst_PackageRequest::tellsWhatCannotBeUsed()
{
    QFETCH(const QString, action);
    QFETCH(const QString, missing);
    QFETCH(const bool, usableWithout);
    QJsonObject object = usable();
    object.insert(QStringLiteral("action"), action);
    object.remove(missing);
    QCOMPARE(requestProblem(parsed(object)).isEmpty(), usableWithout);
}

void tst_PackageRequest::responsesHaveTheMembersOfTheirAction_data()
{
    QTest::addColumn<QString>("action");
    QTest::addColumn<int>("members");
    constexpr int kBase = 14;
    QTest::newRow("fetch_version") << QStringLiteral("fetch_version") << kBase;
    QTest::newRow("delete_database") << QStringLiteral("delete_database") << kBase;
    QTest::newRow("fetch_size") << QStringLiteral("fetch_size") << kBase + 9;
    QTest::newRow("normal_download") << QStringLiteral("normal_download") << kBase + 9 + 7 + 1;
    QTest::newRow("repair_download") << QStringLiteral("repair_download") << kBase + 9 + 7 + 2;
}

void tst_PackageRequest::responsesHaveTheMembersOfTheirAction()
{
    QFETCH(const QString, action);
    QFETCH(const int, members);
    QJsonObject object = usable();
    object.insert(QStringLiteral("action"), action);
    PackageReport report;
    report.guid = "g";
    report.request = parsed(object);
    report.errorMessage = QStringLiteral("a \"quoted\" \u6E38");
    report.totalDownloadBytes = 9007199254740993;
    const QByteArray text = packageReportText(report);
    QJsonParseError error;
    const QJsonObject response = QJsonDocument::fromJson(text, &error).object();
    QCOMPARE(error.error, QJsonParseError::NoError);
    QCOMPARE(response.size(), members);
    QCOMPARE(response.value(QStringLiteral("error_msg")).toString(), report.errorMessage);
    if (response.contains(QStringLiteral("total_download_byte"))) {
        QVERIFY(text.contains("\"total_download_byte\":9007199254740993")); // every digit
    }
    QVERIFY(!response.contains(QStringLiteral("duplicated_guid")));
    report.duplicatedGuid = "other";
    QVERIFY(packageReportText(report).contains("\"duplicated_guid\":\"other\""));
}

QTEST_GUILESS_MAIN(tst_PackageRequest)
#include "tst_PackageRequest.moc"

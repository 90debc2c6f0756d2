// SPDX-License-Identifier: MIT
#include "JsonRows.h"
#include "vantor/VantorChunkReq.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

#include <utility>

namespace {

using JsonRows::Kind;
using Req = VantorChunkReq;

QVector<JsonRows::Field<Req>> fields()
{
    return {
        {"guid", Kind::Text, [](const Req& r) { return r.guid; }},
        {"package_id", Kind::Text, [](const Req& r) { return r.package_id; }},
        {"branch", Kind::Text, [](const Req& r) { return r.branch; }},
        {"password", Kind::Text, [](const Req& r) { return r.password; }},
        {"action", Kind::Text, [](const Req& r) { return r.action; }},
        {"current_version", Kind::Text, [](const Req& r) { return r.current_version; }},
        {"install_dir", Kind::Text, [](const Req& r) { return r.install_dir; }},
        {"staging_dir", Kind::Text, [](const Req& r) { return r.staging_dir; }},
        {"chunk_dir", Kind::Text, [](const Req& r) { return r.chunk_dir; }},
        {"pre_download", Kind::Flag, [](const Req& r) { return r.pre_download; }},
        {"pre_download_dir", Kind::Text, [](const Req& r) { return r.pre_download_dir; }},
        {"pre_download_regularized", Kind::Flag, [](const Req& r) { return r.pre_download_regularized; }},
        {"token", Kind::Text, [](const Req& r) { return r.token; }},
    };
}

QVariant emptyOf(Kind kind)
{
    return JsonRows::values().first().read(kind);
}

QSet<QString> set(std::initializer_list<const char*> texts)
{
    QSet<QString> result;
    for (const char* text : texts)
        result.insert(QString::fromUtf8(text));
    return result;
}

Req filledRequest()
{
    Req req;
    req.guid = QStringLiteral("guid");
    req.package_id = QStringLiteral("package");
    req.branch = QStringLiteral("main");
    req.password = QStringLiteral("pass \"word\"");
    req.action_type = VantorChunkActionNormalDownload;
    req.action = QStringLiteral("fetch_size");
    req.current_version = QStringLiteral("1.0");
    req.install_dir = QStringLiteral("C:\\games\\demo");
    req.staging_dir = QStringLiteral("/staging");
    req.chunk_dir = QStringLiteral("/chunks");
    req.pre_download = true;
    req.pre_download_dir = QStringLiteral("/pre \u6E38");
    req.pre_download_regularized = true;
    req.matching_field_list = set({"a", "b"});
    req.token = QStringLiteral("token");
    return req;
}

QJsonObject written(const Req& req)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(req.ToJsonStr().toUtf8(), &error);
    return error.error == QJsonParseError::NoError ? document.object() : QJsonObject();
}

} // namespace

class tst_VantorChunkReq : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void startsEmpty();
    void readsAnyValue_data();
    void readsAnyValue();
    void readsTheActionType_data();
    void readsTheActionType();
    void mergesTheFieldList_data();
    void mergesTheFieldList();
    void missingTokenIsCleared();
    void textThatIsNotJsonChangesNothing_data();
    void textThatIsNotJsonChangesNothing();
    void jsonThatIsNoObjectEmptiesTheFields_data();
    void jsonThatIsNoObjectEmptiesTheFields();
    void writesEveryField();
    void writesEmptyFieldsToo();
    void writesTheFieldListOnlyWithEntries();
    void writesTheActionOfTheType_data();
    void writesTheActionOfTheType();
    void writesIndentedTextInKeyOrder();
    void readsWhatItWrites();
    void readsALongText();
    void copiesAndMoves();
};

void tst_VantorChunkReq::startsEmpty()
{
    const Req req;
    for (const auto& field : fields())
        QCOMPARE(field.get(req), emptyOf(field.kind));
    QCOMPARE(req.action_type, VantorChunkActionUnknown);
    QVERIFY(req.matching_field_list.isEmpty());
}

void tst_VantorChunkReq::readsAnyValue_data()
{
    JsonRows::addRows(fields());
}

void tst_VantorChunkReq::readsAnyValue()
{
    QFETCH(const int, field);
    QFETCH(const int, value);
    const auto all = fields();
    const JsonRows::Value json = JsonRows::values().at(value);
    Req req = filledRequest();
    req.FromJsonStr(QString::fromUtf8(json.object(all.at(field).key)));
    for (int index = 0; index < all.size(); ++index) {
        // The keys that are not there are overwritten too.
        const QVariant expected = index == field ? json.read(all.at(index).kind) : emptyOf(all.at(index).kind);
        QCOMPARE(all.at(index).get(req), expected);
    }
    QCOMPARE(req.action_type, VantorChunkActionUnknown);
    QCOMPARE(req.matching_field_list, set({"a", "b"}));
}

void tst_VantorChunkReq::readsTheActionType_data()
{
    QTest::addColumn<QByteArray>("action");
    QTest::addColumn<int>("type");
    QTest::newRow("fetch_version") << QByteArray("\"fetch_version\"") << 1;
    QTest::newRow("fetch_size") << QByteArray("\"fetch_size\"") << 2;
    QTest::newRow("normal_download") << QByteArray("\"normal_download\"") << 3;
    QTest::newRow("repair_download") << QByteArray("\"repair_download\"") << 4;
    QTest::newRow("delete_database") << QByteArray("\"delete_database\"") << 5;
    QTest::newRow("unknown word") << QByteArray("\"explode\"") << 0;
    QTest::newRow("other case") << QByteArray("\"Fetch_Size\"") << 0;
    QTest::newRow("empty") << QByteArray("\"\"") << 0;
    QTest::newRow("null") << QByteArray("null") << 0;
    QTest::newRow("number") << QByteArray("3") << 0;
    QTest::newRow("array") << QByteArray("[\"fetch_size\"]") << 0;
}

void tst_VantorChunkReq::readsTheActionType()
{
    QFETCH(const QByteArray, action);
    QFETCH(const int, type);
    Req req;
    req.action_type = VantorChunkActionDeleteDatabase;
    req.FromJsonStr(QString::fromUtf8("{\"action\": " + action + "}"));
    QCOMPARE(static_cast<int>(req.action_type), type);
}

void tst_VantorChunkReq::mergesTheFieldList_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QSet<QString>>("fields");
    QTest::newRow("duplicates and new ones") << QByteArray(R"(["a", "a", "b"])") << set({"a", "b", "c"});
    QTest::newRow("the one already there") << QByteArray(R"(["c"])") << set({"c"});
    QTest::newRow("empty array") << QByteArray("[]") << set({"c"});
    QTest::newRow("null") << QByteArray("null") << set({"c"});
    QTest::newRow("text") << QByteArray("\"a\"") << set({"c"});
    QTest::newRow("object") << QByteArray("{\"a\": \"b\"}") << set({"c"});
    QTest::newRow("number") << QByteArray("-1.5e300") << set({"c"});
    // An element that is no text has an empty string value.
    QTest::newRow("elements that are no text") << QByteArray("[1, null, \"a\"]") << set({"", "a", "c"});
}

void tst_VantorChunkReq::mergesTheFieldList()
{
    QFETCH(const QByteArray, value);
    QFETCH(const QSet<QString>, fields);
    Req req;
    req.matching_field_list = set({"c"});
    req.FromJsonStr(QString::fromUtf8("{\"matching_field_list\": " + value + "}"));
    QCOMPARE(req.matching_field_list, fields);
}

void tst_VantorChunkReq::missingTokenIsCleared()
{
    Req req;
    req.token = QStringLiteral("token");
    req.FromJsonStr(QStringLiteral("not JSON"));
    QCOMPARE(req.token, QStringLiteral("token"));
    req.FromJsonStr(QStringLiteral("{\"guid\": \"g\"}"));
    QCOMPARE(req.token, QString());
}

void tst_VantorChunkReq::textThatIsNotJsonChangesNothing_data()
{
    QTest::addColumn<QString>("text");
    for (const auto& row : JsonRows::notJson()) {
        // What is not UTF-8 becomes replacement characters on the way here, and so JSON.
        if (qstrcmp(row.first, "text that is not UTF-8") != 0)
            QTest::newRow(row.first) << QString::fromUtf8(row.second.constData(), row.second.size());
    }
}

void tst_VantorChunkReq::textThatIsNotJsonChangesNothing()
{
    QFETCH(const QString, text);
    const Req filled = filledRequest();
    Req req = filled;
    req.FromJsonStr(text);
    for (const auto& field : fields())
        QCOMPARE(field.get(req), field.get(filled));
    QCOMPARE(req.action_type, filled.action_type);
    QCOMPARE(req.matching_field_list, filled.matching_field_list);
}

void tst_VantorChunkReq::jsonThatIsNoObjectEmptiesTheFields_data()
{
    QTest::addColumn<QString>("text");
    for (const auto& row : JsonRows::notObjects())
        QTest::newRow(row.first) << QString::fromUtf8(row.second);
    QTest::newRow("empty object") << QStringLiteral("{}");
}

void tst_VantorChunkReq::jsonThatIsNoObjectEmptiesTheFields()
{
    QFETCH(const QString, text);
    Req req = filledRequest();
    req.FromJsonStr(text);
    for (const auto& field : fields())
        QCOMPARE(field.get(req), emptyOf(field.kind));
    QCOMPARE(req.action_type, VantorChunkActionUnknown);
    QCOMPARE(req.matching_field_list, set({"a", "b"}));
}

void tst_VantorChunkReq::writesEveryField()
{
    QJsonObject object = written(filledRequest());
    const QJsonArray list = object.take(QStringLiteral("matching_field_list")).toArray();
    QCOMPARE(list.size(), 2);
    QVERIFY(list.contains(QStringLiteral("a")));
    QVERIFY(list.contains(QStringLiteral("b")));
    const QJsonObject expected{
        {QStringLiteral("guid"), QStringLiteral("guid")},
        {QStringLiteral("package_id"), QStringLiteral("package")},
        {QStringLiteral("branch"), QStringLiteral("main")},
        {QStringLiteral("password"), QStringLiteral("pass \"word\"")},
        {QStringLiteral("action"), QStringLiteral("normal_download")},
        {QStringLiteral("install_dir"), QStringLiteral("C:\\games\\demo")},
        {QStringLiteral("staging_dir"), QStringLiteral("/staging")},
        {QStringLiteral("chunk_dir"), QStringLiteral("/chunks")},
        {QStringLiteral("current_version"), QStringLiteral("1.0")},
        {QStringLiteral("token"), QStringLiteral("token")},
        {QStringLiteral("pre_download"), true},
        {QStringLiteral("pre_download_dir"), QStringLiteral("/pre \u6E38")},
        {QStringLiteral("pre_download_regularized"), true},
    };
    QCOMPARE(object, expected);
}

void tst_VantorChunkReq::writesEmptyFieldsToo()
{
    const QJsonObject expected{
        {QStringLiteral("guid"), QStringLiteral("")},
        {QStringLiteral("package_id"), QStringLiteral("")},
        {QStringLiteral("branch"), QStringLiteral("")},
        {QStringLiteral("password"), QStringLiteral("")},
        {QStringLiteral("action"), QStringLiteral("unknown")},
        {QStringLiteral("install_dir"), QStringLiteral("")},
        {QStringLiteral("staging_dir"), QStringLiteral("")},
        {QStringLiteral("chunk_dir"), QStringLiteral("")},
        {QStringLiteral("current_version"), QStringLiteral("")},
        {QStringLiteral("token"), QStringLiteral("")},
        {QStringLiteral("pre_download"), false},
        {QStringLiteral("pre_download_dir"), QStringLiteral("")},
        {QStringLiteral("pre_download_regularized"), false},
    };
    QCOMPARE(written(Req()), expected);
}

void tst_VantorChunkReq::writesTheFieldListOnlyWithEntries()
{
    Req req;
    QVERIFY(!req.ToJsonStr().contains(QLatin1String("matching_field_list")));
    req.matching_field_list = set({""});
    QCOMPARE(written(req).value(QStringLiteral("matching_field_list")), QJsonValue(QJsonArray{QStringLiteral("")}));
}

void tst_VantorChunkReq::writesTheActionOfTheType_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("action");
    QTest::newRow("0") << 0 << QStringLiteral("unknown");
    QTest::newRow("1") << 1 << QStringLiteral("fetch_version");
    QTest::newRow("2") << 2 << QStringLiteral("fetch_size");
    QTest::newRow("3") << 3 << QStringLiteral("normal_download");
    QTest::newRow("4") << 4 << QStringLiteral("repair_download");
    QTest::newRow("5") << 5 << QStringLiteral("delete_database");
    QTest::newRow("9") << 9 << QStringLiteral("unknown");
}

void tst_VantorChunkReq::writesTheActionOfTheType()
{
    QFETCH(const int, type);
    QFETCH(const QString, action);
    Req req;
    req.action = QStringLiteral("fetch_size");
    req.action_type = static_cast<VantorChunkActionType>(type);
    QCOMPARE(written(req).value(QStringLiteral("action")).toString(), action);
}

void tst_VantorChunkReq::writesIndentedTextInKeyOrder()
{
    Req req;
    req.guid = QStringLiteral("g");
    req.action_type = VantorChunkActionFetchSize;
    req.matching_field_list = set({"f"});
    QCOMPARE(req.ToJsonStr(), QString::fromUtf8(R"({
    "action": "fetch_size",
    "branch": "",
    "chunk_dir": "",
    "current_version": "",
    "guid": "g",
    "install_dir": "",
    "matching_field_list": [
        "f"
    ],
    "package_id": "",
    "password": "",
    "pre_download": false,
    "pre_download_dir": "",
    "pre_download_regularized": false,
    "staging_dir": "",
    "token": ""
}
)"));
}

void tst_VantorChunkReq::readsWhatItWrites()
{
    const Req source = filledRequest();
    Req req;
    req.FromJsonStr(source.ToJsonStr());
    QCOMPARE(req.action, QStringLiteral("normal_download"));
    QCOMPARE(req.action_type, VantorChunkActionNormalDownload);
    req.action = source.action;
    for (const auto& field : fields())
        QCOMPARE(field.get(req), field.get(source));
    QCOMPARE(req.matching_field_list, source.matching_field_list);
}

void tst_VantorChunkReq::readsALongText()
{
    constexpr int kLength = 50 * 1024 * 1024;
    Req req;
    req.FromJsonStr(QStringLiteral("{\"token\": \"") + QString(kLength, QLatin1Char('t')) +
                    QStringLiteral("\", \"guid\": \"g\"}"));
    QCOMPARE(req.token.size(), kLength);
    QCOMPARE(req.guid, QStringLiteral("g"));
}

void tst_VantorChunkReq::copiesAndMoves()
{
    const Req source = filledRequest();
    Req copy = source;
    copy.guid = QStringLiteral("copy");
    copy.matching_field_list.insert(QStringLiteral("z"));
    QCOMPARE(source.guid, QStringLiteral("guid"));
    QCOMPARE(source.matching_field_list, set({"a", "b"}));
    const Req moved = std::move(copy);
    QCOMPARE(moved.guid, QStringLiteral("copy"));
    QCOMPARE(moved.token, source.token);
}

QTEST_GUILESS_MAIN(tst_VantorChunkReq)
#include "tst_VantorChunkReq.moc"

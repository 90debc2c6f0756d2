// SPDX-License-Identifier: MIT
#include "JsonRows.h"
#include "vantor/SingleTaskErrorModel.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

#include <memory>

namespace {

using JsonRows::Kind;
using Model = SingleTaskErrorModel;

/// The fields of an error object.
QVector<JsonRows::Field<Model>> errorFields()
{
    return {
        {"error_code", Kind::Int32, [](const Model& m) { return m.error_code; }},
        {"internal_error_code", Kind::Int32, [](const Model& m) { return m.internal_error_code; }},
        {"message", Kind::Text, [](const Model& m) { return m.message; }},
    };
}

QByteArray error(const char* key, int code)
{
    return QByteArray("\"") + key + "\": {\"error_code\": " + QByteArray::number(code) +
           ", \"internal_error_code\": " + QByteArray::number(code + 1) + ", \"message\": \"" + key + "\"}";
}

const QByteArray kFull =
    R"({)"
    R"("status": "Failed", "guid": "f1", "url": "http://host/a", "completed": true, "size": 3,)"
    R"("url_response_info": {"http_status_code": 404, "http_header": {"Server": "s", "Length": 5}},)"
    R"("file_write_error": {"error_code": 12, "internal_error_code": 34, "message": "disk"}})";

} // namespace

class tst_SingleTaskErrorModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isRegisteredByName();
    void startsEmpty();
    void readsEveryField();
    void takesTheFirstErrorObject_data();
    void takesTheFirstErrorObject();
    void errorObjectWithoutMembersKeepsTheDetail_data();
    void errorObjectWithoutMembersKeepsTheDetail();
    void withoutAnErrorObjectKeepsTheDetail();
    void readsAnyValueOfAnErrorObject_data();
    void readsAnyValueOfAnErrorObject();
    void readsAnyStatusCode_data();
    void readsAnyStatusCode();
    void keepsTheHeadersAsJson_data();
    void keepsTheHeadersAsJson();
    void responseInfoOfAnyKindIsHarmless_data();
    void responseInfoOfAnyKindIsHarmless();
    void textThatIsNotJsonChangesNothing_data();
    void textThatIsNotJsonChangesNothing();
    void jsonThatIsNoObjectClearsTheResponse();
    void parsesThroughTheBase();
    void copiesAreIndependent();
};

void tst_SingleTaskErrorModel::isRegisteredByName()
{
    const int type = QMetaType::type("SingleTaskErrorModel");
    QVERIFY(type != QMetaType::UnknownType);
    QCOMPARE(type, qMetaTypeId<SingleTaskErrorModel>());
}

void tst_SingleTaskErrorModel::startsEmpty()
{
    const Model model;
    QCOMPARE(model.http_status_code, 0);
    QCOMPARE(model.error_code, 0);
    QCOMPARE(model.internal_error_code, 0);
    QCOMPARE(model.message, QString());
    QCOMPARE(model.error_type, 0);
    QCOMPARE(model.http_header, QString());
    QCOMPARE(model.valid, false);
}

void tst_SingleTaskErrorModel::readsEveryField()
{
    Model model;
    model.Parse(kFull);
    QCOMPARE(model.status, QStringLiteral("Failed"));
    QCOMPARE(model.url, QStringLiteral("http://host/a"));
    QCOMPARE(model.size, quint64(3));
    QCOMPARE(model.completed, true);
    QCOMPARE(model.http_status_code, 404);
    QCOMPARE(model.error_code, 12);
    QCOMPARE(model.internal_error_code, 34);
    QCOMPARE(model.message, QStringLiteral("disk"));
    QCOMPARE(model.error_type, 2);
    QCOMPARE(model.valid, true);
    QCOMPARE(model.raw, kFull);
    const QJsonObject header{{QStringLiteral("Server"), QStringLiteral("s")}, {QStringLiteral("Length"), 5}};
    QCOMPARE(QJsonDocument::fromJson(model.http_header.toUtf8()).object(), header);
}

void tst_SingleTaskErrorModel::takesTheFirstErrorObject_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("message");
    const QByteArray net = error("url_net_error", 10);
    const QByteArray file = error("file_write_error", 20);
    const QByteArray checksum = error("checksum_check_error", 30);
    const auto row = [](const char* name, const QByteArray& members, int type, int code, const char* message) {
        QTest::newRow(name) << QByteArray("{" + members + "}") << type << code << QString::fromLatin1(message);
    };
    row("network", net, 1, 10, "url_net_error");
    row("file", file, 2, 20, "file_write_error");
    row("checksum", checksum, 3, 30, "checksum_check_error");
    row("network and file", file + "," + net, 1, 10, "url_net_error");
    row("network and checksum", checksum + "," + net, 1, 10, "url_net_error");
    row("file and checksum", checksum + "," + file, 2, 20, "file_write_error");
    row("all three", checksum + "," + file + "," + net, 1, 10, "url_net_error");
    row("empty network before checksum", "\"url_net_error\": {}," + checksum, 1, 0, "");
}

void tst_SingleTaskErrorModel::takesTheFirstErrorObject()
{
    QFETCH(const QByteArray, text);
    QFETCH(const int, type);
    QFETCH(const int, code);
    QFETCH(const QString, message);
    Model model;
    model.Parse(text);
    QCOMPARE(model.error_type, type);
    QCOMPARE(model.error_code, code);
    QCOMPARE(model.internal_error_code, code == 0 ? 0 : code + 1);
    QCOMPARE(model.message, message);
}

void tst_SingleTaskErrorModel::errorObjectWithoutMembersKeepsTheDetail_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::newRow("empty object") << QByteArray("{}");
    QTest::newRow("null") << QByteArray("null");
    QTest::newRow("text") << QByteArray("\"broken\"");
    QTest::newRow("number") << QByteArray("-1e300");
    QTest::newRow("array") << QByteArray("[{\"error_code\": 5}]");
}

void tst_SingleTaskErrorModel::errorObjectWithoutMembersKeepsTheDetail()
{
    QFETCH(const QByteArray, value);
    Model model;
    model.error_code = 6099;
    model.internal_error_code = 7;
    model.message = QStringLiteral("kept");
    model.Parse("{\"checksum_check_error\": " + value + "}");
    QCOMPARE(model.error_type, 3);
    QCOMPARE(model.error_code, 6099);
    QCOMPARE(model.internal_error_code, 7);
    QCOMPARE(model.message, QStringLiteral("kept"));
}

void tst_SingleTaskErrorModel::withoutAnErrorObjectKeepsTheDetail()
{
    Model model;
    model.Parse(kFull);
    model.Parse("{\"status\": \"Failed\"}");
    QCOMPARE(model.error_code, 12);
    QCOMPARE(model.internal_error_code, 34);
    QCOMPARE(model.message, QStringLiteral("disk"));
    QCOMPARE(model.error_type, 0);
    QCOMPARE(model.http_status_code, 0);
    QCOMPARE(model.http_header, QString());
    QCOMPARE(model.url, QString());
}

void tst_SingleTaskErrorModel::readsAnyValueOfAnErrorObject_data()
{
    JsonRows::addRows(errorFields());
}

void tst_SingleTaskErrorModel::readsAnyValueOfAnErrorObject()
{
    QFETCH(const int, field);
    QFETCH(const int, value);
    const auto all = errorFields();
    const JsonRows::Value json = JsonRows::values().at(value);
    // A member that nobody reads keeps the object from being empty.
    QByteArray members = "\"other\": 1";
    if (json.json)
        members += ", " + json.member(all.at(field).key);
    Model model;
    model.Parse(kFull);
    model.Parse("{\"url_net_error\": {" + members + "}}");
    QCOMPARE(model.error_type, 1);
    for (int index = 0; index < all.size(); ++index) {
        const JsonRows::Value source = index == field ? json : JsonRows::values().constFirst();
        QCOMPARE(all.at(index).get(model), source.read(all.at(index).kind));
    }
}

void tst_SingleTaskErrorModel::readsAnyStatusCode_data()
{
    JsonRows::addRows(QVector<JsonRows::Field<Model>>{
        {"http_status_code", Kind::Int32, [](const Model& m) { return m.http_status_code; }}});
}

void tst_SingleTaskErrorModel::readsAnyStatusCode()
{
    QFETCH(const int, value);
    const JsonRows::Value json = JsonRows::values().at(value);
    Model model;
    model.Parse(kFull);
    model.Parse("{\"url_response_info\": " + json.object("http_status_code") + "}");
    QCOMPARE(model.http_status_code, json.int32);
    QCOMPARE(model.http_header, QString());
}

void tst_SingleTaskErrorModel::keepsTheHeadersAsJson_data()
{
    QTest::addColumn<QByteArray>("header");
    QTest::addColumn<bool>("kept");
    QTest::newRow("headers") << QByteArray(R"({"Content-Length": "12", "X": ["a", 1, null]})") << true;
    QTest::newRow("empty object") << QByteArray("{}") << true;
    QTest::newRow("null") << QByteArray("null") << false;
    QTest::newRow("text") << QByteArray(R"("Server: s")") << false;
    QTest::newRow("array") << QByteArray(R"([{"a": 1}])") << false;
    QTest::newRow("number") << QByteArray("12.5") << false;
}

void tst_SingleTaskErrorModel::keepsTheHeadersAsJson()
{
    QFETCH(const QByteArray, header);
    QFETCH(const bool, kept);
    Model model;
    model.Parse("{\"url_response_info\": {\"http_header\": " + header + "}}");
    if (kept)
        QCOMPARE(QJsonDocument::fromJson(model.http_header.toUtf8()), QJsonDocument::fromJson(header));
    else
        QCOMPARE(model.http_header, QString());
}

void tst_SingleTaskErrorModel::responseInfoOfAnyKindIsHarmless_data()
{
    QTest::addColumn<QByteArray>("value");
    for (const JsonRows::Value& value : JsonRows::values()) {
        if (value.json)
            QTest::newRow(value.name) << QByteArray(value.json);
    }
}

void tst_SingleTaskErrorModel::responseInfoOfAnyKindIsHarmless()
{
    QFETCH(const QByteArray, value);
    Model model;
    model.Parse(kFull);
    model.Parse("{\"url_response_info\": " + value + "}");
    QCOMPARE(model.http_status_code, 0);
    QCOMPARE(model.http_header, QString());
}

void tst_SingleTaskErrorModel::textThatIsNotJsonChangesNothing_data()
{
    JsonRows::addTexts(JsonRows::notJson());
}

void tst_SingleTaskErrorModel::textThatIsNotJsonChangesNothing()
{
    QFETCH(const QByteArray, text);
    Model model;
    model.Parse(kFull);
    model.Parse(text);
    QCOMPARE(model.error_code, 12);
    QCOMPARE(model.error_type, 2);
    QCOMPARE(model.http_status_code, 404);
    QVERIFY(!model.http_header.isEmpty());
    QCOMPARE(model.url, QStringLiteral("http://host/a"));
    QCOMPARE(model.raw, kFull);
    Model fresh;
    fresh.Parse(text);
    QCOMPARE(fresh.valid, false);
}

void tst_SingleTaskErrorModel::jsonThatIsNoObjectClearsTheResponse()
{
    Model model;
    model.Parse(kFull);
    model.Parse("[1]");
    QCOMPARE(model.valid, true);
    QCOMPARE(model.url, QString());
    QCOMPARE(model.http_status_code, 0);
    QCOMPARE(model.http_header, QString());
    QCOMPARE(model.error_code, 12);
    QCOMPARE(model.message, QStringLiteral("disk"));
}

void tst_SingleTaskErrorModel::parsesThroughTheBase()
{
    const std::unique_ptr<VantorTaskModel> model = std::make_unique<Model>();
    model->Parse(kFull);
    QCOMPARE(dynamic_cast<Model&>(*model).error_code, 12);
    QVERIFY(dynamic_cast<SingleTaskModel*>(model.get()) != nullptr);
}

void tst_SingleTaskErrorModel::copiesAreIndependent()
{
    Model model;
    model.Parse(kFull);
    Model copy(model);
    QCOMPARE(copy.message, QStringLiteral("disk"));
    QCOMPARE(copy.http_header, model.http_header);
    copy.message = QStringLiteral("copy");
    QCOMPARE(model.message, QStringLiteral("disk"));
    model = std::move(copy);
    QCOMPARE(model.message, QStringLiteral("copy"));
    QCOMPARE(model.url, QStringLiteral("http://host/a"));
}

QTEST_GUILESS_MAIN(tst_SingleTaskErrorModel)
#include "tst_SingleTaskErrorModel.moc"

// SPDX-License-Identifier: MIT
#include "JsonRows.h"
#include "vantor/VantorChunkResp.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

#include <type_traits>
#include <utility>

namespace {

using JsonRows::Kind;

/// A record into which a test reads texts again and again.
template<typename Resp>
struct Readable : Resp
{
    void read(const QByteArray& json) { Resp::FromJsonObj(QJsonDocument::fromJson(json).object()); }
};

template<typename Resp>
using Fields = QVector<JsonRows::Field<Resp>>;

template<typename Resp>
Fields<Resp> baseFields()
{
    return {
        {"guid", Kind::Text, [](const Resp& r) { return r.guid; }},
        {"duplicated_guid", Kind::Text, [](const Resp& r) { return r.duplicated_guid; }},
        {"package_id", Kind::Text, [](const Resp& r) { return r.package_id; }},
        {"branch", Kind::Text, [](const Resp& r) { return r.branch; }},
        {"pre_download", Kind::Flag, [](const Resp& r) { return r.pre_download; }},
        {"status", Kind::Text, [](const Resp& r) { return r.status; }},
        {"build_id", Kind::Text, [](const Resp& r) { return r.build_id; }},
        {"completed", Kind::Flag, [](const Resp& r) { return r.completed; }},
        {"error_code", Kind::Int32, [](const Resp& r) { return r.error_code; }},
        {"error_msg", Kind::Text, [](const Resp& r) { return r.error_msg; }},
        {"local_version", Kind::Text, [](const Resp& r) { return r.local_version; }},
        {"server_version", Kind::Text, [](const Resp& r) { return r.server_version; }},
    };
}

Fields<VantorChunkRepairDownloadResp> counterFields()
{
    using Resp = VantorChunkRepairDownloadResp;
    using Size = VantorChunkSizeResp;
    const auto counter = [](const char* key, qint64 Resp::*member) {
        return JsonRows::Field<Resp>{key, Kind::Counter, [member](const Resp& r) { return r.*member; }};
    };
    const auto own = [](const char* key, qint64 Size::*member) {
        return JsonRows::Field<Resp>{key, Kind::Counter, [member](const Resp& r) {
                                         const Size& size = r;
                                         return size.*member;
                                     }};
    };
    return {
        own("total_download_byte", &Size::total_download_byte),
        own("total_uncompressed_byte", &Size::total_uncompressed_byte),
        own("total_file_num", &Size::total_file_num),
        own("total_to_process_file_num", &Size::total_to_process_file_num),
        own("total_to_preprocess_file_num", &Size::total_to_preprocess_file_num),
        own("total_chunk_num", &Size::total_chunk_num),
        own("total_to_process_chunk_num", &Size::total_to_process_chunk_num),
        own("total_to_preprocess_chunk_num", &Size::total_to_preprocess_chunk_num),
        own("total_added_byte", &Size::total_added_byte),
        counter("bandwidth_byte", &Resp::bandwidth_byte),
        counter("current_completed_file_num", &Resp::current_completed_file_num),
        counter("current_successful_file_num", &Resp::current_successful_file_num),
        counter("current_completed_chunk_num", &Resp::current_completed_chunk_num),
        counter("current_successful_chunk_num", &Resp::current_successful_chunk_num),
        counter("current_download_byte", &Resp::current_download_byte),
        counter("current_decompressed_byte", &Resp::current_decompressed_byte),
        // The pair of its own.
        counter("total_to_preprocess_file_num", &Resp::total_to_preprocess_file_num),
        counter("total_to_preprocess_chunk_num", &Resp::total_to_preprocess_chunk_num),
    };
}

Fields<VantorChunkRepairDownloadResp> repairFields()
{
    return baseFields<VantorChunkRepairDownloadResp>() + counterFields();
}

QVariant emptyOf(Kind kind)
{
    return JsonRows::values().first().read(kind);
}

/// Every key with a value that is not its default.
QByteArray fullText(const char* action)
{
    return QByteArray("{\"action\": \"") + action +
           "\","
           R"("guid": "guid", "duplicated_guid": "other", "package_id": "package", "branch": "main", "pre_download": true,)"
           R"("status": "Progressing", "build_id": "b7", "completed": true, "error_code": -12, "error_msg": "message",)"
           R"("local_version": "1.0", "server_version": "2.0",)"
           R"("depot_version_list": {"a": "1.0", "b": 2}, "depot_server_version_list": {"a": "2.0"},)"
           R"("total_download_byte": 1, "total_uncompressed_byte": 2, "total_file_num": 3, "total_to_process_file_num": 4,)"
           R"("total_to_preprocess_file_num": 5, "total_chunk_num": 6, "total_to_process_chunk_num": 7,)"
           R"("total_to_preprocess_chunk_num": 8, "total_added_byte": 9,)"
           R"("bandwidth_byte": 11, "current_completed_file_num": 12, "current_successful_file_num": 13,)"
           R"("current_completed_chunk_num": 14, "current_successful_chunk_num": 15, "current_download_byte": 16,)"
           R"("current_decompressed_byte": 17,)"
           R"("depot_list": [{"depot_guid": "d1", "status": "Success", "completed": true, "error_code": 3,)"
           R"("file_info": {"b": [1, 2], "a": "x y"}, "chunk_info": {"c": {}}}, {"depot_guid": "d2"}],)"
           R"("depot_manifest_list": [{"depot_guid": "m1", "status": "Failed", "completed": true, "error_code": 4},)"
           R"({"depot_guid": "m2"}]})";
}

std::unique_ptr<VantorChunkResp> make(const QByteArray& json)
{
    return VantorChunkResp::FromJsonStr(QString::fromUtf8(json));
}

using Depots = std::unordered_map<std::string, std::string>;

template<typename Resp>
void compareBase(const Resp& resp, const char* action, int type)
{
    QCOMPARE(resp.action, QString::fromLatin1(action));
    QCOMPARE(static_cast<int>(resp.action_type), type);
    QCOMPARE(resp.GetRawJsonStr(), QString::fromUtf8(fullText(action)));
    QCOMPARE(resp.raw_json, resp.GetRawJsonStr());
    QCOMPARE(resp.guid, QStringLiteral("guid"));
    QCOMPARE(resp.duplicated_guid, QStringLiteral("other"));
    QCOMPARE(resp.package_id, QStringLiteral("package"));
    QCOMPARE(resp.branch, QStringLiteral("main"));
    QCOMPARE(resp.pre_download, true);
    QCOMPARE(resp.status, QStringLiteral("Progressing"));
    QCOMPARE(resp.build_id, QStringLiteral("b7"));
    QCOMPARE(resp.completed, true);
    QCOMPARE(resp.error_code, -12);
    QCOMPARE(resp.error_msg, QStringLiteral("message"));
    QCOMPARE(resp.local_version, QStringLiteral("1.0"));
    QCOMPARE(resp.server_version, QStringLiteral("2.0"));
    QVERIFY(resp.depot_version_list == (Depots{{"a", "1.0"}}));
    QVERIFY(resp.depot_server_version_list == (Depots{{"a", "2.0"}}));
}

void compareSizes(const VantorChunkSizeResp& resp)
{
    QCOMPARE(resp.total_download_byte, qint64(1));
    QCOMPARE(resp.total_uncompressed_byte, qint64(2));
    QCOMPARE(resp.total_file_num, qint64(3));
    QCOMPARE(resp.total_to_process_file_num, qint64(4));
    QCOMPARE(resp.total_to_preprocess_file_num, qint64(5));
    QCOMPARE(resp.total_chunk_num, qint64(6));
    QCOMPARE(resp.total_to_process_chunk_num, qint64(7));
    QCOMPARE(resp.total_to_preprocess_chunk_num, qint64(8));
    QCOMPARE(resp.total_added_byte, qint64(9));
}

void compareDownload(const VantorChunkNormalDownloadResp& resp)
{
    compareSizes(resp);
    QCOMPARE(resp.bandwidth_byte, qint64(11));
    QCOMPARE(resp.current_completed_file_num, qint64(12));
    QCOMPARE(resp.current_successful_file_num, qint64(13));
    QCOMPARE(resp.current_completed_chunk_num, qint64(14));
    QCOMPARE(resp.current_successful_chunk_num, qint64(15));
    QCOMPARE(resp.current_download_byte, qint64(16));
    QCOMPARE(resp.current_decompressed_byte, qint64(17));
    QCOMPARE(resp.depot_list.size(), 2);
    const VantorChunkDepotDownloadItem& first = resp.depot_list.at(0);
    QCOMPARE(first.depot_guid, QStringLiteral("d1"));
    QCOMPARE(first.status, QStringLiteral("Success"));
    QCOMPARE(first.completed, true);
    QCOMPARE(first.error_code, 3);
    QCOMPARE(first.file_info, QStringLiteral(R"({"a":"x y","b":[1,2]})"));
    QCOMPARE(first.chunk_info, QStringLiteral(R"({"c":{}})"));
    QCOMPARE(resp.depot_list.at(1).depot_guid, QStringLiteral("d2"));
}

/// \brief Columns "key" and "value" for the members of a depot.
void addDepotRows()
{
    QTest::addColumn<QByteArray>("key");
    QTest::addColumn<int>("value");
    const auto all = JsonRows::values();
    for (const char* key : {"depot_guid", "status", "completed", "error_code"}) {
        for (int value = 0; value < all.size(); ++value)
            QTest::addRow("%s: %s", key, all.at(value).name) << QByteArray(key) << value;
    }
}

void compareDepot(const VantorChunkDepotItem& item, const QByteArray& key, const JsonRows::Value& value)
{
    QCOMPARE(item.depot_guid, key == "depot_guid" ? value.text : QString());
    QCOMPARE(item.status, key == "status" ? value.text : QString());
    QCOMPARE(item.completed, key == "completed" && value.flag);
    QCOMPARE(item.error_code, key == "error_code" ? value.int32 : 0);
}

} // namespace

class tst_VantorChunkResp : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void areRegisteredByName_data();
    void areRegisteredByName();
    void startsEmpty();
    void derivesAsAFamily();
    void makesAVersionResponse();
    void makesASizeResponse();
    void makesANormalDownloadResponse();
    void makesARepairDownloadResponse();
    void makesADeleteDatabaseResponse();
    void givesNullForOtherTexts_data();
    void givesNullForOtherTexts();
    void readsAnyValue_data();
    void readsAnyValue();
    void anEmptyObjectChangesNothing();
    void readsDepotVersions_data();
    void readsDepotVersions();
    void mergesDepotVersions();
    void readsAnyValueOfADownloadDepot_data();
    void readsAnyValueOfADownloadDepot();
    void readsAnyValueOfAManifestDepot_data();
    void readsAnyValueOfAManifestDepot();
    void keepsDepotDetailAsCompactText_data();
    void keepsDepotDetailAsCompactText();
    void emptyDepotListsKeepTheItems_data();
    void emptyDepotListsKeepTheItems();
    void depotListsAreReplaced();
    void elementsOfAnyKindAreDepots();
    void readsBothPreprocessPairs();
    void readsALongText();
    void travelInVariants();
    void copyAndMove();
};

void tst_VantorChunkResp::areRegisteredByName_data()
{
    QTest::addColumn<QByteArray>("name");
    for (const char* name : {"VantorChunkDeleteDatabaseResp", "VantorChunkVersionResp", "VantorChunkSizeResp",
                             "VantorChunkNormalDownloadResp", "VantorChunkRepairDownloadResp"})
        QTest::newRow(name) << QByteArray(name);
}

void tst_VantorChunkResp::areRegisteredByName()
{
    QFETCH(const QByteArray, name);
    // First of all: nothing in this program has asked for the types yet.
    const int type = QMetaType::type(name.constData());
    QVERIFY(type != QMetaType::UnknownType);
    // A queued signal copies the record by this type.
    void* record = QMetaType::create(type);
    QVERIFY(record != nullptr);
    QMetaType::destroy(type, record);
}

void tst_VantorChunkResp::startsEmpty()
{
    const VantorChunkRepairDownloadResp resp;
    for (const auto& field : repairFields())
        QCOMPARE(field.get(resp), emptyOf(field.kind));
    QCOMPARE(resp.action, QString());
    QCOMPARE(resp.action_type, VantorChunkActionUnknown);
    QCOMPARE(resp.raw_json, QString());
    QVERIFY(resp.depot_version_list.empty());
    QVERIFY(resp.depot_server_version_list.empty());
    QVERIFY(resp.depot_list.isEmpty());
    QVERIFY(resp.depot_manifest_list.isEmpty());
    const VantorChunkDepotDownloadItem item;
    QCOMPARE(item.depot_guid, QString());
    QCOMPARE(item.status, QString());
    QCOMPARE(item.completed, false);
    QCOMPARE(item.error_code, 0);
    QCOMPARE(item.file_info, QString());
    QCOMPARE(item.chunk_info, QString());
}

void tst_VantorChunkResp::derivesAsAFamily()
{
    QVERIFY((std::is_base_of_v<VantorChunkResp, VantorChunkVersionResp>));
    QVERIFY((std::is_base_of_v<VantorChunkResp, VantorChunkDeleteDatabaseResp>));
    QVERIFY((!std::is_base_of_v<VantorChunkVersionResp, VantorChunkDeleteDatabaseResp>));
    QVERIFY((std::is_base_of_v<VantorChunkVersionResp, VantorChunkSizeResp>));
    QVERIFY((std::is_base_of_v<VantorChunkSizeResp, VantorChunkNormalDownloadResp>));
    QVERIFY((std::is_base_of_v<VantorChunkNormalDownloadResp, VantorChunkRepairDownloadResp>));
    QVERIFY((std::is_base_of_v<VantorChunkDepotItem, VantorChunkDepotDownloadItem>));
    QVERIFY(std::has_virtual_destructor_v<VantorChunkResp>);
}

void tst_VantorChunkResp::makesAVersionResponse()
{
    const auto resp = make(fullText("fetch_version"));
    const auto* version = dynamic_cast<const VantorChunkVersionResp*>(resp.get());
    QVERIFY(version != nullptr);
    QVERIFY(dynamic_cast<const VantorChunkSizeResp*>(resp.get()) == nullptr);
    compareBase(*version, "fetch_version", 1);
}

void tst_VantorChunkResp::makesASizeResponse()
{
    const auto resp = make(fullText("fetch_size"));
    const auto* size = dynamic_cast<const VantorChunkSizeResp*>(resp.get());
    QVERIFY(size != nullptr);
    QVERIFY(dynamic_cast<const VantorChunkNormalDownloadResp*>(resp.get()) == nullptr);
    compareBase(*size, "fetch_size", 2);
    compareSizes(*size);
}

void tst_VantorChunkResp::makesANormalDownloadResponse()
{
    const auto resp = make(fullText("normal_download"));
    const auto* download = dynamic_cast<const VantorChunkNormalDownloadResp*>(resp.get());
    QVERIFY(download != nullptr);
    QVERIFY(dynamic_cast<const VantorChunkRepairDownloadResp*>(resp.get()) == nullptr);
    compareBase(*download, "normal_download", 3);
    compareDownload(*download);
}

void tst_VantorChunkResp::makesARepairDownloadResponse()
{
    const auto resp = make(fullText("repair_download"));
    const auto* repair = dynamic_cast<const VantorChunkRepairDownloadResp*>(resp.get());
    QVERIFY(repair != nullptr);
    compareBase(*repair, "repair_download", 4);
    compareDownload(*repair);
    QCOMPARE(repair->total_to_preprocess_file_num, qint64(5));
    QCOMPARE(repair->total_to_preprocess_chunk_num, qint64(8));
    QCOMPARE(repair->depot_manifest_list.size(), 2);
    const VantorChunkDepotItem& first = repair->depot_manifest_list.at(0);
    QCOMPARE(first.depot_guid, QStringLiteral("m1"));
    QCOMPARE(first.status, QStringLiteral("Failed"));
    QCOMPARE(first.completed, true);
    QCOMPARE(first.error_code, 4);
    QCOMPARE(repair->depot_manifest_list.at(1).depot_guid, QStringLiteral("m2"));
}

void tst_VantorChunkResp::makesADeleteDatabaseResponse()
{
    const auto resp = make(fullText("delete_database"));
    const auto* deleted = dynamic_cast<const VantorChunkDeleteDatabaseResp*>(resp.get());
    QVERIFY(deleted != nullptr);
    compareBase(*deleted, "delete_database", 5);
}

void tst_VantorChunkResp::givesNullForOtherTexts_data()
{
    QTest::addColumn<QString>("text");
    for (const auto& row : JsonRows::notJson())
        QTest::newRow(row.first) << QString::fromUtf8(row.second.constData(), row.second.size());
    for (const auto& row : JsonRows::notObjects())
        QTest::newRow(row.first) << QString::fromUtf8(row.second);
    QTest::newRow("empty object") << QStringLiteral("{}");
    for (const JsonRows::Value& value : JsonRows::values())
        QTest::addRow("action: %s", value.name) << QString::fromUtf8(value.object("action"));
    QTest::newRow("action: other case") << QStringLiteral("{\"action\": \"Fetch_Size\"}");
    QTest::newRow("action: unknown") << QStringLiteral("{\"action\": \"unknown\"}");
    QTest::newRow("no action") << QStringLiteral("{\"guid\": \"g\", \"completed\": true}");
    QTest::newRow("truncated") << QString::fromUtf8(fullText("fetch_size").chopped(1));
}

void tst_VantorChunkResp::givesNullForOtherTexts()
{
    QFETCH(const QString, text);
    QVERIFY(VantorChunkResp::FromJsonStr(text) == nullptr);
}

void tst_VantorChunkResp::readsAnyValue_data()
{
    JsonRows::addRows(repairFields());
}

void tst_VantorChunkResp::readsAnyValue()
{
    QFETCH(const int, field);
    QFETCH(const int, value);
    const auto all = repairFields();
    const QByteArray key = all.at(field).key;
    const JsonRows::Value json = JsonRows::values().at(value);
    // A member that nobody reads keeps the object from being empty.
    QByteArray text = "{\"other\": 1";
    if (json.json)
        text += ", " + json.member(key.constData());
    text += "}";

    Readable<VantorChunkRepairDownloadResp> resp;
    resp.read(fullText("repair_download"));
    resp.read(text);
    for (const auto& target : all) {
        // The keys that are not there are overwritten too.
        QCOMPARE(target.get(resp), key == target.key ? json.read(target.kind) : emptyOf(target.kind));
    }
    QVERIFY(resp.depot_version_list == (Depots{{"a", "1.0"}}));
    QCOMPARE(resp.depot_list.size(), 2);
    QCOMPARE(resp.depot_manifest_list.size(), 2);
}

void tst_VantorChunkResp::anEmptyObjectChangesNothing()
{
    Readable<VantorChunkRepairDownloadResp> resp;
    resp.read(fullText("repair_download"));
    const VantorChunkRepairDownloadResp before = resp;
    resp.read("{}");
    for (const auto& field : repairFields())
        QCOMPARE(field.get(resp), field.get(before));
    QCOMPARE(resp.depot_list.size(), 2);
    QCOMPARE(resp.depot_manifest_list.size(), 2);
}

void tst_VantorChunkResp::readsDepotVersions_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QStringList>("depots");
    QTest::newRow("text and number") << QByteArray(R"({"a": "1.0", "b": 2})") << QStringList{QStringLiteral("a=1.0")};
    QTest::newRow("two") << QByteArray(R"({"b": "2", "a": "1"})")
                         << QStringList{QStringLiteral("a=1"), QStringLiteral("b=2")};
    QTest::newRow("other types are skipped")
        << QByteArray(R"({"a": true, "b": null, "c": ["1"], "d": {"e": "1"}, "f": -1.5e300})") << QStringList();
    QTest::newRow("not ASCII") << QByteArray("{\"\xE6\xB8\xB8\": \"\xC3\xA4\"}")
                               << QStringList{QStringLiteral("\u6E38=\u00E4")};
    QTest::newRow("empty key and text") << QByteArray(R"({"": ""})") << QStringList{QStringLiteral("=")};
    for (const JsonRows::Value& value : JsonRows::values()) {
        if (value.json)
            QTest::newRow(value.name) << QByteArray(value.json) << QStringList();
    }
}

void tst_VantorChunkResp::readsDepotVersions()
{
    QFETCH(const QByteArray, value);
    QFETCH(const QStringList, depots);
    for (const char* key : {"depot_version_list", "depot_server_version_list"}) {
        const auto resp = make(QByteArray("{\"action\": \"fetch_version\", \"") + key + "\": " + value + "}");
        QVERIFY(resp != nullptr);
        const bool server = qstrcmp(key, "depot_server_version_list") == 0;
        const Depots& filled = server ? resp->depot_server_version_list : resp->depot_version_list;
        QStringList found;
        for (const auto& [depot, version] : filled)
            found.append(QString::fromStdString(depot + "=" + version));
        found.sort();
        QCOMPARE(found, depots);
        QVERIFY((server ? resp->depot_version_list : resp->depot_server_version_list).empty());
    }
}

void tst_VantorChunkResp::mergesDepotVersions()
{
    Readable<VantorChunkVersionResp> resp;
    resp.read(R"({"depot_version_list": {"a": "1", "b": "1"}, "depot_server_version_list": {"a": "5"}})");
    resp.read(R"({"depot_version_list": {"b": "2", "c": "2"}, "depot_server_version_list": {"a": 6}})");
    QVERIFY(resp.depot_version_list == (Depots{{"a", "1"}, {"b", "2"}, {"c", "2"}}));
    QVERIFY(resp.depot_server_version_list == (Depots{{"a", "5"}}));
}

void tst_VantorChunkResp::readsAnyValueOfADownloadDepot_data()
{
    addDepotRows();
}

void tst_VantorChunkResp::readsAnyValueOfADownloadDepot()
{
    QFETCH(const QByteArray, key);
    QFETCH(const int, value);
    const JsonRows::Value json = JsonRows::values().at(value);
    const auto resp = make("{\"action\": \"normal_download\", \"depot_list\": [" + json.object(key.constData()) + "]}");
    const auto* download = dynamic_cast<const VantorChunkNormalDownloadResp*>(resp.get());
    QVERIFY(download != nullptr);
    QCOMPARE(download->depot_list.size(), 1);
    compareDepot(download->depot_list.constFirst(), key, json);
}

void tst_VantorChunkResp::readsAnyValueOfAManifestDepot_data()
{
    addDepotRows();
}

void tst_VantorChunkResp::readsAnyValueOfAManifestDepot()
{
    QFETCH(const QByteArray, key);
    QFETCH(const int, value);
    const JsonRows::Value json = JsonRows::values().at(value);
    const auto resp =
        make("{\"action\": \"repair_download\", \"depot_manifest_list\": [" + json.object(key.constData()) + "]}");
    const auto* repair = dynamic_cast<const VantorChunkRepairDownloadResp*>(resp.get());
    QVERIFY(repair != nullptr);
    QCOMPARE(repair->depot_manifest_list.size(), 1);
    QVERIFY(repair->depot_list.isEmpty());
    compareDepot(repair->depot_manifest_list.constFirst(), key, json);
}

void tst_VantorChunkResp::keepsDepotDetailAsCompactText_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QString>("text");
    QTest::newRow("object") << QByteArray("{ \"b\" : [1, \"x y\"],\n \"a\" : { } }")
                            << QStringLiteral(R"({"a":{},"b":[1,"x y"]})");
    QTest::newRow("64 bits") << QByteArray("{\"n\": 9223372036854775807}")
                             << QStringLiteral("{\"n\":9223372036854775807}");
    for (const JsonRows::Value& value : JsonRows::values()) {
        const bool object = qstrcmp(value.name, "object") == 0;
        QTest::newRow(value.name) << QByteArray(value.json)
                                  << (object ? QStringLiteral("{\"a\":1}") : QStringLiteral("{}"));
    }
}

void tst_VantorChunkResp::keepsDepotDetailAsCompactText()
{
    QFETCH(const QByteArray, value);
    QFETCH(const QString, text);
    for (const char* key : {"file_info", "chunk_info"}) {
        const QByteArray member = value.isNull() ? QByteArray() : QByteArray("\"") + key + "\": " + value;
        const auto resp = make("{\"action\": \"normal_download\", \"depot_list\": [{" + member + "}]}");
        const auto* download = dynamic_cast<const VantorChunkNormalDownloadResp*>(resp.get());
        QVERIFY(download != nullptr);
        QCOMPARE(download->depot_list.size(), 1);
        const VantorChunkDepotDownloadItem& item = download->depot_list.constFirst();
        const bool file = qstrcmp(key, "file_info") == 0;
        QCOMPARE(file ? item.file_info : item.chunk_info, text);
        QCOMPARE(file ? item.chunk_info : item.file_info, QStringLiteral("{}"));
    }
}

void tst_VantorChunkResp::emptyDepotListsKeepTheItems_data()
{
    QTest::addColumn<QByteArray>("value");
    for (const JsonRows::Value& value : JsonRows::values()) {
        if (qstrcmp(value.name, "array") != 0)
            QTest::newRow(value.name) << QByteArray(value.json);
    }
}

void tst_VantorChunkResp::emptyDepotListsKeepTheItems()
{
    QFETCH(const QByteArray, value);
    QByteArray text = "{\"guid\": \"later\"";
    if (!value.isNull())
        text += ", \"depot_list\": " + value + ", \"depot_manifest_list\": " + value;
    Readable<VantorChunkRepairDownloadResp> resp;
    resp.read(fullText("repair_download"));
    resp.read(text + "}");
    QCOMPARE(resp.guid, QStringLiteral("later"));
    QCOMPARE(resp.depot_list.size(), 2);
    QCOMPARE(resp.depot_list.at(0).depot_guid, QStringLiteral("d1"));
    QCOMPARE(resp.depot_manifest_list.size(), 2);
    QCOMPARE(resp.depot_manifest_list.at(0).depot_guid, QStringLiteral("m1"));
}

void tst_VantorChunkResp::depotListsAreReplaced()
{
    Readable<VantorChunkRepairDownloadResp> resp;
    resp.read(fullText("repair_download"));
    resp.read(R"({"depot_list": [{"depot_guid": "n"}], "depot_manifest_list": [{"depot_guid": "o"}]})");
    QCOMPARE(resp.depot_list.size(), 1);
    QCOMPARE(resp.depot_list.at(0).depot_guid, QStringLiteral("n"));
    QCOMPARE(resp.depot_list.at(0).status, QString());
    QCOMPARE(resp.depot_list.at(0).file_info, QStringLiteral("{}"));
    QCOMPARE(resp.depot_manifest_list.size(), 1);
    QCOMPARE(resp.depot_manifest_list.at(0).depot_guid, QStringLiteral("o"));
    QCOMPARE(resp.depot_manifest_list.at(0).error_code, 0);
}

void tst_VantorChunkResp::elementsOfAnyKindAreDepots()
{
    Readable<VantorChunkRepairDownloadResp> resp;
    resp.read(R"({"depot_list": [1, "two", null, [3], {"depot_guid": "d"}],
                  "depot_manifest_list": [true, {"depot_guid": "m"}]})");
    QCOMPARE(resp.depot_list.size(), 5);
    QCOMPARE(resp.depot_list.at(0).depot_guid, QString());
    QCOMPARE(resp.depot_list.at(0).file_info, QStringLiteral("{}"));
    QCOMPARE(resp.depot_list.at(4).depot_guid, QStringLiteral("d"));
    QCOMPARE(resp.depot_manifest_list.size(), 2);
    QCOMPARE(resp.depot_manifest_list.at(1).depot_guid, QStringLiteral("m"));
}

void tst_VantorChunkResp::readsBothPreprocessPairs()
{
    const auto resp = make(R"({"action": "repair_download", "total_to_preprocess_file_num": "123456789012",
                               "total_to_preprocess_chunk_num": 9007199254740993})");
    const auto* repair = dynamic_cast<const VantorChunkRepairDownloadResp*>(resp.get());
    QVERIFY(repair != nullptr);
    const VantorChunkSizeResp& size = *repair;
    QVERIFY(&repair->total_to_preprocess_file_num != &size.total_to_preprocess_file_num);
    QCOMPARE(repair->total_to_preprocess_file_num, qint64(123456789012));
    QCOMPARE(size.total_to_preprocess_file_num, qint64(123456789012));
    QCOMPARE(repair->total_to_preprocess_chunk_num, qint64(9007199254740993));
    QCOMPARE(size.total_to_preprocess_chunk_num, qint64(9007199254740993));
}

void tst_VantorChunkResp::readsALongText()
{
    constexpr int kBytes = 50 * 1024 * 1024;
    const QByteArray item = "{\"depot_guid\": \"" + QByteArray(2000, 'd') + "\", \"error_code\": 7},";
    QByteArray items;
    items.reserve(kBytes + item.size());
    int count = 0;
    for (; items.size() < kBytes; ++count)
        items += item;
    items.chop(1);
    const QByteArray text = "{\"action\": \"normal_download\", \"depot_list\": [" + items + "]}";
    const auto resp = make(text);
    const auto* download = dynamic_cast<const VantorChunkNormalDownloadResp*>(resp.get());
    QVERIFY(download != nullptr);
    QCOMPARE(download->depot_list.size(), count);
    QCOMPARE(download->depot_list.constLast().error_code, 7);
    QCOMPARE(download->raw_json.size(), text.size());
    QVERIFY(make(text.chopped(5)) == nullptr);
}

void tst_VantorChunkResp::travelInVariants()
{
    const auto resp = make(fullText("repair_download"));
    const auto& repair = dynamic_cast<const VantorChunkRepairDownloadResp&>(*resp);
    const auto returned = QVariant::fromValue(repair).value<VantorChunkRepairDownloadResp>();
    for (const auto& field : repairFields())
        QCOMPARE(field.get(returned), field.get(repair));
    QCOMPARE(returned.raw_json, repair.raw_json);
    QCOMPARE(returned.depot_manifest_list.size(), 2);
}

void tst_VantorChunkResp::copyAndMove()
{
    const auto resp = make(fullText("repair_download"));
    const auto& source = dynamic_cast<const VantorChunkRepairDownloadResp&>(*resp);
    VantorChunkRepairDownloadResp copy = source;
    copy.depot_list.clear();
    copy.depot_version_list.clear();
    copy.guid = QStringLiteral("copy");
    QCOMPARE(source.depot_list.size(), 2);
    QCOMPARE(source.depot_version_list.size(), std::size_t(1));
    QCOMPARE(source.guid, QStringLiteral("guid"));
    const VantorChunkRepairDownloadResp moved = std::move(copy);
    QCOMPARE(moved.guid, QStringLiteral("copy"));
    QCOMPARE(moved.depot_manifest_list.size(), 2);
    copy = source;
    QCOMPARE(copy.guid, QStringLiteral("guid"));
}

QTEST_GUILESS_MAIN(tst_VantorChunkResp)
#include "tst_VantorChunkResp.moc"

// SPDX-License-Identifier: MIT
#include "JsonRows.h"
#include "vantor/SingleTaskModel.h"

#include <QtTest>

#include <memory>

namespace {

using JsonRows::Kind;
using Model = SingleTaskModel;

/// All fields but `canonical_name`, which has rules of its own.
QVector<JsonRows::Field<Model>> fields()
{
    return {
        {"status", Kind::Text, [](const Model& m) { return m.status; }},
        {"guid", Kind::Text, [](const Model& m) { return m.guid; }},
        {"remote_address", Kind::Text, [](const Model& m) { return m.remote_address; }},
        {"url", Kind::Text, [](const Model& m) { return m.url; }},
        {"completed", Kind::Flag, [](const Model& m) { return m.completed; }},
        {"existing_byte_count", Kind::UInt64, [](const Model& m) { return m.existing_byte_count; }},
        {"written_byte_count", Kind::UInt64, [](const Model& m) { return m.written_byte_count; }},
        {"size", Kind::UInt64, [](const Model& m) { return m.size; }},
        {"group_guid", Kind::Text, [](const Model& m) { return m.group_guid; }},
        {"current_retry_times", Kind::Int32, [](const Model& m) { return m.current_retry_times; }},
        {"verified_byte_count", Kind::UInt64, [](const Model& m) { return m.verified_byte_count; }},
        {"verified_speed_byte", Kind::UInt64, [](const Model& m) { return m.verified_speed_byte; }},
        {"bandwidth_byte", Kind::UInt64, [](const Model& m) { return m.bandwidth_byte; }},
        {"pcdn_alias", Kind::Text, [](const Model& m) { return m.pcdn_alias; }},
        {"using_pcdn", Kind::Flag, [](const Model& m) { return m.using_pcdn; }},
    };
}

const QByteArray kFull =
    R"({)"
    R"("status": "Progressing", "guid": "f1", "remote_address": "10.0.0.1", "canonical_name": ["one", "two"],)"
    R"("url": "http://host/a", "completed": true, "existing_byte_count": 1, "written_byte_count": 2, "size": 3,)"
    R"("group_guid": "g1", "current_retry_times": 4, "verified_byte_count": 5, "verified_speed_byte": 6,)"
    R"("bandwidth_byte": 7, "pcdn_alias": "alias", "using_pcdn": true})";

/// What a field of each kind holds when its key is missing.
QVariant emptyOf(Kind kind)
{
    return JsonRows::values().first().read(kind);
}

} // namespace

class tst_SingleTaskModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isRegisteredByName();
    void startsEmpty();
    void readsEveryField();
    void readsAnyValue_data();
    void readsAnyValue();
    void joinsTheNameChain_data();
    void joinsTheNameChain();
    void textThatIsNotJsonChangesNothing_data();
    void textThatIsNotJsonChangesNothing();
    void jsonThatIsNoObjectReadsAsEmpty_data();
    void jsonThatIsNoObjectReadsAsEmpty();
    void readsALongText();
    void parsesThroughTheBase();
    void copiesAreIndependent();
};

void tst_SingleTaskModel::isRegisteredByName()
{
    const int type = QMetaType::type("SingleTaskModel");
    QVERIFY(type != QMetaType::UnknownType);
    QCOMPARE(type, qMetaTypeId<SingleTaskModel>());
}

void tst_SingleTaskModel::startsEmpty()
{
    const Model model;
    for (const auto& field : fields())
        QCOMPARE(field.get(model), emptyOf(field.kind));
    QCOMPARE(model.canonical_name, QString());
    QCOMPARE(model.valid, false);
    QVERIFY(model.raw.isEmpty());
}

void tst_SingleTaskModel::readsEveryField()
{
    Model model;
    model.Parse(kFull);
    QCOMPARE(model.status, QStringLiteral("Progressing"));
    QCOMPARE(model.guid, QStringLiteral("f1"));
    QCOMPARE(model.remote_address, QStringLiteral("10.0.0.1"));
    QCOMPARE(model.canonical_name, QStringLiteral("[one,two]"));
    QCOMPARE(model.url, QStringLiteral("http://host/a"));
    QCOMPARE(model.completed, true);
    QCOMPARE(model.existing_byte_count, quint64(1));
    QCOMPARE(model.written_byte_count, quint64(2));
    QCOMPARE(model.size, quint64(3));
    QCOMPARE(model.group_guid, QStringLiteral("g1"));
    QCOMPARE(model.current_retry_times, 4);
    QCOMPARE(model.verified_byte_count, quint64(5));
    QCOMPARE(model.verified_speed_byte, quint64(6));
    QCOMPARE(model.bandwidth_byte, quint64(7));
    QCOMPARE(model.pcdn_alias, QStringLiteral("alias"));
    QCOMPARE(model.using_pcdn, true);
    QCOMPARE(model.valid, true);
    QCOMPARE(model.raw, kFull);
}

void tst_SingleTaskModel::readsAnyValue_data()
{
    JsonRows::addRows(fields());
}

void tst_SingleTaskModel::readsAnyValue()
{
    QFETCH(const int, field);
    QFETCH(const int, value);
    const auto all = fields();
    const JsonRows::Value json = JsonRows::values().at(value);
    Model model;
    model.Parse(kFull);
    model.Parse(json.object(all.at(field).key));
    for (int index = 0; index < all.size(); ++index) {
        // The keys that are not there are overwritten too.
        const QVariant expected = index == field ? json.read(all.at(index).kind) : emptyOf(all.at(index).kind);
        QCOMPARE(all.at(index).get(model), expected);
    }
    QCOMPARE(model.canonical_name, QStringLiteral("[one,two]"));
    QCOMPARE(model.valid, true);
}

void tst_SingleTaskModel::joinsTheNameChain_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QString>("name");
    const QString kept = QStringLiteral("kept");
    QTest::newRow("two") << QByteArray(R"(["one", "two"])") << QStringLiteral("[one,two]");
    QTest::newRow("one") << QByteArray(R"(["one"])") << QStringLiteral("[one]");
    QTest::newRow("text between others") << QByteArray(R"([1, "x", true])") << QStringLiteral("[x]");
    QTest::newRow("null and nested") << QByteArray(R"([null, ["y"], {"z": "z"}, "x"])") << QStringLiteral("[x]");
    QTest::newRow("empty text is text") << QByteArray(R"([""])") << QStringLiteral("[]");
    QTest::newRow("comma in a name") << QByteArray(R"(["a,b", "c"])") << QStringLiteral("[a,b,c]");
    QTest::newRow("empty array") << QByteArray("[]") << kept;
    QTest::newRow("no text in it") << QByteArray("[1, true, null]") << kept;
    QTest::newRow("null") << QByteArray("null") << kept;
    QTest::newRow("text instead") << QByteArray(R"("one")") << kept;
    QTest::newRow("object instead") << QByteArray(R"({"a": "one"})") << kept;
    QTest::newRow("number instead") << QByteArray("-1.5") << kept;
}

void tst_SingleTaskModel::joinsTheNameChain()
{
    QFETCH(const QByteArray, value);
    QFETCH(const QString, name);
    Model model;
    model.canonical_name = QStringLiteral("kept");
    model.Parse("{\"canonical_name\": " + value + "}");
    QCOMPARE(model.canonical_name, name);
}

void tst_SingleTaskModel::textThatIsNotJsonChangesNothing_data()
{
    JsonRows::addTexts(JsonRows::notJson());
}

void tst_SingleTaskModel::textThatIsNotJsonChangesNothing()
{
    QFETCH(const QByteArray, text);
    Model fresh;
    fresh.Parse(text);
    QCOMPARE(fresh.valid, false);
    QVERIFY(fresh.raw.isEmpty());
    Model filled;
    filled.Parse(kFull);
    Model parsedAgain = filled;
    parsedAgain.Parse(text);
    for (const auto& field : fields()) {
        QCOMPARE(field.get(fresh), emptyOf(field.kind));
        QCOMPARE(field.get(parsedAgain), field.get(filled));
    }
    QCOMPARE(parsedAgain.canonical_name, QStringLiteral("[one,two]"));
    QCOMPARE(parsedAgain.raw, kFull);
}

void tst_SingleTaskModel::jsonThatIsNoObjectReadsAsEmpty_data()
{
    JsonRows::addTexts(JsonRows::notObjects());
}

void tst_SingleTaskModel::jsonThatIsNoObjectReadsAsEmpty()
{
    QFETCH(const QByteArray, text);
    Model model;
    model.Parse(kFull);
    model.Parse(text);
    for (const auto& field : fields())
        QCOMPARE(field.get(model), emptyOf(field.kind));
    QCOMPARE(model.canonical_name, QStringLiteral("[one,two]"));
    QCOMPARE(model.valid, true);
    QCOMPARE(model.raw, text);
}

void tst_SingleTaskModel::readsALongText()
{
    const QByteArray url(50 * 1024 * 1024, 'x');
    Model model;
    model.Parse("{\"url\": \"" + url + "\", \"size\": 9}");
    QCOMPARE(model.url.size(), url.size());
    QCOMPARE(model.size, quint64(9));
}

void tst_SingleTaskModel::parsesThroughTheBase()
{
    const std::unique_ptr<VantorTaskModel> model = std::make_unique<Model>();
    model->Parse(kFull);
    QCOMPARE(dynamic_cast<Model&>(*model).url, QStringLiteral("http://host/a"));
}

void tst_SingleTaskModel::copiesAreIndependent()
{
    Model model;
    model.Parse(kFull);
    Model copy(model);
    for (const auto& field : fields())
        QCOMPARE(field.get(copy), field.get(model));
    QCOMPARE(copy.canonical_name, model.canonical_name);
    copy.Parse("{}");
    QCOMPARE(model.url, QStringLiteral("http://host/a"));
    const Model moved(std::move(model));
    QCOMPARE(moved.bandwidth_byte, quint64(7));
}

QTEST_GUILESS_MAIN(tst_SingleTaskModel)
#include "tst_SingleTaskModel.moc"

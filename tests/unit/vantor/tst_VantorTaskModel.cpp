// SPDX-License-Identifier: MIT
#include "JsonRows.h"
#include "vantor/VantorTaskModel.h"

#include <QtTest>

#include <memory>
#include <utility>

namespace {

using JsonRows::Kind;

QVector<JsonRows::Field<VantorTaskModel>> fields()
{
    return {
        {"status", Kind::Text, [](const VantorTaskModel& m) { return m.status; }},
        {"guid", Kind::Text, [](const VantorTaskModel& m) { return m.guid; }},
    };
}

const QByteArray kFull = "{\"status\": \"Progressing\", \"guid\": \"g1\"}";

} // namespace

class tst_VantorTaskModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isRegisteredByName();
    void startsEmpty();
    void readsEveryField();
    void readsAnyValue_data();
    void readsAnyValue();
    void textThatIsNotJsonChangesNothing_data();
    void textThatIsNotJsonChangesNothing();
    void jsonThatIsNoObjectReadsAsEmpty_data();
    void jsonThatIsNoObjectReadsAsEmpty();
    void keepsTheTextVerbatim();
    void readsALongText();
    void parsesThroughTheBase();
    void copiesAndMoves();
};

void tst_VantorTaskModel::isRegisteredByName()
{
    const int type = QMetaType::type("VantorTaskModel");
    QVERIFY(type != QMetaType::UnknownType);
    QCOMPARE(type, qMetaTypeId<VantorTaskModel>());
}

void tst_VantorTaskModel::startsEmpty()
{
    const VantorTaskModel model;
    QCOMPARE(model.status, QString());
    QCOMPARE(model.guid, QString());
    QCOMPARE(model.valid, false);
    QCOMPARE(model.raw, QByteArray());
}

void tst_VantorTaskModel::readsEveryField()
{
    VantorTaskModel model;
    model.Parse(kFull);
    QCOMPARE(model.status, QStringLiteral("Progressing"));
    QCOMPARE(model.guid, QStringLiteral("g1"));
    QCOMPARE(model.valid, true);
    QCOMPARE(model.raw, kFull);
}

void tst_VantorTaskModel::readsAnyValue_data()
{
    JsonRows::addRows(fields());
}

void tst_VantorTaskModel::readsAnyValue()
{
    QFETCH(const int, field);
    QFETCH(const int, value);
    const auto all = fields();
    const auto& target = all.at(field);
    const JsonRows::Value json = JsonRows::values().at(value);
    VantorTaskModel model;
    model.Parse(kFull);
    model.Parse(json.object(target.key));
    QCOMPARE(target.get(model), json.read(target.kind));
    // The key that is not there is overwritten too.
    QCOMPARE(all.at(1 - field).get(model), QVariant(QString()));
    QCOMPARE(model.valid, true);
    QCOMPARE(model.raw, json.object(target.key));
}

void tst_VantorTaskModel::textThatIsNotJsonChangesNothing_data()
{
    JsonRows::addTexts(JsonRows::notJson());
}

void tst_VantorTaskModel::textThatIsNotJsonChangesNothing()
{
    QFETCH(const QByteArray, text);
    VantorTaskModel fresh;
    fresh.Parse(text);
    QCOMPARE(fresh.valid, false);
    QCOMPARE(fresh.status, QString());
    QCOMPARE(fresh.guid, QString());
    QVERIFY(fresh.raw.isEmpty());

    VantorTaskModel filled;
    filled.Parse(kFull);
    filled.Parse(text);
    QCOMPARE(filled.valid, true);
    QCOMPARE(filled.status, QStringLiteral("Progressing"));
    QCOMPARE(filled.guid, QStringLiteral("g1"));
    QCOMPARE(filled.raw, kFull);
}

void tst_VantorTaskModel::jsonThatIsNoObjectReadsAsEmpty_data()
{
    JsonRows::addTexts(JsonRows::notObjects());
}

void tst_VantorTaskModel::jsonThatIsNoObjectReadsAsEmpty()
{
    QFETCH(const QByteArray, text);
    VantorTaskModel model;
    model.status = QStringLiteral("old");
    model.guid = QStringLiteral("old");
    model.Parse(text);
    QCOMPARE(model.status, QString());
    QCOMPARE(model.guid, QString());
    QCOMPARE(model.valid, true);
    QCOMPARE(model.raw, text);
}

void tst_VantorTaskModel::keepsTheTextVerbatim()
{
    const QByteArray text = " \n{ \"other\" : 1.50, \"status\":\"\\u0041\" }\t";
    VantorTaskModel model;
    model.Parse(text);
    QCOMPARE(model.raw, text);
    QCOMPARE(model.status, QStringLiteral("A"));
}

void tst_VantorTaskModel::readsALongText()
{
    const QByteArray text = "{\"guid\": \"g\", \"padding\": \"" + QByteArray(50 * 1024 * 1024, 'x') + "\"}";
    VantorTaskModel model;
    model.Parse(text);
    QCOMPARE(model.valid, true);
    QCOMPARE(model.guid, QStringLiteral("g"));
    QVERIFY(model.raw == text);
}

void tst_VantorTaskModel::parsesThroughTheBase()
{
    class Derived : public VantorTaskModel
    {
    public:
        void Parse(const QByteArray& /*json*/) override { status = QStringLiteral("derived"); }
    };
    const std::unique_ptr<VantorTaskModel> model = std::make_unique<Derived>();
    model->Parse(kFull);
    QCOMPARE(model->status, QStringLiteral("derived"));
}

void tst_VantorTaskModel::copiesAndMoves()
{
    VantorTaskModel model;
    model.Parse(kFull);
    VantorTaskModel copy(model);
    QCOMPARE(copy.guid, QStringLiteral("g1"));
    QCOMPARE(copy.raw, kFull);
    copy.guid = QStringLiteral("g2");
    QCOMPARE(model.guid, QStringLiteral("g1"));
    model = copy;
    QCOMPARE(model.guid, QStringLiteral("g2"));
    VantorTaskModel moved(std::move(copy));
    QCOMPARE(moved.guid, QStringLiteral("g2"));
    QCOMPARE(moved.valid, true);
    model = std::move(moved);
    QCOMPARE(model.status, QStringLiteral("Progressing"));
}

QTEST_GUILESS_MAIN(tst_VantorTaskModel)
#include "tst_VantorTaskModel.moc"

// SPDX-License-Identifier: MIT
#include "JsonRows.h"
#include "vantor/GroupTaskModel.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

#include <memory>

namespace {

using Model = GroupTaskModel;

QByteArray group(const QByteArray& status, const QByteArray& items)
{
    return "{\"guid\": \"g1\", \"status\": \"" + status + "\", \"download_items\": [" + items + "]}";
}

/// A file with the detail of a network failure.
QByteArray file(const QByteArray& guid, const QByteArray& status, bool completed, int code)
{
    return "{\"guid\": \"" + guid + "\", \"status\": \"" + status +
           "\", \"completed\": " + (completed ? "true" : "false") +
           ", \"url_net_error\": {\"error_code\": " + QByteArray::number(code) +
           ", \"internal_error_code\": 1, \"message\": \"failed\"}}";
}

void compareToDefaultError(const SingleTaskErrorModel& error)
{
    QCOMPARE(error.error_code, 6099);
    QCOMPARE(error.message, QStringLiteral("unknown error"));
    QCOMPARE(error.error_type, 0);
    QCOMPARE(error.internal_error_code, 0);
    QCOMPARE(error.http_status_code, 0);
    QCOMPARE(error.http_header, QString());
    QCOMPARE(error.valid, false);
    QCOMPARE(error.url, QString());
    QCOMPARE(error.guid, QString());
    QVERIFY(error.raw.isEmpty());
}

QStringList guidsOf(const Model& model)
{
    QStringList guids;
    for (const SingleTaskModel& item : model.items)
        guids.append(item.guid);
    return guids;
}

} // namespace

class tst_GroupTaskModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isRegisteredByName();
    void startsWithTheUnknownError();
    void readsItemsInOrder();
    void itemsHoldTheirOwnText();
    void itemTextIsCompactJson();
    void readsAFileAsAFileModelDoes();
    void endStates_data();
    void endStates();
    void withoutFilesOnlyStateAndGuidChange_data();
    void withoutFilesOnlyStateAndGuidChange();
    void aLaterTextReplacesTheItems();
    void elementsOfAnyKindAreItems();
    void firstFailedCompletedFileFillsTheError();
    void errorNeedsAFailedGroup_data();
    void errorNeedsAFailedGroup();
    void errorNeedsAFailedCompletedFile_data();
    void errorNeedsAFailedCompletedFile();
    void fileWithoutDetailKeepsTheUnknownError();
    void laterTextsDoNotReplaceTheError();
    void textThatIsNotJsonChangesNothing_data();
    void textThatIsNotJsonChangesNothing();
    void jsonThatIsNoObjectReadsAsEmpty();
    void readsAVeryLongText();
    void parsesThroughTheBase();
    void copiesAreIndependent();
};

void tst_GroupTaskModel::isRegisteredByName()
{
    const int type = QMetaType::type("GroupTaskModel");
    QVERIFY(type != QMetaType::UnknownType);
    QCOMPARE(type, qMetaTypeId<GroupTaskModel>());
}

void tst_GroupTaskModel::startsWithTheUnknownError()
{
    const Model model;
    QVERIFY(model.items.isEmpty());
    QCOMPARE(model.finished, false);
    QCOMPARE(model.valid, false);
    QCOMPARE(model.status, QString());
    compareToDefaultError(model.error);
}

void tst_GroupTaskModel::readsItemsInOrder()
{
    Model model;
    const QByteArray text = group("Progressing", "{\"guid\": \"b\", \"size\": 2}, {\"guid\": \"a\", \"size\": 1}, "
                                                 "{\"guid\": \"c\", \"size\": 9223372036854775807}");
    model.Parse(text);
    QCOMPARE(model.guid, QStringLiteral("g1"));
    QCOMPARE(model.status, QStringLiteral("Progressing"));
    QCOMPARE(model.valid, true);
    QCOMPARE(model.raw, text);
    QCOMPARE(guidsOf(model), (QStringList{QStringLiteral("b"), QStringLiteral("a"), QStringLiteral("c")}));
    QCOMPARE(model.items.at(0).size, quint64(2));
    QCOMPARE(model.items.at(2).size, quint64(9223372036854775807));
    QCOMPARE(model.finished, false);
}

void tst_GroupTaskModel::itemsHoldTheirOwnText()
{
    const QByteArray item = R"({"guid": "a", "size": 9007199254740993, "other": [1.5, null, "\u00e4"]})";
    Model model;
    model.Parse(group("Start", item));
    QCOMPARE(model.items.size(), 1);
    QCOMPARE(model.items.first().valid, true);
    QCOMPARE(QJsonDocument::fromJson(model.items.first().raw), QJsonDocument::fromJson(item));
}

void tst_GroupTaskModel::itemTextIsCompactJson()
{
    // Written as Qt writes it, for everything that Qt writes without loss.
    const QByteArray item = R"({"text": "a \"b\" \\ / \b\f\n\r\t \u0001\u001f\u007f \u00e4 \u6e38 \ud83c\udfae end",
        "": "", "\n": [], "half": "\ud83c x", "other half": "\udfae", "nested": {"a": [{}, [[]], true, false, null]},
        "numbers": [0, -1, 1.5, -0.25, 2147483648]})";
    Model model;
    model.Parse(group("Start", item));
    QCOMPARE(model.items.size(), 1);
    QCOMPARE(model.items.first().raw, QJsonDocument::fromJson(item).toJson(QJsonDocument::Compact));

    // And numbers that it does not keep.
    model.Parse(group("Start", R"({"b": 9223372036854775807, "a": -9007199254740993, "c": 1e300})"));
    QCOMPARE(model.items.first().raw, QByteArray(R"({"a":-9007199254740993,"b":9223372036854775807,"c":1e+300})"));
}

void tst_GroupTaskModel::readsAFileAsAFileModelDoes()
{
    for (const JsonRows::Value& value : JsonRows::values()) {
        QByteArray item = "{\"guid\": \"f\"";
        for (const char* key : {"url", "size", "current_retry_times", "using_pcdn", "canonical_name", "completed"}) {
            if (value.json)
                item += ", " + value.member(key);
        }
        item += "}";
        SingleTaskModel expected;
        expected.Parse(item);
        Model model;
        model.Parse(group("Progressing", item));
        QCOMPARE(model.items.size(), 1);
        const SingleTaskModel& actual = model.items.constFirst();
        QCOMPARE(actual.guid, expected.guid);
        QCOMPARE(actual.url, expected.url);
        QCOMPARE(actual.size, expected.size);
        QCOMPARE(actual.current_retry_times, expected.current_retry_times);
        QCOMPARE(actual.using_pcdn, expected.using_pcdn);
        QCOMPARE(actual.canonical_name, expected.canonical_name);
        QCOMPARE(actual.completed, expected.completed);
    }
}

void tst_GroupTaskModel::endStates_data()
{
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<bool>("finished");
    for (const char* status : {"Failed", "Success", "Cancelled", "Duplicated"})
        QTest::newRow(status) << QByteArray(status) << true;
    for (const char* status : {"Invalid", "Pending", "Start", "Progressing", "Verifying", "Cancelling", "", "Exploded",
                               "success", "FAILED", " Success"})
        QTest::addRow("no end state: '%s'", status) << QByteArray(status) << false;
}

void tst_GroupTaskModel::endStates()
{
    QFETCH(const QByteArray, status);
    QFETCH(const bool, finished);
    Model model;
    model.Parse(group(status, "{\"guid\": \"a\"}"));
    QCOMPARE(model.status, QString::fromLatin1(status));
    QCOMPARE(model.finished, finished);
    QCOMPARE(model.items.size(), 1);
}

void tst_GroupTaskModel::withoutFilesOnlyStateAndGuidChange_data()
{
    QTest::addColumn<QByteArray>("member");
    QTest::newRow("absent") << QByteArray();
    for (const JsonRows::Value& value : JsonRows::values()) {
        if (value.json && qstrcmp(value.name, "array") != 0)
            QTest::newRow(value.name) << QByteArray(", " + value.member("download_items"));
    }
}

void tst_GroupTaskModel::withoutFilesOnlyStateAndGuidChange()
{
    QFETCH(const QByteArray, member);
    const QByteArray text = "{\"guid\": \"g2\", \"status\": \"Success\"" + member + "}";
    Model fresh;
    fresh.Parse(text);
    QCOMPARE(fresh.status, QStringLiteral("Success"));
    QCOMPARE(fresh.guid, QStringLiteral("g2"));
    QCOMPARE(fresh.valid, true);
    QCOMPARE(fresh.finished, false);
    QVERIFY(fresh.items.isEmpty());

    Model ended;
    ended.Parse(group("Failed", file("a", "Failed", true, 5)));
    ended.Parse("{\"guid\": \"g2\", \"status\": \"Progressing\"" + member + "}");
    QCOMPARE(ended.status, QStringLiteral("Progressing"));
    QCOMPARE(ended.guid, QStringLiteral("g2"));
    QCOMPARE(ended.finished, true);
    QCOMPARE(guidsOf(ended), QStringList{QStringLiteral("a")});
    QCOMPARE(ended.error.error_code, 5);
}

void tst_GroupTaskModel::aLaterTextReplacesTheItems()
{
    Model model;
    model.Parse(group("Progressing", "{\"guid\": \"a\"}, {\"guid\": \"b\"}"));
    model.Parse(group("Success", "{\"guid\": \"c\"}"));
    QCOMPARE(guidsOf(model), QStringList{QStringLiteral("c")});
    QCOMPARE(model.finished, true);
}

void tst_GroupTaskModel::elementsOfAnyKindAreItems()
{
    Model model;
    model.Parse(group("Failed", "1, null, \"text\", [1], {\"guid\": \"a\"}, true"));
    QCOMPARE(model.items.size(), 6);
    QCOMPARE(guidsOf(model).join(QLatin1Char('|')), QStringLiteral("||||a|"));
    QCOMPARE(model.items.first().valid, true);
    compareToDefaultError(model.error);
}

void tst_GroupTaskModel::firstFailedCompletedFileFillsTheError()
{
    Model model;
    model.Parse(group("Failed", file("a", "Success", true, 1) + "," + file("b", "Failed", false, 2) + "," +
                                    file("c", "Failed", true, 3) + "," + file("d", "Failed", true, 4)));
    QCOMPARE(model.items.size(), 4);
    QCOMPARE(model.error.valid, true);
    QCOMPARE(model.error.guid, QStringLiteral("c"));
    QCOMPARE(model.error.error_type, 1);
    QCOMPARE(model.error.error_code, 3);
    QCOMPARE(model.error.internal_error_code, 1);
    QCOMPARE(model.error.message, QStringLiteral("failed"));
    QCOMPARE(model.error.raw, model.items.at(2).raw);
}

void tst_GroupTaskModel::errorNeedsAFailedGroup_data()
{
    QTest::addColumn<QByteArray>("status");
    for (const char* status : {"Success", "Cancelled", "Duplicated", "Progressing", "Verifying", "failed", "Exploded"})
        QTest::newRow(status) << QByteArray(status);
}

void tst_GroupTaskModel::errorNeedsAFailedGroup()
{
    QFETCH(const QByteArray, status);
    Model model;
    model.Parse(group(status, file("a", "Failed", true, 5)));
    QCOMPARE(model.items.size(), 1);
    compareToDefaultError(model.error);
}

void tst_GroupTaskModel::errorNeedsAFailedCompletedFile_data()
{
    QTest::addColumn<QByteArray>("item");
    QTest::newRow("not completed") << file("a", "Failed", false, 5);
    QTest::newRow("successful") << file("a", "Success", true, 5);
    QTest::newRow("cancelled") << file("a", "Cancelled", true, 5);
    QTest::newRow("unknown state") << file("a", "Exploded", true, 5);
    QTest::newRow("other case") << file("a", "failed", true, 5);
}

void tst_GroupTaskModel::errorNeedsAFailedCompletedFile()
{
    QFETCH(const QByteArray, item);
    Model model;
    model.Parse(group("Failed", item + "," + item));
    QCOMPARE(model.finished, true);
    compareToDefaultError(model.error);
}

void tst_GroupTaskModel::fileWithoutDetailKeepsTheUnknownError()
{
    Model model;
    model.Parse(group("Failed", "{\"guid\": \"a\", \"status\": \"Failed\", \"completed\": true}, " +
                                    file("b", "Failed", true, 5)));
    // The first such file fills the error, although it says nothing about the reason.
    QCOMPARE(model.error.valid, true);
    QCOMPARE(model.error.guid, QStringLiteral("a"));
    QCOMPARE(model.error.error_code, 6099);
    QCOMPARE(model.error.message, QStringLiteral("unknown error"));
    QCOMPARE(model.error.error_type, 0);
}

void tst_GroupTaskModel::laterTextsDoNotReplaceTheError()
{
    Model model;
    model.Parse(group("Failed", file("a", "Failed", true, 5)));
    model.Parse(group("Failed", file("b", "Failed", true, 6)));
    QCOMPARE(model.error.guid, QStringLiteral("a"));
    QCOMPARE(model.error.error_code, 5);
    QCOMPARE(guidsOf(model), QStringList{QStringLiteral("b")});
}

void tst_GroupTaskModel::textThatIsNotJsonChangesNothing_data()
{
    JsonRows::addTexts(JsonRows::notJson());
}

void tst_GroupTaskModel::textThatIsNotJsonChangesNothing()
{
    QFETCH(const QByteArray, text);
    Model fresh;
    fresh.Parse(text);
    QCOMPARE(fresh.valid, false);
    QVERIFY(fresh.items.isEmpty());
    compareToDefaultError(fresh.error);

    const QByteArray full = group("Failed", file("a", "Failed", true, 5));
    Model filled;
    filled.Parse(full);
    filled.Parse(text);
    QCOMPARE(filled.raw, full);
    QCOMPARE(filled.status, QStringLiteral("Failed"));
    QCOMPARE(filled.finished, true);
    QCOMPARE(guidsOf(filled), QStringList{QStringLiteral("a")});
    QCOMPARE(filled.error.error_code, 5);
}

void tst_GroupTaskModel::jsonThatIsNoObjectReadsAsEmpty()
{
    Model model;
    model.Parse(group("Success", "{\"guid\": \"a\"}"));
    model.Parse("[{\"status\": \"Failed\"}]");
    QCOMPARE(model.status, QString());
    QCOMPARE(model.guid, QString());
    QCOMPARE(model.valid, true);
    QCOMPARE(model.finished, true);
    QCOMPARE(guidsOf(model), QStringList{QStringLiteral("a")});
}

void tst_GroupTaskModel::readsAVeryLongText()
{
    constexpr int kBytes = 50 * 1024 * 1024;
    const QByteArray item = "{\"guid\": \"f\", \"url\": \"http://host/" + QByteArray(2000, 'x') + "\", \"size\": 7},";
    QByteArray items;
    items.reserve(kBytes + item.size());
    int count = 0;
    for (; items.size() < kBytes; ++count)
        items += item;
    items.chop(1);
    const QByteArray text = group("Success", items);
    Model model;
    model.Parse(text);
    QCOMPARE(model.items.size(), count);
    QCOMPARE(model.items.constLast().size, quint64(7));
    QCOMPARE(model.finished, true);

    Model truncated;
    truncated.Parse(text.left(text.size() - 10));
    QCOMPARE(truncated.valid, false);
    QVERIFY(truncated.items.isEmpty());
}

void tst_GroupTaskModel::parsesThroughTheBase()
{
    const std::unique_ptr<VantorTaskModel> model = std::make_unique<Model>();
    model->Parse(group("Success", "{\"guid\": \"a\"}"));
    QCOMPARE(dynamic_cast<Model&>(*model).items.size(), 1);
}

void tst_GroupTaskModel::copiesAreIndependent()
{
    Model model;
    model.Parse(group("Failed", file("a", "Failed", true, 5)));
    Model copy(model);
    copy.items.first().guid = QStringLiteral("copy");
    copy.error.error_code = 1;
    copy.finished = false;
    QCOMPARE(guidsOf(model), QStringList{QStringLiteral("a")});
    QCOMPARE(model.error.error_code, 5);
    QCOMPARE(model.finished, true);
    model = std::move(copy);
    QCOMPARE(guidsOf(model), QStringList{QStringLiteral("copy")});
    QCOMPARE(model.error.error_code, 1);
    QCOMPARE(model.status, QStringLiteral("Failed"));
}

QTEST_GUILESS_MAIN(tst_GroupTaskModel)
#include "tst_GroupTaskModel.moc"

// SPDX-License-Identifier: MIT
#include "JsonRows.h"
#include "MetaMethods.h"
#include "vantor/VantorJsonHelper.h"

#include <QThread>
#include <QtTest>

namespace {

using Map = QMap<QString, QVariant>;

QStringList g_debugLines;
QtMessageHandler g_formerHandler = nullptr;

void collect(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    if (type == QtDebugMsg)
        g_debugLines.append(text);
    else
        g_formerHandler(type, context, text);
}

const QString kGuid = QStringLiteral("g1");
const QString kText = QStringLiteral(R"({"status": "Success", "size": 9007199254740993, "items": [1, "two"]})");

Map expectedMap()
{
    return {{QStringLiteral("status"), QStringLiteral("Success")},
            {QStringLiteral("size"), qint64(9007199254740993)},
            {QStringLiteral("items"), QVariantList{1, QStringLiteral("two")}}};
}

} // namespace

class tst_VantorJsonHelper : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanupTestCase();

    void parsesGroupTexts();
    void parsesFileTexts();
    void emptyArgumentsGiveNothing_data();
    void emptyArgumentsGiveNothing();
    void textThatIsNotJsonGivesNothing_data();
    void textThatIsNotJsonGivesNothing();
    void jsonThatIsNoObjectGivesAnEmptyMap_data();
    void jsonThatIsNoObjectGivesAnEmptyMap();
    void groupSlotEmits();
    void fileSlotEmits();
    void declaresItsSignalsAndSlots();
    void slotsCanBeReachedByName();
    void signalsCrossThreads();
    void writesLinesAroundAGroupText();
    void writesALineForAFileText();
    void complainsAboutInvalidTexts();
    void belongsToItsParent();
};

void tst_VantorJsonHelper::initTestCase()
{
    g_formerHandler = qInstallMessageHandler(collect);
}

void tst_VantorJsonHelper::init()
{
    g_debugLines.clear();
}

void tst_VantorJsonHelper::cleanupTestCase()
{
    qInstallMessageHandler(g_formerHandler);
}

void tst_VantorJsonHelper::parsesGroupTexts()
{
    VantorJsonHelper helper;
    QCOMPARE(helper.ParseGroupTaskCallback(kGuid, kText), expectedMap());
}

void tst_VantorJsonHelper::parsesFileTexts()
{
    VantorJsonHelper helper;
    QCOMPARE(helper.ParseSingleTaskCallback(kGuid, kText), expectedMap());
}

void tst_VantorJsonHelper::emptyArgumentsGiveNothing_data()
{
    QTest::addColumn<QString>("guid");
    QTest::addColumn<QString>("data");
    QTest::newRow("no guid") << QString() << kText;
    QTest::newRow("empty guid") << QStringLiteral("") << kText;
    QTest::newRow("no text") << kGuid << QString();
    QTest::newRow("empty text") << kGuid << QStringLiteral("");
    QTest::newRow("neither") << QString() << QString();
}

void tst_VantorJsonHelper::emptyArgumentsGiveNothing()
{
    QFETCH(const QString, guid);
    QFETCH(const QString, data);
    VantorJsonHelper helper;
    QSignalSpy groupSpy(&helper, &VantorJsonHelper::groupTaskCallback);
    QSignalSpy fileSpy(&helper, &VantorJsonHelper::singleTaskCallback);
    QCOMPARE(helper.ParseGroupTaskCallback(guid, data), Map());
    QCOMPARE(helper.ParseSingleTaskCallback(guid, data), Map());
    helper.onParseGroupTaskCallback(guid, data);
    helper.onParseSingleTaskCallback(guid, data);
    QCOMPARE(groupSpy.count(), 0);
    QCOMPARE(fileSpy.count(), 0);
    for (const QString& line : qAsConst(g_debugLines))
        QVERIFY2(!line.contains(QLatin1String("invalid data")), qPrintable(line));
}

void tst_VantorJsonHelper::textThatIsNotJsonGivesNothing_data()
{
    QTest::addColumn<QString>("data");
    for (const auto& row : JsonRows::notJson()) {
        // What is not UTF-8 becomes replacement characters on the way here, and so JSON.
        if (!row.second.isEmpty() && qstrcmp(row.first, "text that is not UTF-8") != 0)
            QTest::newRow(row.first) << QString::fromUtf8(row.second.constData(), row.second.size());
    }
}

void tst_VantorJsonHelper::textThatIsNotJsonGivesNothing()
{
    QFETCH(const QString, data);
    VantorJsonHelper helper;
    QSignalSpy groupSpy(&helper, &VantorJsonHelper::groupTaskCallback);
    QSignalSpy fileSpy(&helper, &VantorJsonHelper::singleTaskCallback);
    QCOMPARE(helper.ParseGroupTaskCallback(kGuid, data), Map());
    QCOMPARE(helper.ParseSingleTaskCallback(kGuid, data), Map());
    helper.onParseGroupTaskCallback(kGuid, data);
    helper.onParseSingleTaskCallback(kGuid, data);
    QCOMPARE(groupSpy.count(), 0);
    QCOMPARE(fileSpy.count(), 0);
    QCOMPARE(g_debugLines.count(QStringLiteral("onGroupTaskCallback with invalid data")), 2);
    QCOMPARE(g_debugLines.count(QStringLiteral("onParseSingleTaskCallback with invalid data")), 2);
}

void tst_VantorJsonHelper::jsonThatIsNoObjectGivesAnEmptyMap_data()
{
    QTest::addColumn<QString>("data");
    for (const auto& row : JsonRows::notObjects())
        QTest::newRow(row.first) << QString::fromUtf8(row.second);
    QTest::newRow("empty object") << QStringLiteral("{}");
}

void tst_VantorJsonHelper::jsonThatIsNoObjectGivesAnEmptyMap()
{
    QFETCH(const QString, data);
    VantorJsonHelper helper;
    QCOMPARE(helper.ParseGroupTaskCallback(kGuid, data), Map());
    QCOMPARE(helper.ParseSingleTaskCallback(kGuid, data), Map());
    // It is valid JSON: it is passed on.
    QSignalSpy groupSpy(&helper, &VantorJsonHelper::groupTaskCallback);
    QSignalSpy fileSpy(&helper, &VantorJsonHelper::singleTaskCallback);
    helper.onParseGroupTaskCallback(kGuid, data);
    helper.onParseSingleTaskCallback(kGuid, data);
    QCOMPARE(groupSpy.count(), 1);
    QCOMPARE(groupSpy.first().at(1).value<Map>(), Map());
    QCOMPARE(fileSpy.count(), 1);
    QCOMPARE(fileSpy.first().at(1).value<Map>(), Map());
}

void tst_VantorJsonHelper::groupSlotEmits()
{
    VantorJsonHelper helper;
    QSignalSpy groupSpy(&helper, &VantorJsonHelper::groupTaskCallback);
    QSignalSpy fileSpy(&helper, &VantorJsonHelper::singleTaskCallback);
    helper.onParseGroupTaskCallback(kGuid, kText);
    QCOMPARE(groupSpy.count(), 1);
    QCOMPARE(groupSpy.first().at(0).toString(), kGuid);
    QCOMPARE(groupSpy.first().at(1).value<Map>(), expectedMap());
    QCOMPARE(fileSpy.count(), 0);
}

void tst_VantorJsonHelper::fileSlotEmits()
{
    VantorJsonHelper helper;
    QSignalSpy groupSpy(&helper, &VantorJsonHelper::groupTaskCallback);
    QSignalSpy fileSpy(&helper, &VantorJsonHelper::singleTaskCallback);
    helper.onParseSingleTaskCallback(kGuid, kText);
    QCOMPARE(fileSpy.count(), 1);
    QCOMPARE(fileSpy.first().at(0).toString(), kGuid);
    QCOMPARE(fileSpy.first().at(1).value<Map>(), expectedMap());
    QCOMPARE(groupSpy.count(), 0);
}

void tst_VantorJsonHelper::declaresItsSignalsAndSlots()
{
    const QMetaObject& meta = VantorJsonHelper::staticMetaObject;
    QCOMPARE(declaredSignals(meta), (QStringList{QStringLiteral("groupTaskCallback(QString guid, QVariantMap map)"),
                                                 QStringLiteral("singleTaskCallback(QString guid, QVariantMap map)")}));
    QCOMPARE(declaredSlots(meta),
             (QStringList{QStringLiteral("onParseGroupTaskCallback(QString guid, QString data)"),
                          QStringLiteral("onParseSingleTaskCallback(QString guid, QString data)")}));
}

void tst_VantorJsonHelper::slotsCanBeReachedByName()
{
    VantorJsonHelper helper;
    QSignalSpy groupSpy(&helper, SIGNAL(groupTaskCallback(QString, QMap<QString, QVariant>)));
    QSignalSpy fileSpy(&helper, SIGNAL(singleTaskCallback(QString, QMap<QString, QVariant>)));
    QVERIFY(groupSpy.isValid());
    QVERIFY(fileSpy.isValid());
    QVERIFY(
        QMetaObject::invokeMethod(&helper, "onParseGroupTaskCallback", Q_ARG(QString, kGuid), Q_ARG(QString, kText)));
    QVERIFY(
        QMetaObject::invokeMethod(&helper, "onParseSingleTaskCallback", Q_ARG(QString, kGuid), Q_ARG(QString, kText)));
    QCOMPARE(groupSpy.count(), 1);
    QCOMPARE(fileSpy.count(), 1);
}

void tst_VantorJsonHelper::signalsCrossThreads()
{
    QThread thread;
    VantorJsonHelper helper;
    helper.moveToThread(&thread);
    QList<Map> maps;
    connect(&helper, &VantorJsonHelper::groupTaskCallback, this,
            [&maps](const QString&, const Map& map) { maps.append(map); });
    connect(&helper, &VantorJsonHelper::singleTaskCallback, this,
            [&maps](const QString&, const Map& map) { maps.append(map); });
    thread.start();
    QMetaObject::invokeMethod(&helper, [&helper] {
        helper.onParseGroupTaskCallback(kGuid, kText);
        helper.onParseSingleTaskCallback(kGuid, QStringLiteral("{\"a\": 1}"));
    });
    QTRY_COMPARE(maps.size(), 2);
    QCOMPARE(maps.at(0), expectedMap());
    QCOMPARE(maps.at(1), (Map{{QStringLiteral("a"), 1}}));
    thread.quit();
    QVERIFY(thread.wait());
}

void tst_VantorJsonHelper::writesLinesAroundAGroupText()
{
    const QStringList expected{QStringLiteral("onGroupTaskCallback start:"),
                               QStringLiteral("VantorJsonHelper::ParseGroupTaskCallback: ") + kText,
                               QStringLiteral("onGroupTaskCallback end:")};
    VantorJsonHelper helper;
    helper.ParseGroupTaskCallback(kGuid, kText);
    QCOMPARE(g_debugLines, expected);
    g_debugLines.clear();
    helper.onParseGroupTaskCallback(kGuid, kText);
    QCOMPARE(g_debugLines, expected);
}

void tst_VantorJsonHelper::writesALineForAFileText()
{
    const QStringList expected{QStringLiteral("VantorJsonHelper::ParseSingleTaskCallback: ") + kText};
    VantorJsonHelper helper;
    helper.ParseSingleTaskCallback(kGuid, kText);
    QCOMPARE(g_debugLines, expected);
    g_debugLines.clear();
    helper.onParseSingleTaskCallback(kGuid, kText);
    QCOMPARE(g_debugLines, expected);
}

void tst_VantorJsonHelper::complainsAboutInvalidTexts()
{
    VantorJsonHelper helper;
    helper.ParseGroupTaskCallback(kGuid, QStringLiteral("{x"));
    QCOMPARE(g_debugLines, (QStringList{QStringLiteral("onGroupTaskCallback start:"),
                                        QStringLiteral("VantorJsonHelper::ParseGroupTaskCallback: {x"),
                                        QStringLiteral("onGroupTaskCallback with invalid data"),
                                        QStringLiteral("onGroupTaskCallback end:")}));
    g_debugLines.clear();
    helper.ParseSingleTaskCallback(kGuid, QStringLiteral("{x"));
    QCOMPARE(g_debugLines, (QStringList{QStringLiteral("VantorJsonHelper::ParseSingleTaskCallback: {x"),
                                        QStringLiteral("onParseSingleTaskCallback with invalid data")}));
}

void tst_VantorJsonHelper::belongsToItsParent()
{
    QObject parent;
    const VantorJsonHelper helper(&parent);
    QCOMPARE(helper.parent(), &parent);
}

QTEST_GUILESS_MAIN(tst_VantorJsonHelper)
#include "tst_VantorJsonHelper.moc"

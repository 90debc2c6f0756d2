// SPDX-License-Identifier: MIT
#include "Manager/ProgressInfo.h"

#include <QMap>
#include <QVariant>
#include <QtTest>

#include <functional>
#include <limits>

namespace {

using Values = QMap<QString, QVariant>;

constexpr qint64 kLargest = std::numeric_limits<qint64>::max();

/// Every field through its getter, of a constant or a changeable record.
template<typename Record>
Values valuesOf(Record& info)
{
    return {
        {QStringLiteral("ProcessedBytes"), info.GetProcessedBytes()},
        {QStringLiteral("TotalBytes"), info.GetTotalBytes()},
        {QStringLiteral("Tag"), info.GetTag()},
        {QStringLiteral("Speed"), info.GetSpeed()},
        {QStringLiteral("GroupId"), info.GetGroupId()},
        {QStringLiteral("UsingPcdn"), info.GetUsingPcdn()},
        {QStringLiteral("PcdnAlias"), info.GetPcdnAlias()},
        {QStringLiteral("PcdnNetworkTraffic"), info.GetPcdnNetworkTraffic()},
        {QStringLiteral("CdnNetworkTraffic"), info.GetCdnNetworkTraffic()},
    };
}

Values defaults()
{
    return {
        {QStringLiteral("ProcessedBytes"), qint64(0)},
        {QStringLiteral("TotalBytes"), qint64(0)},
        {QStringLiteral("Tag"), 0},
        {QStringLiteral("Speed"), qint64(0)},
        {QStringLiteral("GroupId"), -1},
        {QStringLiteral("UsingPcdn"), false},
        {QStringLiteral("PcdnAlias"), QString()},
        {QStringLiteral("PcdnNetworkTraffic"), qint64(0)},
        {QStringLiteral("CdnNetworkTraffic"), qint64(0)},
    };
}

} // namespace

using Change = std::function<void(ProgressInfo&)>;
Q_DECLARE_METATYPE(Change)

class tst_ProgressInfo : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isRegisteredByName();
    void hasDefaults();
    void setterChangesItsFieldAlone_data();
    void setterChangesItsFieldAlone();
    void copiesAreIndependent();
    void travelsInAVariant();
};

void tst_ProgressInfo::isRegisteredByName()
{
    // First of all: nothing in this program has asked for the type yet.
    const int type = QMetaType::type("ProgressInfo");
    QVERIFY(type != QMetaType::UnknownType);
    QCOMPARE(type, qMetaTypeId<ProgressInfo>());
}

void tst_ProgressInfo::hasDefaults()
{
    ProgressInfo info;
    QCOMPARE(valuesOf(info), defaults());
    QCOMPARE(valuesOf(std::as_const(info)), defaults());
}

void tst_ProgressInfo::setterChangesItsFieldAlone_data()
{
    QTest::addColumn<Change>("change");
    QTest::addColumn<QVariant>("value");
    const auto row = [](const char* name, Change change, const QVariant& value) {
        QTest::newRow(name) << std::move(change) << value;
    };
    row(
        "ProcessedBytes", [](ProgressInfo& info) { info.SetProcessedBytes(kLargest); }, kLargest);
    row(
        "TotalBytes", [](ProgressInfo& info) { info.SetTotalBytes(kLargest); }, kLargest);
    row(
        "Tag", [](ProgressInfo& info) { info.SetTag(1); }, 1);
    row(
        "Speed", [](ProgressInfo& info) { info.SetSpeed(kLargest); }, kLargest);
    row(
        "GroupId", [](ProgressInfo& info) { info.SetGroupId(7); }, 7);
    row(
        "UsingPcdn", [](ProgressInfo& info) { info.SetUsingPcdn(true); }, true);
    row(
        "PcdnAlias", [](ProgressInfo& info) { info.SetPcdnAlias(QStringLiteral("one,two")); },
        QStringLiteral("one,two"));
    row(
        "PcdnNetworkTraffic", [](ProgressInfo& info) { info.SetPcdnNetworkTraffic(kLargest); }, kLargest);
    row(
        "CdnNetworkTraffic", [](ProgressInfo& info) { info.SetCdnNetworkTraffic(kLargest); }, kLargest);
}

void tst_ProgressInfo::setterChangesItsFieldAlone()
{
    QFETCH(const Change, change);
    QFETCH(const QVariant, value);
    ProgressInfo info;
    change(info);
    Values expected = defaults();
    expected.insert(QString::fromLatin1(QTest::currentDataTag()), value);
    QCOMPARE(valuesOf(info), expected);
    QCOMPARE(valuesOf(std::as_const(info)), expected);
}

void tst_ProgressInfo::copiesAreIndependent()
{
    ProgressInfo first;
    first.SetPcdnAlias(QStringLiteral("first"));
    first.SetTotalBytes(10);
    const Values before = valuesOf(first);

    ProgressInfo copy(first);
    QCOMPARE(valuesOf(copy), before);
    ProgressInfo assigned;
    assigned = first;
    QCOMPARE(valuesOf(assigned), before);

    copy.SetPcdnAlias(QStringLiteral("copy"));
    assigned.SetTotalBytes(20);
    QCOMPARE(valuesOf(first), before);
    QCOMPARE(copy.GetTotalBytes(), qint64(10));
    QCOMPARE(assigned.GetPcdnAlias(), QStringLiteral("first"));
}

void tst_ProgressInfo::travelsInAVariant()
{
    ProgressInfo info;
    info.SetSpeed(5);
    info.SetUsingPcdn(true);
    const auto returned = QVariant::fromValue(info).value<ProgressInfo>();
    QCOMPARE(valuesOf(returned), valuesOf(info));
}

QTEST_GUILESS_MAIN(tst_ProgressInfo)
#include "tst_ProgressInfo.moc"

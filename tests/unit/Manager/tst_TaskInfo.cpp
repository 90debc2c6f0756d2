// SPDX-License-Identifier: MIT
#include "Manager/TaskInfo.h"

#include <QMap>
#include <QVariant>
#include <QtTest>

#include <functional>
#include <utility>

namespace {

using Values = QMap<QString, QVariant>;

/// Every field through its getter, of a constant or a changeable record.
template<typename Record>
Values valuesOf(Record& info)
{
    return {
        {QStringLiteral("ErrorCode"), info.GetErrorCode()},
        {QStringLiteral("ErrorString"), info.GetErrorString()},
        {QStringLiteral("Url"), info.GetUrl()},
        {QStringLiteral("StatusCode"), info.GetStatusCode()},
        {QStringLiteral("NetErrorCode"), info.GetNetErrorCode()},
        {QStringLiteral("IP"), info.GetIP()},
        {QStringLiteral("GroupId"), info.GetGroupId()},
        {QStringLiteral("ResponseHeader"), info.GetResponseHeader()},
        {QStringLiteral("DownloaderId"), info.GetDownloaderId()},
        {QStringLiteral("RetryTimes"), info.GetRetryTimes()},
        {QStringLiteral("Result"), info.GetResult()},
    };
}

Values defaults()
{
    return {
        {QStringLiteral("ErrorCode"), 0},    {QStringLiteral("ErrorString"), QString()},
        {QStringLiteral("Url"), QString()},  {QStringLiteral("StatusCode"), 0},
        {QStringLiteral("NetErrorCode"), 0}, {QStringLiteral("IP"), QString()},
        {QStringLiteral("GroupId"), -1},     {QStringLiteral("ResponseHeader"), QString()},
        {QStringLiteral("DownloaderId"), 0}, {QStringLiteral("RetryTimes"), 0},
        {QStringLiteral("Result"), 0},
    };
}

} // namespace

using Change = std::function<void(TaskInfo&)>;
Q_DECLARE_METATYPE(Change)

class tst_TaskInfo : public QObject
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

void tst_TaskInfo::isRegisteredByName()
{
    // First of all: nothing in this program has asked for the type yet.
    const int type = QMetaType::type("TaskInfo");
    QVERIFY(type != QMetaType::UnknownType);
    QCOMPARE(type, qMetaTypeId<TaskInfo>());
}

void tst_TaskInfo::hasDefaults()
{
    TaskInfo info;
    QCOMPARE(valuesOf(info), defaults());
    QCOMPARE(valuesOf(std::as_const(info)), defaults());
}

void tst_TaskInfo::setterChangesItsFieldAlone_data()
{
    QTest::addColumn<Change>("change");
    QTest::addColumn<QVariant>("value");
    const auto row = [](const char* name, Change change, const QVariant& value) {
        QTest::newRow(name) << std::move(change) << value;
    };
    row(
        "ErrorCode", [](TaskInfo& info) { info.SetErrorCode(6404); }, 6404);
    row(
        "ErrorString", [](TaskInfo& info) { info.SetErrorString(QStringLiteral("text")); }, QStringLiteral("text"));
    row(
        "Url", [](TaskInfo& info) { info.SetUrl(QStringLiteral("http://host/a")); }, QStringLiteral("http://host/a"));
    row(
        "StatusCode", [](TaskInfo& info) { info.SetStatusCode(-1); }, -1);
    row(
        "NetErrorCode", [](TaskInfo& info) { info.SetNetErrorCode(4); }, 4);
    row(
        "IP", [](TaskInfo& info) { info.SetIP(QStringLiteral("127.0.0.1")); }, QStringLiteral("127.0.0.1"));
    row(
        "GroupId", [](TaskInfo& info) { info.SetGroupId(7); }, 7);
    row(
        "ResponseHeader", [](TaskInfo& info) { info.SetResponseHeader(QStringLiteral("{}")); }, QStringLiteral("{}"));
    row(
        "DownloaderId", [](TaskInfo& info) { info.SetDownloaderId(2); }, 2);
    row(
        "RetryTimes", [](TaskInfo& info) { info.SetRetryTimes(3); }, 3);
    row(
        "Result", [](TaskInfo& info) { info.SetResult(1); }, 1);
}

void tst_TaskInfo::setterChangesItsFieldAlone()
{
    QFETCH(const Change, change);
    QFETCH(const QVariant, value);
    TaskInfo info;
    change(info);
    Values expected = defaults();
    expected.insert(QString::fromLatin1(QTest::currentDataTag()), value);
    QCOMPARE(valuesOf(info), expected);
    QCOMPARE(valuesOf(std::as_const(info)), expected);
}

void tst_TaskInfo::copiesAreIndependent()
{
    TaskInfo first;
    first.SetUrl(QStringLiteral("first"));
    first.SetGroupId(1);
    const Values before = valuesOf(first);

    TaskInfo copy(first);
    QCOMPARE(valuesOf(copy), before);
    TaskInfo assigned;
    assigned = first;
    QCOMPARE(valuesOf(assigned), before);

    copy.SetUrl(QStringLiteral("copy"));
    assigned.SetGroupId(2);
    QCOMPARE(valuesOf(first), before);
    QCOMPARE(copy.GetGroupId(), 1);
    QCOMPARE(assigned.GetUrl(), QStringLiteral("first"));
}

void tst_TaskInfo::travelsInAVariant()
{
    TaskInfo info;
    info.SetErrorCode(5);
    info.SetErrorString(QStringLiteral("text"));
    const auto returned = QVariant::fromValue(info).value<TaskInfo>();
    QCOMPARE(valuesOf(returned), valuesOf(info));
}

QTEST_GUILESS_MAIN(tst_TaskInfo)
#include "tst_TaskInfo.moc"

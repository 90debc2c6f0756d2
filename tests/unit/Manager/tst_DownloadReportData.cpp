// SPDX-License-Identifier: MIT
#include "Manager/DownloadReportData.h"

#include <QtTest>

class tst_DownloadReportData : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isRegisteredByName();
    void hasDefaults();
    void keepsWhatIsSet();
    void copiesAreIndependent();
    void travelsInAVariant();
};

void tst_DownloadReportData::isRegisteredByName()
{
    // First of all: nothing in this program has asked for the type yet.
    const int type = QMetaType::type("DownloadReportData");
    QVERIFY(type != QMetaType::UnknownType);
    QCOMPARE(type, qMetaTypeId<DownloadReportData>());
}

void tst_DownloadReportData::hasDefaults()
{
    const DownloadReportData data;
    QCOMPARE(data.GetReportType(), 0);
    QVERIFY(data.GetReportMap().isEmpty());
}

void tst_DownloadReportData::keepsWhatIsSet()
{
    const QMap<QString, QVariant> map{{QStringLiteral("url"), QStringLiteral("http://host/a")},
                                      {QStringLiteral("result"), 1}};
    DownloadReportData data;
    data.SetReportMap(map);
    QCOMPARE(data.GetReportMap(), map);
    QCOMPARE(data.GetReportType(), 0);
    data.SetReportType(3);
    QCOMPARE(data.GetReportType(), 3);
    QCOMPARE(data.GetReportMap(), map);
}

void tst_DownloadReportData::copiesAreIndependent()
{
    const QMap<QString, QVariant> map{{QStringLiteral("group"), 1}};
    DownloadReportData first;
    first.SetReportMap(map);
    first.SetReportType(2);

    DownloadReportData copy(first);
    DownloadReportData assigned;
    assigned = first;
    QCOMPARE(copy.GetReportMap(), map);
    QCOMPARE(copy.GetReportType(), 2);
    QCOMPARE(assigned.GetReportMap(), map);
    QCOMPARE(assigned.GetReportType(), 2);

    copy.SetReportMap({});
    assigned.SetReportType(0);
    QCOMPARE(first.GetReportMap(), map);
    QCOMPARE(first.GetReportType(), 2);
}

void tst_DownloadReportData::travelsInAVariant()
{
    DownloadReportData data;
    data.SetReportType(1);
    data.SetReportMap({{QStringLiteral("range"), QStringLiteral("bytes=0-")}});
    const auto returned = QVariant::fromValue(data).value<DownloadReportData>();
    QCOMPARE(returned.GetReportType(), 1);
    QCOMPARE(returned.GetReportMap(), data.GetReportMap());
}

QTEST_GUILESS_MAIN(tst_DownloadReportData)
#include "tst_DownloadReportData.moc"

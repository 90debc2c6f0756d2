// SPDX-License-Identifier: MIT
#include "vantor/VantorChunkActionType.h"

#include <QtTest>

#include <limits>
#include <type_traits>

using vantor::chunk::ActionNameToActionType;
using vantor::chunk::ActionTypeToActionName;

class tst_VantorChunkActionType : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isA32BitEnumeration();
    void namesActions_data();
    void namesActions();
    void otherNamesAreUnknown_data();
    void otherNamesAreUnknown();
    void otherValuesAreUnknown_data();
    void otherValuesAreUnknown();
};

void tst_VantorChunkActionType::isA32BitEnumeration()
{
    QVERIFY((std::is_same_v<std::underlying_type_t<VantorChunkActionType>, qint32>));
    const int asNumber = VantorChunkActionFetchSize; // unscoped
    QCOMPARE(asNumber, 2);
}

void tst_VantorChunkActionType::namesActions_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("name");
    QTest::newRow("unknown") << 0 << QStringLiteral("unknown");
    QTest::newRow("fetch version") << 1 << QStringLiteral("fetch_version");
    QTest::newRow("fetch size") << 2 << QStringLiteral("fetch_size");
    QTest::newRow("normal download") << 3 << QStringLiteral("normal_download");
    QTest::newRow("repair download") << 4 << QStringLiteral("repair_download");
    QTest::newRow("delete database") << 5 << QStringLiteral("delete_database");
}

void tst_VantorChunkActionType::namesActions()
{
    QFETCH(const int, type);
    QFETCH(const QString, name);
    QCOMPARE(QString::fromLatin1(ActionTypeToActionName(static_cast<VantorChunkActionType>(type))), name);
    QCOMPARE(static_cast<int>(ActionNameToActionType(name)), type);
}

void tst_VantorChunkActionType::otherNamesAreUnknown_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("null") << QString();
    QTest::newRow("empty") << QStringLiteral("");
    QTest::newRow("capitals") << QStringLiteral("Fetch_Size");
    QTest::newRow("upper case") << QStringLiteral("FETCH_SIZE");
    QTest::newRow("blank before") << QStringLiteral(" fetch_size");
    QTest::newRow("blank behind") << QStringLiteral("fetch_size ");
    QTest::newRow("beginning of a name") << QStringLiteral("fetch");
    QTest::newRow("more than a name") << QStringLiteral("fetch_sizes");
    QTest::newRow("number") << QStringLiteral("2");
    QTest::newRow("NUL behind") << QStringLiteral("fetch_size") + QChar(0);
}

void tst_VantorChunkActionType::otherNamesAreUnknown()
{
    QFETCH(const QString, name);
    QCOMPARE(ActionNameToActionType(name), VantorChunkActionUnknown);
}

void tst_VantorChunkActionType::otherValuesAreUnknown_data()
{
    QTest::addColumn<int>("type");
    for (const int type : {-1, 0, 6, 9, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()})
        QTest::addRow("%d", type) << type;
}

void tst_VantorChunkActionType::otherValuesAreUnknown()
{
    QFETCH(const int, type);
    QCOMPARE(QByteArray(ActionTypeToActionName(static_cast<VantorChunkActionType>(type))), QByteArray("unknown"));
}

QTEST_GUILESS_MAIN(tst_VantorChunkActionType)
#include "tst_VantorChunkActionType.moc"

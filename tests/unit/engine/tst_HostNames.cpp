// SPDX-License-Identifier: MIT
#include "HostNames.h"

#include <QHostAddress>
#include <QtTest>

#include <memory>

using VantorEngine::HostNames;

class tst_HostNames : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void knowsAddresses();
    void looksNamesUp();
    void goesWithALookUpUnderWay();
};

void tst_HostNames::knowsAddresses()
{
    HostNames names;
    QCOMPARE(names.addressOf(QStringLiteral("192.0.2.7")), QStringLiteral("192.0.2.7"));
    QCOMPARE(names.addressOf(QStringLiteral("::1")), QStringLiteral("::1"));
}

void tst_HostNames::looksNamesUp()
{
    const QString host = QStringLiteral("localhost");
    HostNames names;
    QCOMPARE(names.addressOf(host), QString());
    QTRY_VERIFY_WITH_TIMEOUT(!names.addressOf(host).isEmpty(), 30000);
    QVERIFY2(QHostAddress(names.addressOf(host)).isLoopback(), qPrintable(names.addressOf(host)));
}

void tst_HostNames::goesWithALookUpUnderWay()
{
    // Another host in another case, so that no answer is known by now.
    auto names = std::make_unique<HostNames>();
    QCOMPARE(names->addressOf(QStringLiteral("LocalHost")), QString());
    names.reset();
    // The answer of this one comes after that of the other.
    HostNames later;
    later.addressOf(QStringLiteral("LOCALHOST"));
    QTRY_VERIFY_WITH_TIMEOUT(!later.addressOf(QStringLiteral("LOCALHOST")).isEmpty(), 30000);
}

QTEST_GUILESS_MAIN(tst_HostNames)
#include "tst_HostNames.moc"

// SPDX-License-Identifier: MIT
#include "FileNames.h"

#include <QtTest>

using namespace VantorEngine;

class tst_FileNames : public QObject
{
    Q_OBJECT
private slots:
    void judgesNames_data();
    void judgesNames();
    void usesTheRulesOfThePlatform();
    void comparesPaths();
};

void tst_FileNames::judgesNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("portable");
    QTest::addColumn<bool>("windows");
    const auto row = [](const QString& name, bool portable, bool windows) {
        QTest::newRow(qPrintable(QStringLiteral("<%1>").arg(name))) << name << portable << windows;
    };
    row(QStringLiteral("a.bin"), true, true);
    row(QString::fromUtf8("ä ö.bin"), true, true);
    row(QStringLiteral("..a"), true, true);
    row(QStringLiteral("a..b"), true, true);
    row(QStringLiteral(" a"), true, true);
    row(QString(241, QLatin1Char('n')), true, true);
    row(QString(242, QLatin1Char('n')), false, false); // no room for the partial file's name
    row(QString(121, QChar(0xE4)), false, true);       // bytes count here, characters there
    row(QString(), false, false);
    row(QStringLiteral("."), false, false);
    row(QStringLiteral(".."), false, false);
    row(QStringLiteral("../a"), false, false);
    row(QStringLiteral("a/b"), false, false);
    row(QStringLiteral("/a"), false, false);
    row(QStringLiteral("..\\a"), false, false);
    row(QStringLiteral("a\\b"), false, false);
    row(QStringLiteral("C:a"), false, false);
    row(QStringLiteral("a:stream"), false, false);
    row(QStringLiteral("a") + QChar(0) + QStringLiteral("b"), false, false);
    row(QStringLiteral("a\nb"), false, false);
    row(QStringLiteral("a."), true, false);
    row(QStringLiteral("a "), true, false);
    for (const char* device : {"CON", "con", "PRN", "AUX", "NUL", "nul.txt", "NUL .txt", "CONIN$", "conout$", "COM1",
                               "com9.log", "LPT1", "LPT9"}) {
        row(QString::fromLatin1(device), true, false);
    }
    row(QString::fromUtf8("COM¹"), true, false);
    row(QString::fromUtf8("lpt³.x"), true, false);
    for (const char* harmless : {"CONSOLE", "COM0", "COM10", "COM", "LPTX", "a.nul", "NULL"}) {
        row(QString::fromLatin1(harmless), true, true);
    }
}

void tst_FileNames::judgesNames()
{
    QFETCH(QString, name);
    QFETCH(bool, portable);
    QFETCH(bool, windows);
    QCOMPARE(nameProblem(name, NameRules::Portable).isEmpty(), portable);
    QCOMPARE(nameProblem(name, NameRules::Windows).isEmpty(), windows);
}

void tst_FileNames::usesTheRulesOfThePlatform()
{
#ifdef Q_OS_WIN
    QVERIFY(!nameProblem(QStringLiteral("NUL")).isEmpty());
#else
    QVERIFY(nameProblem(QStringLiteral("NUL")).isEmpty());
#endif
}

void tst_FileNames::comparesPaths()
{
    QCOMPARE(pathKey(QStringLiteral("/a/./b/../c"), NameRules::Portable), QStringLiteral("/a/c"));
    QVERIFY(pathKey(QStringLiteral("/a/B"), NameRules::Portable) !=
            pathKey(QStringLiteral("/a/b"), NameRules::Portable));
    QCOMPARE(pathKey(QStringLiteral("C:/a/B"), NameRules::Windows),
             pathKey(QStringLiteral("c:/A/b"), NameRules::Windows));
}

QTEST_GUILESS_MAIN(tst_FileNames)
#include "tst_FileNames.moc"

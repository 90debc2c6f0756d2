// SPDX-License-Identifier: MIT
#include "package/PackagePaths.h"

#include <QtTest>

using namespace VantorEngine;

class tst_PackagePaths : public QObject
{
    Q_OBJECT
private slots:
    void acceptsOrdinaryPaths_data();
    void acceptsOrdinaryPaths();
    void refusesPaths_data();
    void refusesPaths();
    void refusesNames_data();
    void refusesNames();
    void findsCollisions_data();
    void findsCollisions();
};

void tst_PackagePaths::acceptsOrdinaryPaths_data()
{
    QTest::addColumn<QString>("path");
    for (const char* path :
         {"a", "a/b/c.txt", "...x", ".hidden", "a b/c d", "conx/auxiliary.txt", "x.vantor/y", "a/.vantor/b",
          "\xC3\x9C"
          "bersicht/\xE4\xB8\x96\xE7\x95\x8C.map"}) {
        QTest::newRow(path) << QString::fromUtf8(path);
    }
    QTest::newRow("longest name") << QString(255, QLatin1Char('n'));
}

void tst_PackagePaths::acceptsOrdinaryPaths()
{
    QFETCH(const QString, path);
    QCOMPARE(packagePathProblem(path), QString());
}

void tst_PackagePaths::refusesPaths_data()
{
    QTest::addColumn<QString>("path");
    for (const char* path : {".",        "..",       "../a",           "a/..",     "a/../b",  "a/./b", "/a",
                             "a/",       "a//b",     "//server/share", "a\\b",     "..\\a",   "\\a",   "C:a",
                             "C:/a",     "c:\\a",    "a:stream",       "NUL",      "nul.txt", "a/con", "COM1",
                             "lpt9.log", "aux .txt", "CONIN$",         "a.",       "a ",      "a./b",  "a /b",
                             "a<b",      "a>b",      "a\"b",           "a|b",      "a?b",     "a*b",   "a\nb",
                             "a\tb",     ".vantor",  ".vantor/x",      ".VANTOR/x"}) {
        QTest::newRow(path) << QString::fromUtf8(path);
    }
    QTest::newRow("empty") << QString();
    QTest::newRow("NUL character") << QStringLiteral("a") + QChar(0) + QStringLiteral("b");
    QTest::newRow("name too long") << QString(256, QLatin1Char('n'));
    QTest::newRow("name too long in UTF-8") << QString(86, QChar(0x4E16));
    QTest::newRow("port with a superscript digit") << QStringLiteral("COM\u00B9");
}

void tst_PackagePaths::refusesPaths()
{
    QFETCH(const QString, path);
    QVERIFY(!packagePathProblem(path).isEmpty());
}

void tst_PackagePaths::refusesNames_data()
{
    QTest::addColumn<QString>("name");
    for (const char* name : {"..", "a/b", "a\\b", "C:", "NUL", "a."}) {
        QTest::newRow(name) << QString::fromUtf8(name);
    }
    QTest::newRow("empty") << QString();
    QTest::newRow("no room for the record's ending") << QString(244, QLatin1Char('n'));
    QTest::newRow("no room for the record's ending in UTF-8") << QString(82, QChar(0x4E16));
}

void tst_PackagePaths::refusesNames()
{
    QFETCH(const QString, name);
    QVERIFY(!packageNameProblem(name).isEmpty());
    QVERIFY(packageNameProblem(QStringLiteral("demo-1.0 \u6E38")).isEmpty());
    QVERIFY(packageNameProblem(QString(243, QLatin1Char('n'))).isEmpty());
}

void tst_PackagePaths::findsCollisions_data()
{
    QTest::addColumn<QStringList>("files");
    QTest::addColumn<QString>("folder");
    QTest::addColumn<bool>("collides");
    const auto list = [](const char* text) { return QString::fromUtf8(text).split(QLatin1Char(' ')); };
    QTest::newRow("none") << list("a b/a b/b c/a") << QStringLiteral("d") << false;
    QTest::newRow("same") << list("a a") << QString() << true;
    QTest::newRow("case") << list("a.txt A.txt") << QString() << true;
    QTest::newRow("case that is not ASCII") << list("\xC3\xA4 \xC3\x84") << QString() << true;
    QTest::newRow("composition") << list("\xC3\xA4 a\xCC\x88") << QString() << true;
    QTest::newRow("sharp s") << list("stra\xC3\x9F"
                                     "e STRASSE")
                             << QString() << false;
    QTest::newRow("folder's case") << list("Data/a data/b") << QString() << true;
    QTest::newRow("file and folder") << list("a a/b") << QString() << true;
    QTest::newRow("folder and file") << list("a/b a") << QString() << true;
    QTest::newRow("file and folder in another case") << list("A a/b") << QString() << true;
    QTest::newRow("empty folder and file") << list("a") << QStringLiteral("a") << true;
    QTest::newRow("empty folder in a file") << list("a") << QStringLiteral("A/b") << true;
}

void tst_PackagePaths::findsCollisions()
{
    QFETCH(const QStringList, files);
    QFETCH(const QString, folder);
    QFETCH(const bool, collides);
    PackagePathSet paths;
    QString problem;
    for (const QString& file : files) {
        problem += paths.addFile(file);
    }
    if (!folder.isEmpty()) {
        problem += paths.addFolder(folder);
    }
    QCOMPARE(!problem.isEmpty(), collides);
}

QTEST_GUILESS_MAIN(tst_PackagePaths)
#include "tst_PackagePaths.moc"

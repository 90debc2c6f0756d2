// SPDX-License-Identifier: MIT
// How texts of an answer are put together, apart from requests.
#include "Network/HttpAnswer.h"

#include <QtTest>

class tst_HttpAnswer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void joinsNames_data();
    void joinsNames();
    void headerTexts();
    void redirects();
};

void tst_HttpAnswer::joinsNames_data()
{
    QTest::addColumn<QStringList>("names");
    QTest::addColumn<QString>("text");
    const auto list = [](const char* names) {
        return QString::fromLatin1(names).split(QLatin1Char(','), Qt::SkipEmptyParts);
    };
    QTest::newRow("none") << QStringList() << QString();
    QTest::newRow("one") << list("cdn.example") << QStringLiteral("cdn.example");
    QTest::newRow("two") << list("a.example,b.example") << QStringLiteral("a.example;b.example");
    QTest::newRow("three characters") << list("ab") << QStringLiteral("ab");
    QTest::newRow("two characters keep the end") << list("a") << QStringLiteral("a;");
    QTest::newRow("empty name keeps the end") << QStringList{QString()} << QStringLiteral(";");
    QTest::newRow("two empty names keep it as well") << QStringList{QString(), QString()} << QStringLiteral(";;");
    QTest::newRow("three empty names") << QStringList{QString(), QString(), QString()} << QStringLiteral(";;");
}

void tst_HttpAnswer::joinsNames()
{
    QFETCH(QStringList, names);
    QTEST(HttpAnswer::JoinNames(names), "text");
}

void tst_HttpAnswer::headerTexts()
{
    const HttpAnswer::Headers headers{{"Server", "x"}, {"X-Name", "\xc3\xa4 b"}};
    QCOMPARE(HttpAnswer::HeaderText(headers), QStringLiteral("Server:x;X-Name:\u00e4 b;"));
    QCOMPARE(HttpAnswer::HeaderText({}), QString());
    QCOMPARE(HttpAnswer::HeaderJson(headers),
             QStringLiteral("{\"http_header\":{\"Server\":\"x\",\"X-Name\":\"\u00e4 b\"}}"));
    QCOMPARE(HttpAnswer::HeaderJson({}), QStringLiteral("{\"http_header\":{}}"));
}

void tst_HttpAnswer::redirects()
{
    QList<int> found;
    for (int status = 0; status < 600; ++status) {
        if (HttpAnswer::IsRedirect(status))
            found << status;
    }
    QCOMPARE(found, (QList<int>{301, 302, 303, 305, 307, 308}));
}

QTEST_GUILESS_MAIN(tst_HttpAnswer)

#include "tst_HttpAnswer.moc"

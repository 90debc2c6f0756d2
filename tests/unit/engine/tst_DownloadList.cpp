// SPDX-License-Identifier: MIT
#include "DownloadList.h"

#include <QtTest>

using namespace VantorEngine;

class tst_DownloadList : public QObject
{
    Q_OBJECT
private slots:
    void readsEveryMember();
    void fillsInWhatIsMissing();
    void joinsPaths_data();
    void joinsPaths();
    void noticesPathsThatLeaveTheRoot_data();
    void noticesPathsThatLeaveTheRoot();
    void noticesFilesInThePlaceOfAPartialFile();
    void readsSizes_data();
    void readsSizes();
    void saysWhyAListCannotBeUsed_data();
    void saysWhyAListCannotBeUsed();
    void survivesItemsOfWrongTypes();
};

namespace {

FileSpec onlyFile(const QByteArray& item, const QByteArray& root = {})
{
    const DownloadList list = parseDownloadList("{\"root_path\":\"" + root + "\",\"download_items\":[" + item + "]}");
    return list.files.value(0);
}

} // namespace

void tst_DownloadList::readsEveryMember()
{
    const FileSpec file = onlyFile(R"({"url":"http://h/x?y=1","name":"ä b.bin","size":"12345678901",
        "http_header_size":"X-Size","checksum":" ABCDEF ","relative_path":"/dir/","disable_resume_download":true})");
    QCOMPARE(file.url, QStringLiteral("http://h/x?y=1"));
    QCOMPARE(file.name, QString::fromUtf8("ä b.bin"));
    QCOMPARE(file.directory, QStringLiteral("/dir/"));
    QCOMPARE(file.size, 12345678901);
    QCOMPARE(file.sizeHeader, QByteArray("X-Size"));
    QCOMPARE(file.md5, QByteArray("abcdef"));
    QVERIFY(!file.resume);
}

void tst_DownloadList::fillsInWhatIsMissing()
{
    const FileSpec file = onlyFile(R"({"url":"http://h/dir/a%20b.zip?x=1"})");
    QCOMPARE(file.name, QStringLiteral("a b.zip"));
    QCOMPARE(file.directory, QString());
    QCOMPARE(file.size, -1);
    QCOMPARE(file.sizeHeader, QByteArray());
    QCOMPARE(file.md5, QByteArray());
    QVERIFY(file.resume);
    QVERIFY(!file.climbsOut);
}

void tst_DownloadList::joinsPaths_data()
{
    QTest::addColumn<QByteArray>("root");
    QTest::addColumn<QByteArray>("relative");
    QTest::addColumn<QString>("directory");
    QTest::newRow("root alone") << QByteArray("/r") << QByteArray() << QStringLiteral("/r/");
    QTest::newRow("relative alone") << QByteArray() << QByteArray("/d") << QStringLiteral("/d/");
    QTest::newRow("both") << QByteArray("/r") << QByteArray("d/e") << QStringLiteral("/r/d/e/");
    QTest::newRow("separators there") << QByteArray("/r/") << QByteArray("d/") << QStringLiteral("/r/d/");
    QTest::newRow("backslashes there") << QByteArray("C:\\\\r\\\\") << QByteArray("d\\\\")
                                       << QStringLiteral("C:\\r\\d\\");
    QTest::newRow("neither") << QByteArray() << QByteArray() << QString();
}

void tst_DownloadList::joinsPaths()
{
    QFETCH(QByteArray, root);
    QFETCH(QByteArray, relative);
    QFETCH(QString, directory);
    const FileSpec file = onlyFile("{\"url\":\"http://h/f\",\"relative_path\":\"" + relative + "\"}", root);
    QCOMPARE(file.directory, directory);
}

void tst_DownloadList::noticesPathsThatLeaveTheRoot_data()
{
    QTest::addColumn<QByteArray>("root");
    QTest::addColumn<QByteArray>("relative");
    QTest::addColumn<bool>("climbsOut");
    QTest::newRow("without a root all is allowed") << QByteArray() << QByteArray("/any/../where/") << false;
    QTest::newRow("inside") << QByteArray("/r") << QByteArray("d/../e/") << false;
    QTest::newRow("parent") << QByteArray("/r") << QByteArray("../") << true;
    QTest::newRow("parent in the middle") << QByteArray("/r") << QByteArray("d/../../e/") << true;
    QTest::newRow("backslashes") << QByteArray("/r") << QByteArray("d\\\\..\\\\..\\\\e") << true;
    QTest::newRow("absolute") << QByteArray("/r") << QByteArray("/e") << true;
    QTest::newRow("drive") << QByteArray("/r") << QByteArray("C:e") << true;
    QTest::newRow("dots in a name") << QByteArray("/r") << QByteArray("..e/") << false;
}

void tst_DownloadList::noticesPathsThatLeaveTheRoot()
{
    QFETCH(QByteArray, root);
    QFETCH(QByteArray, relative);
    const FileSpec file = onlyFile("{\"url\":\"http://h/f\",\"relative_path\":\"" + relative + "\"}", root);
    QTEST(file.climbsOut, "climbsOut");
}

/// "f" is written to "f_tmp" until it is complete.
void tst_DownloadList::noticesFilesInThePlaceOfAPartialFile()
{
    const DownloadList list = parseDownloadList(R"({"root_path":"/r","download_items":[
        {"name":"f_tmp"},{"name":"f"},{"name":"f_tmp_state"},{"name":"f_tmp_state.new"},{"name":"g_tmp"},
        {"name":"f_tmp","relative_path":"d"},{"name":"f_tmp","relative_path":"d/.."}]})");
    QVector<bool> found;
    for (const FileSpec& file : list.files) {
        found.append(file.inTheWay);
    }
    QCOMPARE(found, (QVector<bool>{true, false, true, true, false, false, true}));
}

void tst_DownloadList::readsSizes_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<qint64>("size");
    QTest::newRow("string") << QByteArray("\"123\"") << qint64(123);
    QTest::newRow("all digits kept") << QByteArray("\"9007199254740993\"") << qint64(9007199254740993);
    QTest::newRow("number") << QByteArray("123") << qint64(123);
    QTest::newRow("zero") << QByteArray("\"0\"") << qint64(0);
    QTest::newRow("negative") << QByteArray("\"-5\"") << qint64(-1);
    QTest::newRow("no number") << QByteArray("\"12a\"") << qint64(-1);
    QTest::newRow("too long") << QByteArray("\"99999999999999999999\"") << qint64(-1);
    QTest::newRow("huge number") << QByteArray("1e300") << qint64(-1);
    QTest::newRow("hugely negative number") << QByteArray("-1e300") << qint64(-1);
    QTest::newRow("just too large a number") << QByteArray("9223372036854775808") << qint64(-1);
    QTest::newRow("null") << QByteArray("null") << qint64(-1);
}

void tst_DownloadList::readsSizes()
{
    QFETCH(QByteArray, text);
    QTEST(onlyFile("{\"url\":\"http://h/f\",\"size\":" + text + "}").size, "size");
}

void tst_DownloadList::saysWhyAListCannotBeUsed_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("not JSON") << QByteArray("{\"download_items\":[{}");
    QTest::newRow("array") << QByteArray("[{\"url\":\"http://h/f\"}]");
    QTest::newRow("no items") << QByteArray("{\"root_path\":\"\"}");
    QTest::newRow("empty items") << QByteArray("{\"download_items\":[]}");
    QTest::newRow("items of a wrong type") << QByteArray("{\"download_items\":{\"url\":\"http://h/f\"}}");
}

void tst_DownloadList::saysWhyAListCannotBeUsed()
{
    QFETCH(QByteArray, text);
    const DownloadList list = parseDownloadList(text);
    QVERIFY(!list.problem.isEmpty());
    QVERIFY(list.files.isEmpty());
}

void tst_DownloadList::survivesItemsOfWrongTypes()
{
    const DownloadList list =
        parseDownloadList(R"({"download_items":[1,null,"x",{"url":5,"name":[],"size":{},"checksum":true}]})");
    QVERIFY(list.problem.isEmpty());
    QCOMPARE(list.files.size(), 4);
    for (const FileSpec& file : list.files) {
        QCOMPARE(file.url, QString());
        QCOMPARE(file.name, QString());
        QCOMPARE(file.size, -1);
        QCOMPARE(file.md5, QByteArray());
    }
}

QTEST_GUILESS_MAIN(tst_DownloadList)
#include "tst_DownloadList.moc"

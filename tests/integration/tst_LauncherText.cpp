// SPDX-License-Identifier: MIT
// The launcher's parts that turn text into requests and states into text.
#include "FileList.h"
#include "ProgressText.h"
#include "TextWidth.h"

#include <QtTest>

class tst_LauncherText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsTheList();
    void reportsBadLines_data();
    void reportsBadLines();
    void refusesUrls_data();
    void refusesUrls();
    void findsFilesOfTheSameName();
    void measuresColumns_data();
    void measuresColumns();
    void cutsBetweenCharacters();
    void leavesOutWhatMattersLeast_data();
    void leavesOutWhatMattersLeast();
    void neverRoundsUpToDone();
    void countsFiles();
    void tellsAmountsThatAreNotBytes();
};

void tst_LauncherText::readsTheList()
{
    QVector<FileRequest> files;
    const QByteArray list = "\xEF\xBB\xBF# comment\r\n"
                            "\r\n"
                            "http://h/a%20b.bin 12 0123456789abcdefABCDEF0123456789\r\n"
                            "  https://h/\xC3\xBC.bin\t-\t-  \n"
                            "http://h/c.bin 0\n"
                            "http://h/d.bin";
    QCOMPARE(FileList::parseList(list, &files), QString());
    QCOMPARE(files.size(), 4);
    QCOMPARE(files.at(0).fileName(), QStringLiteral("a b.bin"));
    QCOMPARE(files.at(0).size, qint64(12));
    QCOMPARE(files.at(0).md5, QStringLiteral("0123456789abcdefABCDEF0123456789"));
    QCOMPARE(files.at(1).fileName(), QString::fromUtf8("\xC3\xBC.bin"));
    for (int i = 1; i < 4; ++i) {
        QCOMPARE(files.at(i).size, qint64(0));
        QCOMPARE(files.at(i).md5, QString());
    }
}

void tst_LauncherText::reportsBadLines_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QString>("reason");
    QTest::newRow("no URL") << QByteArray("a.bin 1 -") << QStringLiteral("\"a.bin\" is not an http or https URL");
    QTest::newRow("size is a word") << QByteArray("http://h/a x -") << QStringLiteral("\"x\" is not a size in bytes");
    QTest::newRow("size is negative") << QByteArray("http://h/a -1 -")
                                      << QStringLiteral("\"-1\" is not a size in bytes");
    QTest::newRow("MD5 is short") << QByteArray("http://h/a 1 abc")
                                  << QStringLiteral("\"abc\" is not an MD5 (32 hexadecimal digits)");
    QTest::newRow("MD5 is not hexadecimal")
        << QByteArray("http://h/a 1 g123456789abcdef0123456789abcdef")
        << QStringLiteral("\"g123456789abcdef0123456789abcdef\" is not an MD5 (32 hexadecimal digits)");
    QTest::newRow("a fourth field") << QByteArray("http://h/a 1 - x") << QStringLiteral("more than URL, size and MD5");
}

void tst_LauncherText::reportsBadLines()
{
    QFETCH(QByteArray, line);
    QFETCH(QString, reason);
    QVector<FileRequest> files;
    QCOMPARE(FileList::parseList("# one\nhttp://h/ok\n" + line + '\n', &files),
             QStringLiteral("line 3: %1").arg(reason));
}

void tst_LauncherText::refusesUrls_data()
{
    QTest::addColumn<QString>("url");
    QTest::newRow("another scheme") << QStringLiteral("ftp://h/a");
    QTest::newRow("no host") << QStringLiteral("http:///a");
    QTest::newRow("no file name") << QStringLiteral("http://h/folder/");
    QTest::newRow("the parent folder") << QStringLiteral("http://h/%2e%2e");
    QTest::newRow("a path of the other system") << QStringLiteral("http://h/..%5Ca");
    QTest::newRow("a stream") << QStringLiteral("http://h/a%3Ab");
    QTest::newRow("a control character") << QStringLiteral("http://h/a%0Ab");
}

void tst_LauncherText::refusesUrls()
{
    QFETCH(QString, url);
    FileRequest request;
    QVERIFY(!FileList::parseUrl(url, &request).isEmpty());
}

void tst_LauncherText::findsFilesOfTheSameName()
{
    QVector<FileRequest> files;
    QCOMPARE(FileList::parseList("http://h/1/a.bin\nhttp://h/2/b.bin\n", &files), QString());
    QCOMPARE(FileList::findClash(files), QString());
    QCOMPARE(FileList::parseList("http://h/3/A.bin\n", &files), QString());
    QCOMPARE(FileList::findClash(files),
             QStringLiteral("http://h/1/a.bin and http://h/3/A.bin would both be saved as \"A.bin\""));
}

void tst_LauncherText::measuresColumns_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("columns");
    QTest::newRow("nothing") << QString() << 0;
    QTest::newRow("Latin") << QString::fromUtf8("a\xC3\xBC") << 2;
    QTest::newRow("combining mark") << QString::fromUtf8("u\xCC\x88") << 1;
    QTest::newRow("Chinese") << QString::fromUtf8("\xE4\xB8\x96\xE7\x95\x8C") << 4;
    QTest::newRow("Chinese, supplementary plane") << QString::fromUtf8("\xF0\xA0\x80\x80") << 2;
    QTest::newRow("full-width") << QString::fromUtf8("\xEF\xBC\xA1") << 2;
    QTest::newRow("Hangul") << QString::fromUtf8("\xED\x95\x9C") << 2;
    QTest::newRow("pictograph") << QString::fromUtf8("\xF0\x9F\x98\x80") << 2;
}

void tst_LauncherText::measuresColumns()
{
    QFETCH(QString, text);
    QFETCH(int, columns);
    QCOMPARE(TextWidth::columnsOf(text), columns);
}

void tst_LauncherText::cutsBetweenCharacters()
{
    const QString world = QString::fromUtf8("\xE4\xB8\x96\xF0\xA0\x80\x80");
    QCOMPARE(TextWidth::cutTo(world, 0), QString());
    QCOMPARE(TextWidth::cutTo(world, 3), world.left(1));
    QCOMPARE(TextWidth::cutTo(world, 4), world);
}

void tst_LauncherText::leavesOutWhatMattersLeast_data()
{
    QTest::addColumn<int>("columns");
    QTest::addColumn<QString>("line");
    const QString full = QStringLiteral(" 50%  1label_unit_kb / 2label_unit_kb  speed  00:00:01 left");
    QTest::newRow("all of it") << full.size() << full;
    QTest::newRow("no remaining time") << int(full.size()) - 1
                                       << QStringLiteral(" 50%  1label_unit_kb / 2label_unit_kb  speed");
    QTest::newRow("no speed") << 43 << QStringLiteral(" 50%  1label_unit_kb / 2label_unit_kb");
    QTest::newRow("only the share") << 20 << QStringLiteral(" 50%");
    QTest::newRow("less than that") << 3 << QStringLiteral(" 50");
}

void tst_LauncherText::leavesOutWhatMattersLeast()
{
    QFETCH(int, columns);
    QFETCH(QString, line);
    // Without a translation the labels are their keys.
    ProgressState state;
    state.phase = ProgressState::Phase::Downloading;
    state.doneBytes = 1024;
    state.totalBytes = 2048;
    state.speedText = QStringLiteral("speed");
    state.timeText = QStringLiteral("00:00:01");
    QCOMPARE(ProgressText::fitted(state, columns), line);
}

void tst_LauncherText::neverRoundsUpToDone()
{
    ProgressState state;
    state.phase = ProgressState::Phase::Downloading;
    state.totalBytes = 1000000;
    state.doneBytes = 999999;
    QVERIFY(ProgressText::full(state).startsWith(QStringLiteral(" 99%")));
    state.doneBytes = 1000000;
    QVERIFY(ProgressText::full(state).startsWith(QStringLiteral("100%")));
}

void tst_LauncherText::countsFiles()
{
    QCOMPARE(ProgressText::files(0), QStringLiteral("0 files"));
    QCOMPARE(ProgressText::files(1), QStringLiteral("1 file"));
    QCOMPARE(ProgressText::files(2), QStringLiteral("2 files"));
}

void tst_LauncherText::tellsAmountsThatAreNotBytes()
{
    ProgressState state;
    state.phase = ProgressState::Phase::Working;
    state.totalBytes = 4;
    state.doneBytes = 1;
    state.isInBytes = false;
    state.amountText = QStringLiteral("1 / 4 files");
    QCOMPARE(ProgressText::full(state), QStringLiteral(" 25%  1 / 4 files"));
    state.amountText = QString();
    QCOMPARE(ProgressText::full(state), QStringLiteral(" 25%"));
}

QTEST_GUILESS_MAIN(tst_LauncherText)
#include "tst_LauncherText.moc"

// SPDX-License-Identifier: MIT
#include "package/InstallRecord.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

using namespace VantorEngine;

namespace {

InstallRecord sample(const QString& folder)
{
    InstallRecord record;
    record.manifest.package = QStringLiteral("p");
    record.manifest.branch = QStringLiteral("b");
    record.manifest.version = QStringLiteral("1 \u6E38 \"x\"");
    record.manifest.chunks = {{QByteArray(64, 'a'), 3, 3}};
    PackageFile file;
    file.path = QStringLiteral("f");
    file.size = 3;
    file.chunks = {0};
    record.manifest.files = {file};
    record.text = manifestText(record.manifest);
    record.build = digestOf(record.text);
    QFile content(folder + QStringLiteral("/f"));
    if (content.open(QIODevice::WriteOnly)) {
        content.write("abc");
        content.close();
    }
    record.times = {modificationTime(QFileInfo(content.fileName()))};
    return record;
}

} // namespace

class tst_InstallRecord : public QObject
{
    Q_OBJECT
private slots:
    void readsWhatItWrites();
    void emptyWhenItIsNotWhole_data();
    void emptyWhenItIsNotWhole();
    void tellsTouchedFiles();
    void removesOnlyItsOwn();
};

void tst_InstallRecord::readsWhatItWrites()
{
    const QTemporaryDir folder;
    QVERIFY(loadRecord(folder.path(), QStringLiteral("p")).isEmpty());
    const InstallRecord written = sample(folder.path());
    QCOMPARE(saveRecord(folder.path(), written), QString());
    QCOMPARE(recordPath(folder.path(), QStringLiteral("p")), folder.filePath(QStringLiteral(".vantor/p.json")));
    const InstallRecord read = loadRecord(folder.path(), QStringLiteral("p"));
    QCOMPARE(read.build, written.build);
    QCOMPARE(read.text, written.text);
    QCOMPARE(read.times, written.times);
    QCOMPARE(read.manifest.version, written.manifest.version);
    QVERIFY(loadRecord(folder.path(), QStringLiteral("q")).isEmpty());
}

void tst_InstallRecord::emptyWhenItIsNotWhole_data()
{
    QTest::addColumn<QByteArray>("from");
    QTest::addColumn<QByteArray>("to");
    QTest::newRow("truncated") << QByteArray("]}\n") << QByteArray();
    QTest::newRow("another manifest") << QByteArray("\\\"version\\\":\\\"1") << QByteArray("\\\"version\\\":\\\"2");
    QTest::newRow("another build") << QByteArray("\"build_id\":\"") << QByteArray("\"build_id\":\"0");
    QTest::newRow("no times") << QByteArray("\"times\":[") << QByteArray("\"tymes\":[");
}

void tst_InstallRecord::emptyWhenItIsNotWhole()
{
    QFETCH(const QByteArray, from);
    QFETCH(const QByteArray, to);
    const QTemporaryDir folder;
    QCOMPARE(saveRecord(folder.path(), sample(folder.path())), QString());
    QFile file(recordPath(folder.path(), QStringLiteral("p")));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QByteArray text = file.readAll();
    file.close();
    QVERIFY(text.contains(from));
    text.replace(from, to);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(text);
    file.close();
    QVERIFY(loadRecord(folder.path(), QStringLiteral("p")).isEmpty());
}

void tst_InstallRecord::tellsTouchedFiles()
{
    const QTemporaryDir folder;
    const InstallRecord record = sample(folder.path());
    const QString path = folder.filePath(QStringLiteral("f"));
    QVERIFY(record.isUntouched(0, QFileInfo(path)));
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(
        file.setFileTime(QDateTime::fromMSecsSinceEpoch(record.times.at(0) + 2000), QFileDevice::FileModificationTime));
    file.close();
    QVERIFY(!record.isUntouched(0, QFileInfo(path)));
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.resize(4));
    QVERIFY(file.setFileTime(QDateTime::fromMSecsSinceEpoch(record.times.at(0)), QFileDevice::FileModificationTime));
    file.close();
    QVERIFY(!record.isUntouched(0, QFileInfo(path)));
    QVERIFY(file.remove());
    QVERIFY(!record.isUntouched(0, QFileInfo(path)));
    QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("f")));
    QVERIFY(!record.isUntouched(0, QFileInfo(path)));
}

void tst_InstallRecord::removesOnlyItsOwn()
{
    const QTemporaryDir folder;
    InstallRecord record = sample(folder.path());
    QCOMPARE(saveRecord(folder.path(), record), QString());
    record.manifest.package = QStringLiteral("q");
    QCOMPARE(saveRecord(folder.path(), record), QString());
    QVERIFY(removeRecord(folder.path(), QStringLiteral("p")));
    QVERIFY(QFile::exists(recordPath(folder.path(), QStringLiteral("q"))));
    QVERIFY(removeRecord(folder.path(), QStringLiteral("p"))); // gone already
    QVERIFY(removeRecord(folder.path(), QStringLiteral("q")));
    QVERIFY(!QFile::exists(folder.filePath(QStringLiteral(".vantor"))));
    QVERIFY(QFile::exists(folder.filePath(QStringLiteral("f"))));
}

QTEST_GUILESS_MAIN(tst_InstallRecord)
#include "tst_InstallRecord.moc"

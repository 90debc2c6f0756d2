// SPDX-License-Identifier: MIT
#include "Hasher.h"
#include "PartialFile.h"
#include "PathRegistry.h"

#include <QCryptographicHash>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

using namespace VantorEngine;

class tst_PartialFile : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void writesBesideTheDestinationAndMovesIntoPlace();
    void replacesAnOlderDestination();
    void goesOnAtAnOffset();
    void cutsOffWhatLiesBehindTheOffset();
    void reportsAFolderInTheWay();
    void reportsADestinationThatIsAFolder();
    void reportsAFullDisk();
    void hashesAFile_data();
    void hashesAFile();
    void reportsAnUnreadableFile();
    void cancelsAHash();
    void forgetsAHash();
    void endsWithHashesRunning();
    void claimsAPathOnce();

private:
    QString at(const QString& name) const { return m_folder->filePath(name); }
    static QByteArray contentOf(const QString& path);
    static void makeFile(const QString& path, const QByteArray& content);

    std::unique_ptr<QTemporaryDir> m_folder;
};

QByteArray tst_PartialFile::contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("unreadable");
}

void tst_PartialFile::makeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), content.size());
}

void tst_PartialFile::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
}

void tst_PartialFile::writesBesideTheDestinationAndMovesIntoPlace()
{
    const QString destination = at(QString::fromUtf8("ä b.bin"));
    PartialFile partial(destination);
    QCOMPARE(partial.path(), destination + QStringLiteral("_tmp"));
    QCOMPARE(partial.size(), 0);
    QVERIFY(partial.open(0));
    QVERIFY(partial.write("hello", 5));
    QCOMPARE(contentOf(partial.path()), QByteArray("hello")); // at once, not at the flush
    QCOMPARE(partial.size(), 5);
    QVERIFY(partial.close());
    QVERIFY(partial.moveInto(destination));
    QCOMPARE(contentOf(destination), QByteArray("hello"));
    QVERIFY(!QFile::exists(partial.path()));
}

void tst_PartialFile::replacesAnOlderDestination()
{
    makeFile(at(QStringLiteral("f")), "old and longer");
    makeFile(at(QStringLiteral("f_tmp")), "new");
    PartialFile partial(at(QStringLiteral("f")));
    QVERIFY(partial.moveInto(at(QStringLiteral("f"))));
    QCOMPARE(contentOf(at(QStringLiteral("f"))), QByteArray("new"));
}

void tst_PartialFile::goesOnAtAnOffset()
{
    makeFile(at(QStringLiteral("f_tmp")), "hel");
    PartialFile partial(at(QStringLiteral("f")));
    QCOMPARE(partial.size(), 3);
    QVERIFY(partial.open(3));
    QVERIFY(partial.write("lo", 2));
    QVERIFY(partial.close());
    QCOMPARE(contentOf(partial.path()), QByteArray("hello"));
    QCOMPARE(partial.size(), 5);
}

void tst_PartialFile::cutsOffWhatLiesBehindTheOffset()
{
    makeFile(at(QStringLiteral("f_tmp")), "something older");
    PartialFile partial(at(QStringLiteral("f")));
    QVERIFY(partial.open(0));
    QCOMPARE(partial.size(), 0);
    QVERIFY(partial.write("new", 3));
    QVERIFY(partial.close());
    QCOMPARE(contentOf(partial.path()), QByteArray("new"));
}

void tst_PartialFile::reportsAFolderInTheWay()
{
    QVERIFY(QDir(m_folder->path()).mkdir(QStringLiteral("f_tmp")));
    PartialFile partial(at(QStringLiteral("f")));
    QVERIFY(!partial.open(0));
    QVERIFY(partial.error().kind == FileError::Kind::Write);
    QCOMPARE(partial.error().code, int(kOpenFailed));
    QVERIFY(partial.error().message.contains(partial.path()));
}

void tst_PartialFile::reportsADestinationThatIsAFolder()
{
    QVERIFY(QDir(m_folder->path()).mkdir(QStringLiteral("f")));
    makeFile(at(QStringLiteral("f_tmp")), "new");
    PartialFile partial(at(QStringLiteral("f")));
    QVERIFY(!partial.moveInto(at(QStringLiteral("f"))));
    QCOMPARE(partial.error().code, int(kRenameFailed));
    QVERIFY(partial.error().internalCode != 0);
    QCOMPARE(contentOf(partial.path()), QByteArray("new"));
}

void tst_PartialFile::reportsAFullDisk()
{
#ifdef Q_OS_LINUX
    QVERIFY(QFile::link(QStringLiteral("/dev/full"), at(QStringLiteral("f_tmp"))));
    PartialFile partial(at(QStringLiteral("f")));
    QVERIFY(partial.open(0));
    QVERIFY(!partial.write("hello", 5));
    QVERIFY(partial.error().kind == FileError::Kind::Write);
    QCOMPARE(partial.error().code, int(kDiskFull));
#endif
}

void tst_PartialFile::hashesAFile_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("small") << QByteArray("hello");
    QTest::newRow("one slice") << QByteArray(Hasher::kSliceBytes, 'a');
    QTest::newRow("slices and a bit") << QByteArray(Hasher::kSliceBytes * 3 + 1, 'b');
}

void tst_PartialFile::hashesAFile()
{
    QFETCH(QByteArray, content);
    makeFile(at(QStringLiteral("f")), content);
    Hasher hasher;
    HashResult result;
    bool done = false;
    hasher.start(at(QStringLiteral("f")), [&](const HashResult& each) {
        result = each;
        done = true;
    });
    QTRY_VERIFY(done);
    QVERIFY(result.outcome == HashResult::Outcome::Done);
    QCOMPARE(result.md5, QCryptographicHash::hash(content, QCryptographicHash::Md5).toHex());
}

void tst_PartialFile::reportsAnUnreadableFile()
{
    Hasher hasher;
    HashResult result;
    bool done = false;
    hasher.start(at(QStringLiteral("missing")), [&](const HashResult& each) {
        result = each;
        done = true;
    });
    QTRY_VERIFY(done);
    QVERIFY(result.outcome == HashResult::Outcome::Unreadable);
    QVERIFY(!result.message.isEmpty());
}

void tst_PartialFile::cancelsAHash()
{
    // Sparse where the file system can: far more than could be hashed meanwhile.
    QFile large(at(QStringLiteral("large")));
    QVERIFY(large.open(QIODevice::WriteOnly));
    QVERIFY(large.resize(4LL * 1024 * 1024 * 1024));
    Hasher hasher;
    HashResult result{HashResult::Outcome::Done, {}, {}};
    bool done = false;
    const Hasher::Id id = hasher.start(large.fileName(), [&](const HashResult& each) {
        result = each;
        done = true;
    });
    QTRY_VERIFY(hasher.processed(id) > 0);
    hasher.cancel(id);
    QTRY_VERIFY_WITH_TIMEOUT(done, 1000);
    QVERIFY(result.outcome == HashResult::Outcome::Cancelled);
    QCOMPARE(hasher.processed(id), 0); // no longer known
}

void tst_PartialFile::forgetsAHash()
{
    makeFile(at(QStringLiteral("f")), "hello");
    Hasher hasher;
    bool forgottenCalled = false;
    bool otherCalled = false;
    const Hasher::Id id = hasher.start(at(QStringLiteral("f")), [&](const HashResult&) { forgottenCalled = true; });
    hasher.forget(id);
    hasher.start(at(QStringLiteral("f")), [&](const HashResult&) { otherCalled = true; });
    QTRY_VERIFY(otherCalled);
    QVERIFY(!forgottenCalled);
}

void tst_PartialFile::endsWithHashesRunning()
{
    QFile large(at(QStringLiteral("large")));
    QVERIFY(large.open(QIODevice::WriteOnly));
    QVERIFY(large.resize(4LL * 1024 * 1024 * 1024));
    QElapsedTimer timer;
    timer.start();
    {
        Hasher hasher;
        Hasher::Id last = 0;
        for (int i = 0; i < 20; ++i) {
            last = hasher.start(large.fileName(), [](const HashResult&) {});
        }
        QVERIFY(last > 0);
    }
    QVERIFY(timer.elapsed() < 2000);
}

void tst_PartialFile::claimsAPathOnce()
{
    PathRegistry paths;
    QSignalSpy released(&paths, &PathRegistry::released);
    QVERIFY(paths.claim(QStringLiteral("/a")));
    QVERIFY(!paths.claim(QStringLiteral("/a")));
    QVERIFY(paths.claim(QStringLiteral("/b")));
    paths.release(QStringLiteral("/never claimed"));
    paths.release(QStringLiteral("/a"));
    QVERIFY(released.isEmpty()); // told by the event loop
    QTRY_COMPARE(released.count(), 1);
    QCOMPARE(released.at(0).at(0).toString(), QStringLiteral("/a"));
    QVERIFY(paths.claim(QStringLiteral("/a")));
}

QTEST_GUILESS_MAIN(tst_PartialFile)
#include "tst_PartialFile.moc"

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
    void leavesHolesUntilTheyAreFilled();
#ifdef Q_OS_WIN
    void tellsABusyDestination();
#endif

    void hashesAFile_data();
    void hashesAFile();
    void hashesAFileWhileItGrows();
    void hashesAGrowingFileOfAnySize_data();
    void hashesAGrowingFileOfAnySize();
    void hashesManyGrowingFilesOnFewThreads();
    void reportsAnUnreadableFile();
    void cancelsAHash();
    void forgetsAHash();
    void endsWithHashesRunning();
    void claimsAPathOnce();

private:
    QString at(const QString& name) const
    {
        return m_folder->filePath(name);
    }
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
    QVERIFY(partial.write(0, "hello", 5));
    QCOMPARE(contentOf(partial.path()), QByteArray("hello")); // at once, not at the flush
    QCOMPARE(partial.size(), 5);
    QVERIFY(partial.close());
    bool busy = false;
    QVERIFY(partial.moveInto(destination, busy));
    QCOMPARE(contentOf(destination), QByteArray("hello"));
    QVERIFY(!QFile::exists(partial.path()));
}

void tst_PartialFile::replacesAnOlderDestination()
{
    makeFile(at(QStringLiteral("f")), "old and longer");
    makeFile(at(QStringLiteral("f_tmp")), "new");
    PartialFile partial(at(QStringLiteral("f")));
    bool busy = false;
    QVERIFY(partial.moveInto(at(QStringLiteral("f")), busy));
    QCOMPARE(contentOf(at(QStringLiteral("f"))), QByteArray("new"));
}

void tst_PartialFile::goesOnAtAnOffset()
{
    makeFile(at(QStringLiteral("f_tmp")), "hel");
    PartialFile partial(at(QStringLiteral("f")));
    QCOMPARE(partial.size(), 3);
    QVERIFY(partial.open(3));
    QVERIFY(partial.write(3, "lo", 2));
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
    QVERIFY(partial.write(0, "new", 3));
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
    bool busy = false;
    QVERIFY(!partial.moveInto(at(QStringLiteral("f")), busy));
    QVERIFY(!busy); // waiting would not help
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
    QVERIFY(!partial.write(0, "hello", 5));
    QVERIFY(partial.error().kind == FileError::Kind::Write);
    QCOMPARE(partial.error().code, int(kDiskFull));
#endif
}

void tst_PartialFile::leavesHolesUntilTheyAreFilled()
{
    PartialFile partial(at(QStringLiteral("f")));
    QVERIFY(partial.open(0));
    QVERIFY(partial.write(4, "o!", 2));
    QVERIFY(partial.write(0, "hell", 4));
    QVERIFY(partial.close());
    QCOMPARE(contentOf(partial.path()), QByteArray("hello!"));
    QVERIFY(partial.open(5));
    QVERIFY(partial.close());
    QCOMPARE(contentOf(partial.path()), QByteArray("hello"));
}

#ifdef Q_OS_WIN
void tst_PartialFile::tellsABusyDestination()
{
    makeFile(at(QStringLiteral("f")), "old");
    makeFile(at(QStringLiteral("f_tmp")), "new");
    PartialFile partial(at(QStringLiteral("f")));
    bool busy = false;
    {
        QFile held(at(QStringLiteral("f")));
        QVERIFY(held.open(QIODevice::ReadOnly));
        QVERIFY(!partial.moveInto(at(QStringLiteral("f")), busy));
        QVERIFY(busy);
    }
    QCOMPARE(contentOf(at(QStringLiteral("f"))), QByteArray("old"));
    QVERIFY(partial.moveInto(at(QStringLiteral("f")), busy));
}
#endif

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

void tst_PartialFile::hashesAFileWhileItGrows()
{
    const qint64 step = Hasher::kWorthwhile;
    const QByteArray content = QByteArray(int(step), 'a') + QByteArray(int(step), 'b') + "end";
    QFile file(at(QStringLiteral("f")));
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
    Hasher hasher;
    HashResult result;
    bool done = false;
    const Hasher::Id id = hasher.follow(file.fileName(), [&](const HashResult& each) {
        result = each;
        done = true;
    });
    for (qint64 there = step; there <= 2 * step; there += step) {
        QCOMPARE(file.write(content.mid(int(there - step), int(step))), step);
        hasher.extend(id, there);
        QTRY_COMPARE(hasher.processed(id), there); // long before the end
    }
    QVERIFY(!done);
    QCOMPARE(file.write("end"), 3);
    hasher.extend(id, content.size()); // not worth a turn
    hasher.finish(id);
    QTRY_VERIFY(done);
    QVERIFY(result.outcome == HashResult::Outcome::Done);
    QCOMPARE(result.md5, QCryptographicHash::hash(content, QCryptographicHash::Md5).toHex());
}

void tst_PartialFile::hashesAGrowingFileOfAnySize_data()
{
    QTest::addColumn<qint64>("size");
    QTest::newRow("empty") << qint64(0);
    QTest::newRow("one byte") << qint64(1);
    QTest::newRow("a turn") << Hasher::kTurnBytes;
    QTest::newRow("a turn and a byte") << Hasher::kTurnBytes + 1;
}

void tst_PartialFile::hashesAGrowingFileOfAnySize()
{
    QFETCH(qint64, size);
    const QByteArray content(static_cast<int>(size), 'x');
    makeFile(at(QStringLiteral("f")), content);
    Hasher hasher;
    QByteArray md5;
    const Hasher::Id id = hasher.follow(at(QStringLiteral("f")), [&](const HashResult& each) { md5 = each.md5; });
    hasher.extend(id, size);
    hasher.finish(id);
    QTRY_COMPARE(md5, QCryptographicHash::hash(content, QCryptographicHash::Md5).toHex());
}

void tst_PartialFile::hashesManyGrowingFilesOnFewThreads()
{
    // More than threads: one that waits for bytes must not keep a thread from the others.
    constexpr int kFiles = 40;
    const QByteArray content(int(Hasher::kWorthwhile) + 5, 'y');
    makeFile(at(QStringLiteral("f")), content);
    Hasher hasher;
    QVector<Hasher::Id> ids;
    int done = 0;
    for (int i = 0; i < kFiles; ++i) {
        ids.append(hasher.follow(at(QStringLiteral("f")), [&](const HashResult& each) {
            QVERIFY(each.outcome == HashResult::Outcome::Done);
            ++done;
        }));
        hasher.extend(ids.last(), Hasher::kWorthwhile);
    }
    for (const Hasher::Id id : ids) {
        QTRY_COMPARE(hasher.processed(id), Hasher::kWorthwhile);
    }
    hasher.finish(ids.last());
    QTRY_COMPARE(done, 1);
    for (const Hasher::Id id : ids) {
        hasher.finish(id);
    }
    QTRY_COMPARE(done, kFiles);
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
    QVERIFY(timer.elapsed() < 10000); // all of them would take a minute
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

// SPDX-License-Identifier: MIT
#include "LogCapture.h"
#include "MetaMethods.h"
#include "Tool/MD5CheckWorker.h"

#include <QCryptographicHash>
#include <QElapsedTimer>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#ifdef Q_OS_LINUX
#include <sys/ioctl.h>
#include <sys/stat.h>
#endif

namespace {

const QString kMd5OfNothing = QStringLiteral("d41d8cd98f00b204e9800998ecf8427e");
const QString kStopLine = QStringLiteral(" md5 checker finish get md5 with checker thread exit");

QString md5Of(const QByteArray& bytes)
{
    return QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Md5).toHex());
}

#ifdef Q_OS_LINUX
/// Bytes in a pipe that nobody has read yet.
int pending(const QFile& pipe)
{
    int bytes = -1;
    return ioctl(pipe.handle(), FIONREAD, &bytes) == 0 ? bytes : -1;
}
#endif

} // namespace

class tst_MD5CheckWorker : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void startsEmpty();
    void hashesFiles_data();
    void hashesFiles();
    void saltsTheDigest();
    void saltIsLatin1();
    void missingFileGivesEmptyText();
    void storesThePath();
    void slotEmitsTheResult();
    void slotEmitsAnEmptyResult();
    void stopBeforeTheStartHasNoEffect();
    void stopsOnTheWay();
    void stopWhileNothingRunsIsHarmless();
#ifdef Q_OS_LINUX
    void readErrorGivesThePartialDigest();
    void stopGivesTheDigestOfWhatWasRead_data();
    void stopGivesTheDigestOfWhatWasRead();
#endif

private:
    QString write(const QByteArray& content);

    QScopedPointer<QTemporaryDir> m_folder;
};

void tst_MD5CheckWorker::init()
{
    m_folder.reset(new QTemporaryDir);
    QVERIFY(m_folder->isValid());
}

QString tst_MD5CheckWorker::write(const QByteArray& content)
{
    const QString path = m_folder->filePath(QStringLiteral("data \u4e2d.bin"));
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size() ? path : QString();
}

void tst_MD5CheckWorker::startsEmpty()
{
    QObject parent;
    auto* worker = new MD5CheckWorker(&parent);
    QCOMPARE(worker->parent(), &parent);
    QCOMPARE(worker->GetFilePath(), QString());
    QCOMPARE(worker->GetMD5Salt(), QString());
    QCOMPARE(declaredSignals(MD5CheckWorker::staticMetaObject),
             QStringList{QStringLiteral("md5Checkfinished(QString md5String)")});
    QCOMPARE(declaredSlots(MD5CheckWorker::staticMetaObject), QStringList{QStringLiteral("onStartMD5()")});
}

void tst_MD5CheckWorker::hashesFiles_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("empty") << 0;
    QTest::newRow("one byte") << 1;
    QTest::newRow("one byte less than a read") << 10239;
    QTest::newRow("one read") << 10240;
    QTest::newRow("one byte more than a read") << 10241;
    QTest::newRow("many reads") << 1000003;
}

void tst_MD5CheckWorker::hashesFiles()
{
    QFETCH(int, size);
    QByteArray content(size, '\0');
    for (int i = 0; i < size; ++i)
        content[i] = static_cast<char>(i * 7 + i / 251);
    LogCapture log;
    MD5CheckWorker worker;
    const QString digest = worker.GetMd5(write(content));
    QCOMPARE(digest, md5Of(content));
    QCOMPARE(digest.size(), 32);
    if (size == 0)
        QCOMPARE(digest, kMd5OfNothing);
    QVERIFY(log.records().empty());
}

void tst_MD5CheckWorker::saltsTheDigest()
{
    const QByteArray content("the content");
    MD5CheckWorker worker;
    worker.SetMD5Salt(QStringLiteral("pepper"));
    QCOMPARE(worker.GetMD5Salt(), QStringLiteral("pepper"));
    QCOMPARE(worker.GetMd5(write(content)), md5Of(md5Of(content).toLatin1() + "pepper"));
}

void tst_MD5CheckWorker::saltIsLatin1()
{
    MD5CheckWorker worker;
    worker.SetMD5Salt(QStringLiteral("\u00e9"));
    QCOMPARE(worker.GetMd5(write(QByteArray())), md5Of(kMd5OfNothing.toLatin1() + QByteArray("\xe9")));
}

void tst_MD5CheckWorker::missingFileGivesEmptyText()
{
    LogCapture log;
    MD5CheckWorker worker;
    worker.SetMD5Salt(QStringLiteral("pepper"));
    QCOMPARE(worker.GetMd5(m_folder->filePath(QStringLiteral("missing"))), QString());
    QVERIFY(log.records().empty());
}

void tst_MD5CheckWorker::storesThePath()
{
    MD5CheckWorker worker;
    worker.SetFilePath(QStringLiteral("before"));
    QCOMPARE(worker.GetFilePath(), QStringLiteral("before"));
    const QString path = write("x");
    worker.GetMd5(path);
    QCOMPARE(worker.GetFilePath(), path);
}

void tst_MD5CheckWorker::slotEmitsTheResult()
{
    MD5CheckWorker worker;
    worker.SetFilePath(write("content"));
    QSignalSpy finished(&worker, &MD5CheckWorker::md5Checkfinished);
    QVERIFY(QMetaObject::invokeMethod(&worker, "onStartMD5", Qt::DirectConnection));
    QCOMPARE(finished.size(), 1);
    QCOMPARE(finished.at(0).at(0).toString(), md5Of("content"));
}

void tst_MD5CheckWorker::slotEmitsAnEmptyResult()
{
    MD5CheckWorker worker;
    worker.SetFilePath(m_folder->filePath(QStringLiteral("missing")));
    QSignalSpy finished(&worker, &MD5CheckWorker::md5Checkfinished);
    worker.onStartMD5();
    QCOMPARE(finished.size(), 1);
    QCOMPARE(finished.at(0).at(0).toString(), QString());
}

void tst_MD5CheckWorker::stopBeforeTheStartHasNoEffect()
{
    LogCapture log;
    MD5CheckWorker worker;
    worker.SetRunning(false);
    QCOMPARE(worker.GetMd5(write("content")), md5Of("content"));
    QVERIFY(log.records().empty());
}

void tst_MD5CheckWorker::stopsOnTheWay()
{
    // Sparse, so it takes no space; hashing it would take minutes.
    constexpr qint64 kHugeBytes = qint64(64) * 1024 * 1024 * 1024;
    const QString path = write(QByteArray());
    QVERIFY(QFile::resize(path, kHugeBytes));

    LogCapture log;
    QThread thread;
    MD5CheckWorker worker;
    worker.SetFilePath(path);
    worker.moveToThread(&thread);
    connect(&thread, &QThread::started, &worker, &MD5CheckWorker::onStartMD5);
    QStringList digests;
    QObject here;
    connect(&worker, &MD5CheckWorker::md5Checkfinished, &here, [&digests](const QString& md5) { digests << md5; });
    QElapsedTimer timer;
    timer.start();
    thread.start();
    // Asked until it is heard: a request before the computation begins is lost.
    while (digests.isEmpty() && timer.elapsed() < 10000) {
        worker.SetRunning(false);
        QCoreApplication::processEvents();
    }
    thread.quit();
    QVERIFY(thread.wait(10000));
    QCOMPARE(digests.size(), 1);
    QCOMPARE(digests.first().size(), 32);
    QCOMPARE(log.count(0, kStopLine), 1);
}

void tst_MD5CheckWorker::stopWhileNothingRunsIsHarmless()
{
    MD5CheckWorker worker;
    QCOMPARE(worker.GetMd5(write("one")), md5Of("one"));
    worker.SetRunning(false);
    QCOMPARE(worker.GetMd5(write("two")), md5Of("two"));
}

#ifdef Q_OS_LINUX
// The process's own memory can be opened, and reading its unmapped beginning fails.
void tst_MD5CheckWorker::readErrorGivesThePartialDigest()
{
    LogCapture log;
    MD5CheckWorker worker;
    QTest::ignoreMessage(QtWarningMsg, "MD5CheckWorker read data failed, file pos: 0");
    QCOMPARE(worker.GetMd5(QStringLiteral("/proc/self/mem")), kMd5OfNothing);
    QVERIFY(log.records().empty());
}

void tst_MD5CheckWorker::stopGivesTheDigestOfWhatWasRead_data()
{
    QTest::addColumn<QString>("salt");
    QTest::newRow("without salt") << QString();
    QTest::newRow("with salt") << QStringLiteral("pepper");
}

// A pipe in place of a file: each read waits until the test has written as much.
void tst_MD5CheckWorker::stopGivesTheDigestOfWhatWasRead()
{
    constexpr int kRead = 10240;
    QFETCH(QString, salt);
    const QString path = m_folder->filePath(QStringLiteral("pipe"));
    QCOMPARE(mkfifo(QFile::encodeName(path).constData(), 0600), 0);
    LogCapture log;
    QThread thread;
    MD5CheckWorker worker;
    worker.SetFilePath(path);
    worker.SetMD5Salt(salt);
    worker.moveToThread(&thread);
    connect(&thread, &QThread::started, &worker, &MD5CheckWorker::onStartMD5);
    QStringList digests;
    QObject here;
    connect(&worker, &MD5CheckWorker::md5Checkfinished, &here, [&digests](const QString& md5) { digests << md5; });
    thread.start();
    // Opens when the worker has opened its end, and so after it has set its flag.
    QFile pipe(path);
    QVERIFY(pipe.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
    const QByteArray first(kRead, 'a');
    const QByteArray second(kRead, 'b');
    QCOMPARE(pipe.write(first + second.left(1)), qint64(kRead + 1));
    // Taken: the worker is in its second read, which it ends before it looks at its flag.
    QTRY_COMPARE(pending(pipe), 0);
    QCOMPARE(digests, QStringList());
    worker.SetRunning(false);
    QCOMPARE(pipe.write(second.mid(1) + QByteArray(1, 'c')), qint64(kRead));
    QTRY_COMPARE(digests.size(), 1);
    thread.quit();
    QVERIFY(thread.wait(10000));
    QString expected = md5Of(first + second);
    if (!salt.isEmpty())
        expected = md5Of(expected.toLatin1() + salt.toLatin1());
    QCOMPARE(digests.first(), expected);
    QCOMPARE(log.count(0, kStopLine), 1);
}
#endif

QTEST_GUILESS_MAIN(tst_MD5CheckWorker)

#include "tst_MD5CheckWorker.moc"

// SPDX-License-Identifier: MIT
// The extraction worker with the real 7-Zip program.
#include "LogCapture.h"
#include "ProcessLife.h"
#include "Setup/Process7zWorker.h"

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <memory>
#include <vector>

namespace {

constexpr int kMegabyte = 1024 * 1024;
constexpr int kPatienceMs = 60000;
constexpr int kFatalError = 2; // as 7-Zip counts
constexpr int kBreak = 255;

#ifdef Q_OS_WIN
constexpr int kKilledCode = 0xf291;
#else
constexpr int kKilledCode = 9;
#endif

const QString kForeignName = QStringLiteral("\u4e2d\u6587 \u00e9\u00e8 \u0416.bin");

QByteArray randomBytes(int size)
{
    QByteArray bytes(size, '\0');
    QRandomGenerator generator(static_cast<quint32>(size));
    generator.fillRange(reinterpret_cast<quint32*>(bytes.data()), size / 4);
    return bytes;
}

/// \brief Words in random order: what takes a packer time.
QByteArray text(int size)
{
    const QList<QByteArray> words{"chunk ", "group ", "engine ", "launcher ", "download ", "verify\n", "folder ", "1 "};
    QRandomGenerator generator(1);
    QByteArray bytes;
    bytes.reserve(size + 16);
    while (bytes.size() < size)
        bytes += words.at(generator.bounded(words.size()));
    return bytes;
}

struct Progress
{
    int percent;
    qint64 bytes;
};

/// \brief What the worker reported.
struct Outcome
{
    std::vector<Progress> progress;
    QStringList errors;
    std::vector<int> errorCodes;
    std::vector<int> finished;
};

} // namespace

class tst_Process7zReal : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void extracts_data();
    void extracts();
    void extractsHundredsOfMegabytes();
    void overwritesWithoutAQuestion();
    void usesTheProgramOfTheApplicationsFolder();
    void reportsDamagedArchives_data();
    void reportsDamagedArchives();
    void doesNotWaitForAPassword_data();
    void doesNotWaitForAPassword();
    void reportsAMissingProgram();
    void stopsInTheMiddleAndStartsAgain();
    void isDeletedInTheMiddle();
    void tellsTheVersion();
#ifdef Q_OS_LINUX
    void reportsAFullDisk();
#endif

private:
    QString path(const QString& name) const
    {
        return m_folder->filePath(name);
    }
    QString tree(const QString& name = QString()) const
    {
        return path(QStringLiteral("tree") + name);
    }
    QString target(const QString& name = QString()) const
    {
        return path(QStringLiteral("target ") + kForeignName) + name;
    }
    void lay(const QString& name, const QByteArray& content) const;
    void pack(const QString& archive, const QStringList& options) const;
    static QStringList contents(const QString& root);
    static qint64 sizeOf(const QString& root);
    void connectWorker();
    void runToTheEnd(const QString& archive);
    void expectSuccess(qint64 size) const;
    static void setSearchPath(const QString& folder);

    QByteArray m_systemPath;
    QString m_programFolder;
    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<Process7zWorker> m_worker;
    Outcome m_outcome;
};

void tst_Process7zReal::initTestCase()
{
    m_systemPath = qgetenv("PATH");
    m_programFolder = QDir(QStringLiteral(SEVENZIP_DIR)).absolutePath();
    QVERIFY2(QFile::exists(m_programFolder + QStringLiteral("/7z.exe")), qPrintable(m_programFolder));
}

void tst_Process7zReal::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
    QVERIFY(QDir().mkpath(tree()));
    setSearchPath(m_programFolder);
    m_outcome = Outcome();
    m_worker = std::make_unique<Process7zWorker>();
    connectWorker();
}

void tst_Process7zReal::cleanup()
{
    m_worker.reset();
    qputenv("PATH", m_systemPath);
}

void tst_Process7zReal::setSearchPath(const QString& folder)
{
    static const QByteArray before = qgetenv("PATH");
    qputenv("PATH", QDir::toNativeSeparators(folder).toLocal8Bit() + QDir::listSeparator().toLatin1() + before);
}

void tst_Process7zReal::connectWorker()
{
    connect(m_worker.get(), &Process7zWorker::unzipProgress, this, [this](int percent, qint64 bytes) {
        m_outcome.progress.push_back({percent, bytes});
    });
    connect(m_worker.get(), &Process7zWorker::unzipFinished, this,
            [this](int code) { m_outcome.finished.push_back(code); });
    connect(m_worker.get(), &Process7zWorker::unzipError, this, [this](int code, const QString& message) {
        m_outcome.errorCodes.push_back(code);
        m_outcome.errors << message;
    });
}

void tst_Process7zReal::lay(const QString& name, const QByteArray& content) const
{
    QVERIFY(QDir().mkpath(QFileInfo(tree(name)).absolutePath()));
    QFile file(tree(name));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), content.size());
}

// Packs the tree with the real program.
void tst_Process7zReal::pack(const QString& archive, const QStringList& options) const
{
    QProcess packer;
    packer.setWorkingDirectory(tree());
    packer.setStandardOutputFile(QProcess::nullDevice());
    packer.start(m_programFolder + QStringLiteral("/7z.exe"),
                 QStringList{QStringLiteral("a"), archive, QStringLiteral(".")} + options);
    QVERIFY(packer.waitForFinished(kPatienceMs));
    QCOMPARE(packer.exitCode(), 0);
}

// Path, size and MD5 of each file.
QStringList tst_Process7zReal::contents(const QString& root)
{
    QStringList lines;
    QDirIterator files(root, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        QFile file(files.next());
        QCryptographicHash hash(QCryptographicHash::Md5);
        if (file.open(QIODevice::ReadOnly))
            hash.addData(&file);
        lines << QStringLiteral("%1 %2 %3")
                     .arg(QDir(root).relativeFilePath(file.fileName()))
                     .arg(file.size())
                     .arg(QString::fromLatin1(hash.result().toHex()));
    }
    lines.sort();
    return lines;
}

qint64 tst_Process7zReal::sizeOf(const QString& root)
{
    qint64 size = 0;
    QDirIterator files(root, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        files.next();
        size += files.fileInfo().size();
    }
    return size;
}

void tst_Process7zReal::runToTheEnd(const QString& archive)
{
    QVERIFY(m_worker->Start(archive, target()));
    QTRY_COMPARE_WITH_TIMEOUT(m_outcome.finished.size(), std::size_t(1), kPatienceMs);
}

void tst_Process7zReal::expectSuccess(qint64 size) const
{
    QCOMPARE(m_outcome.finished, std::vector<int>{0});
    QCOMPARE(m_outcome.errors, QStringList());
    QVERIFY(!m_outcome.progress.empty());
    QVERIFY(std::is_sorted(m_outcome.progress.cbegin(), m_outcome.progress.cend(),
                           [](const Progress& a, const Progress& b) { return a.bytes < b.bytes; }));
    QCOMPARE(m_outcome.progress.back().percent, 100);
    QCOMPARE(m_outcome.progress.back().bytes, size);
}

void tst_Process7zReal::extracts_data()
{
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<QStringList>("options");
    QTest::newRow("7z") << QStringLiteral("7z") << QStringList{QStringLiteral("-mx=1")};
    QTest::newRow("zip") << QStringLiteral("zip") << QStringList{QStringLiteral("-tzip"), QStringLiteral("-mx=1")};
    QTest::newRow("tar") << QStringLiteral("tar") << QStringList{QStringLiteral("-ttar")};
}

void tst_Process7zReal::extracts()
{
    QFETCH(QString, suffix);
    QFETCH(QStringList, options);
    lay(QStringLiteral("/") + kForeignName, randomBytes(10 * kMegabyte));
    lay(QStringLiteral("/sub \u4e2d/deeper/text"), text(10 * kMegabyte));
    lay(QStringLiteral("/empty"), QByteArray());
    const QString archive = path(QStringLiteral("\u4e2d\u6587 archive.") + suffix);
    pack(archive, options);
    m_worker->SetSize(sizeOf(tree()));
    runToTheEnd(archive);
    expectSuccess(sizeOf(tree()));
    QCOMPARE(contents(target()), contents(tree()));
}

void tst_Process7zReal::extractsHundredsOfMegabytes()
{
    constexpr int kFiles = 5;
    const QByteArray block = randomBytes(40 * kMegabyte);
    for (int i = 0; i < kFiles; ++i)
        lay(QStringLiteral("/%1").arg(i), block);
    const QString archive = path(QStringLiteral("large.7z"));
    pack(archive, {QStringLiteral("-mx=0")});
    m_worker->SetSize(sizeOf(tree()));
    runToTheEnd(archive);
    expectSuccess(qint64(kFiles) * 40 * kMegabyte);
    QCOMPARE(contents(target()), contents(tree()));
}

void tst_Process7zReal::overwritesWithoutAQuestion()
{
    lay(QStringLiteral("/a"), "new");
    const QString archive = path(QStringLiteral("a.zip"));
    pack(archive, {QStringLiteral("-tzip")});
    QVERIFY(QDir().mkpath(target()));
    QFile old(target(QStringLiteral("/a")));
    QVERIFY(old.open(QIODevice::WriteOnly));
    old.write("old and longer");
    old.close();
    m_worker->SetSize(3);
    runToTheEnd(archive);
    expectSuccess(3);
    QCOMPARE(contents(target()), contents(tree()));
}

void tst_Process7zReal::usesTheProgramOfTheApplicationsFolder()
{
    lay(QStringLiteral("/a"), "content");
    const QString archive = path(QStringLiteral("a.7z"));
    pack(archive, {});
    setSearchPath(m_folder->path()); // where there is none
    const QString beside = QCoreApplication::applicationDirPath();
    for (const QString& name : {QStringLiteral("/7z.exe"), QStringLiteral("/7z.dll")}) {
        QFile::remove(beside + name);
        // The Linux program needs no library; the worker asks for one nevertheless.
        const QString source = m_programFolder + name;
        QVERIFY(QFile::copy(QFile::exists(source) ? source : archive, beside + name));
    }
    LogCapture log;
    m_worker->SetSize(7);
    runToTheEnd(archive);
    QCOMPARE(log.texts(3), QStringList());
    expectSuccess(7);
    for (const QString& name : {QStringLiteral("/7z.exe"), QStringLiteral("/7z.dll")})
        QVERIFY(QFile::remove(beside + name));
}

void tst_Process7zReal::reportsDamagedArchives_data()
{
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<bool>("truncate");
    QTest::newRow("truncated 7z") << QStringLiteral("7z") << true;
    QTest::newRow("truncated zip") << QStringLiteral("zip") << true;
    QTest::newRow("truncated tar") << QStringLiteral("tar") << true;
    QTest::newRow("corrupt 7z") << QStringLiteral("7z") << false;
    QTest::newRow("corrupt zip") << QStringLiteral("zip") << false;
}

void tst_Process7zReal::reportsDamagedArchives()
{
    QFETCH(QString, suffix);
    QFETCH(bool, truncate);
    lay(QStringLiteral("/a"), randomBytes(kMegabyte));
    const QString archive = path(QStringLiteral("damaged.") + suffix);
    pack(archive, {QStringLiteral("-t") + suffix});
    QFile file(archive);
    QVERIFY(file.open(QIODevice::ReadWrite));
    if (truncate) {
        QVERIFY(file.resize(file.size() / 2));
    } else {
        QVERIFY(file.seek(file.size() / 2));
        QCOMPARE(file.write("damage"), qint64(6));
    }
    file.close();
    runToTheEnd(archive);
    QCOMPARE(m_outcome.finished, std::vector<int>{kFatalError});
    QVERIFY(!m_outcome.errors.isEmpty());
    QVERIFY(
        std::all_of(m_outcome.errorCodes.cbegin(), m_outcome.errorCodes.cend(), [](int code) { return code == 2002; }));
    QVERIFY2(m_outcome.errors.join(QString()).contains(QStringLiteral("ERROR")),
             qPrintable(m_outcome.errors.join(QString())));
}

void tst_Process7zReal::doesNotWaitForAPassword_data()
{
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<QStringList>("options");
    QTest::newRow("7z") << QStringLiteral("7z") << QStringList();
    QTest::newRow("7z with hidden names") << QStringLiteral("7z") << QStringList{QStringLiteral("-mhe=on")};
    QTest::newRow("zip") << QStringLiteral("zip") << QStringList{QStringLiteral("-tzip")};
}

// It asks on its standard input, which is at its end.
void tst_Process7zReal::doesNotWaitForAPassword()
{
    QFETCH(QString, suffix);
    QFETCH(QStringList, options);
    lay(QStringLiteral("/a"), "secret");
    const QString archive = path(QStringLiteral("encrypted.") + suffix);
    pack(archive, QStringList{QStringLiteral("-pword")} + options);
    runToTheEnd(archive);
    QCOMPARE(m_outcome.finished, std::vector<int>{kBreak});
    QVERIFY2(m_outcome.errors.join(QString()).contains(QStringLiteral("Break signaled")),
             qPrintable(m_outcome.errors.join(QString())));
}

void tst_Process7zReal::reportsAMissingProgram()
{
    lay(QStringLiteral("/a"), "content");
    const QString archive = path(QStringLiteral("a.7z"));
    pack(archive, {});
    qputenv("PATH", QDir::toNativeSeparators(m_folder->path()).toLocal8Bit());
    QVERIFY(!m_worker->Start(archive, target()));
    QCOMPARE(m_outcome.errorCodes, std::vector<int>{2008});
    QVERIFY(m_outcome.finished.empty());
    // Once it is there, the same worker does its work.
    setSearchPath(m_programFolder);
    m_worker->SetSize(7);
    m_outcome = Outcome();
    runToTheEnd(archive);
    expectSuccess(7);
}

void tst_Process7zReal::stopsInTheMiddleAndStartsAgain()
{
    lay(QStringLiteral("/text"), text(25 * kMegabyte));
    const QString archive = path(QStringLiteral("slow.7z"));
    pack(archive, {QStringLiteral("-m0=PPMd")}); // as slow to unpack as to pack
    m_worker->SetSize(sizeOf(tree()));
    QVERIFY(m_worker->Start(archive, target()));
    const qint64 child = m_worker->findChild<QProcess*>()->processId();
    QTRY_VERIFY_WITH_TIMEOUT(!m_outcome.progress.empty() && m_outcome.progress.back().percent > 0, kPatienceMs);
    QVERIFY(isProcessRunning(child));
    m_worker->Stop();
    QVERIFY(!isProcessRunning(child));
    QCOMPARE(m_outcome.finished, std::vector<int>{kKilledCode});
    QVERIFY(m_outcome.progress.back().percent < 100);

    m_outcome = Outcome();
    runToTheEnd(archive);
    expectSuccess(sizeOf(tree()));
    QCOMPARE(contents(target()), contents(tree()));
}

void tst_Process7zReal::isDeletedInTheMiddle()
{
    lay(QStringLiteral("/text"), text(25 * kMegabyte));
    const QString archive = path(QStringLiteral("slow.7z"));
    pack(archive, {QStringLiteral("-m0=PPMd")});
    QVERIFY(m_worker->Start(archive, target()));
    const qint64 child = m_worker->findChild<QProcess*>()->processId();
    QTRY_VERIFY_WITH_TIMEOUT(!m_outcome.progress.empty(), kPatienceMs);
    QVERIFY(isProcessRunning(child));
    QElapsedTimer clock;
    clock.start();
    m_worker.reset();
    QVERIFY(clock.elapsed() < 5000);
    QVERIFY(!isProcessRunning(child));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(m_outcome.finished.empty());
}

void tst_Process7zReal::tellsTheVersion()
{
#ifdef Q_OS_WIN
    const QRegularExpression version(QStringLiteral("^\\d+\\.\\d+$"));
    QVERIFY2(version.match(Process7zWorker::version()).hasMatch(), qPrintable(Process7zWorker::version()));
#else
    // The program for this system calls itself "7-Zip (z) 26.02 ...".
    QCOMPARE(Process7zWorker::version(), QStringLiteral("(z)"));
#endif
}

#ifdef Q_OS_LINUX
// The program runs on a small disk of its own: a memory file system that nobody else sees. Where the system does not
// permit one, no file may grow beyond that size, which is the same to the program.
void tst_Process7zReal::reportsAFullDisk()
{
    lay(QStringLiteral("/a"), randomBytes(4 * kMegabyte));
    const QString archive = path(QStringLiteral("a.7z"));
    pack(archive, {});
    QVERIFY(QDir().mkpath(path(QStringLiteral("disk"))));
    QVERIFY(QDir().mkpath(path(QStringLiteral("bin"))));
    const QString starter = path(QStringLiteral("bin/7z.exe"));
    QFile file(starter);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("#!/bin/sh\n"
               "disk='" +
               path(QStringLiteral("disk")).toUtf8() + "'\nprogram='" + m_programFolder.toUtf8() + "/7z.exe'\nway='" +
               path(QStringLiteral("way")).toUtf8() +
               "'\n"
               "mount='mount -t tmpfs -o size=2m none \"$0\"'\n"
               "if unshare -rm sh -c \"$mount\" \"$disk\" 2>/dev/null; then\n"
               "    echo 'memory file system' >\"$way\"\n"
               "    exec unshare -rm sh -c \"$mount\"' && exec \"$@\"' \"$disk\" \"$program\" \"$@\"\n"
               "fi\n"
               "echo 'limited file size' >\"$way\"\n"
               "trap '' XFSZ\n"
               "ulimit -f 4096\n"
               "exec \"$program\" \"$@\"\n");
    file.close();
    QVERIFY(file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    setSearchPath(path(QStringLiteral("bin")));

    QVERIFY(m_worker->Start(archive, path(QStringLiteral("disk"))));
    QTRY_COMPARE_WITH_TIMEOUT(m_outcome.finished.size(), std::size_t(1), kPatienceMs);
    QFile way(path(QStringLiteral("way")));
    QVERIFY(way.open(QIODevice::ReadOnly));
    const QByteArray used = way.readAll().trimmed();
    qInfo("%s: %s", used.constData(), qPrintable(m_outcome.errors.join(QStringLiteral(" / "))));
    QCOMPARE(m_outcome.finished, std::vector<int>{kFatalError});
    const QString reason =
        used == "memory file system" ? QStringLiteral("No space left on device") : QStringLiteral("File too large");
    QVERIFY(m_outcome.errors.join(QString()).contains(reason));

    // With room, the same worker does its work.
    setSearchPath(m_programFolder);
    m_outcome = Outcome();
    m_worker->SetSize(4 * kMegabyte);
    runToTheEnd(archive);
    expectSuccess(4 * kMegabyte);
}
#endif

QTEST_GUILESS_MAIN(tst_Process7zReal)

#include "tst_Process7zReal.moc"

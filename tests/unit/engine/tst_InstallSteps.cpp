// SPDX-License-Identifier: MIT
// Chunks into staged files, and staged files into place.
#include "package/InstallSteps.h"

#include <QStorageInfo>
#include <QTemporaryDir>
#include <QtTest>

#include <chrono>
#include <future>
#include <memory>

using namespace VantorEngine;

class tst_InstallSteps : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void stagesAChunkWhereverItIsWanted();
    void stagesNothingMoreAfterACancel();
    void placesNoMoreThanTheFile();
    void refusesAPartThatIsCutOff();
#ifdef Q_OS_WIN
    void waitsForAnotherProgram();
#endif
#ifdef Q_OS_UNIX
    void replacesALinkAndNotItsTarget();
    void followsALinkToAFolder();
    void keepsOtherFilesWhenItCopies_data();
    void keepsOtherFilesWhenItCopies();
#endif

private:
    /// Puts one file of \a size bytes in place.
    FileError place(const QString& path, qint64 size);
    static bool write(const QString& path, const QByteArray& content);
    static QByteArray read(const QString& path);

    std::unique_ptr<QTemporaryDir> m_folder;
    InstallFolders m_folders;
    CancelFlag m_cancelled{false};
};

bool tst_InstallSteps::write(const QString& path, const QByteArray& content)
{
    QFile file(path);
    return QDir().mkpath(QFileInfo(path).path()) && file.open(QIODevice::WriteOnly) &&
           file.write(content) == content.size();
}

QByteArray tst_InstallSteps::read(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no such file)");
}

void tst_InstallSteps::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    m_folders = {m_folder->filePath(QStringLiteral("install")), m_folder->filePath(QStringLiteral("staging/p/b"))};
    QVERIFY(QDir().mkpath(m_folders.staging));
    QVERIFY(QDir().mkpath(m_folders.install));
    m_cancelled = false;
}

FileError tst_InstallSteps::place(const QString& path, qint64 size)
{
    InstallRecord record;
    record.manifest.package = QStringLiteral("p");
    PackageFile file;
    file.path = path;
    file.size = size;
    record.manifest.files.append(file);
    InstallPlan plan;
    plan.toWrite.append(0);
    std::atomic<qint64> done{0};
    return commitInstallation(m_folders, plan, {}, record, m_cancelled, done);
}

void tst_InstallSteps::stagesAChunkWhereverItIsWanted()
{
    ChunkOrder order;
    order.targets = {{0, 0}, {0, 6}, {1, 3}};
    QVERIFY(stageChunk(m_folders, order, "abc", m_cancelled).kind == FileError::Kind::None);
    QCOMPARE(read(m_folders.partOf(0)), QByteArray("abc\0\0\0abc", 9));
    QCOMPARE(read(m_folders.partOf(1)), QByteArray("\0\0\0abc", 6));
}

/// A chunk of zeros may have as many places as a file has megabytes.
void tst_InstallSteps::stagesNothingMoreAfterACancel()
{
    ChunkOrder order;
    order.targets = {{0, 0}, {1, 0}};
    m_cancelled = true;
    QVERIFY(stageChunk(m_folders, order, "abc", m_cancelled).kind == FileError::Kind::None);
    QVERIFY(QDir(m_folders.staging).isEmpty());
}

/// Chunks are compared, what lies behind the last one is not.
void tst_InstallSteps::placesNoMoreThanTheFile()
{
    QVERIFY(write(m_folders.partOf(0), "the file and something else"));
    QCOMPARE(place(QStringLiteral("f"), 8).message, QString());
    QCOMPARE(read(m_folders.installed(QStringLiteral("f"))), QByteArray("the file"));
}

void tst_InstallSteps::refusesAPartThatIsCutOff()
{
    QVERIFY(write(m_folders.installed(QStringLiteral("f")), "the old file"));
    QVERIFY(write(m_folders.partOf(0), "the f"));
    QCOMPARE(place(QStringLiteral("f"), 8).code, int(kReadFailed));
    QCOMPARE(read(m_folders.installed(QStringLiteral("f"))), QByteArray("the old file"));
    QVERIFY(QFile::remove(m_folders.partOf(0)));
    QCOMPARE(place(QStringLiteral("f"), 8).code, int(kReadFailed));
    QCOMPARE(read(m_folders.installed(QStringLiteral("f"))), QByteArray("the old file"));
}

#ifdef Q_OS_WIN
void tst_InstallSteps::waitsForAnotherProgram()
{
    QVERIFY(write(m_folders.installed(QStringLiteral("f")), "the old file"));
    QVERIFY(write(m_folders.partOf(0), "the file"));
    QFile held(m_folders.installed(QStringLiteral("f")));
    QVERIFY(held.open(QIODevice::ReadOnly));
    std::future<int> code = std::async(std::launch::async, [this] { return place(QStringLiteral("f"), 8).code; });
    QVERIFY(code.wait_for(std::chrono::milliseconds(300)) == std::future_status::timeout);
    QCOMPARE(held.readAll(), QByteArray("the old file"));
    held.close();
    QCOMPARE(code.get(), 0);
    QCOMPARE(read(m_folders.installed(QStringLiteral("f"))), QByteArray("the file"));
}
#endif

#ifdef Q_OS_UNIX
void tst_InstallSteps::replacesALinkAndNotItsTarget()
{
    const QString outside = m_folder->filePath(QStringLiteral("outside"));
    const QString inside = m_folders.installed(QStringLiteral("f"));
    QVERIFY(write(outside, "somebody else's"));
    QVERIFY(QFile::link(outside, inside));
    QVERIFY(write(m_folders.partOf(0), "the file"));
    QCOMPARE(place(QStringLiteral("f"), 8).message, QString());
    QCOMPARE(read(outside), QByteArray("somebody else's"));
    QVERIFY(!QFileInfo(inside).isSymLink());
    QCOMPARE(read(inside), QByteArray("the file"));
}

/// A user may keep a large folder on another disk.
void tst_InstallSteps::followsALinkToAFolder()
{
    const QString outside = m_folder->filePath(QStringLiteral("outside"));
    QVERIFY(QDir().mkpath(outside));
    QVERIFY(QFile::link(outside, m_folders.installed(QStringLiteral("data"))));
    QVERIFY(write(m_folders.partOf(0), "the file"));
    QCOMPARE(place(QStringLiteral("data/f"), 8).message, QString());
    QVERIFY(QFileInfo(m_folders.installed(QStringLiteral("data"))).isSymLink());
    QCOMPARE(read(outside + QStringLiteral("/f")), QByteArray("the file"));
}

void tst_InstallSteps::keepsOtherFilesWhenItCopies_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("short") << QStringLiteral("f");
    QTest::newRow("as long as can be") << QString(255, QLatin1Char('f'));
}

void tst_InstallSteps::keepsOtherFilesWhenItCopies()
{
    QFETCH(QString, name);
    const QTemporaryDir elsewhere(QStringLiteral("/dev/shm/tst_InstallSteps-XXXXXX"));
    QVERIFY2(elsewhere.isValid() && QStorageInfo(elsewhere.path()) != QStorageInfo(m_folder->path()),
             "this test needs /dev/shm and the folder for temporary files to be two volumes");
    m_folders.staging = elsewhere.filePath(QStringLiteral("p/b"));
    QVERIFY(write(m_folders.partOf(0), "the file"));
    const QString other = m_folders.installed(QStringLiteral("f_tmp"));
    QVERIFY(write(other, "another file of the package"));
    QCOMPARE(place(name, 8).message, QString());
    QCOMPARE(read(m_folders.installed(name)), QByteArray("the file"));
    QCOMPARE(read(other), QByteArray("another file of the package"));
    QCOMPARE(QDir(m_folders.install).entryList(QDir::Files | QDir::Hidden).size(), 2); // nothing is left over
}
#endif

QTEST_GUILESS_MAIN(tst_InstallSteps)
#include "tst_InstallSteps.moc"

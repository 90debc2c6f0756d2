// SPDX-License-Identifier: MIT
// Copying many files, and files of several gigabytes.
#include "Tool/FileOperator.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

namespace {

constexpr int kFolders = 100;
constexpr int kFilesPerFolder = 100;
constexpr int kFiles = kFolders * kFilesPerFolder;

} // namespace

class tst_FileOperatorLarge : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void copiesTenThousandFiles();
#ifdef Q_OS_LINUX
    void copiesGigabytesInLittleMemory();
#endif

private:
    void copy();
    static void write(const QString& file, const QByteArray& content);

    std::unique_ptr<QTemporaryDir> m_folder;
    QString m_src;
    QString m_dst;
    QString m_changed;
    int m_progress = 0;
    int m_finished = 0;
};

void tst_FileOperatorLarge::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
    m_src = m_folder->filePath(QStringLiteral("src"));
    m_dst = m_folder->filePath(QStringLiteral("dst"));
    m_changed = m_folder->filePath(QStringLiteral("changed"));
}

void tst_FileOperatorLarge::write(const QString& file, const QByteArray& content)
{
    QFile output(file);
    QVERIFY(output.open(QIODevice::WriteOnly));
    QCOMPARE(output.write(content), content.size());
}

void tst_FileOperatorLarge::copy()
{
    m_progress = 0;
    m_finished = 0;
    FileOperator fileOperator;
    connect(&fileOperator, &FileOperator::copyProgress, this, [this](int copied, int total) {
        QCOMPARE(copied, ++m_progress);
        QVERIFY(copied <= total);
    });
    connect(&fileOperator, &FileOperator::copyFinish, this, [this] { ++m_finished; });
    fileOperator.SetCopyDirParam(m_src, m_dst, true, m_changed);
    fileOperator.onCopyDirFiles();
    QCOMPARE(m_finished, 1);
}

void tst_FileOperatorLarge::copiesTenThousandFiles()
{
    for (int folder = 0; folder < kFolders; ++folder) {
        const QString path = QStringLiteral("%1/%2").arg(m_src).arg(folder);
        QVERIFY(QDir().mkpath(path));
        for (int file = 0; file < kFilesPerFolder; ++file)
            write(QStringLiteral("%1/%2").arg(path).arg(file), QByteArray::number(folder * kFilesPerFolder + file));
    }
    QCOMPARE(FileOperator::GetDirFileCount(m_src), kFiles);
    copy();
    QCOMPARE(m_progress, kFiles);
    QCOMPARE(FileOperator::GetDirFileCount(m_dst), kFiles);
    QCOMPARE(FileOperator::GetDirFileSize(m_dst), FileOperator::GetDirFileSize(m_src));

    // A second time only what differs is copied.
    write(m_dst + QStringLiteral("/42/17"), "differs");
    copy();
    QCOMPARE(m_progress, kFiles);
    QCOMPARE(FileOperator::GetDirFileCount(m_changed), 1);
    for (const QString& root : {m_dst, m_changed}) {
        QFile file(root + QStringLiteral("/42/17"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("4217"));
    }
}

#ifdef Q_OS_LINUX
namespace {

// More than 2 GiB, beyond which some system calls copy in parts.
constexpr qint64 kSparseBytes = 2600LL * 1024 * 1024;
constexpr long kMostKiB = 32 * 1024;

void resetPeak()
{
    QFile control(QStringLiteral("/proc/self/clear_refs"));
    QVERIFY(control.open(QIODevice::WriteOnly));
    QCOMPARE(control.write("5"), qint64(1));
}

/// \brief The most memory that the process had since the reset, in KiB.
long peakKiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').first().toLong();
    }
    return -1;
}

void mark(const QString& path, qint64 position)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.seek(position));
    QCOMPARE(file.write("mark"), qint64(4));
}

QByteArray markAt(const QString& path, qint64 position)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) && file.seek(position) ? file.read(4) : QByteArray();
}

} // namespace

void tst_FileOperatorLarge::copiesGigabytesInLittleMemory()
{
    QVERIFY(QDir().mkpath(m_src));
    const QString from = m_src + QStringLiteral("/sparse");
    const QString to = m_dst + QStringLiteral("/sparse");
    write(from, QByteArray());
    QVERIFY(QFile::resize(from, kSparseBytes));
    const qint64 last = kSparseBytes - 4;
    const qint64 beyondTwoGiB = (1LL << 31) + 1;
    for (const qint64 position : {qint64(0), beyondTwoGiB, last})
        mark(from, position);

    resetPeak();
    const long before = peakKiB();
    QVERIFY(before > 0);
    copy();
    QCOMPARE(QFileInfo(to).size(), kSparseBytes);
    for (const qint64 position : {qint64(0), beyondTwoGiB, last})
        QCOMPARE(markAt(to, position), QByteArray("mark"));
    QCOMPARE(markAt(to, 1000000), QByteArray(4, '\0'));
    copy(); // compared, this time
    QVERIFY(!QFileInfo::exists(m_changed));
    const long more = peakKiB() - before;
    qInfo("%ld KiB more than before", more);
    QVERIFY2(more < kMostKiB, qPrintable(QString::number(more)));
}
#endif

QTEST_GUILESS_MAIN(tst_FileOperatorLarge)

#include "tst_FileOperatorLarge.moc"

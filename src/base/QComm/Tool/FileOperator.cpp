// SPDX-License-Identifier: MIT
#include "Tool/FileOperator.h"

#include "Tool/FileCopy.h"

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <utility>

namespace {

constexpr QDir::Filters kFolders = QDir::Dirs | QDir::NoDotAndDotDot;
constexpr QDir::Filters kFiles = QDir::Files;

QString joined(const QString& folder, const QString& name)
{
    return folder + QDir::separator() + name;
}

// Whether the folder is a link to a folder that leads to it. Following it would never end, or only when the path is
// too long for the system.
bool leadsBack(const QString& folder)
{
    const QFileInfo link(folder);
    if (!link.isSymLink() && !link.isJunction())
        return false;
    const QString target = link.canonicalFilePath();
    QString path = link.absoluteFilePath();
    for (QString parent = link.absolutePath(); parent != path; parent = QFileInfo(path).absolutePath()) {
        if (QFileInfo(parent).canonicalFilePath() == target)
            return true;
        path = parent;
    }
    return false;
}

QStringList subFolders(const QString& dir)
{
    QStringList folders;
    if (dir.isEmpty()) // QDir would take it for the current folder
        return folders;
    const QStringList names = QDir(dir).entryList(kFolders);
    for (const QString& name : names) {
        if (!leadsBack(joined(dir, name)))
            folders << name;
    }
    return folders;
}

QFileInfoList filesIn(const QString& dir)
{
    return dir.isEmpty() ? QFileInfoList() : QDir(dir).entryInfoList(kFiles);
}

bool makeFolder(const QString& path)
{
    if (path.isEmpty())
        return false;
    const QDir folder(path);
    return folder.exists() || folder.mkpath(folder.absolutePath());
}

} // namespace

FileOperator::FileOperator(QObject* parent) : QObject(parent)
{
}

FileOperator::~FileOperator() = default;

void FileOperator::SetCopyDirParam(QString srcDir, QString dstDir, bool saveChanged, QString changedDir)
{
    m_srcDir = std::move(srcDir);
    m_dstDir = std::move(dstDir);
    m_saveChanged = saveChanged;
    m_changedDir = std::move(changedDir);
}

void FileOperator::onCopyDirFiles()
{
    m_copiedCount = 0;
    m_totalCount = GetDirFileCount(m_srcDir);
    if (doCopyDirFiles(m_srcDir, m_dstDir))
        Q_EMIT copyFinish();
    else
        Q_EMIT copyError(m_errorPath);
}

bool FileOperator::doCopyDirFiles(const QString& src, const QString& dst)
{
    if (isClosed() || !makeFolder(dst) || !copySubFolders(src, dst))
        return false;
    const QFileInfoList files = filesIn(src);
    for (const QFileInfo& file : files) {
        if (isClosed() || !copyFile(file, dst))
            return false;
        m_copiedCount += 1;
        Q_EMIT copyProgress(m_copiedCount, m_totalCount);
    }
    return true;
}

bool FileOperator::copySubFolders(const QString& src, const QString& dst)
{
    const QStringList names = subFolders(src);
    for (const QString& name : names) {
        const QString folder = joined(src, name);
        if (!isDestination(folder) && !doCopyDirFiles(folder, joined(dst, name)))
            return false;
    }
    return true;
}

bool FileOperator::copyFile(const QFileInfo& source, const QString& dst)
{
    QString from = source.absoluteFilePath();
    const QString to = joined(dst, source.fileName());
    if (QFileInfo(to).isFile()) {
        if (GetFileMd5(to) == GetFileMd5(from))
            return true;
        if (m_saveChanged && !saveChangedFile(source, dst, &from))
            return false;
        QFile::remove(to);
    }
    if (FileCopy::Copy(from, to))
        return true;
    m_errorPath = source.absoluteFilePath();
    return false;
}

// Sets *saved to the copy, when there is one: the next copy is made of that, so that the source is not read again.
bool FileOperator::saveChangedFile(const QFileInfo& source, const QString& dst, QString* saved)
{
    QString folder = dst;
    folder.replace(m_dstDir, m_changedDir);
    // A changed-files tree without a root would spill over the root of the drive.
    if (m_changedDir.isEmpty() || !makeFolder(folder)) {
        m_errorPath = source.absolutePath();
        return false;
    }
    const QString copy = joined(folder, source.fileName());
    if (FileCopy::Copy(source.absoluteFilePath(), copy))
        *saved = copy;
    return true;
}

bool FileOperator::isDestination(const QString& folder) const
{
    return QFileInfo(folder).canonicalFilePath() == QFileInfo(m_dstDir).canonicalFilePath();
}

int FileOperator::GetDirFileCount(const QString& dir)
{
    if (dir.isEmpty())
        return 0;
    int count = 0;
    QDirIterator files(dir, kFiles);
    for (; files.hasNext(); files.next())
        ++count;
    const QStringList folders = subFolders(dir);
    for (const QString& name : folders)
        count += GetDirFileCount(joined(dir, name));
    return count;
}

quint64 FileOperator::GetDirFileSize(const QString& dir)
{
    quint64 size = 0;
    const QFileInfoList files = filesIn(dir);
    for (const QFileInfo& file : files)
        size += static_cast<quint64>(file.size());
    const QStringList folders = subFolders(dir);
    for (const QString& name : folders)
        size += GetDirFileSize(joined(dir, name));
    return size;
}

QString FileOperator::GetFileMd5(QString path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    QCryptographicHash hash(QCryptographicHash::Md5);
    hash.addData(&file);
    file.close();
    return QString::fromLatin1(hash.result().toHex());
}

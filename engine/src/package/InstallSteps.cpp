// SPDX-License-Identifier: MIT
#include "package/InstallSteps.h"

#include "FileNames.h"
#include "FileSystem.h"

#include <QDir>
#include <QFile>
#include <QThread>

#include <algorithm>

namespace VantorEngine {

namespace {

FileError writeFailure(const QFile& file)
{
    const WriteErrorCode code = diskWasFull() ? kDiskFull : kWriteFailed;
    return FileError::write(code, QStringLiteral("cannot write %1: %2").arg(file.fileName(), file.errorString()),
                            file.error());
}

/// Where a copy is made, in the destination's folder. Always the same for a file, so that what a killed process leaves
/// is used again; and no other file's name.
QString copyOf(const QString& path)
{
    const QString name = QStringLiteral(".vantor-") + QString::fromLatin1(digestOf(path.toUtf8()));
    return QFileInfo(path).dir().filePath(name);
}

/// Another program may hold the old file, or look into the new one, for a moment.
bool replacePatiently(const QString& from, const QString& to, const CancelFlag& cancelled, ReplaceProblem& problem)
{
    for (int attempt = 1; !replaceFile(from, to, problem); ++attempt) {
        if (!problem.busy || attempt == kReplaceAttempts || cancelled) {
            return false;
        }
        QThread::msleep(kReplaceRetryMs);
    }
    return true;
}

/// Renames, or copies first when the two lie on different volumes. The destination is replaced in one step either way.
FileError moveInto(const QString& from, const QString& to, const CancelFlag& cancelled)
{
    ReplaceProblem problem;
    if (replacePatiently(from, to, cancelled, problem)) {
        return {};
    }
    const QString besides = copyOf(to);
    QFile::remove(besides);
    ReplaceProblem second;
    if (!problem.busy && QFile::copy(from, besides) && replacePatiently(besides, to, cancelled, second)) {
        QFile::remove(from);
        return {};
    }
    QFile::remove(besides);
    return FileError::write(kRenameFailed, QStringLiteral("cannot put %1 in place: %2").arg(to, problem.message),
                            problem.systemError);
}

/// Means nothing on Windows, where the name tells.
void setExecutable(const QString& path, bool executable)
{
    if (kNativeNameRules == NameRules::Windows) {
        return;
    }
    const QFileDevice::Permissions runnable =
        QFileDevice::ExeOwner | QFileDevice::ExeUser | QFileDevice::ExeGroup | QFileDevice::ExeOther;
    const QFileDevice::Permissions now = QFile::permissions(path);
    const QFileDevice::Permissions wanted = executable ? now | runnable : now & ~runnable;
    if (wanted != now) {
        QFile::setPermissions(path, wanted);
    }
}

class Commit
{
public:
    Commit(const InstallFolders& folders, const InstallPlan& plan, const PackageManifest& installed,
           InstallRecord& record)
        : m_folders(folders), m_root(folders.install), m_plan(plan), m_installed(installed), m_record(record)
    {
    }

    FileError run(const CancelFlag& cancelled, std::atomic<qint64>& done)
    {
        removeObsolete();
        for (const int file : m_plan.toWrite) {
            if (cancelled) {
                return {};
            }
            const FileError error = place(file, cancelled);
            if (error.kind != FileError::Kind::None) {
                return error;
            }
            ++done;
        }
        for (const QString& folder : m_record.manifest.folders) {
            m_root.mkpath(folder);
        }
        return writeRecord();
    }

private:
    /// Before the new files come: a folder may take the place of a file.
    void removeObsolete()
    {
        QStringList folders = m_installed.folders;
        for (const QString& path : m_plan.toRemove) {
            QFile::remove(m_folders.installed(path));
            for (int slash = path.lastIndexOf(QLatin1Char('/')); slash > 0;
                 slash = path.lastIndexOf(QLatin1Char('/'), slash - 1)) {
                folders.append(path.left(slash));
            }
        }
        // The innermost first; only empty ones go.
        std::sort(folders.begin(), folders.end(), [](const QString& a, const QString& b) { return a > b; });
        for (const QString& folder : qAsConst(folders)) {
            m_root.rmdir(folder);
        }
    }

    FileError place(int index, const CancelFlag& cancelled)
    {
        const PackageFile& file = m_record.manifest.files.at(index);
        const QString destination = m_folders.installed(file.path);
        const QString folder = QFileInfo(destination).absolutePath();
        if (!QDir().mkpath(folder)) {
            return FileError::write(kFolderFailed, QStringLiteral("cannot make the folder %1").arg(folder));
        }
        const FileError error = finishPart(index, file.size);
        return error.kind == FileError::Kind::None ? moveInto(m_folders.partOf(index), destination, cancelled) : error;
    }

    /// Its chunks are there. What else there may be was never compared.
    FileError finishPart(int index, qint64 size) const
    {
        QFile part(m_folders.partOf(index));
        if (size == 0) {
            const bool made = part.open(QIODevice::WriteOnly | QIODevice::Truncate);
            return made ? FileError() : writeFailure(part);
        }
        const qint64 there = part.size();
        if (there < size) {
            return FileError::write(kReadFailed,
                                    QStringLiteral("%1 has %2 bytes instead of %3")
                                        .arg(part.fileName(), QString::number(there), QString::number(size)));
        }
        return there == size || part.resize(size) ? FileError() : writeFailure(part);
    }

    FileError writeRecord()
    {
        m_record.times.clear();
        for (const PackageFile& file : m_record.manifest.files) {
            const QString path = m_folders.installed(file.path);
            setExecutable(path, file.executable);
            m_record.times.append(modificationTime(QFileInfo(path)));
        }
        const QString problem = saveRecord(m_folders.install, m_record);
        return problem.isEmpty() ? FileError() : FileError::write(kWriteFailed, problem);
    }

    const InstallFolders& m_folders;
    const QDir m_root;
    const InstallPlan& m_plan;
    const PackageManifest& m_installed;
    InstallRecord& m_record;
};

} // namespace

FileError stageChunk(const InstallFolders& folders, const ChunkOrder& order, const QByteArray& content,
                     const CancelFlag& cancelled)
{
    QFile part;
    for (const ChunkOrder::Target& target : order.targets) {
        if (cancelled) {
            return {};
        }
        const QString path = folders.partOf(target.file);
        clearSystemError();
        if (part.fileName() != path) {
            part.close();
            part.setFileName(path);
        }
        // A chunk of zeros may be wanted thousands of times in one file, whose targets are in a row.
        const bool open = part.isOpen() || part.open(QIODevice::ReadWrite | QIODevice::Unbuffered);
        if (!open || !part.seek(target.offset) || part.write(content) != content.size()) {
            return writeFailure(part);
        }
    }
    return {};
}

bool readLocalChunk(const ChunkOrder& order, const ChunkSpec& chunk, QByteArray& content)
{
    QFile source(order.sourcePath);
    if (!source.open(QIODevice::ReadOnly | QIODevice::Unbuffered) || !source.seek(order.sourceOffset)) {
        return false;
    }
    content = source.read(chunk.size);
    return content.size() == chunk.size && digestOf(content) == chunk.digest;
}

FileError commitInstallation(const InstallFolders& folders, const InstallPlan& plan, const PackageManifest& installed,
                             InstallRecord record, const CancelFlag& cancelled, std::atomic<qint64>& done)
{
    const FileError error = Commit(folders, plan, installed, record).run(cancelled, done);
    if (error.kind == FileError::Kind::None && !cancelled) {
        removeStaging(folders);
    }
    return error;
}

void removeOtherBuilds(const InstallFolders& folders)
{
    const QDir builds = QFileInfo(folders.staging).dir();
    const QString present = QFileInfo(folders.staging).fileName();
    const QStringList names = builds.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString& name : names) {
        if (name != present && isDigest(name.toLatin1())) {
            removeStaging({folders.install, builds.filePath(name)});
        }
    }
}

void removeStaging(const InstallFolders& folders)
{
    QDir staging(folders.staging);
    const QStringList parts = staging.entryList({QStringLiteral("*.part")}, QDir::Files);
    for (const QString& part : parts) {
        staging.remove(part);
    }
    const QString build = staging.dirName();
    if (staging.cdUp()) {
        staging.rmdir(build);
        QDir above(staging);
        const QString package = above.dirName();
        if (above.cdUp()) {
            above.rmdir(package);
        }
    }
}

} // namespace VantorEngine

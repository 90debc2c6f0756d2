// SPDX-License-Identifier: MIT
#include "package/PackagePublisher.h"

#include "FileNames.h"
#include "FileSystem.h"
#include "WorkerPool.h"
#include "package/ChunkCodec.h"
#include "package/PackagePaths.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QSet>

#include <algorithm>
#include <atomic>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace VantorEngine {

namespace {

/// Content that is read and not encoded yet.
constexpr qint64 kBatchBytes = qint64(64) * 1024 * 1024;
constexpr int kReadBytes = 4 * 1024 * 1024;
/// On Windows there is no such mark.
constexpr bool kTellsExecutables = kNativeNameRules != NameRules::Windows;

/// Calls \a work for every index below \a count, on as many threads as there are processors.
void inParallel(std::size_t count, const std::function<void(std::size_t)>& work)
{
    std::atomic<std::size_t> next{0};
    const auto run = [&] {
        for (std::size_t i = next++; i < count; i = next++) {
            work(i);
        }
    };
    std::vector<std::thread> threads;
    for (std::size_t i = 1; i < std::min(count, WorkerPool::width()); ++i) {
        threads.emplace_back(run);
    }
    run();
    for (std::thread& thread : threads) {
        thread.join();
    }
}

/// Written into a folder that is there, beside its place and renamed, so that it is whole wherever it is seen. Not
/// forced onto the disk: of a large package that would take longer than all the rest.
QString writeWhole(const QString& path, const QByteArray& content)
{
    QFile file(path + QLatin1String("_tmp"));
    ReplaceProblem problem;
    const bool written = file.open(QIODevice::WriteOnly) && file.write(content) == content.size() && file.flush();
    file.close();
    if (!written) {
        return QStringLiteral("cannot write %1: %2").arg(path, file.errorString());
    }
    return replaceFile(file.fileName(), path, problem)
               ? QString()
               : QStringLiteral("cannot write %1: %2").arg(path, problem.message);
}

/// The path without links, as far as it is there.
QString resolved(const QString& path)
{
    QFileInfo there(QDir::cleanPath(QFileInfo(path).absoluteFilePath()));
    QString missing;
    while (!there.exists() && !there.isRoot()) {
        missing.prepend(QLatin1Char('/') + there.fileName());
        there.setFile(there.path());
    }
    return there.canonicalFilePath() + missing;
}

bool isWithin(const QString& path, const QString& folder)
{
    constexpr Qt::CaseSensitivity kCase =
        kNativeNameRules == NameRules::Windows ? Qt::CaseInsensitive : Qt::CaseSensitive;
    return (resolved(path) + QLatin1Char('/')).startsWith(resolved(folder) + QLatin1Char('/'), kCase);
}

class Publisher
{
public:
    explicit Publisher(const PublishOrder& order)
        : m_order(order), m_root(order.folder), m_out(QDir(order.out).absolutePath() + QLatin1Char('/'))
    {
    }

    PublishResult run()
    {
        m_manifest.package = m_order.package;
        m_manifest.branch = m_order.branch;
        m_manifest.version = m_order.version;
        check();
        listFolder();
        for (int i = 0; i < m_manifest.files.size() && ok(); ++i) {
            readFile(m_manifest.files[i]);
        }
        encodeBatch();
        publishManifest();
        m_result.files = m_manifest.files.size();
        m_result.chunks = m_manifest.chunks.size();
        return m_result;
    }

private:
    struct Piece
    {
        int chunk = 0;
        QByteArray content;
    };

    bool ok() const { return m_result.problem.isEmpty(); }

    void fail(const QString& problem)
    {
        if (ok()) {
            m_result.problem = problem; // an empty one changes nothing
        }
    }

    void check()
    {
        for (const QString& name : {m_order.package, m_order.branch}) {
            const QString problem = packageNameProblem(name);
            if (!problem.isEmpty()) {
                fail(QStringLiteral("\"%1\" cannot be used: %2").arg(name, problem));
            }
        }
        if (m_order.version.isEmpty()) {
            fail(QStringLiteral("the version is missing"));
        }
        if (!m_root.exists()) {
            fail(QStringLiteral("there is no folder %1").arg(m_order.folder));
        }
        // The next version would hold this one.
        if (isWithin(m_order.out, m_order.folder)) {
            fail(QStringLiteral("%1 lies within %2, which is to be published").arg(m_order.out, m_order.folder));
        }
    }

    void listFolder()
    {
        QStringList files;
        QStringList folders;
        QDirIterator it(m_root.path(), QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                        QDirIterator::Subdirectories);
        while (it.hasNext() && ok()) {
            it.next();
            const QFileInfo info = it.fileInfo();
            const QString path = m_root.relativeFilePath(info.filePath());
            if (info.isSymLink() || (!info.isDir() && !info.isFile())) {
                fail(QStringLiteral("%1 is neither a file nor a folder").arg(path));
            } else if (info.isFile()) {
                files.append(path);
            } else if (QDir(info.filePath()).isEmpty()) {
                folders.append(path);
            }
        }
        // Always the same order: the same content gives the same manifest, whatever the disk's order is.
        std::sort(files.begin(), files.end());
        std::sort(folders.begin(), folders.end());
        takePaths(files, folders);
    }

    void takePaths(const QStringList& files, const QStringList& folders)
    {
        PackagePathSet paths;
        for (const QString& path : files) {
            refuse(path, packagePathProblem(path));
            refuse(path, paths.addFile(path));
            PackageFile file;
            file.path = path;
            m_manifest.files.append(file);
        }
        for (const QString& path : folders) {
            refuse(path, packagePathProblem(path));
            refuse(path, paths.addFolder(path));
            m_manifest.folders.append(path);
        }
    }

    void refuse(const QString& path, const QString& problem)
    {
        if (!problem.isEmpty()) {
            fail(QStringLiteral("%1: %2").arg(path, problem));
        }
    }

    void readFile(PackageFile& file)
    {
        QFile source(m_root.filePath(file.path));
        if (!source.open(QIODevice::ReadOnly)) {
            fail(QStringLiteral("cannot read %1: %2").arg(source.fileName(), source.errorString()));
            return;
        }
        file.executable = kTellsExecutables && (source.permissions() & QFileDevice::ExeOwner) != 0;
        QByteArray rest;
        bool last = false;
        while (!last && ok()) {
            const QByteArray slice = source.read(kReadBytes);
            if (slice.isEmpty() && source.error() != QFileDevice::NoError) {
                fail(QStringLiteral("cannot read %1: %2").arg(source.fileName(), source.errorString()));
                return;
            }
            last = slice.isEmpty();
            rest.append(slice);
            cut(file, rest, last);
        }
    }

    void cut(PackageFile& file, QByteArray& rest, bool last)
    {
        int begin = 0;
        while (begin < rest.size()) {
            const int length = chunkLength(rest.constData() + begin, rest.size() - begin, last, m_order.limits);
            if (length == 0) {
                break;
            }
            take(file, rest.mid(begin, length));
            begin += length;
        }
        rest.remove(0, begin);
    }

    void take(PackageFile& file, const QByteArray& content)
    {
        file.size += content.size();
        m_result.bytes += content.size();
        file.chunks.append(-1);
        m_batch.push_back({file.chunks.size() - 1, content});
        m_batchFiles.push_back(static_cast<int>(&file - m_manifest.files.data()));
        m_batchBytes += content.size();
        if (m_batchBytes >= kBatchBytes) {
            encodeBatch();
        }
    }

    /// Digests first, all at once; then what is new is compressed and written, also all at once.
    void encodeBatch()
    {
        std::vector<QByteArray> digests(m_batch.size());
        inParallel(m_batch.size(), [this, &digests](std::size_t i) { digests[i] = digestOf(m_batch[i].content); });
        for (std::size_t i = 0; i < m_batch.size(); ++i) {
            const int chunk = chunkOf(digests[i], m_batch[i].content.size());
            m_manifest.files[m_batchFiles[i]].chunks[m_batch[i].chunk] = chunk;
            ChunkSpec* const entry = &m_manifest.chunks[chunk];
            if (entry->stored == 0) {
                entry->stored = -1; // under way
                m_fresh.push_back({chunk, m_batch[i].content});
            }
        }
        ChunkSpec* const entries = m_manifest.chunks.data(); // no thread may detach the vector
        // Not on the threads: two that make the same folder at the same moment can get in each other's way on Windows.
        for (const Piece& piece : m_fresh) {
            makeFolderOf(m_out + chunkPath(m_order.package, m_manifest.chunks.at(piece.chunk).digest));
        }
        inParallel(m_fresh.size(),
                   [this, entries](std::size_t i) { publishChunk(entries[m_fresh[i].chunk], m_fresh[i].content); });
        m_fresh.clear();
        m_batch.clear();
        m_batchFiles.clear();
        m_batchBytes = 0;
    }

    void makeFolderOf(const QString& path)
    {
        const QString folder = QFileInfo(path).absolutePath();
        if (m_folders.contains(folder)) {
            return;
        }
        if (QDir().mkpath(folder)) {
            m_folders.insert(folder);
        } else {
            fail(QStringLiteral("cannot make the folder %1").arg(folder));
        }
    }

    int chunkOf(const QByteArray& digest, qint64 size)
    {
        const auto known = m_chunkByDigest.constFind(digest);
        if (known != m_chunkByDigest.constEnd()) {
            return *known;
        }
        const int index = m_manifest.chunks.size();
        m_chunkByDigest.insert(digest, index);
        m_manifest.chunks.append({digest, size, 0});
        return index;
    }

    /// Any thread. A chunk that is published already keeps its form, whatever level it was compressed at.
    void publishChunk(ChunkSpec& entry, const QByteArray& content)
    {
        const QString path = m_out + chunkPath(m_order.package, entry.digest);
        const QFileInfo published(path);
        if (published.isFile() && published.size() > 0 && published.size() <= entry.size) {
            entry.stored = published.size();
            return;
        }
        const QByteArray stored = encodeChunk(content, m_order.level);
        entry.stored = stored.size();
        const QString problem = writeWhole(path, stored);
        const std::lock_guard<std::mutex> lock(m_mutex);
        fail(problem);
        ++m_result.newChunks;
        m_result.newStored += stored.size();
    }

    void publishManifest()
    {
        if (!ok()) {
            return;
        }
        const QByteArray text = manifestText(m_manifest);
        const QByteArray digest = digestOf(text);
        const QString manifest = m_out + manifestPath(m_order.package, digest);
        const QString pointer = m_out + pointerPath(m_order.package, m_order.branch);
        makeFolderOf(manifest);
        makeFolderOf(pointer);
        fail(writeWhole(manifest, text));
        if (ok()) {
            fail(writeWhole(pointer, pointerText(m_manifest, digest, text.size())));
        }
        m_result.build = digest;
    }

    const PublishOrder& m_order;
    const QDir m_root;
    const QString m_out; ///< with a slash at the end; QDir is not for several threads
    PackageManifest m_manifest;
    PublishResult m_result;
    QHash<QByteArray, int> m_chunkByDigest;
    std::vector<Piece> m_batch;    ///< `chunk` is the place within its file
    std::vector<int> m_batchFiles; ///< the file of each piece
    std::vector<Piece> m_fresh;    ///< `chunk` is the place within the manifest
    qint64 m_batchBytes = 0;
    QSet<QString> m_folders; ///< that are there
    std::mutex m_mutex;      ///< guards m_result while chunks are published
};

} // namespace

PublishResult publishPackage(const PublishOrder& order)
{
    return Publisher(order).run();
}

} // namespace VantorEngine

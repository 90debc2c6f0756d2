// SPDX-License-Identifier: MIT
#include "package/InstallPlan.h"

#include "FileNames.h"

#include <QDir>
#include <QFile>
#include <QHash>

namespace VantorEngine {

namespace {

/// What two manifests call the same file on this system.
QString fileKey(const QString& path)
{
    return pathKey(path);
}

QHash<QString, int> filesByKey(const PackageManifest& manifest)
{
    QHash<QString, int> files;
    for (int i = 0; i < manifest.files.size(); ++i) {
        files.insert(fileKey(manifest.files.at(i).path), i);
    }
    return files;
}

bool haveSameContent(const PackageManifest& a, const PackageFile& fileOfA, const PackageManifest& b,
                     const PackageFile& fileOfB)
{
    if (fileOfA.size != fileOfB.size || fileOfA.chunks.size() != fileOfB.chunks.size()) {
        return false;
    }
    for (int i = 0; i < fileOfA.chunks.size(); ++i) {
        if (a.chunks.at(fileOfA.chunks.at(i)).digest != b.chunks.at(fileOfB.chunks.at(i)).digest) {
            return false;
        }
    }
    return true;
}

class Planner
{
public:
    Planner(const InstallFolders& folders, const PackageManifest& manifest, const InstallRecord& record,
            const Survey& survey)
        : m_folders(folders), m_manifest(manifest), m_record(record), m_survey(survey)
    {
    }

    InstallPlan run()
    {
        takeExaminations();
        takeUntouchedFiles();
        for (int file = 0; file < m_manifest.files.size(); ++file) {
            if (!m_intact.at(file)) {
                orderFile(file);
            }
        }
        splitOrders();
        listObsolete();
        return m_plan;
    }

private:
    struct Place
    {
        QString path;
        qint64 offset = 0;
    };

    void takeExaminations()
    {
        m_intact = m_survey.intact;
        m_staged.resize(m_manifest.files.size());
        for (const Examination& examination : m_survey.examinations) {
            const PackageFile& file = m_manifest.files.at(examination.file);
            const bool whole = !examination.matches.contains(false) && examination.size == file.size;
            if (examination.staged) {
                m_staged[examination.file] = examination.matches;
            } else if (whole) {
                m_intact[examination.file] = true;
            }
            const QString path =
                examination.staged ? m_folders.partOf(examination.file) : m_folders.installed(file.path);
            qint64 offset = 0;
            for (int i = 0; i < file.chunks.size(); ++i) {
                if (examination.matches.value(i)) {
                    m_places.insert(file.chunks.at(i), {path, offset});
                }
                offset += m_manifest.chunks.at(file.chunks.at(i)).size;
            }
        }
    }

    void takeUntouchedFiles()
    {
        QHash<QByteArray, int> wanted;
        for (int i = 0; i < m_manifest.chunks.size(); ++i) {
            wanted.insert(m_manifest.chunks.at(i).digest, i);
        }
        for (const int index : m_survey.untouched) {
            const PackageFile& file = m_record.manifest.files.at(index);
            qint64 offset = 0;
            for (const int chunk : file.chunks) {
                const ChunkSpec& entry = m_record.manifest.chunks.at(chunk);
                const auto found = wanted.constFind(entry.digest);
                if (found != wanted.constEnd() && !m_places.contains(*found)) {
                    m_places.insert(*found, {m_folders.installed(file.path), offset});
                }
                offset += entry.size;
            }
        }
    }

    void orderFile(int index)
    {
        m_plan.toWrite.append(index);
        const PackageFile& file = m_manifest.files.at(index);
        qint64 offset = 0;
        for (int i = 0; i < file.chunks.size(); ++i) {
            const int chunk = file.chunks.at(i);
            if (!m_staged.at(index).value(i)) {
                orderChunk(chunk, {index, offset});
            }
            offset += m_manifest.chunks.at(chunk).size;
        }
    }

    void orderChunk(int chunk, const ChunkOrder::Target& target)
    {
        auto known = m_orderByChunk.find(chunk);
        if (known == m_orderByChunk.end()) {
            known = m_orderByChunk.insert(chunk, m_orders.size());
            ChunkOrder order;
            order.chunk = chunk;
            m_orders.append(order);
        }
        m_orders[*known].targets.append(target);
    }

    void splitOrders()
    {
        for (ChunkOrder& order : m_orders) {
            const auto place = m_places.constFind(order.chunk);
            if (place != m_places.constEnd()) {
                order.sourcePath = place->path;
                order.sourceOffset = place->offset;
                m_plan.copies.append(order);
                continue;
            }
            m_plan.fetches.append(order);
            m_plan.fetchStored += m_manifest.chunks.at(order.chunk).stored;
            m_plan.fetchSize += m_manifest.chunks.at(order.chunk).size;
        }
    }

    void listObsolete()
    {
        const QHash<QString, int> wanted = filesByKey(m_manifest);
        for (const PackageFile& file : m_record.manifest.files) {
            if (!wanted.contains(fileKey(file.path))) {
                m_plan.toRemove.append(file.path);
            }
        }
        qint64 total = 0;
        for (const PackageFile& file : m_manifest.files) {
            total += file.size;
        }
        m_plan.addedBytes = total - m_survey.presentBytes;
    }

    const InstallFolders& m_folders;
    const PackageManifest& m_manifest;
    const InstallRecord& m_record;
    const Survey& m_survey;
    InstallPlan m_plan;
    QVector<bool> m_intact;
    QVector<QVector<bool>> m_staged; ///< per file: which of its chunks are in its part already
    QHash<int, Place> m_places;      ///< per chunk
    QHash<int, int> m_orderByChunk;
    QVector<ChunkOrder> m_orders;
};

} // namespace

QString InstallFolders::partOf(int file) const
{
    return QDir(staging).filePath(QStringLiteral("%1.part").arg(file));
}

QString InstallFolders::installed(const QString& path) const
{
    return QDir(install).filePath(path);
}

Survey surveyInstallation(const InstallFolders& folders, const PackageManifest& manifest, const InstallRecord& record,
                          bool readAll, const CancelFlag& cancelled)
{
    Survey survey;
    survey.intact.fill(false, manifest.files.size());
    const QHash<QString, int> wanted = filesByKey(manifest);
    for (int i = 0; i < record.manifest.files.size() && !cancelled; ++i) {
        const QFileInfo onDisk(folders.installed(record.manifest.files.at(i).path));
        if (!readAll && record.isUntouched(i, onDisk)) {
            survey.untouched.insert(i);
        }
        if (onDisk.isFile() && !wanted.contains(fileKey(record.manifest.files.at(i).path))) {
            survey.presentBytes += onDisk.size();
        }
    }
    const QHash<QString, int> recorded = filesByKey(record.manifest);
    for (int i = 0; i < manifest.files.size() && !cancelled; ++i) {
        const PackageFile& file = manifest.files.at(i);
        const QFileInfo onDisk(folders.installed(file.path));
        const qint64 size = onDisk.isFile() ? onDisk.size() : -1;
        survey.presentBytes += qMax<qint64>(0, size);
        const int known = recorded.value(fileKey(file.path), -1);
        const bool trusted = known >= 0 && survey.untouched.contains(known);
        if (file.size == 0) {
            survey.intact[i] = size == 0;
            continue;
        }
        survey.intact[i] = trusted && haveSameContent(record.manifest, record.manifest.files.at(known), manifest, file);
        if (size > 0 && !trusted) {
            survey.examinations.append({i, false, size, {}});
        }
        const QFileInfo part(folders.partOf(i));
        if (!survey.intact.at(i) && part.isFile() && part.size() > 0) {
            survey.examinations.append({i, true, part.size(), {}});
        }
    }
    return survey;
}

void examine(const InstallFolders& folders, const PackageManifest& manifest, Examination& examination,
             const CancelFlag& cancelled, std::atomic<qint64>& done)
{
    const PackageFile& file = manifest.files.at(examination.file);
    examination.matches.fill(false, file.chunks.size());
    QFile content(examination.staged ? folders.partOf(examination.file) : folders.installed(file.path));
    if (!content.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return; // what cannot be read is not there
    }
    for (int i = 0; i < file.chunks.size() && !cancelled; ++i) {
        const ChunkSpec& chunk = manifest.chunks.at(file.chunks.at(i));
        const QByteArray bytes = content.read(chunk.size);
        examination.matches[i] = bytes.size() == chunk.size && digestOf(bytes) == chunk.digest;
        ++done;
    }
}

InstallPlan planInstallation(const InstallFolders& folders, const PackageManifest& manifest,
                             const InstallRecord& record, const Survey& survey)
{
    return Planner(folders, manifest, record, survey).run();
}

} // namespace VantorEngine

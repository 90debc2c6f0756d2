// SPDX-License-Identifier: MIT
#pragma once

#include "package/InstallRecord.h"

#include <QSet>
#include <QVector>

#include <atomic>

namespace VantorEngine {

/// Set from the engine's thread to end work on others within a chunk's time.
using CancelFlag = std::atomic<bool>;

/// Where an installation lies.
struct InstallFolders
{
    QString install; ///< the package's files
    QString staging; ///< the files of one build that are being assembled, one "<number>.part" each

    QString partOf(int file) const;
    QString installed(const QString& path) const;
};

/// A file, in place or staged, of which nothing is known but that it may hold chunks of the version wanted.
struct Examination
{
    int file = 0; ///< of the manifest
    bool staged = false;
    qint64 size = 0;       ///< bytes on disk
    QVector<bool> matches; ///< by examine(): which of the file's chunks are there, each in its place
};

/// What is on disk, as far as that can be told without reading it.
struct Survey
{
    QVector<bool> intact; ///< per file of the manifest: nothing to do
    QVector<Examination> examinations;
    QSet<int> untouched;     ///< files of the record that are as they were installed
    qint64 presentBytes = 0; ///< of files in place that belong to the version wanted or the one installed
};

/// \param readAll trust nothing: every file of the manifest that is in place is read.
Survey surveyInstallation(const InstallFolders& folders, const PackageManifest& manifest, const InstallRecord& record,
                          bool readAll, const CancelFlag& cancelled);

/// Reads a file and compares it with its chunks.
/// \param done counts the chunks read.
void examine(const InstallFolders& folders, const PackageManifest& manifest, Examination& examination,
             const CancelFlag& cancelled, std::atomic<qint64>& done);

/// A chunk that is needed, where it is needed, and where it may be on disk.
struct ChunkOrder
{
    struct Target
    {
        int file = 0;
        qint64 offset = 0;
    };

    int chunk = 0;
    QVector<Target> targets;
    QString sourcePath; ///< empty: nowhere
    qint64 sourceOffset = 0;
};

/// What is to be done to get from what is on disk to the version wanted.
struct InstallPlan
{
    QVector<int> toWrite;        ///< files to assemble and put in place
    QVector<ChunkOrder> copies;  ///< chunks that should be on disk
    QVector<ChunkOrder> fetches; ///< chunks that are not
    QStringList toRemove;        ///< files of the installed version that the wanted one has not
    qint64 fetchStored = 0;      ///< bytes to transfer
    qint64 fetchSize = 0;        ///< the same, decompressed
    qint64 addedBytes = 0;       ///< by how much the installation grows; negative when it shrinks
};

InstallPlan planInstallation(const InstallFolders& folders, const PackageManifest& manifest,
                             const InstallRecord& record, const Survey& survey);

} // namespace VantorEngine

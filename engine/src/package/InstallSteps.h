// SPDX-License-Identifier: MIT
#pragma once

#include "FileError.h"
#include "package/InstallPlan.h"

namespace VantorEngine {

/// Writes a chunk's content to every place in the staged files that wants it, or, once cancelled, to no more of them.
/// Any thread.
FileError stageChunk(const InstallFolders& folders, const ChunkOrder& order, const QByteArray& content,
                     const CancelFlag& cancelled);

/// Reads a chunk from where it should be on disk. Any thread. \return false when it is not there.
bool readLocalChunk(const ChunkOrder& order, const ChunkSpec& chunk, QByteArray& content);

/// Puts the assembled files in place, takes away what the version has not, and writes the record. A process that is
/// killed in the middle leaves files that are old or new, never in between, and the next run goes on.
/// \param record the build and its manifest; the times are filled in.
/// \param done counts the files put in place.
FileError commitInstallation(const InstallFolders& folders, const InstallPlan& plan, const PackageManifest& installed,
                             InstallRecord record, const CancelFlag& cancelled, std::atomic<qint64>& done);

/// Removes what other builds of the package left in the staging folder. Only what looks like the engine's own.
void removeOtherBuilds(const InstallFolders& folders);
/// Removes the staged files, and their folders when those are empty then.
void removeStaging(const InstallFolders& folders);

} // namespace VantorEngine

// SPDX-License-Identifier: MIT
#pragma once

#include "package/Chunker.h"
#include "package/PackageManifest.h"

#include <QString>

namespace VantorEngine {

/// What to publish, where to and as what.
struct PublishOrder
{
    QString folder;  ///< the files
    QString out;     ///< published for a web server to serve; may hold other packages and versions
    QString package; ///< id
    QString branch;
    QString version;
    int level = 6; ///< of compression, 0 to 9
    ChunkLimits limits;
};

/// How it went.
struct PublishResult
{
    QString problem; ///< why nothing new is to be seen by clients; empty: it is published
    QByteArray build;
    int files = 0;
    int chunks = 0;
    int newChunks = 0;    ///< not published by an earlier version
    qint64 bytes = 0;     ///< of the files
    qint64 newStored = 0; ///< bytes of the new chunks as they are published
};

/// Publishes a folder as a version of a package: its chunks, its manifest, and last of all the branch's pointer, each
/// file in one step, so that clients of the same moment see the old version or the new one.
PublishResult publishPackage(const PublishOrder& order);

} // namespace VantorEngine

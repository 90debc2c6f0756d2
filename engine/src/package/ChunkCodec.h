// SPDX-License-Identifier: MIT
#pragma once

#include "package/PackageManifest.h"

namespace VantorEngine {

/// A chunk's published form: Qt's compressed form (a big-endian 32-bit length and a zlib stream), or the content
/// itself when that is not longer.
QByteArray encodeChunk(const QByteArray& content, int level);

/// Gets a chunk's content back and compares its digest.
/// \return false when \a stored is not what the manifest says.
bool decodeChunk(const QByteArray& stored, const ChunkSpec& chunk, QByteArray& content);

} // namespace VantorEngine

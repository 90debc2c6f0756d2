// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

namespace VantorEngine {

/// How long chunks are, bytes.
struct ChunkLimits
{
    int least = 128 * 1024;
    int most = 1024 * 1024;
    int maskBits = 18; ///< past the least length a boundary comes every 2^maskBits bytes on average
};

/// Finds the end of the first chunk of some content.
///
/// Where a chunk ends depends on the 64 bytes before its end and nothing else, apart from the two limits: bytes that
/// are inserted or removed move the boundaries around them, and the chunks further on stay the same.
/// \param length of \a data; when it is the content's rest, \a last must be true
/// \return the chunk's length; 0 when more of the content is needed to tell
int chunkLength(const char* data, int length, bool last, const ChunkLimits& limits = {});

} // namespace VantorEngine

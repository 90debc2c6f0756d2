// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

namespace VantorEngine {

/// "error_code" of a chunk task that this engine cannot run.
constexpr int kChunkTasksUnsupported = 100;

/// A chunk task's guid and the answer to it.
struct ChunkAnswer
{
    QByteArray guid;
    QByteArray text;
};

/// The completed "Failed" response to a chunk request. The guid is the request's, or a new one when it has none.
ChunkAnswer chunkAnswer(const QByteArray& request);

} // namespace VantorEngine

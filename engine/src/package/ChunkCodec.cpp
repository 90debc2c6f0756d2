// SPDX-License-Identifier: MIT
#include "package/ChunkCodec.h"

#include <QtEndian>

namespace VantorEngine {

namespace {

constexpr int kLengthBytes = 4;

bool inflate(const QByteArray& stored, qint64 size, QByteArray& content)
{
    // The length is looked at first: Qt allocates as much as it says.
    if (stored.size() <= kLengthBytes || qFromBigEndian<quint32>(stored.constData()) != static_cast<quint32>(size)) {
        return false;
    }
    content = qUncompress(stored);
    return content.size() == size;
}

} // namespace

QByteArray encodeChunk(const QByteArray& content, int level)
{
    const QByteArray compressed = qCompress(content, level);
    return compressed.size() < content.size() ? compressed : content;
}

bool decodeChunk(const QByteArray& stored, const ChunkSpec& chunk, QByteArray& content)
{
    if (stored.size() != chunk.stored) {
        return false;
    }
    if (chunk.stored == chunk.size) {
        content = stored;
    } else if (!inflate(stored, chunk.size, content)) {
        return false;
    }
    return digestOf(content) == chunk.digest;
}

} // namespace VantorEngine

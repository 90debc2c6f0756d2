// SPDX-License-Identifier: MIT
#pragma once

#include "Coverage.h"

#include <QByteArray>
#include <QFile>
#include <QString>

namespace VantorEngine {

/// Which version of a file on a server bytes belong to.
struct FileVersion
{
    QString url;          ///< as the list gives it
    QString finalUrl;     ///< after redirects
    QByteArray validator; ///< a strong ETag, in quotes, or a Last-Modified date; empty: the server tells neither
    qint64 size = -1;     ///< of the whole file; -1: unknown
};

/// What the state file beside a partial file says.
struct PartialState
{
    bool valid = false; ///< false: missing, damaged or of another kind
    FileVersion version;
    Coverage onDisk;
    bool handedToThisSystem = false; ///< false: the system was started anew since, and may have lost bytes in its cache
};

/// The state file of a partial file: of which version it is, and which of its bytes are known to be on disk.
///
/// It is made in one step, by renaming, and holds two records of the bytes on disk that are overwritten in turns. Head
/// and records carry digests, so that a write that was interrupted at any moment leaves the record before, or no state
/// at all, but never a wrong one.
class StateFile
{
public:
    explicit StateFile(const QString& path);

    PartialState read() const;
    /// Makes the file anew. Failing does no harm but that a later run starts over.
    bool create(const FileVersion& version, const Coverage& onDisk);
    bool isOpen() const { return m_file.isOpen(); }
    /// Notes which bytes are on disk. The file must be open.
    bool record(const Coverage& onDisk);
    void close() { m_file.close(); }
    /// \return false when it is still there.
    bool remove();

    static constexpr int kRecordBytes = 512;
    static constexpr char kFreshSuffix[] = ".new"; ///< of the file while it is made

private:
    bool fill(const QString& path, const QByteArray& content) const;

    QFile m_file;
    qint64 m_recordsAt = 0;
    quint64 m_sequence = 0;
};

} // namespace VantorEngine

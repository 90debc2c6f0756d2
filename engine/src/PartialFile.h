// SPDX-License-Identifier: MIT
#pragma once

#include "FileError.h"

#include <QFile>
#include <QString>

namespace VantorEngine {

/// The file a download is written to, "<destination>_tmp", until it is complete and renamed.
/// Writes go straight to the system, so that what a killed process leaves behind is what it had reported.
class PartialFile
{
public:
    explicit PartialFile(const QString& destination);

    QString path() const { return m_file.fileName(); }
    /// Bytes on disk, 0 when there is no file.
    qint64 size() const;

    /// Opens for writing at \a offset, cutting off what lies behind it.
    bool open(qint64 offset);
    bool isOpen() const { return m_file.isOpen(); }
    bool write(const char* data, qint64 length);
    /// \return false when the last bytes did not reach the system.
    bool close();
    void remove();
    /// Renames over the destination. The file must be closed.
    bool moveInto(const QString& destination);

    /// Why the last operation failed.
    const FileError& error() const { return m_error; }

private:
    bool fail(WriteErrorCode code);

    QFile m_file;
    FileError m_error;
};

} // namespace VantorEngine

// SPDX-License-Identifier: MIT
#pragma once

#include "FileError.h"

#include <QFile>
#include <QString>

namespace VantorEngine {

/// The file a download is written to, "<destination>_tmp", until it is complete and renamed. It may have holes while
/// several parts of it are fetched at once.
/// Writes go straight to the system, so that what a killed process leaves behind is what it had reported.
class PartialFile
{
public:
    explicit PartialFile(const QString& destination);

    QString path() const { return m_file.fileName(); }
    /// The file's length on disk, 0 when there is no file.
    qint64 size() const;

    /// Opens for writing, cutting off what lies behind \a keep.
    bool open(qint64 keep);
    bool isOpen() const { return m_file.isOpen(); }
    bool write(qint64 at, const char* data, qint64 length);
    /// \return false when the last bytes did not reach the system.
    bool close();
    void remove();
    /// Renames over the destination. The file must be closed.
    /// \param busy set when another program holds one of the files: it may work later.
    bool moveInto(const QString& destination, bool& busy);

    /// Why the last operation failed.
    const FileError& error() const { return m_error; }

private:
    bool fail(WriteErrorCode code);

    QFile m_file;
    FileError m_error;
};

} // namespace VantorEngine

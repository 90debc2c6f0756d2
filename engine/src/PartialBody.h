// SPDX-License-Identifier: MIT
#pragma once

#include "Coverage.h"
#include "PartialFile.h"
#include "StateFile.h"

#include <QElapsedTimer>
#include <QString>

namespace VantorEngine {

/// What of a file is on disk before it is complete: the partial file, and beside it the state file that says of which
/// version its bytes are and which of them are there.
///
/// Bytes are written first and noted then; and before bytes of another version are written, the note of the old one is
/// removed. So a process that is killed at any moment leaves what the note says, or no note.
class PartialBody
{
public:
    explicit PartialBody(const QString& destination);

    QString path() const { return m_file.path(); }
    /// What is known of the version whose bytes are there; all fields unknown while there are none.
    const FileVersion& version() const { return m_version; }
    const Coverage& onDisk() const { return m_onDisk; }
    /// Changes with every start from nothing.
    int generation() const { return m_generation; }

    /// Takes up what an earlier run left of \a url. Nothing, when the state file is missing, damaged, of another URL
    /// or size, or says more than the partial file holds.
    /// \param size as the list has it, -1: unknown.
    /// \param verified whether a digest will tell that a power failure has taken bytes that were not on the disk yet.
    /// Without one, only what was handed to the system since its start is taken up.
    void load(const QString& url, qint64 size, bool verified);
    /// Whether the partial file is as long as it was left. While it is closed, others may remove or cut it.
    bool isIntact() const;
    /// Counts what is there as nothing. The files stay until something is written.
    void forget();

    /// Opens for a version of which nothing is there yet: starts over.
    /// \param keepsState whether a later run may go on from it.
    bool begin(const FileVersion& version, bool keepsState);
    /// Opens for more of the version that is there.
    bool resume();
    bool isOpen() const { return m_file.isOpen(); }
    bool write(qint64 at, const char* data, qint64 length);
    /// Notes what was written last. To be called a moment after a write: what comes quickly is not noted with each.
    void noteNow();
    /// Notes what is there and closes. \return false when the last bytes did not reach the system.
    bool close();
    /// Removes both files.
    void remove();
    /// Removes what an earlier run has left, if it says that it is that.
    void clearAway();
    /// Renames over the destination and removes the state file.
    bool moveInto(const QString& destination, bool& busy);

    /// Why the last operation failed.
    const FileError& error() const { return m_error; }

    /// A state file costs as much as a small file itself: one that comes at once needs none.
    static constexpr qint64 kStateAfterMs = 30;
    static constexpr qint64 kStateAfterBytes = qint64(512) * 1024;
    static constexpr qint64 kRecordEveryBytes = qint64(1024) * 1024;
    static constexpr qint64 kRecordEveryNs = qint64(1000) * 1000;

private:
    void note(qint64 written);
    void record();
    bool fail(const FileError& error);

    PartialFile m_file;
    StateFile m_state;
    FileVersion m_version;
    Coverage m_onDisk;
    FileError m_error;
    QElapsedTimer m_sinceOpen;
    QElapsedTimer m_sinceRecord;
    qint64 m_unrecorded = 0;
    int m_generation = 0;
    bool m_keepsState = true;
};

} // namespace VantorEngine

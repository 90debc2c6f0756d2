// SPDX-License-Identifier: MIT
#pragma once

#include "DownloadList.h"
#include "EngineServices.h"
#include "FileReport.h"
#include "Hasher.h"
#include "PartialFile.h"
#include "RetryPolicy.h"
#include "SpeedMeter.h"
#include "Transfer.h"

#include <QObject>

#include <memory>

namespace VantorEngine {

class FileJob;

/// What a group is told about its files. None of the calls may destroy the file.
class FileJobListener
{
public:
    /// The state was changed; it is worth a callback.
    virtual void fileChanged(FileJob& file) = 0;
    /// The file needs no further transfer. Comes once, after the callback that tells so.
    virtual void fileThrough(FileJob& file) = 0;
    /// Another file may be transferred now: this one is through, or waits before its next attempt.
    virtual void fileSlotFree(FileJob& file) = 0;
    /// The wait is over: the file wants to be started again.
    virtual void fileReady(FileJob& file) = 0;
    /// The end state is reached and was reported.
    virtual void fileEnded(FileJob& file) = 0;

protected:
    ~FileJobListener() = default;
};

/// One file of a group, from looking at what is on disk to the verified file in place.
///
///     start -> prepare -> attempt -> downloaded -> verify -> place -> Success
///                 |          |  ^
///                 |          v  | back-off
///                 |        failed attempt -> Failed
///                 +-> the destination is there already -> Success
class FileJob : public QObject, private TransferSink
{
    Q_OBJECT
public:
    FileJob(FileSpec wanted, const QString& groupGuid, EngineServices& services, FileJobListener& listener);
    ~FileJob() override;

    /// Starts, or goes on after a wait. The caller has a slot for it and, the first time, the path claimed.
    void start();
    /// Ends the file Cancelled, within moments. Does nothing to one that has ended.
    void cancel();
    /// Refreshes the counters that change without an event.
    void sample();

    FileState& state() { return m_state; }
    const QString& pathKey() const { return m_pathKey; } ///< empty: the name was refused
    bool holdsPath() const { return m_holdsPath; }
    void setHoldsPath(bool holds) { m_holdsPath = holds; }
    bool holdsSlot() const { return m_holdsSlot; }

private:
    void transferResponse(const ResponseHead& head, const QUrl& finalUrl) override;
    void transferData(const char* data, qint64 length) override;
    void transferEnded(const FileError& error) override;

    void setStatus(ItemStatus status);
    void prepare();
    void checkDestination();
    void onDestinationHashed(const HashResult& result);
    void acceptDestination();
    void preparePartial();
    void beginAttempt();
    void takeBody(const Verdict& verdict);
    void startOver();
    void finishBody();
    void verify();
    void onVerified(const HashResult& result);
    void place();
    void failAttempt(const FileError& error);
    void failForGood(FileError error); ///< by value: it may be one that closing the file replaces
    void end(ItemStatus status);
    void becomeThrough();
    void retryLater(int delayMs);
    void freeSlot();
    void updateWritten();
    void hash(const QString& path, void (FileJob::*next)(const HashResult&));

    const FileSpec m_spec;
    EngineServices& m_services;
    FileJobListener& m_listener;
    FileState m_state;
    const QString m_nameProblem;
    const QString m_destination;
    const QString m_pathKey;
    PartialFile m_partial;
    std::unique_ptr<Transfer> m_transfer;
    RetryPolicy m_retries;
    SpeedMeter m_speed;
    SpeedMeter m_verifySpeed;
    Hasher::Id m_hashId = 0;
    qint64 m_size = -1;  ///< -1: unknown
    qint64 m_offset = 0; ///< of the running attempt
    bool m_prepared = false;
    bool m_through = false;
    bool m_cancelled = false;
    bool m_startedOver = false;
    bool m_holdsSlot = false;
    bool m_holdsPath = false;
};

} // namespace VantorEngine

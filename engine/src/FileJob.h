// SPDX-License-Identifier: MIT
#pragma once

#include "Attempt.h"
#include "DownloadList.h"
#include "EngineServices.h"
#include "FileReport.h"
#include "Hasher.h"
#include "PartialBody.h"
#include "RetryPolicy.h"
#include "SpeedMeter.h"

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
    /// A slot is free: this file is through, waits before its next attempt, or needs a connection less.
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
///                 |          |  ^                     |
///                 |          v  | back-off            v first mismatch: once more from the start
///                 |        failed attempt -> Failed
///                 +-> the destination is there already -> Success
class FileJob : public QObject, private AttemptListener
{
    Q_OBJECT
public:
    FileJob(FileSpec wanted, const QString& groupGuid, EngineServices& services, FileJobListener& listener);
    ~FileJob() override;

    /// Looks for what is there already and sets space aside for the rest, so that a group can tell of all of it before
    /// its first file is started.
    void survey();
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
    /// One for each connection.
    int slotsHeld() const { return m_slotsHeld; }
    /// Whether the file could make use of another slot, and the use of it.
    bool canWiden() const { return m_attempt && m_attempt->canWiden(); }
    void widen();

    static constexpr qint64 kSpaceCheckMs = 1000;

private:
    void attemptResponse(const ResponseHead& head, const QUrl& finalUrl) override;
    void attemptBegun() override;
    void attemptGrew(qint64 bytes) override;
    void attemptNarrowed() override;
    void attemptComplete() override;
    void attemptRefused(const FileError& error) override;
    void attemptFailed(const FileError& error) override;

    void setStatus(ItemStatus status);
    void prepare();
    void checkDestination();
    void onDestinationHashed(const HashResult& result);
    void acceptDestination();
    void preparePartial();
    void loadPartial();
    qint64 missingBytes() const;
    bool reserveSpace();
    void releaseSpace(qint64 bytes);
    bool spaceIsLeft();
    void beginAttempt();
    void followBody();
    void startOver();
    void finishBody();
    void verify();
    void onVerified(const HashResult& result);
    void onMismatch(const HashResult& result);
    void place();
    void failForGood(FileError error); ///< by value: it may be one that closing the file replaces
    void end(ItemStatus status);
    void becomeThrough();
    void retryLater(int delayMs);
    void endAttempt();
    void freeSlots();
    void updateWritten();
    void hash(const QString& path, void (FileJob::*next)(const HashResult&));
    void onHashed(const HashResult& result, void (FileJob::*next)(const HashResult&));

    const FileSpec m_spec;
    EngineServices& m_services;
    FileJobListener& m_listener;
    FileState m_state;
    const QString m_nameProblem;
    const QString m_destination;
    const QString m_pathKey;
    const QString m_folder;
    PartialBody m_body;
    std::unique_ptr<Attempt> m_attempt;
    RetryPolicy m_retries;
    SpeedMeter m_speed;
    SpeedMeter m_verifySpeed;
    Hasher::Id m_hashId = 0;   ///< what the file waits for
    Hasher::Id m_followId = 0; ///< of the body while it comes
    int m_followedGeneration = 0;
    qint64 m_reserved = 0; ///< bytes of disk space set aside
    qint64 m_spaceCheckedMs = 0;
    int m_placeAttempts = 0;
    int m_slotsHeld = 0;
    bool m_prepared = false;
    bool m_through = false;
    bool m_cancelled = false;
    bool m_startedOver = false;
    bool m_mismatched = false;
    bool m_holdsPath = false;
};

} // namespace VantorEngine

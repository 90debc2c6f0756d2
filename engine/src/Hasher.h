// SPDX-License-Identifier: MIT
#pragma once

#include "Waker.h"

#include <QByteArray>
#include <QCryptographicHash>
#include <QHash>
#include <QObject>
#include <QString>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace VantorEngine {

/// How hashing a file ended.
struct HashResult
{
    enum class Outcome { Done, Cancelled, Unreadable };
    Outcome outcome = Outcome::Cancelled;
    QByteArray md5;  ///< lower-case hex, when done
    QString message; ///< why it is unreadable
};

/// Computes MD5 of files on threads of its own, so that transfers and cancels never wait for a disk or a digest.
/// A file can be followed while it is written: its bytes are read back soon after, from the system's cache, so that
/// little is left to do when the last one is there. The file is open only while a thread works on it.
/// Used from the engine's thread; results arrive there through its event loop.
class Hasher : public QObject
{
    Q_OBJECT
public:
    using Id = quint64;
    using Callback = std::function<void(const HashResult&)>;

    Hasher();
    ~Hasher() override;

    /// Hashes a file that is complete.
    /// \return a number for the other members, never 0.
    Id start(const QString& path, Callback callback);
    /// Hashes a file that grows; of which nothing is there yet.
    Id follow(const QString& path, Callback callback);
    /// The first \a bytes of a followed file are there, and will not be written again.
    void extend(Id id, qint64 bytes);
    /// A followed file is complete; the result can come.
    void finish(Id id);
    /// Ends the job within a slice of the file; its callback comes with Cancelled.
    void cancel(Id id);
    /// As cancel, without a callback.
    void forget(Id id);
    /// Bytes hashed so far.
    qint64 processed(Id id) const;

    static constexpr int kSliceBytes = 256 * 1024;
    static constexpr qint64 kTurnBytes = qint64(8) * 1024 * 1024;  ///< after so many, others have their turn
    static constexpr qint64 kWorthwhile = qint64(2) * 1024 * 1024; ///< less of a growing file is waited with
    static constexpr unsigned kMostThreads = 16;

private:
    struct Job
    {
        Id id = 0;
        QString path;
        std::atomic<bool> cancelled{false};
        std::atomic<qint64> processed{0};
        std::atomic<qint64> available{0};                   ///< kAll: up to the file's end
        QCryptographicHash digest{QCryptographicHash::Md5}; ///< of the thread that works on it
        bool busy = false;                                  ///< queued, or worked on; guarded by the lock
    };
    using JobPointer = std::shared_ptr<Job>;

    struct Client
    {
        JobPointer job;
        Callback callback;
    };

    static constexpr qint64 kAll = std::numeric_limits<qint64>::max();

    Id add(const QString& path, qint64 available, Callback callback);
    void queue(const JobPointer& job);
    void addThread();
    void work();
    static bool takeTurn(Job& job, QByteArray& slice, HashResult& result);
    bool wantsAnotherTurn(const Job& job) const;
    void deliverResults();

    QHash<Id, Client> m_clients;
    Id m_lastId = 0;
    Waker m_waker;
    std::vector<std::thread> m_threads;

    std::mutex m_mutex; ///< guards what follows
    std::condition_variable m_changed;
    std::deque<JobPointer> m_queue;
    std::vector<std::pair<Id, HashResult>> m_results; ///< to be delivered
    std::size_t m_idleThreads = 0;
    bool m_ending = false;
};

} // namespace VantorEngine

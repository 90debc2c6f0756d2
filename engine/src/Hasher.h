// SPDX-License-Identifier: MIT
#pragma once

#include "Waker.h"

#include <QByteArray>
#include <QHash>
#include <QObject>
#include <QString>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
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
/// Used from the engine's thread; results arrive there through its event loop.
class Hasher : public QObject
{
    Q_OBJECT
public:
    using Id = quint64;
    using Callback = std::function<void(const HashResult&)>;

    Hasher();
    ~Hasher() override;

    /// \return a number for the other members, never 0.
    Id start(const QString& path, Callback callback);
    /// Ends the job within a slice of the file; its callback comes with Cancelled.
    void cancel(Id id);
    /// As cancel, without a callback.
    void forget(Id id);
    /// Bytes hashed so far.
    qint64 processed(Id id) const;

    static constexpr int kSliceBytes = 256 * 1024;
    static constexpr unsigned kMostThreads = 4;

private:
    struct Ticket
    {
        std::atomic<bool> cancelled{false};
        std::atomic<qint64> processed{0};
    };
    struct Job
    {
        std::shared_ptr<Ticket> ticket;
        Callback callback;
    };

    struct Order
    {
        Id id = 0;
        QString path;
        std::shared_ptr<Ticket> ticket;
    };

    static HashResult hash(const QString& path, Ticket& ticket);
    void addThread();
    void work();
    void deliverResults();

    QHash<Id, Job> m_jobs;
    Id m_lastId = 0;
    Waker m_waker;
    std::vector<std::thread> m_threads;

    std::mutex m_mutex; ///< guards what follows
    std::condition_variable m_changed;
    std::deque<Order> m_orders;
    std::vector<std::pair<Id, HashResult>> m_results; ///< to be delivered
    std::size_t m_idleThreads = 0;
    bool m_ending = false;
};

} // namespace VantorEngine

// SPDX-License-Identifier: MIT
#include "Hasher.h"

#include <QCryptographicHash>
#include <QFile>
#include <QRunnable>
#include <QThread>

#include <algorithm>

namespace VantorEngine {

namespace {

class Runnable : public QRunnable
{
public:
    explicit Runnable(std::function<void()> work) : m_work(std::move(work)) {}
    void run() override { m_work(); }

private:
    std::function<void()> m_work;
};

} // namespace

Hasher::Hasher()
{
    m_pool.setMaxThreadCount(std::clamp(QThread::idealThreadCount(), 1, kMostThreads));
}

Hasher::~Hasher()
{
    for (const Job& job : std::as_const(m_jobs)) {
        job.ticket->cancelled = true;
    }
    m_pool.waitForDone();
}

Hasher::Id Hasher::start(const QString& path, Callback callback)
{
    const Id id = ++m_lastId;
    auto ticket = std::make_shared<Ticket>();
    m_jobs.insert(id, {ticket, std::move(callback)});
    // The hasher outlives its pool, so the pool's threads may name it as the receiver.
    m_pool.start(new Runnable([this, id, path, ticket] {
        const HashResult result = hash(path, *ticket);
        QMetaObject::invokeMethod(
            this, [this, id, result] { deliver(id, result); }, Qt::QueuedConnection);
    }));
    return id;
}

void Hasher::cancel(Id id)
{
    const auto job = m_jobs.constFind(id);
    if (job != m_jobs.constEnd()) {
        job->ticket->cancelled = true;
    }
}

void Hasher::forget(Id id)
{
    cancel(id);
    m_jobs.remove(id);
}

qint64 Hasher::processed(Id id) const
{
    const auto job = m_jobs.constFind(id);
    return job == m_jobs.constEnd() ? 0 : job->ticket->processed.load();
}

HashResult Hasher::hash(const QString& path, Ticket& ticket)
{
    if (ticket.cancelled) {
        return {};
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return {HashResult::Outcome::Unreadable, {}, file.errorString()};
    }
    QCryptographicHash digest(QCryptographicHash::Md5);
    QByteArray slice(kSliceBytes, Qt::Uninitialized);
    qint64 got = 0;
    while ((got = file.read(slice.data(), slice.size())) > 0) {
        digest.addData(slice.constData(), static_cast<int>(got));
        ticket.processed += got;
        if (ticket.cancelled) {
            return {};
        }
    }
    if (got < 0) {
        return {HashResult::Outcome::Unreadable, {}, file.errorString()};
    }
    return {HashResult::Outcome::Done, digest.result().toHex(), {}};
}

void Hasher::deliver(Id id, const HashResult& result)
{
    const Job job = m_jobs.take(id);
    if (job.callback) {
        job.callback(result);
    }
}

} // namespace VantorEngine

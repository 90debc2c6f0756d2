// SPDX-License-Identifier: MIT
#pragma once

#include "EngineServices.h"
#include "FileError.h"
#include "SpeedMeter.h"
#include "package/InstallPlan.h"
#include "package/PackageReport.h"

#include <QHash>
#include <QObject>
#include <QPointer>
#include <QTimer>

#include <deque>
#include <functional>
#include <memory>
#include <vector>

namespace VantorEngine {

class BodyFetch;

/// One action on one package, from its request to its completed response.
///
///     Pending -> Start -> [fetch_version, delete_database: end]
///                   |
///                   v          [fetch_size: end]
///               Preparing -> Progressing -> Installing -> Success
///
///     at any moment -> Failed | Cancelled
///
/// Reading, hashing, decompressing and writing happen on the worker threads. A task that has to stop waits for what it
/// has running there, so that the next task on the same folder finds it quiet.
class PackageTask : public QObject
{
    Q_OBJECT
public:
    PackageTask(const QByteArray& guid, const PackageRequest& request, EngineServices& services);
    ~PackageTask() override;

    void start();
    /// Ends at once: another task does this.
    void endDuplicated(const QByteArray& runningGuid);
    void cancel();
    /// As cancel, without another callback.
    void abandon();
    /// The configured callback interval has changed.
    void intervalChanged();

    const QByteArray& guid() const { return m_report.guid; }
    const PackageRequest& request() const { return m_report.request; }
    bool hasStarted() const { return m_started; }
    /// True from the moment on at which nothing but the end can follow.
    bool isEnding() const { return m_endStatus != nullptr; }

    /// How often a corrupt chunk is fetched before the task fails.
    static constexpr int kCorruptAttempts = 3;

signals:
    /// The completed response was sent, unless the task was abandoned, and nothing of it runs any more.
    void ended();

private:
    /// What the worker threads use; they keep it alive.
    struct Job;
    using Order = std::shared_ptr<const ChunkOrder>;

    void begin();
    void forgetInstallation();
    void fetchPointer();
    void onPointer(const QByteArray& body);
    void findManifest();
    void takeManifest(const QByteArray& text);
    void survey();
    void examineAll();
    void plan();
    void onPlanned();
    void assemble();
    void pump();
    void copyChunk(const Order& order);
    void fetchChunk(const Order& order);
    void onChunkFetched(const Order& order, const QByteArray& body);
    void onCorrupt(const Order& order);
    void chunkFetched(const ChunkOrder& order);
    void commit();
    void onCommitted();

    QUrl urlOf(const QString& path) const;
    void fetch(const QString& path, qint64 mostBytes, qint64 exactBytes, std::function<void(const QByteArray&)> done);
    BodyFetch* makeFetch(const QString& path, qint64 mostBytes, qint64 exactBytes);
    void dropFetch(BodyFetch* fetch);
    void work(std::function<void()> work, std::function<void()> done);
    void setStatus(const char* status);
    void fail(int code, const QString& message);
    void fail(const FileError& error);
    void endWith(const char* status);
    void endWhenQuiet();
    void refreshCounters();
    void sendReport();
    void tick();
    void scheduleTick();

    EngineServices& m_services;
    PackageReport m_report;
    const std::shared_ptr<Job> m_job;
    std::deque<Order> m_copies;  ///< not begun
    std::deque<Order> m_fetches; ///< not begun
    QHash<int, int> m_corrupt;   ///< per chunk: how often it came corrupt
    std::vector<BodyFetch*> m_running;
    int m_busy = 0; ///< pieces of work on the worker threads
    bool m_started = false;
    const char* m_endStatus = nullptr; ///< once the task has to stop
    bool m_ended = false;
    bool m_silent = false;      ///< nobody wants to hear of it any more
    qint64 m_fetchedStored = 0; ///< bytes of chunks that have arrived whole
    SpeedMeter m_speed;
    QTimer m_tick;
};

} // namespace VantorEngine

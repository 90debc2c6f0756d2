// SPDX-License-Identifier: MIT
#pragma once

#include "EngineServices.h"
#include "FileJob.h"
#include "States.h"

#include <QElapsedTimer>
#include <QHash>
#include <QMultiHash>
#include <QObject>
#include <QTimer>

#include <deque>
#include <memory>
#include <vector>

namespace VantorEngine {

/// One download list: its files in order, its state, and its callbacks.
class GroupJob : public QObject, private FileJobListener
{
    Q_OBJECT
public:
    GroupJob(const QByteArray& guid, const DownloadList& list, EngineServices& services);
    ~GroupJob() override;

    /// Reports Pending and Start and lines the files up.
    void open();
    /// Ends at once: the list cannot be used.
    void endBroken(const QString& problem);
    /// Ends at once: another group is fetching these files.
    void endDuplicated();
    void cancel();
    /// Stops everything without another callback.
    void abandon();

    bool hasReady() const { return !m_ready.empty(); }
    /// Starts the next file that is not kept back by its path. \return false when there is none.
    bool startNext();
    /// Gives one of the files that are being transferred another connection. \return false when none has use for it.
    bool widenNext();
    int slotsHeld() const { return m_slotsHeld; }
    bool isEmpty() const { return m_files.empty(); }
    /// True when every file of \a other is written to a path that this group is not through with.
    bool covers(const GroupJob& other) const;
    /// The configured callback interval has changed.
    void intervalChanged();
    const QByteArray& guid() const { return m_guid; }

signals:
    /// A file can be started, or there is room for one.
    void workAvailable();
    void ended();

private:
    void fileChanged(FileJob& file) override;
    void fileThrough(FileJob& file) override;
    void fileSlotFree(FileJob& file) override;
    void fileReady(FileJob& file) override;
    void fileEnded(FileJob& file) override;

    void onPathReleased(const QString& key);
    bool claimPath(FileJob& file);
    void setStatus(GroupStatus status);
    void finish();
    void tick();
    void report();
    void scheduleTick();
    QByteArray groupText();

    const QByteArray m_guid;
    EngineServices& m_services;
    GroupStatus m_status = GroupStatus::Pending;
    QString m_problem;
    std::vector<std::unique_ptr<FileJob>> m_files;
    QHash<QString, int> m_openPaths; ///< how many files without an end state a path has
    std::deque<FileJob*> m_ready;
    QMultiHash<QString, FileJob*> m_blocked; ///< by the path they wait for
    std::vector<FileJob*> m_running;         ///< files with slots
    int m_slotsHeld = 0;
    std::size_t m_open = 0;      ///< files without an end state
    std::size_t m_transfers = 0; ///< files that are not through their transfer
    bool m_anyTransferred = false;
    bool m_anyFailed = false;
    bool m_cancelled = false;
    bool m_finished = false;
    QTimer m_tick;
    qint64 m_lastCostUs = 0;
    int m_lastTextBytes = 0;
};

} // namespace VantorEngine

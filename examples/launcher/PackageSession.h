// SPDX-License-Identifier: MIT
#pragma once

#include "PackageOptions.h"
#include "ProgressText.h"
#include "Session.h"
#include "vantor/VantorChunkTask.h"

#include <QElapsedTimer>
#include <QTimer>

/// \brief One chunk task from its start to its end, whatever the end is.
///
/// \code
///   Idle ──start──> Running ──finished signal──> Ended (0, 1)
///                    │ └──"Duplicated"─────────> Ended (4)
///                    └──interrupt, silence──> Stopping ──finished signal or 5 s later──> Ended (130, 4)
/// \endcode
class PackageSession : public Session
{
    Q_OBJECT

public:
    /// \param display shows what happens; must outlive the session
    PackageSession(const PackageOptions& options, ProgressDisplay* display, QObject* parent = nullptr);

    /// \brief Hands the request to the engine, which must have been started.
    void start() override;

    /// \brief Cancels the task; the second call does not wait for the engine any longer.
    void interrupt() override;

private:
    void connectTask();
    std::unique_ptr<VantorChunkReq> request() const;
    void onProgress(const VantorChunkResp& resp);
    void onDownloadProgress(const VantorChunkNormalDownloadResp& resp);
    void onVersion(const VantorChunkVersionResp& resp);
    void onSize(const VantorChunkSizeResp& resp);
    void onDownloaded(const VantorChunkNormalDownloadResp& resp);
    void onRemoved(const VantorChunkDeleteDatabaseResp& resp);
    void onSilence();

    bool hasFailed(const VantorChunkResp& resp);
    bool removeFolder(const VantorChunkResp& resp);
    void stop(int exitCode);
    void stopTimedOut();

    const PackageOptions m_options;
    const QSharedPointer<VantorChunkTask> m_task;
    int m_stopExitCode = 0; // what a session that is stopping ends with
    ProgressState m_progress;
    QElapsedTimer m_clock;
    QTimer m_silence; // restarted by every sign of life of the engine
    QTimer m_stopLimit;
};

// SPDX-License-Identifier: MIT
#pragma once

#include "DownloadRun.h"
#include "Manager/DownloadController.h"
#include "ProgressText.h"
#include "Tool/BytesUnitOperator.h"

/// \brief A download through the engine.
///
/// \code
///   Idle ──start──> Running ──finish──────────────> Ended (0)
///                    │ │ └──error, once per file──> Ended (1)
///                    │ └──"Duplicated"────────────> Ended (4)
///                    └──interrupt, silence──> Stopping ──cancelled or 5 s later──> Ended (130, 4)
/// \endcode
///
/// Not every end is announced by a signal: a group whose files are being fetched already, a failure after a stop
/// request and an engine that has died are silent. So every wait is bounded.
class DownloadSession : public DownloadRun
{
    Q_OBJECT

public:
    DownloadSession(const DownloadOptions& options, ProgressDisplay* display, QObject* parent = nullptr);

protected:
    /// \brief Hands the files to the controller. The engine must have been started.
    void start() override;
    void cancel() override;

private:
    void connectController();

    void onDownloadProgress(const ProgressInfo& info);
    void onCheckProgress(const ProgressInfo& info);
    void onSpeedDue();
    void onRetry(const TaskInfo& info);
    void onError(const TaskInfo& info);
    void onCancelled();
    void onGroupCallback(const QString& data);

    DownloadController m_controller;
    int m_groupId = -1;
    ProgressState m_progress;
    BytesUnitOperator m_speedMeter;
    qint64 m_receivedBytes = 0; // in this run
    qint64 m_foundBytes = 0;    // of partial files from an earlier run
    int m_failedFiles = 0;
};

// SPDX-License-Identifier: MIT
#pragma once

#include "DownloadOptions.h"
#include "Manager/DownloadController.h"
#include "ProgressText.h"
#include "Tool/BytesUnitOperator.h"

#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QTimer>
#include <QVector>

class ProgressDisplay;

/// \brief One download from its start to its end, whatever the end is.
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
class DownloadSession : public QObject
{
    Q_OBJECT

public:
    /// \param display shows what happens; must outlive the session
    DownloadSession(const DownloadOptions& options, ProgressDisplay* display, QObject* parent = nullptr);

    /// \brief Hands the files to the controller. The engine must have been started.
    void start();

public Q_SLOTS:
    /// \brief Stops the group; the second call does not wait for the engine any longer.
    void interrupt();

Q_SIGNALS:
    /// Emitted once; nothing is shown after it.
    void ended(int exitCode);

private:
    enum class State { Idle, Running, Stopping, Ended };

    void connectController();
    QVector<DownloadTaskModel> models();
    QString nameOf(const TaskInfo& info) const;
    QString describe(const TaskInfo& info) const;

    void onDownloadProgress(const ProgressInfo& info);
    void onCheckProgress(const ProgressInfo& info);
    void onSpeedDue();
    void onRetry(const TaskInfo& info);
    void onError(const TaskInfo& info);
    void onFinish();
    void onCancelled();
    void onGroupCallback(const QString& data);
    void onSilence();

    void stop(int exitCode);
    void stopTimedOut();
    void endWithErrors();
    void end(int exitCode);
    QString unfinishedFile() const;
    QString summary() const;

    const DownloadOptions m_options;
    ProgressDisplay* const m_display;
    DownloadController m_controller;
    int m_groupId = -1;
    State m_state = State::Idle;
    int m_stopExitCode = 0; // what a session that is stopping ends with
    ProgressState m_progress;
    BytesUnitOperator m_speedMeter;
    qint64 m_receivedBytes = 0; // in this run
    qint64 m_foundBytes = 0;    // of partial files from an earlier run
    int m_failedFiles = 0;
    QHash<QString, QString> m_nameByUrl;
    QElapsedTimer m_clock;
    QTimer m_silence; // restarted by every sign of life of the engine
    QTimer m_stopLimit;
};

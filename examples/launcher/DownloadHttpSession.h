// SPDX-License-Identifier: MIT
#pragma once

#include "DownloadRun.h"
#include "Network/DownloadManager.h"
#include "ProgressText.h"

#include <QHash>
#include <QVector>

/// \brief A download through the library's own HTTP back-end.
///
/// \code
///   Idle ──start──> Running ──last group finished or failed──> Ended (0, 1)
///                      └──interrupt──> Stopping ──cancelled──> Ended (130)
/// \endcode
///
/// Within a group only a file that enters its MD5 check starts the next one. So files that all have an MD5 go into
/// one group; as soon as one has none, each file gets a group of its own, one after the other.
class DownloadHttpSession : public DownloadRun
{
    Q_OBJECT

public:
    DownloadHttpSession(const DownloadOptions& options, ProgressDisplay* display, QObject* parent = nullptr);

protected:
    void start() override;
    void cancel() override;

private:
    void connectManager();
    void makeGroups();
    qint64 bytesInPlace() const;
    qint64 bytesInParts() const;
    qint64 totalBytes() const;
    void startNextGroup();
    void goOn();

    void onProgress(qint64 doneBytes, qint64 groupBytes);
    void onSpeed(qint64 bytesPerSecond, const QString& speedText, const QString& timeText);
    void onAllInCheck();
    void onRestart(const QString& json);
    void onError(const TaskInfo& info);
    void onGroupFinished();
    void onCancelled();

    DownloadManager m_manager;
    QVector<QVector<DownloadTaskModel>> m_groups; // still to be started, in order
    int m_groupId = -1;                           // the one that runs
    ProgressState m_progress;
    QHash<QString, qint64> m_sizeByUrl; // bytes, as far as they are known
    qint64 m_earlierBytes = 0;          // of groups that are finished
    qint64 m_foundBytes = 0;            // on the disk from an earlier run
    int m_failedFiles = 0;
};

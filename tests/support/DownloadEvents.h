// SPDX-License-Identifier: MIT
#pragma once

#include "Manager/DownloadReportData.h"
#include "Manager/ProgressInfo.h"
#include "Manager/TaskInfo.h"

#include <QObject>
#include <QString>
#include <QStringList>

/// \brief The common download signals of a manager or of the controller as an ordered log, one line for each signal.
///
/// Speeds that are measured with the clock and their texts are left out of the lines.
class DownloadEvents : public QObject
{
    Q_OBJECT

public:
    template<typename Source>
    explicit DownloadEvents(Source* source)
    {
        connect(source, &Source::progress, this, &DownloadEvents::onProgress);
        connect(source, &Source::finish, this, &DownloadEvents::onFinish);
        connect(source, &Source::taskStart, this, &DownloadEvents::onTaskStart);
        connect(source, &Source::taskFinish, this, &DownloadEvents::onTaskFinish);
        connect(source, &Source::taskDownloadStart, this, &DownloadEvents::onTaskDownloadStart);
        connect(source, &Source::taskDownloadStop, this, &DownloadEvents::onTaskDownloadStop);
        connect(source, &Source::taskMd5Start, this, &DownloadEvents::onTaskMd5Start);
        connect(source, &Source::taskMd5Stop, this, &DownloadEvents::onTaskMd5Stop);
        connect(source, &Source::error, this, &DownloadEvents::onError);
        connect(source, &Source::md5Started, this, &DownloadEvents::onMd5Started);
        connect(source, &Source::speed, this, &DownloadEvents::onSpeed);
        connect(source, &Source::downloadReport, this, &DownloadEvents::onDownloadReport);
        connect(source, &Source::totalSize, this, &DownloadEvents::onTotalSize);
        connect(source, &Source::relogin, this, &DownloadEvents::onRelogin);
        connect(source, &Source::taskRestart, this, &DownloadEvents::onTaskRestart);
        connect(source, &Source::cancelled, this, &DownloadEvents::onCancelled);
        connect(source, &Source::errorRetry, this, &DownloadEvents::onErrorRetry);
        connect(source, &Source::downloadProgress, this, &DownloadEvents::onDownloadProgress);
        connect(source, &Source::checkProgress, this, &DownloadEvents::onCheckProgress);
        connect(source, &Source::speed2, this, &DownloadEvents::onSpeed2);
    }

    const QStringList& Lines() const { return m_lines; }
    /// \brief The last line; empty when there is none.
    QString Last() const { return m_lines.isEmpty() ? QString() : m_lines.last(); }
    /// \brief The lines so far; the log is empty afterwards.
    QStringList Take();
    /// \brief How many lines begin with a text.
    int Count(const QString& beginning) const;

private:
    void add(const char* name, const QStringList& arguments);

    void onProgress(qint64 bytesRead, qint64 totalBytes, int groupId);
    void onFinish(int groupId);
    void onTaskStart(int groupId, const TaskInfo& info);
    void onTaskFinish(int groupId, const TaskInfo& info);
    void onTaskDownloadStart(int groupId, const TaskInfo& info);
    void onTaskDownloadStop(int groupId, const TaskInfo& info);
    void onTaskMd5Start(int groupId, const TaskInfo& info);
    void onTaskMd5Stop(int groupId, const TaskInfo& info);
    void onError(const TaskInfo& info);
    void onMd5Started(int groupId);
    void onSpeed(qint64 speed, const QString& speedText, const QString& timeText, int groupId);
    void onDownloadReport(const DownloadReportData& data);
    void onTotalSize(const QString& url, qint64 size);
    void onRelogin();
    void onTaskRestart(const QString& json);
    void onCancelled(int groupId);
    void onErrorRetry(const TaskInfo& info);
    void onDownloadProgress(const ProgressInfo& info);
    void onCheckProgress(const ProgressInfo& info);
    void onSpeed2(qint64 speed, qint64 rwSpeed, const QString& speedText, const QString& timeText, int groupId);

    QStringList m_lines;
};

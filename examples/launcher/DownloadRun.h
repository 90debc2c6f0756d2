// SPDX-License-Identifier: MIT
#pragma once

#include "DownloadOptions.h"
#include "Manager/DownloadTaskModel.h"
#include "Manager/TaskInfo.h"

#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QVector>

class ProgressDisplay;

/// \brief One download from its start to its end, whatever the end is; what the back-ends have in common.
class DownloadRun : public QObject
{
    Q_OBJECT

public:
    /// \param display shows what happens; must outlive the run
    DownloadRun(const DownloadOptions& options, ProgressDisplay* display, QObject* parent = nullptr);

    /// \brief Hands the files to the back-end.
    virtual void start() = 0;
    /// \brief Stops the download as the user wants it.
    virtual void interrupt() = 0;

Q_SIGNALS:
    /// Emitted once; nothing is shown after it.
    void ended(int exitCode);

protected:
    const DownloadOptions& options() const { return m_options; }
    ProgressDisplay& display() const { return *m_display; }

    /// \brief The files as the library wants them.
    QVector<DownloadTaskModel> models();
    /// \brief Starts the time that the summary tells.
    void startClock();
    /// \brief File, code and message of a failure, for the user.
    QString describe(const TaskInfo& info) const;
    /// \brief Where a file belongs.
    QString pathOf(const FileRequest& file) const;
    /// \brief The first file that is not in its place with its size, whatever the back-end says; empty when all are.
    QString unfinishedFile() const;
    /// \param foundBytes of files, or parts of them, from an earlier run
    QString summary(qint64 foundBytes) const;
    /// \brief The line about files that failed.
    QString failureSummary(int failedFiles) const;
    static QString seconds(qint64 milliseconds);

private:
    QString nameOf(const TaskInfo& info) const;

    const DownloadOptions m_options;
    ProgressDisplay* const m_display;
    QHash<QString, QString> m_nameByUrl;
    QElapsedTimer m_clock;
};

// SPDX-License-Identifier: MIT
#pragma once

#include "DownloadOptions.h"
#include "Manager/DownloadTaskModel.h"
#include "Manager/TaskInfo.h"
#include "Session.h"

#include <QElapsedTimer>
#include <QHash>
#include <QVector>

/// \brief One download from its start to its end, whatever the end is; what the back-ends have in common.
class DownloadRun : public Session
{
    Q_OBJECT

public:
    /// \param display shows what happens; must outlive the run
    DownloadRun(const DownloadOptions& options, ProgressDisplay* display, QObject* parent = nullptr);

protected:
    const DownloadOptions& options() const { return m_options; }

    /// \brief The files as the library wants them.
    QVector<DownloadTaskModel> models();
    /// \brief Starts the time that the summary tells.
    void startClock();
    /// \brief File, code and message of a failure, for the user.
    QString describe(const TaskInfo& info) const;
    /// \brief Where a file belongs.
    QString pathOf(const FileRequest& file) const;
    /// \brief Ends, unless that has happened, after the errors of files that failed.
    void endWithErrors(int failedFiles);
    /// \brief Ends, unless that has happened, when all files should be in place. That is checked.
    /// \param foundBytes of files, or parts of them, from an earlier run
    void endFinished(qint64 foundBytes);

private:
    QString nameOf(const TaskInfo& info) const;
    /// The first file that is not in its place with its size, whatever the back-end says; empty when all are.
    QString unfinishedFile() const;
    QString summary(qint64 foundBytes) const;

    const DownloadOptions m_options;
    QHash<QString, QString> m_nameByUrl;
    QElapsedTimer m_clock;
};

// SPDX-License-Identifier: MIT
#include "DownloadRun.h"

#include "ExitCode.h"
#include "ProgressDisplay.h"
#include "ProgressText.h"

#include <QDir>
#include <QFileInfo>
#include <QStringList>

DownloadRun::DownloadRun(const DownloadOptions& options, ProgressDisplay* display, QObject* parent)
    : Session(display, parent), m_options(options)
{
}

QVector<DownloadTaskModel> DownloadRun::models()
{
    QVector<DownloadTaskModel> result;
    for (const FileRequest& file : m_options.files) {
        DownloadTaskModel model;
        const QString url = file.url.toString(QUrl::FullyEncoded);
        model.Init(url, m_options.folder, file.md5, QString(), file.size);
        result.append(model);
        m_nameByUrl.insert(url, file.fileName());
    }
    return result;
}

void DownloadRun::startClock()
{
    m_clock.start();
}

QString DownloadRun::nameOf(const TaskInfo& info) const
{
    if (info.GetUrl().isEmpty())
        return QStringLiteral("download");
    return m_nameByUrl.value(info.GetUrl(), info.GetUrl());
}

QString DownloadRun::describe(const TaskInfo& info) const
{
    const QString message = info.GetErrorString().isEmpty() ? QStringLiteral("no message") : info.GetErrorString();
    QString text = QStringLiteral("%1: code %2: %3").arg(nameOf(info), QString::number(info.GetErrorCode()), message);
    QStringList details;
    if (info.GetStatusCode() > 0)
        details << QStringLiteral("HTTP %1").arg(info.GetStatusCode());
    if (info.GetRetryTimes() > 0)
        details << QStringLiteral("retry %1").arg(info.GetRetryTimes());
    if (!details.isEmpty())
        text += QStringLiteral(" (%1)").arg(details.join(QLatin1String(", ")));
    return text;
}

QString DownloadRun::pathOf(const FileRequest& file) const
{
    return QDir(m_options.folder).filePath(file.fileName());
}

QString DownloadRun::unfinishedFile() const
{
    for (const FileRequest& file : m_options.files) {
        const QFileInfo info(pathOf(file));
        if (!info.isFile() || (file.size > 0 && info.size() != file.size))
            return file.fileName();
    }
    return QString();
}

QString DownloadRun::summary(qint64 foundBytes) const
{
    qint64 bytes = 0;
    for (const FileRequest& file : m_options.files)
        bytes += QFileInfo(pathOf(file)).size();
    QString text =
        QStringLiteral("Finished: %1, %2 in %3")
            .arg(ProgressText::files(m_options.files.size()), ProgressText::size(bytes), seconds(m_clock.elapsed()));
    if (foundBytes > 0)
        text += QStringLiteral(" (%1 were there already)").arg(ProgressText::size(foundBytes));
    return text;
}

void DownloadRun::endWithErrors(int failedFiles)
{
    if (state() == State::Ended)
        return;
    display().clear();
    display().error(QStringLiteral("%1 of %2 files failed; the same command goes on where this one stopped")
                        .arg(failedFiles)
                        .arg(m_options.files.size()));
    end(ExitCode::kFilesFailed);
}

void DownloadRun::endFinished(qint64 foundBytes)
{
    if (state() == State::Ended)
        return;
    display().clear();
    const QString missing = unfinishedFile();
    if (!missing.isEmpty()) {
        display().error(QStringLiteral("error: %1: reported as finished but not in place").arg(missing));
        end(ExitCode::kFilesFailed);
        return;
    }
    display().note(summary(foundBytes));
    end(ExitCode::kAllFinished);
}

// SPDX-License-Identifier: MIT
#include "DownloadHttpSession.h"

#include "ExitCode.h"
#include "ProgressDisplay.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

DownloadHttpSession::DownloadHttpSession(const DownloadOptions& options, ProgressDisplay* display, QObject* parent)
    : DownloadRun(options, display, parent), m_manager(nullptr, QStringLiteral("launcher"))
{
    connectManager();
}

void DownloadHttpSession::connectManager()
{
    using Manager = DownloadManager;
    connect(&m_manager, &Manager::totalSize, this,
            [this](const QString& url, qint64 size) { m_sizeByUrl.insert(url, size); });
    connect(&m_manager, &Manager::progress, this, &DownloadHttpSession::onProgress);
    connect(&m_manager, &Manager::speed, this, &DownloadHttpSession::onSpeed);
    connect(&m_manager, &Manager::md5Started, this, &DownloadHttpSession::onAllInCheck);
    connect(&m_manager, &Manager::taskRestart, this, &DownloadHttpSession::onRestart);
    connect(&m_manager, &Manager::error, this, &DownloadHttpSession::onError);
    connect(&m_manager, &Manager::finish, this, &DownloadHttpSession::onGroupFinished);
    connect(&m_manager, &Manager::cancelled, this, &DownloadHttpSession::onCancelled);
}

void DownloadHttpSession::start()
{
    startClock();
    m_foundBytes = bytesInPlace() + bytesInParts();
    makeGroups();
    display().show(m_progress);

    m_manager.SetLogTag("[launcher]");
    if (options().limitKilobytes)
        m_manager.SetSpeedLimit(*options().limitKilobytes);
    // From the event loop, in which the end is waited for.
    goOn();
}

void DownloadHttpSession::makeGroups()
{
    const QVector<DownloadTaskModel> all = models();
    for (const DownloadTaskModel& model : all) {
        if (model.size > 0)
            m_sizeByUrl.insert(model.url.toString(QUrl::FullyEncoded), model.size);
    }
    const bool allChecked =
        std::none_of(all.cbegin(), all.cend(), [](const DownloadTaskModel& model) { return model.md5.isEmpty(); });
    if (allChecked || all.size() == 1) {
        m_groups.append(all);
        return;
    }
    display().note(
        QStringLiteral("Not every file has an MD5, so they are fetched one after the other, each on its own."));
    for (const DownloadTaskModel& model : all)
        m_groups.append({model});
}

qint64 DownloadHttpSession::bytesInPlace() const
{
    qint64 bytes = 0;
    for (const FileRequest& file : options().files) {
        const QFileInfo whole(pathOf(file));
        if (whole.isFile())
            bytes += whole.size();
    }
    return bytes;
}

qint64 DownloadHttpSession::bytesInParts() const
{
    qint64 bytes = 0;
    for (const FileRequest& file : options().files)
        bytes += QFileInfo(pathOf(file) + QStringLiteral("_tmp")).size();
    return bytes;
}

/// Of all files; 0 while the size of one is unknown.
qint64 DownloadHttpSession::totalBytes() const
{
    if (m_sizeByUrl.size() < options().files.size())
        return 0;
    qint64 bytes = 0;
    for (const qint64 size : m_sizeByUrl)
        bytes += std::max(size, qint64(0));
    return bytes;
}

void DownloadHttpSession::goOn()
{
    QMetaObject::invokeMethod(this, &DownloadHttpSession::startNextGroup, Qt::QueuedConnection);
}

void DownloadHttpSession::startNextGroup()
{
    if (state() != State::Running)
        return;
    if (!m_groups.isEmpty()) {
        m_groupId = m_manager.SetTask(m_groups.takeFirst(), Normal, -1);
        m_manager.StartDownloadTask(m_groupId, {}, options().folder);
        return;
    }
    if (m_failedFiles > 0)
        endWithErrors(m_failedFiles);
    else
        endFinished(m_foundBytes);
}

void DownloadHttpSession::cancel()
{
    // Ends at once: cancelled() is emitted on the way.
    m_manager.StopDownloadTask(m_groupId);
}

void DownloadHttpSession::onProgress(qint64 doneBytes, qint64 groupBytes)
{
    if (state() != State::Running)
        return;
    m_progress.phase = ProgressState::Phase::Downloading;
    m_progress.doneBytes = m_earlierBytes + doneBytes;
    m_progress.totalBytes = totalBytes();
    if (m_groups.isEmpty() && m_earlierBytes == 0)
        m_progress.totalBytes = groupBytes;
    display().show(m_progress);
}

void DownloadHttpSession::onSpeed(qint64 bytesPerSecond, const QString& speedText, const QString& timeText)
{
    if (state() != State::Running)
        return;
    m_progress.speedText = speedText;
    // Without speed the remaining time would be a zero that means nothing, and with groups to come it is not the rest.
    m_progress.timeText = bytesPerSecond > 0 && m_groups.isEmpty() ? timeText : QString();
    display().show(m_progress);
}

void DownloadHttpSession::onAllInCheck()
{
    // The back-end tells nothing about the progress of a check.
    if (state() != State::Running || !m_groups.isEmpty())
        return;
    m_progress.phase = ProgressState::Phase::Verifying;
    m_progress.totalBytes = totalBytes();
    m_progress.doneBytes = m_progress.totalBytes;
    m_progress.speedText.clear();
    m_progress.timeText.clear();
    display().show(m_progress);
}

void DownloadHttpSession::onRestart(const QString& json)
{
    if (state() != State::Running)
        return;
    const QJsonObject object = QJsonDocument::fromJson(json.toUtf8()).object();
    TaskInfo info;
    info.SetUrl(object.value(QStringLiteral("url")).toString());
    info.SetErrorCode(object.value(QStringLiteral("error_code")).toInt());
    info.SetErrorString(object.value(QStringLiteral("error_string")).toString());
    info.SetStatusCode(object.value(QStringLiteral("status_code")).toInt());
    display().note(QStringLiteral("retrying %1").arg(describe(info)));
}

void DownloadHttpSession::onError(const TaskInfo& info)
{
    if (state() != State::Running)
        return;
    display().clear();
    display().error(QStringLiteral("error: %1").arg(describe(info)));
    ++m_failedFiles;
    // The other files of its group have been stopped; those that have groups of their own are still to come.
    goOn();
}

void DownloadHttpSession::onGroupFinished()
{
    m_earlierBytes = bytesInPlace();
    goOn();
}

void DownloadHttpSession::onCancelled()
{
    if (state() == State::Stopping)
        endStopped();
}

// SPDX-License-Identifier: MIT
#include "DownloadSession.h"

#include "ExitCode.h"
#include "ProgressDisplay.h"
#include "vantor/GroupTaskModel.h"
#include "vantor/VantorExporter.h"

#include <QDateTime>

#include <algorithm>

namespace {

const QLatin1String kDuplicated("Duplicated");

} // namespace

DownloadSession::DownloadSession(const DownloadOptions& options, ProgressDisplay* display, QObject* parent)
    : DownloadRun(options, display, parent), m_controller(nullptr, QStringLiteral("launcher"))
{
    connectController();
}

void DownloadSession::connectController()
{
    connect(&m_controller, &DownloadController::downloadProgress, this, &DownloadSession::onDownloadProgress);
    connect(&m_controller, &DownloadController::checkProgress, this, &DownloadSession::onCheckProgress);
    connect(&m_controller, &DownloadController::speed2, this, &DownloadSession::onSpeedDue);
    connect(&m_controller, &DownloadController::errorRetry, this, &DownloadSession::onRetry);
    connect(&m_controller, &DownloadController::error, this, &DownloadSession::onError);
    connect(&m_controller, &DownloadController::finish, this, [this] { endFinished(m_foundBytes); });
    connect(&m_controller, &DownloadController::cancelled, this, &DownloadSession::onCancelled);

    // The controller reports nothing while the engine waits for a server, and nothing at all about a group of
    // duplicates. The engine's own callbacks tell both; they come from its threads, hence queued.
    VantorExporter* const exporter = VantorExporter::Instance();
    connect(exporter, &VantorExporter::onGroupTaskCallback, this,
            [this](const QString& /*guid*/, const QString& data) { onGroupCallback(data); });
    connect(exporter, &VantorExporter::onSingleTaskCallback, this, &DownloadSession::noteSignOfLife);
}

void DownloadSession::start()
{
    startClock();
    watchEngine(options().patienceSeconds);
    display().show(m_progress);

    m_controller.SetLogTag("[launcher]");
    m_controller.SetEnablePcdn(options().usePcdn);
    if (options().limitKilobytes)
        m_controller.SetSpeedLimit(*options().limitKilobytes);
    m_groupId = m_controller.SetTask(models(), Normal);
    m_controller.StartDownloadTask(m_groupId, options().folder);
}

void DownloadSession::cancel()
{
    m_controller.StopDownloadTask(m_groupId);
}

void DownloadSession::onDownloadProgress(const ProgressInfo& info)
{
    if (state() != State::Running)
        return;
    m_progress.phase = ProgressState::Phase::Downloading;
    m_progress.doneBytes = info.GetProcessedBytes();
    m_progress.totalBytes = info.GetTotalBytes();
    m_receivedBytes = info.GetCdnNetworkTraffic() + info.GetPcdnNetworkTraffic();
    m_foundBytes = std::max(m_progress.doneBytes - m_receivedBytes, qint64(0));
    if (m_speedMeter.IsEmpty())
        m_speedMeter.UpdateCurSpeed(m_receivedBytes, QDateTime::currentMSecsSinceEpoch());
    display().show(m_progress);
}

void DownloadSession::onCheckProgress(const ProgressInfo& info)
{
    if (state() != State::Running)
        return;
    m_progress.phase = ProgressState::Phase::Verifying;
    m_progress.doneBytes = info.GetProcessedBytes();
    m_progress.totalBytes = info.GetTotalBytes();
    m_progress.speedText = info.GetSpeed() > 0 ? ProgressText::speed(info.GetSpeed()) : QString();
    m_progress.timeText.clear();
    display().show(m_progress);
}

/// The texts that come with the signal measure everything that turns up, so that a resumed download begins with an
/// enormous speed. What was received in this run is the better measure.
void DownloadSession::onSpeedDue()
{
    if (state() != State::Running || m_progress.phase != ProgressState::Phase::Downloading)
        return;
    m_progress.speedText = m_speedMeter.GetCurSpeedString(m_receivedBytes, QDateTime::currentMSecsSinceEpoch());
    // Without speed the remaining time would be a zero that means nothing.
    m_progress.timeText = m_speedMeter.GetCurSpeed() > 0
                              ? m_speedMeter.GetNeedTimeString(m_progress.doneBytes, m_progress.totalBytes)
                              : QString();
    display().show(m_progress);
}

void DownloadSession::onRetry(const TaskInfo& info)
{
    if (state() == State::Running)
        display().note(QStringLiteral("retrying %1").arg(describe(info)));
}

void DownloadSession::onError(const TaskInfo& info)
{
    if (state() == State::Ended)
        return;
    display().clear();
    display().error(QStringLiteral("error: %1").arg(describe(info)));
    // The errors of all files come in one go, so the end waits for its turn.
    if (++m_failedFiles == 1)
        QMetaObject::invokeMethod(
            this, [this] { endWithErrors(m_failedFiles); }, Qt::QueuedConnection);
}

void DownloadSession::onCancelled()
{
    if (state() == State::Stopping) {
        endStopped();
        return;
    }
    if (state() != State::Running)
        return;
    display().clear();
    display().error(QStringLiteral("error: the engine has cancelled the download"));
    end(ExitCode::kNoAnswer);
}

void DownloadSession::onGroupCallback(const QString& data)
{
    noteSignOfLife();
    // Looked for in the text first: parsing a large group on every callback would be work for nothing.
    if (state() == State::Ended || !data.contains(kDuplicated))
        return;
    GroupTaskModel model;
    model.Parse(data.toUtf8());
    if (model.status != kDuplicated)
        return;
    display().clear();
    display().error(QStringLiteral("error: the engine is already downloading these files"));
    end(ExitCode::kNoAnswer);
}

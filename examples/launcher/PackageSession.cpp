// SPDX-License-Identifier: MIT
#include "PackageSession.h"

#include "ExitCode.h"
#include "ProgressDisplay.h"

#include <QDir>

namespace {

constexpr int kSecondsPerMinute = 60;
constexpr int kSecondsPerHour = 3600;

/// \brief hh:mm:ss, as the download's remaining time is written.
QString clockText(qint64 secondsLeft)
{
    const QLatin1Char zero('0');
    return QStringLiteral("%1:%2:%3")
        .arg(secondsLeft / kSecondsPerHour, 2, 10, zero)
        .arg(secondsLeft % kSecondsPerHour / kSecondsPerMinute, 2, 10, zero)
        .arg(secondsLeft % kSecondsPerMinute, 2, 10, zero);
}

QString orNone(const QString& version)
{
    return version.isEmpty() ? QStringLiteral("none") : version;
}

} // namespace

PackageSession::PackageSession(const PackageOptions& options, ProgressDisplay* display, QObject* parent)
    : Session(display, parent), m_options(options), m_task(VantorChunkTask::MakeChunkTask())
{
    connectTask();
}

/// The signals come from the chunk thread; with this object as context they are queued to its own.
void PackageSession::connectTask()
{
    VantorChunkTask* const task = m_task.data();
    connect(task, &VantorChunkTask::ChunkVersionTaskProgressChanged, this, &PackageSession::onProgress);
    connect(task, &VantorChunkTask::ChunkSizeTaskProgressChanged, this, &PackageSession::onProgress);
    connect(task, &VantorChunkTask::ChunkNormalDownloadTaskProgressChanged, this, &PackageSession::onDownloadProgress);
    connect(task, &VantorChunkTask::ChunkRepairDownloadTaskProgressChanged, this, &PackageSession::onDownloadProgress);
    connect(task, &VantorChunkTask::ChunkVersionTaskFinished, this, &PackageSession::onVersion);
    connect(task, &VantorChunkTask::ChunkSizeTaskFinished, this, &PackageSession::onSize);
    connect(task, &VantorChunkTask::ChunkNormalDownloadTaskFinished, this, &PackageSession::onDownloaded);
    connect(task, &VantorChunkTask::ChunkRepairDownloadTaskFinished, this, &PackageSession::onDownloaded);
    connect(task, &VantorChunkTask::ChunkDeleteDatabaseTaskFinished, this, &PackageSession::onRemoved);
}

std::unique_ptr<VantorChunkReq> PackageSession::request() const
{
    auto req = std::make_unique<VantorChunkReq>();
    req->action_type = m_options.action;
    req->package_id = m_options.package;
    req->branch = m_options.branch;
    req->install_dir = m_options.folder;
    req->staging_dir = m_options.stagingFolder;
    return req;
}

void PackageSession::start()
{
    m_clock.start();
    watchEngine(m_options.patienceSeconds);
    display().show(m_progress);
    m_task->SetLogTag("[launcher]");
    m_task->Start(request());
}

void PackageSession::cancel()
{
    m_task->Cancel();
}

void PackageSession::onProgress(const VantorChunkResp& resp)
{
    noteSignOfLife();
    if (state() == State::Ended || resp.status != QLatin1String("Duplicated"))
        return;
    display().clear();
    display().error(QStringLiteral("error: the engine is doing this already"));
    end(ExitCode::kNoAnswer);
}

void PackageSession::onDownloadProgress(const VantorChunkNormalDownloadResp& resp)
{
    onProgress(resp);
    if (state() != State::Running || resp.status != QLatin1String("Progressing"))
        return;
    m_progress.phase = ProgressState::Phase::Downloading;
    m_progress.doneBytes = resp.current_download_byte;
    m_progress.totalBytes = resp.total_download_byte;
    m_progress.speedText = resp.bandwidth_byte > 0 ? ProgressText::speed(resp.bandwidth_byte) : QString();
    const qint64 missing = resp.total_download_byte - resp.current_download_byte;
    m_progress.timeText = resp.bandwidth_byte > 0 ? clockText(missing / resp.bandwidth_byte) : QString();
    display().show(m_progress);
}

bool PackageSession::hasFailed(const VantorChunkResp& resp)
{
    if (state() == State::Stopping) {
        endStopped();
        return true;
    }
    if (state() != State::Running || resp.status == QLatin1String("Success"))
        return state() != State::Running;
    display().clear();
    const QString message = resp.error_msg.isEmpty() ? resp.status : resp.error_msg;
    display().error(
        QStringLiteral("error: %1: code %2: %3").arg(m_options.package, QString::number(resp.error_code), message));
    end(resp.error_code != 0 ? ExitCode::kFilesFailed : ExitCode::kNoAnswer);
    return true;
}

void PackageSession::onVersion(const VantorChunkVersionResp& resp)
{
    if (hasFailed(resp))
        return;
    display().clear();
    display().note(QStringLiteral("on the server: %1\ninstalled: %2")
                       .arg(orNone(resp.server_version), orNone(resp.local_version)));
    end(ExitCode::kAllFinished);
}

void PackageSession::onSize(const VantorChunkSizeResp& resp)
{
    if (hasFailed(resp))
        return;
    display().clear();
    display().note(QStringLiteral("on the server: %1\ninstalled: %2\n"
                                  "to download: %3 (%4 bytes) in %5 of %6 chunks, %7 unpacked\n"
                                  "to write: %8 of %9 files")
                       .arg(orNone(resp.server_version), orNone(resp.local_version),
                            ProgressText::size(resp.total_download_byte), QString::number(resp.total_download_byte),
                            QString::number(resp.total_to_process_chunk_num), QString::number(resp.total_chunk_num),
                            ProgressText::size(resp.total_uncompressed_byte),
                            QString::number(resp.total_to_process_file_num), QString::number(resp.total_file_num)));
    end(ExitCode::kAllFinished);
}

void PackageSession::onDownloaded(const VantorChunkNormalDownloadResp& resp)
{
    if (hasFailed(resp))
        return;
    display().clear();
    display().note(QStringLiteral("Finished: version %1, %2 of %3 files written, %4 downloaded in %5")
                       .arg(resp.local_version)
                       .arg(resp.current_successful_file_num)
                       .arg(resp.total_file_num)
                       .arg(ProgressText::size(resp.current_download_byte), seconds(m_clock.elapsed())));
    end(ExitCode::kAllFinished);
}

void PackageSession::onRemoved(const VantorChunkDeleteDatabaseResp& resp)
{
    if (hasFailed(resp))
        return;
    display().clear();
    if (m_options.removesFiles && !removeFolder(resp)) {
        end(ExitCode::kFilesFailed);
        return;
    }
    display().note(
        QStringLiteral("Removed: version %1%2")
            .arg(orNone(resp.local_version), m_options.removesFiles ? QString() : QStringLiteral(" (the files stay)")));
    end(ExitCode::kAllFinished);
}

/// \brief Deletes the installation. A folder in which the engine knew of none is left alone: the user may have
/// mistyped.
bool PackageSession::removeFolder(const VantorChunkResp& resp)
{
    if (resp.local_version.isEmpty()) {
        display().error(QStringLiteral("error: %1 is not installed in %2; nothing was deleted")
                            .arg(m_options.package, QDir::toNativeSeparators(m_options.folder)));
        return false;
    }
    if (QDir(m_options.folder).removeRecursively())
        return true;
    display().error(QStringLiteral("error: cannot delete all of %1").arg(QDir::toNativeSeparators(m_options.folder)));
    return false;
}

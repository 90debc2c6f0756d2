// SPDX-License-Identifier: MIT
// The local side of a task: the temporary file, the check and putting the file in place.
#include "Manager/NetlibControl.h"
#include "Network/DownloadTask.h"
#include "Network/DownloadTaskGuards.h"
#include "Network/HttpAnswer.h"
#include "Network/LocalFileName.h"
#include "Network/Md5Check.h"
#include "QCommLog.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QNetworkReply>

namespace {

const QLatin1String kTemporarySuffix("_tmp");
const QLatin1String kLeftOverSuffix("_check");

constexpr int kFlushAtStopStrategy = 2;

// How the reply's buffer follows the disk: after so many fast writes it is full size again, after a slow one small.
constexpr int kFastWritesForFullBuffer = 50;
constexpr qint64 kSlowWriteMs = 1000;
constexpr qint64 kFullReadBufferBytes = 51200;
constexpr qint64 kSlowReadBufferBytes = 1024;

} // namespace

QString DownloadTask::TempPath() const
{
    return model.GetFilePath() + kTemporarySuffix;
}

bool DownloadTask::Init()
{
    DiscardMismatch();
    errorString.clear();
    const QString name = model.GetFileName();
    const QString reason = LocalFileName::WhyUnsafe(name);
    if (!reason.isEmpty()) {
        QCOMM_LOG(LogLevel::Error, "DownloadTask::Init") << "download file name is refused, " << reason << ": " << name;
        return FailInit(QStringLiteral("download open file error"));
    }
    const QString destination = model.GetFilePath();
    const QString leftOver = destination + kLeftOverSuffix;
    const bool inPlace = !name.isEmpty() && QFileInfo(destination).isFile();
    const bool leftBehind = !inPlace && !name.isEmpty() && QFileInfo(leftOver).isFile();
    if (!inPlace && !leftBehind)
        return PrepareTemporaryFile();
    // A group may have started the file before it came to prepare it. What is there already needs none of that.
    const bool busy = downloadReply || headerReply || check;
    if (busy && !StopUndisturbed())
        return true;
    return inPlace ? TakeExistingDestination() : TakeLeftOver(leftOver);
}

bool DownloadTask::FailInit(const QString& reason)
{
    errorString = reason;
    QCOMM_LOG(LogLevel::Error, "DownloadTask::Init") << errorString;
    return false;
}

bool DownloadTask::TakeExistingDestination()
{
    status = Finished;
    model.size = QFileInfo(model.GetFilePath()).size();
    const QString url = UrlText();
    const Watch watch(this);
    Q_EMIT totalSize(url, model.size);
    if (watch.Undisturbed())
        Q_EMIT taskStart(url);
    if (watch.Undisturbed())
        Q_EMIT finish(url);
    return true;
}

bool DownloadTask::TakeLeftOver(const QString& leftOver)
{
    if (!QFile::rename(leftOver, TempPath())) {
        status = Failed;
        return false;
    }
    status = CheckFileTaken;
    FinishFile();
    return true;
}

bool DownloadTask::PrepareTemporaryFile()
{
    if (model.url.isEmpty())
        return FailInit(QStringLiteral("download url is empty"));
    if (model.GetFileName().isEmpty())
        return FailInit(QStringLiteral("download file name is empty"));
    const QDir folder(model.path);
    if (!folder.exists() && !folder.mkpath(QStringLiteral(".")))
        return FailInit(QStringLiteral("download create floder error"));
    if (!OpenTemporaryFile())
        return FailInit(QStringLiteral("download open file error"));
    // A running request keeps the offset that it was made with.
    if (!downloadReply)
        resumeOffset = file.size();
    if (model.size > 0) {
        Q_EMIT totalSize(UrlText(), model.size);
    } else {
        forceHeader = true;
        RequestHeader();
    }
    return true;
}

bool DownloadTask::OpenTemporaryFile()
{
    // Asked here too: a redirect may have brought another name since Init().
    const QString name = model.GetFileName();
    if (name.isEmpty() || !LocalFileName::WhyUnsafe(name).isEmpty())
        return false;
    if (file.isOpen())
        file.close();
    file.setFileName(TempPath());
    return file.open(QIODevice::Append);
}

void DownloadTask::CloseTemporaryFile()
{
    const Watch watch(this);
    EmitFlushReport(QStringLiteral("start"), 0, true);
    if (!watch.Undisturbed())
        return;
    QElapsedTimer timer;
    timer.start();
    const bool flushes = NetlibControl::Instance()->GetFlushOrGzipStrategy() == kFlushAtStopStrategy;
    const bool success = !flushes || FlushFile();
    EmitFlushReport(QStringLiteral("finish"), timer.elapsed(), success);
    if (watch.Undisturbed())
        CloseAndRemoveIfEmpty();
}

void DownloadTask::CloseAndRemoveIfEmpty()
{
    file.close();
    if (QFileInfo(file.fileName()).size() == 0)
        QFile::remove(file.fileName());
}

// For an answer that carries the whole file although a part was asked for.
bool DownloadTask::StartFileOver()
{
    resumeOffset = 0;
    return file.isOpen() ? file.resize(0) : QFile::resize(TempPath(), 0);
}

bool DownloadTask::WriteBlock(const QByteArray& block)
{
    if (!file.isOpen() && !OpenTemporaryFile()) {
        FailWith(3003, tr("message_error_open_file"), -1, -1);
        return false;
    }
    qint64 elapsedMs = 0;
    const qint64 written = WriteToFile(block, &elapsedMs);
    ThrottleByWriteTime(elapsedMs);
    // A disk that fills up may still take the beginning of a block.
    if (written < block.size()) {
        if (FreeDiskBytes() >= block.size())
            FailWith(3005, tr("message_error_download_write_or_flush_buffer"), -1, -1);
        else
            FailWith(3004, tr("message_disk_not_enough_space"), -1, -1);
        return false;
    }
    const Watch watch(this);
    Q_EMIT dataWritten(written);
    return watch.Undisturbed();
}

void DownloadTask::ThrottleByWriteTime(qint64 elapsedMs)
{
    if (elapsedMs >= kSlowWriteMs) {
        SetFastWrites(0);
        downloadReply->setReadBufferSize(kSlowReadBufferBytes);
        return;
    }
    SetFastWrites(FastWrites() + 1);
    if (FastWrites() > kFastWritesForFullBuffer)
        downloadReply->setReadBufferSize(kFullReadBufferBytes);
}

void DownloadTask::CompleteTransfer()
{
    // Flushed while it is open, so that a last write that fails is noticed.
    const bool flushed = !file.isOpen() || FlushFile();
    const qint64 size = QFileInfo(TempPath()).size();
    if (flushed && model.size >= 1 && size < model.size) {
        RetryOrFail(3010,
                    QStringLiteral("status code: %1, error code: %2, %3")
                        .arg(QString::number(HttpAnswer::Status(*downloadReply)),
                             QString::number(downloadReply->error()),
                             QStringLiteral("received %1 of %2 bytes").arg(size).arg(model.size)),
                    HttpAnswer::Status(*downloadReply), downloadReply->error());
        return;
    }
    const Evidence evidence = CurrentEvidence();
    if (!StopUndisturbed())
        return;
    if (!flushed) {
        EmitError(3006, tr("message_error_download_write_or_flush_buffer"), -1, -1, evidence);
        return;
    }
    // Stop() has deleted the temporary file of a file of 0 bytes, which is complete all the same.
    if (size == 0 && !OpenTemporaryFile()) {
        FailWith(3003, tr("message_error_open_file"), -1, -1);
        return;
    }
    FinishFile();
}

void DownloadTask::FinishFile()
{
    ReleaseDataNetwork();
    if (model.md5.isEmpty())
        RenameFile();
    else
        StartMd5Check();
}

void DownloadTask::StartMd5Check()
{
    const quint64 thisRun = ++checkRun;
    check = std::make_unique<Md5Check>(TempPath(), model.md5Salt, this, [this, thisRun](const QString& md5String) {
        // The digest of a stopped check may be on its way already.
        if (thisRun == checkRun)
            onGetFileMD5(md5String);
    });
    status = Checking;
    Q_EMIT md5Started(UrlText());
}

bool DownloadTask::StopMd5Check()
{
    ++checkRun;
    check.reset();
    const Watch watch(this);
    Q_EMIT md5Stoped(UrlText());
    return watch.Undisturbed();
}

void DownloadTask::onGetFileMD5(QString md5String)
{
    const bool match = model.md5.isEmpty() || model.md5.compare(md5String, Qt::CaseInsensitive) == 0;
    if (!StopMd5Check())
        return;
    if (QFile::exists(model.GetFilePath()))
        ResolveExistingDestination(match);
    else if (match)
        RenameFile();
    else
        FailMismatch(md5String);
}

void DownloadTask::ResolveExistingDestination(bool match)
{
    if (match) {
        status = Finished;
        Q_EMIT finish(UrlText());
        return;
    }
    status = Failed;
    // A file that stays would bring the same check back for ever.
    if (QFile::remove(model.GetFilePath()))
        Start();
    else
        FailReplacing();
}

void DownloadTask::FailMismatch(const QString& md5String)
{
    const QString message = QStringLiteral("%1 md5 not match, md5: %2, filesize: %3")
                                .arg(model.GetFileName(), md5String, QString::number(QFileInfo(TempPath()).size()));
    const Evidence evidence = CurrentEvidence();
    if (!StopUndisturbed())
        return;
    mismatch = true;
    const QPointer<DownloadTask> self(this);
    EmitError(3007, message, -1, -1, evidence);
    if (self)
        DiscardMismatch();
}

// After the error, unless its handler starts the file anew or gives the task up: then before that.
void DownloadTask::DiscardMismatch()
{
    if (!mismatch)
        return;
    mismatch = false;
    QFile::remove(TempPath());
}

void DownloadTask::RenameFile()
{
    file.close();
    const QString destination = model.GetFilePath();
    const QString temporary = TempPath();
    if (QFile::exists(destination) && !QFile::remove(destination)) {
        FailReplacing();
        return;
    }
    QCOMM_LOG(LogLevel::Trace, "DownloadTask::RenameFile")
        << " Download finish rename: " << temporary << " ==> " << destination;
    if (!QFile::rename(temporary, destination)) {
        FailReplacing();
        return;
    }
    status = Finished;
    Q_EMIT finish(UrlText());
}

void DownloadTask::FailReplacing()
{
    status = Failed;
    EmitError(2004, tr("message_error_download_delete_old_file"), -1, -1, CurrentEvidence());
}

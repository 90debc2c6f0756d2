// SPDX-License-Identifier: MIT
#include "FileJob.h"

#include "FileNames.h"

#include <QDir>
#include <QFileInfo>
#include <QTimer>
#include <QUrl>
#include <QUuid>

#include <utility>

namespace VantorEngine {

namespace {

QString problemOf(const FileSpec& wanted)
{
    return wanted.climbsOut ? QStringLiteral("the relative path leaves the root path") : nameProblem(wanted.name);
}

QString destinationOf(const FileSpec& wanted, const QString& problem)
{
    return problem.isEmpty() ? QFileInfo(wanted.directory + wanted.name).absoluteFilePath() : QString();
}

bool isFetchable(const QUrl& url)
{
    const QString scheme = url.scheme().toLower();
    return url.isValid() && !url.host().isEmpty() &&
           (scheme == QLatin1String("http") || scheme == QLatin1String("https"));
}

} // namespace

FileJob::FileJob(FileSpec wanted, const QString& groupGuid, EngineServices& services, FileJobListener& listener)
    : m_spec(std::move(wanted)),
      m_services(services),
      m_listener(listener),
      m_nameProblem(problemOf(m_spec)),
      m_destination(destinationOf(m_spec, m_nameProblem)),
      m_pathKey(m_destination.isEmpty() ? QString() : VantorEngine::pathKey(m_destination)),
      m_partial(m_destination),
      m_retries(services.settings),
      m_size(m_spec.size)
{
    m_state.guid = QUuid::createUuid().toString(QUuid::WithoutBraces);
    m_state.groupGuid = groupGuid;
    m_state.url = m_spec.url;
    m_state.size = qMax<qint64>(0, m_size);
}

FileJob::~FileJob()
{
    m_services.hasher.forget(m_hashId);
    if (m_holdsPath) {
        m_services.paths.release(m_pathKey);
    }
}

void FileJob::setStatus(ItemStatus status)
{
    m_state.status = status;
    m_listener.fileChanged(*this);
}

void FileJob::start()
{
    m_holdsSlot = true;
    m_state.error = {};
    setStatus(ItemStatus::Start);
    if (m_prepared) {
        beginAttempt();
        return;
    }
    setStatus(ItemStatus::Preparing);
    prepare();
}

void FileJob::prepare()
{
    if (!m_nameProblem.isEmpty()) {
        failForGood(FileError::write(kNameRefused, m_nameProblem));
        return;
    }
    if (!isFetchable(QUrl(m_spec.url))) {
        failForGood(FileError::net(kBadUrl, QStringLiteral("not a http or https URL"), false));
        return;
    }
    const QString folder = QFileInfo(m_destination).absolutePath();
    if (!QDir().mkpath(folder)) {
        failForGood(FileError::write(kFolderFailed, QStringLiteral("cannot make the folder %1").arg(folder)));
        return;
    }
    checkDestination();
}

/// A file that is in place already is not fetched again: of the right digest, or, when the list has none, of the
/// right size.
void FileJob::checkDestination()
{
    const QFileInfo present(m_destination);
    const bool comparable = m_size >= 0 || !m_spec.md5.isEmpty();
    if (!comparable || !present.isFile() || (m_size >= 0 && present.size() != m_size)) {
        preparePartial();
    } else if (m_spec.md5.isEmpty()) {
        acceptDestination();
    } else {
        hash(m_destination, &FileJob::onDestinationHashed);
    }
}

void FileJob::onDestinationHashed(const HashResult& result)
{
    if (result.outcome == HashResult::Outcome::Done && result.md5 == m_spec.md5) {
        acceptDestination();
    } else {
        preparePartial();
    }
}

void FileJob::acceptDestination()
{
    m_size = QFileInfo(m_destination).size();
    m_state.size = m_size;
    m_state.existing = m_size;
    setStatus(ItemStatus::Prepared);
    becomeThrough();
    if (!m_spec.md5.isEmpty()) {
        m_state.verified = m_size;
        setStatus(ItemStatus::Verified);
    }
    end(ItemStatus::Success);
}

void FileJob::preparePartial()
{
    const qint64 found = m_partial.size();
    const bool tooLong = m_size >= 0 && found > m_size;
    if (found > 0 && (tooLong || !m_spec.resume)) {
        m_partial.remove();
    }
    m_state.existing = m_partial.size();
    m_prepared = true;
    setStatus(ItemStatus::Prepared);
    if (m_size > 0 && m_state.existing == m_size) {
        finishBody();
        return;
    }
    beginAttempt();
}

void FileJob::beginAttempt()
{
    if (m_cancelled) {
        return;
    }
    m_offset = m_spec.resume ? m_partial.size() : 0;
    TransferRequest request;
    request.url = QUrl(m_spec.url);
    request.offset = m_offset;
    request.sizeHeader = m_spec.sizeHeader;
    request.stallTimeoutMs = m_services.settings.stallTimeoutMs;
    m_speed.start(m_services.clock.elapsed());
    m_transfer = std::make_unique<Transfer>(m_services.network, m_services.limiter, static_cast<TransferSink&>(*this));
    m_transfer->start(request, m_services.tls.get());
}

void FileJob::transferResponse(const ResponseHead& head, const QUrl& finalUrl)
{
    m_state.response = {head.status, head.headersJson};
    m_state.hostName = finalUrl.host();
    m_state.remoteAddress = m_services.hostNames.addressOf(m_state.hostName);
    const Verdict verdict = judgeResponse({m_offset, m_size}, head);
    switch (verdict.action) {
    case Verdict::Action::Take:
        takeBody(verdict);
        break;
    case Verdict::Action::Complete:
        m_transfer->stop();
        m_size = verdict.size;
        m_state.size = m_size;
        finishBody();
        break;
    case Verdict::Action::StartOver:
        startOver();
        break;
    case Verdict::Action::Fail:
        failAttempt(verdict.error);
        break;
    }
}

void FileJob::takeBody(const Verdict& verdict)
{
    m_size = verdict.size;
    m_state.size = qMax<qint64>(0, m_size);
    if (!m_partial.open(verdict.offset)) {
        failForGood(m_partial.error());
        return;
    }
    updateWritten();
    if (m_services.bodyBegun) {
        m_services.bodyBegun(QUrl(m_spec.url).scheme());
    }
    setStatus(ItemStatus::Downloading);
}

/// The server cannot go on where the partial file ends. Once per file, the whole is asked for instead.
void FileJob::startOver()
{
    const FileError refused = FileError::net(
        m_state.response.status, QStringLiteral("the server refused the range from byte %1").arg(m_offset), false);
    if (std::exchange(m_startedOver, true)) {
        failAttempt(refused);
        return;
    }
    m_transfer->stop();
    m_partial.remove();
    updateWritten();
    // Queued, because the transfer that reports this is replaced.
    QMetaObject::invokeMethod(this, &FileJob::beginAttempt, Qt::QueuedConnection);
}

void FileJob::transferData(const char* data, qint64 length)
{
    if (m_size >= 0 && m_partial.size() + length > m_size) {
        failAttempt(FileError::net(
            kWrongLength, QStringLiteral("the server sent more than the %1 bytes expected").arg(m_size), true));
        return;
    }
    if (!m_partial.write(data, length)) {
        failForGood(m_partial.error());
        return;
    }
    m_speed.add(length);
    updateWritten();
}

void FileJob::transferEnded(const FileError& error)
{
    if (error.kind != FileError::Kind::None) {
        failAttempt(error);
        return;
    }
    // Qt can report an early close by the server as a good end.
    if (m_size >= 0 && m_partial.size() < m_size) {
        failAttempt(FileError::net(
            kShortBody, QStringLiteral("the transfer ended after %1 of %2 bytes").arg(m_partial.size()).arg(m_size),
            true));
        return;
    }
    finishBody();
}

void FileJob::finishBody()
{
    if (!m_partial.close()) {
        failForGood(m_partial.error());
        return;
    }
    m_size = m_partial.size();
    m_state.size = m_size;
    updateWritten();
    m_state.bandwidth = 0;
    becomeThrough();
    verify();
}

void FileJob::verify()
{
    if (m_spec.md5.isEmpty()) {
        place();
        return;
    }
    setStatus(ItemStatus::Verifying);
    hash(m_partial.path(), &FileJob::onVerified);
}

void FileJob::onVerified(const HashResult& result)
{
    if (result.outcome == HashResult::Outcome::Unreadable) {
        failForGood(
            FileError::write(kReadFailed, QStringLiteral("cannot read %1: %2").arg(m_partial.path(), result.message)));
        return;
    }
    if (result.md5 != m_spec.md5) {
        // Nothing of it can be trusted, so nothing is kept for resuming.
        m_partial.remove();
        failForGood(FileError::checksum(QStringLiteral("MD5 is %1, expected %2")
                                            .arg(QString::fromLatin1(result.md5), QString::fromLatin1(m_spec.md5))));
        return;
    }
    m_state.verified = m_size;
    setStatus(ItemStatus::Verified);
    place();
}

void FileJob::place()
{
    if (!m_partial.moveInto(m_destination)) {
        failForGood(m_partial.error());
        return;
    }
    end(ItemStatus::Success);
}

void FileJob::hash(const QString& path, void (FileJob::*next)(const HashResult&))
{
    m_verifySpeed.start(m_services.clock.elapsed());
    m_hashId = m_services.hasher.start(path, [this, next](const HashResult& result) {
        m_hashId = 0;
        if (m_cancelled) {
            end(ItemStatus::Cancelled);
            return;
        }
        (this->*next)(result);
    });
}

void FileJob::failAttempt(const FileError& error)
{
    m_transfer->stop();
    if (!m_partial.close()) {
        failForGood(m_partial.error());
        return;
    }
    updateWritten();
    const int delayMs = error.transient ? m_retries.nextDelay(m_partial.size()) : -1;
    if (delayMs < 0) {
        failForGood(error);
        return;
    }
    ++m_state.retries;
    m_state.error = error;
    m_state.bandwidth = 0;
    setStatus(ItemStatus::Failed);
    freeSlot();
    retryLater(delayMs);
}

void FileJob::retryLater(int delayMs)
{
    QTimer::singleShot(delayMs, this, [this] {
        if (!m_cancelled) {
            m_listener.fileReady(*this);
        }
    });
}

void FileJob::failForGood(FileError error)
{
    if (m_transfer) {
        m_transfer->stop();
    }
    m_partial.close();
    updateWritten();
    m_state.error = std::move(error);
    VANTOR_LOG(m_services.log, Warning, QStringLiteral("%1 failed: %2").arg(m_spec.url, m_state.error.message));
    end(ItemStatus::Failed);
}

void FileJob::cancel()
{
    if (m_state.completed || m_cancelled) {
        return;
    }
    m_cancelled = true;
    if (m_transfer) {
        m_transfer->stop();
    }
    m_partial.close();
    if (m_state.status == ItemStatus::Pending) {
        end(ItemStatus::Cancelled);
        return;
    }
    m_state.error = {};
    setStatus(ItemStatus::Cancelling);
    if (m_hashId != 0) {
        m_services.hasher.cancel(m_hashId);
        return;
    }
    end(ItemStatus::Cancelled);
}

void FileJob::end(ItemStatus status)
{
    m_state.bandwidth = 0;
    m_state.verifiedSpeed = 0;
    m_state.completed = true;
    if (m_holdsPath) {
        m_holdsPath = false;
        m_services.paths.release(m_pathKey);
    }
    setStatus(status);
    if (!std::exchange(m_through, true)) {
        m_listener.fileThrough(*this);
    }
    freeSlot();
    m_listener.fileEnded(*this);
}

void FileJob::becomeThrough()
{
    m_through = true;
    setStatus(ItemStatus::Downloaded);
    m_listener.fileThrough(*this);
    freeSlot();
}

void FileJob::freeSlot()
{
    if (m_transfer) {
        // It may be the one that is calling; thousands of files that have ended must not keep theirs.
        m_transfer->stop();
        m_transfer.release()->deleteLater();
    }
    if (std::exchange(m_holdsSlot, false)) {
        m_listener.fileSlotFree(*this);
    }
}

/// What was there before this run and what this run wrote always add up to what is on disk.
void FileJob::updateWritten()
{
    if (!m_prepared) {
        return; // what lies there has not been taken up
    }
    const qint64 onDisk = m_partial.size();
    if (onDisk < m_state.existing) {
        m_state.existing = 0;
    }
    m_state.written = onDisk - m_state.existing;
}

void FileJob::sample()
{
    const qint64 now = m_services.clock.elapsed();
    if (m_state.status == ItemStatus::Downloading) {
        m_state.bandwidth = m_speed.bytesPerSecond(now);
    }
    if (m_state.status == ItemStatus::Verifying && m_hashId != 0) {
        const qint64 processed = m_services.hasher.processed(m_hashId);
        m_verifySpeed.add(processed - m_state.verified);
        m_state.verified = processed;
        m_state.verifiedSpeed = m_verifySpeed.bytesPerSecond(now);
    }
}

} // namespace VantorEngine

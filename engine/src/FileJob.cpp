// SPDX-License-Identifier: MIT
#include "FileJob.h"

#include "FileNames.h"
#include "FileSystem.h"

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
    if (wanted.inTheWay) {
        return QStringLiteral("another file of the list is written under this name until it is complete");
    }
    return wanted.climbsOut ? QStringLiteral("the relative path leaves the root path") : nameProblem(wanted.name);
}

QString destinationOf(const FileSpec& wanted, const QString& problem)
{
    return problem.isEmpty() ? QFileInfo(wanted.directory + wanted.name).absoluteFilePath() : QString();
}

} // namespace

FileJob::FileJob(FileSpec wanted, const QString& groupGuid, EngineServices& services, FileJobListener& listener)
    : m_spec(std::move(wanted)),
      m_services(services),
      m_listener(listener),
      m_nameProblem(problemOf(m_spec)),
      m_destination(destinationOf(m_spec, m_nameProblem)),
      m_pathKey(m_destination.isEmpty() ? QString() : VantorEngine::pathKey(m_destination)),
      m_folder(m_destination.isEmpty() ? QString() : QFileInfo(m_destination).absolutePath()),
      m_body(m_destination),
      m_retries(services.settings)
{
    m_state.guid = QUuid::createUuid().toString(QUuid::WithoutBraces);
    m_state.groupGuid = groupGuid;
    m_state.url = m_spec.url;
    m_state.size = qMax<qint64>(0, m_spec.size);
}

FileJob::~FileJob()
{
    m_attempt.reset();
    m_body.close();
    m_services.hasher.forget(m_hashId);
    m_services.hasher.forget(m_followId);
    releaseSpace(m_reserved);
    if (m_holdsPath) {
        m_services.paths.release(m_pathKey);
    }
}

void FileJob::setStatus(ItemStatus status)
{
    m_state.status = status;
    m_listener.fileChanged(*this);
}

void FileJob::survey()
{
    if (m_destination.isEmpty()) {
        return;
    }
    const QFileInfo present(m_destination);
    if (m_spec.size > 0 && present.isFile() && present.size() == m_spec.size) {
        m_state.existing = m_spec.size; // until its digest says otherwise
        return;
    }
    loadPartial();
    m_state.existing = m_body.onDisk().total();
    reserveSpace();
}

void FileJob::start()
{
    m_slotsHeld = 1;
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
    const QUrl url(m_spec.url);
    if (!isFetchable(url)) {
        failForGood(FileError::net(kBadUrl, QStringLiteral("not a http or https URL"), false));
        return;
    }
    if (url.scheme().toLower() == QLatin1String("https") && !m_services.tlsAvailable()) {
        failForGood(FileError::net(kTlsMissing, QStringLiteral("there is no TLS library for https"), false));
        return;
    }
    if (!QDir().mkpath(m_folder)) {
        failForGood(FileError::write(kFolderFailed, QStringLiteral("cannot make the folder %1").arg(m_folder)));
        return;
    }
    checkDestination();
}

/// A file that is in place already is not fetched again: of the right digest, or, when the list has none, of the
/// right size.
void FileJob::checkDestination()
{
    const QFileInfo present(m_destination);
    const bool comparable = m_spec.size >= 0 || !m_spec.md5.isEmpty();
    if (!comparable || !present.isFile() || (m_spec.size >= 0 && present.size() != m_spec.size)) {
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
    m_body.clearAway();
    const qint64 size = QFileInfo(m_destination).size();
    m_state.size = size;
    m_state.existing = size;
    setStatus(ItemStatus::Prepared);
    becomeThrough();
    if (!m_spec.md5.isEmpty()) {
        m_state.verified = size;
        setStatus(ItemStatus::Verified);
    }
    end(ItemStatus::Success);
}

void FileJob::preparePartial()
{
    loadPartial();
    m_state.existing = m_body.onDisk().total();
    if (!reserveSpace() || !spaceIsLeft()) {
        failForGood(FileError::write(kDiskFull, QStringLiteral("the volume of %1 has no room for %2 bytes")
                                                    .arg(m_folder, QString::number(missingBytes()))));
        return;
    }
    m_prepared = true;
    setStatus(ItemStatus::Prepared);
    const qint64 size = m_spec.size >= 0 ? m_spec.size : m_body.version().size;
    if (size > 0 && m_state.existing == size) {
        finishBody();
        return;
    }
    beginAttempt();
}

void FileJob::loadPartial()
{
    if (m_spec.resume) {
        m_body.load(m_spec.url, m_spec.size, !m_spec.md5.isEmpty());
    }
}

qint64 FileJob::missingBytes() const
{
    const qint64 size = m_spec.size >= 0 ? m_spec.size : m_body.version().size;
    return qMax<qint64>(0, size - m_body.onDisk().total());
}

/// Sets aside what is still to be written. Files of unknown size take part once it is known.
bool FileJob::reserveSpace()
{
    const qint64 further = missingBytes() - m_reserved;
    if (!m_services.disk.reserve(m_folder, further)) {
        return false;
    }
    m_reserved += qMax<qint64>(0, further);
    return true;
}

void FileJob::releaseSpace(qint64 bytes)
{
    const qint64 released = qMin(bytes, m_reserved);
    m_reserved -= released;
    m_services.disk.release(m_folder, released);
}

/// Others write to the volume, too.
bool FileJob::spaceIsLeft()
{
    m_spaceCheckedMs = m_services.clock.elapsed();
    return m_reserved == 0 || m_services.disk.hasFree(m_folder, m_reserved);
}

void FileJob::beginAttempt()
{
    if (m_cancelled) {
        return;
    }
    m_speed.start(m_services.clock.elapsed());
    const AttemptOrder order{m_spec.url,    m_spec.size,           m_spec.sizeHeader,
                             m_spec.resume, !m_spec.md5.isEmpty(), !m_startedOver && !m_mismatched};
    m_attempt = std::make_unique<Attempt>(order, m_body, m_services, static_cast<AttemptListener&>(*this));
    m_attempt->start();
    if (m_services.networkUsed) {
        m_services.networkUsed(QStringLiteral("request"));
    }
}

void FileJob::widen()
{
    ++m_slotsHeld;
    m_attempt->widen();
}

void FileJob::attemptNarrowed()
{
    --m_slotsHeld;
    m_listener.fileSlotFree(*this);
}

void FileJob::attemptResponse(const ResponseHead& head, const QUrl& finalUrl)
{
    m_state.response = {head.status, head.headersJson};
    m_state.hostName = finalUrl.host();
    m_state.remoteAddress = m_services.hostNames.addressOf(m_state.hostName);
}

void FileJob::attemptBegun()
{
    m_state.size = qMax<qint64>(0, m_spec.size >= 0 ? m_spec.size : m_body.version().size);
    updateWritten();
    if (!reserveSpace()) {
        failForGood(FileError::write(kDiskFull, QStringLiteral("the volume of %1 has no room for %2 bytes")
                                                    .arg(m_folder, QString::number(missingBytes()))));
        return;
    }
    followBody();
    if (m_services.networkUsed) {
        m_services.networkUsed(QUrl(m_spec.url).scheme());
    }
    setStatus(ItemStatus::Downloading);
}

/// The digest goes along with the body: over what is there from earlier first.
void FileJob::followBody()
{
    if (m_spec.md5.isEmpty()) {
        return;
    }
    if (std::exchange(m_followedGeneration, m_body.generation()) != m_body.generation()) {
        m_services.hasher.forget(std::exchange(m_followId, 0)); // of bytes that are gone
    }
    if (m_followId == 0) {
        m_followId = m_services.hasher.follow(m_body.path(), [this](const HashResult& result) {
            m_followId = 0;
            onHashed(result, &FileJob::onVerified);
        });
    }
    m_services.hasher.extend(m_followId, m_body.onDisk().prefix());
}

void FileJob::attemptGrew(qint64 bytes)
{
    m_speed.add(bytes);
    releaseSpace(bytes);
    updateWritten();
    m_services.hasher.extend(m_followId, m_body.onDisk().prefix());
    if (m_services.clock.elapsed() - m_spaceCheckedMs >= kSpaceCheckMs && !spaceIsLeft()) {
        failForGood(FileError::write(kDiskFull, QStringLiteral("the volume of %1 is full").arg(m_folder)));
    }
}

/// What is there cannot be gone on from. Once per file, the whole is asked for instead.
void FileJob::attemptRefused(const FileError& error)
{
    const bool again = std::exchange(m_startedOver, true);
    if (again && !error.transient) {
        failForGood(error);
        return;
    }
    startOver();
    if (again) {
        attemptFailed(error);
        return;
    }
    // Queued, because the transfer that reports this is replaced.
    QMetaObject::invokeMethod(this, &FileJob::beginAttempt, Qt::QueuedConnection);
}

void FileJob::startOver()
{
    endAttempt();
    m_services.hasher.forget(std::exchange(m_followId, 0));
    m_body.remove();
    updateWritten();
}

void FileJob::attemptComplete()
{
    finishBody();
}

void FileJob::finishBody()
{
    endAttempt();
    if (!m_body.close()) {
        failForGood(m_body.error());
        return;
    }
    m_state.size = m_body.onDisk().total();
    updateWritten();
    releaseSpace(m_reserved);
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
    if (m_followId == 0) {
        setStatus(ItemStatus::Verifying);
        hash(m_body.path(), &FileJob::onVerified);
        return;
    }
    m_hashId = std::exchange(m_followId, 0);
    m_verifySpeed.start(m_services.clock.elapsed());
    m_state.verified = m_services.hasher.processed(m_hashId); // while the body came: not the speed of now
    setStatus(ItemStatus::Verifying);
    m_services.hasher.finish(m_hashId);
}

void FileJob::onVerified(const HashResult& result)
{
    if (result.outcome == HashResult::Outcome::Unreadable) {
        failForGood(
            FileError::write(kReadFailed, QStringLiteral("cannot read %1: %2").arg(m_body.path(), result.message)));
        return;
    }
    if (result.md5 != m_spec.md5) {
        onMismatch(result);
        return;
    }
    m_state.verified = m_state.size;
    setStatus(ItemStatus::Verified);
    place();
}

/// Nothing of it can be trusted, so nothing is kept. It is fetched once more, as a whole: a transfer may have been
/// damaged, or what was there from before. That is not told as a failure, because hosts answer a failed digest by
/// removing the partial file, which is being written again by then.
void FileJob::onMismatch(const HashResult& result)
{
    const FileError error = FileError::checksum(
        QStringLiteral("MD5 is %1, expected %2").arg(QString::fromLatin1(result.md5), QString::fromLatin1(m_spec.md5)));
    m_body.remove();
    if (std::exchange(m_mismatched, true)) {
        failForGood(error);
        return;
    }
    VANTOR_LOG(m_services.log, Warning, QStringLiteral("%1 is fetched again: %2").arg(m_spec.url, error.message));
    ++m_state.retries;
    m_state.verified = 0;
    m_state.verifiedSpeed = 0;
    updateWritten();
    retryLater(0);
}

/// Another program may hold the old file, or look into the new one, for a moment.
void FileJob::place()
{
    bool busy = false;
    if (m_body.moveInto(m_destination, busy)) {
        end(ItemStatus::Success);
        return;
    }
    if (!busy || ++m_placeAttempts >= kReplaceAttempts) {
        failForGood(m_body.error());
        return;
    }
    QTimer::singleShot(kReplaceRetryMs, this, [this] {
        if (!m_state.completed) {
            place();
        }
    });
}

void FileJob::hash(const QString& path, void (FileJob::*next)(const HashResult&))
{
    m_verifySpeed.start(m_services.clock.elapsed());
    m_state.verified = 0;
    m_hashId = m_services.hasher.start(path, [this, next](const HashResult& result) { onHashed(result, next); });
}

void FileJob::onHashed(const HashResult& result, void (FileJob::*next)(const HashResult&))
{
    if (m_hashId == 0) {
        return; // following ended early: the file is hashed when it is complete
    }
    m_hashId = 0;
    if (m_cancelled) {
        end(ItemStatus::Cancelled);
        return;
    }
    (this->*next)(result);
}

void FileJob::attemptFailed(const FileError& error)
{
    if (error.kind == FileError::Kind::Write) {
        failForGood(error);
        return;
    }
    endAttempt();
    if (!m_body.close()) {
        failForGood(m_body.error());
        return;
    }
    updateWritten();
    const int delayMs = error.transient ? m_retries.nextDelay(m_body.onDisk().total(), error.retryAfterMs) : -1;
    if (delayMs < 0) {
        failForGood(error);
        return;
    }
    ++m_state.retries;
    m_state.error = error;
    m_state.bandwidth = 0;
    setStatus(ItemStatus::Failed);
    freeSlots();
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
    endAttempt();
    m_body.close();
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
    endAttempt();
    m_body.close();
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
    m_services.hasher.forget(std::exchange(m_followId, 0));
    releaseSpace(m_reserved);
    if (m_holdsPath) {
        m_holdsPath = false;
        m_services.paths.release(m_pathKey);
    }
    setStatus(status);
    if (!std::exchange(m_through, true)) {
        m_listener.fileThrough(*this);
    }
    freeSlots();
    m_listener.fileEnded(*this);
}

void FileJob::becomeThrough()
{
    setStatus(ItemStatus::Downloaded);
    if (!std::exchange(m_through, true)) {
        m_listener.fileThrough(*this);
    }
    freeSlots();
}

/// Ends the connections. Thousands of files that have ended must not keep theirs.
void FileJob::endAttempt()
{
    if (m_attempt) {
        m_attempt->stop();
        m_attempt.release()->deleteLater(); // it may be the one that is calling
    }
}

void FileJob::freeSlots()
{
    while (m_slotsHeld > 0) {
        --m_slotsHeld;
        m_listener.fileSlotFree(*this);
    }
}

/// What was there before this run and what this run wrote always add up to what is on disk.
void FileJob::updateWritten()
{
    if (!m_prepared) {
        return; // what lies there has not been taken up
    }
    const qint64 onDisk = m_body.onDisk().total();
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

// SPDX-License-Identifier: MIT
#include "Attempt.h"

#include <QUrl>

#include <algorithm>
#include <utility>

namespace VantorEngine {

namespace {

/// Mirrors that tell no version are at least told apart by their address. Queries may carry a token for each request.
bool isSamePlace(const QString& one, const QString& other)
{
    return QUrl(one).adjusted(QUrl::RemoveQuery) == QUrl(other).adjusted(QUrl::RemoveQuery);
}

} // namespace

Attempt::Attempt(const AttemptOrder& order, PartialBody& body, EngineServices& services, AttemptListener& listener)
    : m_order(order), m_body(body), m_services(services), m_listener(listener)
{
    m_noteTimer.setSingleShot(true);
    m_noteTimer.setInterval(kNoteMs);
    connect(&m_noteTimer, &QTimer::timeout, this, [this] { m_body.noteNow(); });
}

Attempt::~Attempt() = default;

void Attempt::start()
{
    if (!m_order.resume || !provable(m_body.version().validator) || !m_body.isIntact()) {
        m_body.forget();
    }
    m_segmented = m_order.resume && m_order.segments && knownSize() >= kSegmentedFromBytes;
    addPart();
}

bool Attempt::canWiden() const
{
    return m_segmented && m_begun && m_mayWiden && !m_parts.empty() && m_parts.size() < kMostConnections &&
           nextSpan().length() > 0;
}

void Attempt::widen()
{
    addPart();
}

void Attempt::stop()
{
    for (Part& part : m_parts) {
        // It may be the one that is calling.
        part.transfer->stop();
        part.transfer.release()->deleteLater();
    }
    m_parts.clear();
    m_noteTimer.stop();
}

void Attempt::addPart()
{
    Part part;
    part.transfer =
        std::make_unique<Transfer>(m_services.network, m_services.limiter, static_cast<TransferSink&>(*this));
    m_parts.push_back(std::move(part));
    ask(m_parts.back());
}

void Attempt::ask(Part& part)
{
    part.at = 0;
    part.end = 0; // its own old span is not in the way of the next
    const Span span = nextSpan();
    const bool openEnd = !m_segmented && (span.to < 0 || span.to == knownSize());
    part.ranged = m_segmented || span.from > 0 || !openEnd;
    part.at = span.from;
    part.end = span.to;
    part.askedEnd = openEnd ? -1 : span.to;

    TransferRequest request;
    request.url = QUrl(m_order.url);
    request.ranged = part.ranged;
    request.offset = part.at;
    request.end = part.askedEnd;
    request.validator = m_body.version().validator;
    request.sizeHeader = m_order.sizeHeader;
    request.responseTimeoutMs = m_services.settings.responseTimeoutMs;
    request.stallTimeoutMs = m_services.settings.stallTimeoutMs;
    part.transfer->start(request, m_services.tls.get());
}

qint64 Attempt::knownSize() const
{
    return m_order.size >= 0 ? m_order.size : m_body.version().size;
}

/// Whether bytes of two responses can be told to belong together, at the latest by the digest.
bool Attempt::provable(const QByteArray& validator) const
{
    return m_order.verified || !validator.isEmpty();
}

/// The first bytes that are neither there nor on their way.
Span Attempt::nextSpan() const
{
    const qint64 size = knownSize();
    if (size < 0) {
        return {m_body.onDisk().prefix(), -1};
    }
    Coverage spoken = m_body.onDisk();
    for (const Part& part : m_parts) {
        spoken.add({part.at, part.end});
    }
    Span span = spoken.firstHole(size);
    if (m_segmented) {
        span.to = std::min(span.to, (span.from / kSegmentBytes + 1) * kSegmentBytes);
    }
    return span;
}

void Attempt::transferResponse(Transfer& transfer, const ResponseHead& head, const QUrl& finalUrl)
{
    Part& part = partOf(transfer);
    m_listener.attemptResponse(head, finalUrl);
    const Verdict verdict = judgeResponse({part.ranged, part.at, part.askedEnd, m_order.size, m_body.version()}, head);
    const FileVersion version{m_order.url, finalUrl.toString(QUrl::FullyEncoded), head.validator, verdict.size};
    switch (verdict.action) {
    case Verdict::Action::Take:
        takeWhole(part, verdict, version);
        break;
    case Verdict::Action::Continue:
        takePart(part, verdict, version);
        break;
    case Verdict::Action::Complete:
        m_listener.attemptComplete();
        break;
    case Verdict::Action::StartOver:
        if (m_parts.size() > 1) {
            failPart(part, verdict.error);
        } else {
            m_listener.attemptRefused(verdict.error);
        }
        break;
    case Verdict::Action::Fail:
        failPart(part, verdict.error);
        break;
    }
}

/// The server sends all of it, because it was asked to, knows no parts, or has another version now.
void Attempt::takeWhole(Part& part, const Verdict& verdict, const FileVersion& version)
{
    if (m_parts.size() > 1) {
        failPart(part, {});
        return;
    }
    m_segmented = false;
    if (!m_body.begin(version, m_order.resume && provable(version.validator))) {
        m_listener.attemptFailed(m_body.error());
        return;
    }
    part.at = 0;
    part.end = verdict.size;
    m_begun = false; // what was told of another version does not hold any more
    announceBegin();
}

void Attempt::takePart(Part& part, const Verdict& verdict, const FileVersion& version)
{
    const bool first = m_body.onDisk().total() == 0 && !m_body.isOpen();
    if (first && !provable(version.validator)) {
        m_listener.attemptRefused(
            FileError::net(kFileChanged, QStringLiteral("the server names no version of the file"), true));
        return;
    }
    const FileVersion& known = m_body.version();
    if (!first && known.validator.isEmpty() && !isSamePlace(known.finalUrl, version.finalUrl)) {
        const FileError error = FileError::net(kFileChanged, QStringLiteral("the file comes from another place"), true);
        if (m_parts.size() > 1) {
            failPart(part, error);
        } else {
            m_listener.attemptRefused(error);
        }
        return;
    }
    if (!m_body.isOpen() && !m_body.isIntact()) {
        m_listener.attemptRefused(FileError::net(kFileChanged, QStringLiteral("the partial file is gone"), true));
        return;
    }
    if (first ? !m_body.begin(version, true) : !m_body.isOpen() && !m_body.resume()) {
        m_listener.attemptFailed(m_body.error());
        return;
    }
    if (part.end < 0) {
        part.end = verdict.size;
    }
    announceBegin();
}

void Attempt::announceBegin()
{
    if (!std::exchange(m_begun, true)) {
        m_listener.attemptBegun();
    }
}

void Attempt::transferData(Transfer& transfer, const char* data, qint64 length)
{
    Part& part = partOf(transfer);
    if (part.end >= 0 && part.at + length > part.end) {
        failPart(part,
                 FileError::net(kWrongLength,
                                QStringLiteral("the server sent more than the bytes up to %1").arg(part.end), true));
        return;
    }
    if (!m_body.write(part.at, data, length)) {
        m_listener.attemptFailed(m_body.error());
        return;
    }
    part.at += length;
    if (!m_noteTimer.isActive()) {
        m_noteTimer.start();
    }
    m_listener.attemptGrew(length);
}

void Attempt::transferEnded(Transfer& transfer, const FileError& error)
{
    Part& part = partOf(transfer);
    if (error.kind != FileError::Kind::None) {
        failPart(part, error);
        return;
    }
    // Qt can report an early close by the server as a good end.
    if (part.end >= 0 && part.at < part.end) {
        failPart(part, FileError::net(kShortBody,
                                      QStringLiteral("the transfer ended at byte %1 of %2").arg(part.at).arg(part.end),
                                      true));
        return;
    }
    if (isComplete()) {
        m_listener.attemptComplete();
    } else if (m_parts.size() > 1) {
        drop(part);
    } else {
        ask(part);
    }
}

/// Where no size is known, the end of a transfer is the end of the file.
bool Attempt::isComplete() const
{
    const qint64 size = knownSize();
    return size < 0 || m_body.onDisk().total() >= size;
}

/// A connection beside another one that fails is given up: its bytes are fetched by the others.
void Attempt::failPart(Part& part, const FileError& error)
{
    if (m_parts.size() > 1) {
        m_mayWiden = false;
        drop(part);
        return;
    }
    m_listener.attemptFailed(error);
}

void Attempt::drop(Part& part)
{
    part.transfer->stop();
    part.transfer.release()->deleteLater();
    const auto gone =
        std::find_if(m_parts.begin(), m_parts.end(), [](const Part& each) { return each.transfer == nullptr; });
    m_parts.erase(gone);
    m_listener.attemptNarrowed();
}

Attempt::Part& Attempt::partOf(const Transfer& transfer)
{
    return *std::find_if(m_parts.begin(), m_parts.end(),
                         [&transfer](const Part& part) { return part.transfer.get() == &transfer; });
}

} // namespace VantorEngine

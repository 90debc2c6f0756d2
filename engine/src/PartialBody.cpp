// SPDX-License-Identifier: MIT
#include "PartialBody.h"

namespace VantorEngine {

namespace {

constexpr char kStateSuffix[] = "_tmp_state";

} // namespace

PartialBody::PartialBody(const QString& destination)
    : m_file(destination), m_state(destination + QLatin1String(kStateSuffix))
{
}

void PartialBody::load(const QString& url, qint64 size, bool verified)
{
    forget();
    const PartialState found = m_state.read();
    const bool ours = found.valid && found.version.url == url;
    const bool fits = size < 0 || found.version.size < 0 || found.version.size == size;
    const bool certain = verified || found.handedToThisSystem;
    if (ours && fits && certain && found.onDisk.total() > 0 && found.onDisk.end() <= m_file.size()) {
        m_version = found.version;
        m_onDisk = found.onDisk;
    }
}

bool PartialBody::isIntact() const
{
    return m_onDisk.end() == 0 || m_onDisk.end() <= m_file.size();
}

void PartialBody::forget()
{
    ++m_generation;
    m_file.close();
    m_state.close();
    m_version = {};
    m_onDisk.clear();
    m_keepsState = true;
}

bool PartialBody::begin(const FileVersion& version, bool keepsState)
{
    forget();
    if (!m_state.remove()) {
        return fail(FileError::write(kWriteFailed, QStringLiteral("cannot remove the state file of %1").arg(path())));
    }
    m_version = version;
    m_keepsState = keepsState;
    return resume();
}

bool PartialBody::resume()
{
    m_unrecorded = 0;
    m_sinceOpen.start();
    return m_file.open(m_onDisk.end()) || fail(m_file.error());
}

bool PartialBody::write(qint64 at, const char* data, qint64 length)
{
    if (!m_file.write(at, data, length)) {
        return fail(m_file.error());
    }
    m_onDisk.add({at, at + length});
    note(length);
    return true;
}

/// Slow transfers are noted with every write, fast ones a thousand times a second or every megabyte.
void PartialBody::note(qint64 written)
{
    m_unrecorded += written;
    if (!m_state.isOpen()) {
        if (m_sinceOpen.elapsed() >= kStateAfterMs || m_unrecorded >= kStateAfterBytes) {
            record();
        }
    } else if (m_unrecorded >= kRecordEveryBytes || m_sinceRecord.nsecsElapsed() >= kRecordEveryNs) {
        record();
    }
}

void PartialBody::noteNow()
{
    if (isOpen()) {
        record();
    }
}

void PartialBody::record()
{
    if (!m_keepsState || m_unrecorded == 0) {
        return;
    }
    // Where the disk takes no note, a later run starts over.
    const bool noted = m_state.isOpen() ? m_state.record(m_onDisk) : m_state.create(m_version, m_onDisk);
    if (!noted) {
        m_state.remove();
        m_keepsState = false;
    }
    m_unrecorded = 0;
    m_sinceRecord.start();
}

bool PartialBody::close()
{
    if (!m_file.isOpen()) {
        return true;
    }
    const bool flushed = m_file.close();
    const bool complete = m_version.size >= 0 && m_onDisk.total() == m_version.size;
    // What is complete is verified and moved into place next; when that is cut short, the note before will do.
    if (flushed && !(complete && !m_state.isOpen())) {
        record();
    }
    m_state.close();
    return flushed || fail(m_file.error());
}

void PartialBody::remove()
{
    forget();
    m_state.remove();
    m_file.remove();
}

void PartialBody::clearAway()
{
    if (m_state.read().valid) {
        remove();
    }
}

bool PartialBody::moveInto(const QString& destination, bool& busy)
{
    if (!m_file.moveInto(destination, busy)) {
        return fail(m_file.error());
    }
    m_state.remove();
    return true;
}

bool PartialBody::fail(const FileError& error)
{
    m_error = error;
    return false;
}

} // namespace VantorEngine

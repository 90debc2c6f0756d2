// SPDX-License-Identifier: MIT
#include "StateFile.h"

#include "FileSystem.h"
#include "SystemStart.h"

#include <QCryptographicHash>
#include <QJsonDocument>
#include <QJsonObject>
#include <QList>

namespace VantorEngine {

namespace {

constexpr char kMagic[] = "vantor-state-1";
constexpr qint64 kLargestFile = qint64(256) * 1024;
constexpr int kDigestBytes = 32;

QByteArray digestOf(const QByteArray& text)
{
    return QCryptographicHash::hash(text, QCryptographicHash::Md5).toHex();
}

/// "vantor-state-1 LENGTH DIGEST\n" and so many bytes of JSON.
QByteArray headText(const FileVersion& version)
{
    const QJsonObject members{{QStringLiteral("url"), version.url},
                              {QStringLiteral("final_url"), version.finalUrl},
                              {QStringLiteral("validator"), QString::fromLatin1(version.validator)},
                              {QStringLiteral("size"), QString::number(version.size)},
                              {QStringLiteral("system_start"), QString::fromLatin1(systemStart())}};
    const QByteArray json = QJsonDocument(members).toJson(QJsonDocument::Compact);
    return QByteArray(kMagic) + ' ' + QByteArray::number(json.size()) + ' ' + digestOf(json) + '\n' + json;
}

/// The length of the head that \a content begins with, 0 when it is none.
int parseHead(const QByteArray& content, PartialState& state)
{
    const int lineEnd = content.indexOf('\n');
    const QList<QByteArray> words = content.left(lineEnd).split(' ');
    if (lineEnd < 0 || words.size() != 3 || words.at(0) != kMagic) {
        return 0;
    }
    const QByteArray json = content.mid(lineEnd + 1, words.at(1).toInt());
    if (json.size() != words.at(1).toInt() || digestOf(json) != words.at(2)) {
        return 0;
    }
    const QJsonObject members = QJsonDocument::fromJson(json).object();
    state.version.url = members.value(QStringLiteral("url")).toString();
    state.version.finalUrl = members.value(QStringLiteral("final_url")).toString();
    state.version.validator = members.value(QStringLiteral("validator")).toString().toLatin1();
    state.version.size = members.value(QStringLiteral("size")).toString().toLongLong();
    state.handedToThisSystem =
        isPresentSystemStart(members.value(QStringLiteral("system_start")).toString().toLatin1());
    return lineEnd + 1 + json.size();
}

/// "DIGEST SEQUENCE FROM-TO,FROM-TO...\n", padded with blanks before the line's end. Runs that find no room are left
/// out, from the file's end on: they are fetched again.
QByteArray recordText(quint64 sequence, const Coverage& onDisk)
{
    QByteArray text = QByteArray::number(sequence);
    char separator = ' ';
    for (const Span& span : onDisk.spans()) {
        const QByteArray run = separator + QByteArray::number(span.from) + '-' + QByteArray::number(span.to);
        if (kDigestBytes + 1 + text.size() + run.size() + 1 > StateFile::kRecordBytes) {
            break;
        }
        text += run;
        separator = ',';
    }
    text = text.leftJustified(StateFile::kRecordBytes - kDigestBytes - 2, ' ');
    return digestOf(text) + ' ' + text + '\n';
}

bool parseRuns(const QByteArray& text, Coverage& onDisk)
{
    if (text.isEmpty()) {
        return true;
    }
    const QList<QByteArray> runs = text.split(',');
    for (const QByteArray& run : runs) {
        const int dash = run.indexOf('-');
        const Span span{run.left(dash).toLongLong(), run.mid(dash + 1).toLongLong()};
        if (dash <= 0 || span.length() <= 0) {
            return false;
        }
        onDisk.add(span);
    }
    return true;
}

/// \return the record's number, 0 when it is none.
quint64 parseRecord(const QByteArray& record, Coverage& onDisk)
{
    const QByteArray text = record.mid(kDigestBytes + 1, StateFile::kRecordBytes - kDigestBytes - 2);
    if (record.size() != StateFile::kRecordBytes || digestOf(text) != record.left(kDigestBytes)) {
        return 0;
    }
    const QByteArray content = text.trimmed();
    const int blank = content.indexOf(' ');
    if (blank < 0) {
        return content.toULongLong();
    }
    return parseRuns(content.mid(blank + 1), onDisk) ? content.left(blank).toULongLong() : 0;
}

} // namespace

StateFile::StateFile(const QString& path) : m_file(path)
{
}

PartialState StateFile::read() const
{
    PartialState state;
    QFile file(m_file.fileName());
    if (!file.open(QIODevice::ReadOnly) || file.size() > kLargestFile) {
        return state;
    }
    const QByteArray content = file.readAll();
    const int recordsAt = parseHead(content, state);
    if (recordsAt == 0) {
        return state;
    }
    quint64 newest = 0;
    for (const int at : {recordsAt, recordsAt + kRecordBytes}) {
        Coverage onDisk;
        const quint64 sequence = parseRecord(content.mid(at, kRecordBytes), onDisk);
        if (sequence > newest) {
            newest = sequence;
            state.onDisk = onDisk;
        }
    }
    const bool inside = state.version.size < 0 || state.onDisk.end() <= state.version.size;
    state.valid = newest > 0 && inside;
    return state;
}

bool StateFile::create(const FileVersion& version, const Coverage& onDisk)
{
    m_file.close();
    const QByteArray head = headText(version);
    m_recordsAt = head.size();
    m_sequence = 1;
    // The second record is left blank: it carries no digest until it is first written.
    const QByteArray content = head + recordText(m_sequence, onDisk) + QByteArray(kRecordBytes, ' ');
    const QString fresh = m_file.fileName() + QLatin1String(kFreshSuffix);
    ReplaceProblem problem;
    if (!fill(fresh, content) || !replaceFile(fresh, m_file.fileName(), problem)) {
        QFile::remove(fresh);
        return false;
    }
    return m_file.open(QIODevice::ReadWrite | QIODevice::Unbuffered);
}

bool StateFile::fill(const QString& path, const QByteArray& content) const
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) && file.write(content) == content.size();
}

bool StateFile::record(const Coverage& onDisk)
{
    const QByteArray text = recordText(++m_sequence, onDisk);
    const qint64 at = m_recordsAt + (m_sequence % 2 == 1 ? 0 : kRecordBytes);
    return m_file.seek(at) && m_file.write(text) == text.size();
}

bool StateFile::remove()
{
    m_file.close();
    QFile::remove(m_file.fileName() + QLatin1String(kFreshSuffix)); // of a run that ended while it made one
    return m_file.remove() || !m_file.exists();
}

} // namespace VantorEngine

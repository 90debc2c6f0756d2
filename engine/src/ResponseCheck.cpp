// SPDX-License-Identifier: MIT
#include "ResponseCheck.h"

#include "RetryPolicy.h"

#include <QLocale>

namespace VantorEngine {

namespace {

constexpr int kOk = 200;
constexpr int kNonAuthoritative = 203;
constexpr int kPartialContent = 206;
constexpr int kRangeNotSatisfiable = 416;
constexpr int kFirstError = 400;

Verdict fail(const FileError& error)
{
    Verdict verdict;
    verdict.error = error;
    return verdict;
}

bool parseNumber(const QByteArray& text, qint64& number)
{
    bool numeric = false;
    number = text.trimmed().toLongLong(&numeric);
    return numeric && number >= 0;
}

/// The header the list names, unless it is the usual one, which tells the whole size only for a whole body.
qint64 namedSize(const ResponseHead& head)
{
    qint64 size = -1;
    return parseNumber(head.sizeHeader, size) ? size : -1;
}

FileError wrongLength(qint64 expected, qint64 found)
{
    return FileError::net(kWrongLength,
                          QStringLiteral("the server's file has %1 bytes, %2 were expected").arg(found).arg(expected),
                          true);
}

Verdict judgeWhole(const AttemptPlan& plan, const ResponseHead& head)
{
    if (plan.size >= 0) {
        if (head.contentLength >= 0 && head.contentLength != plan.size) {
            return fail(wrongLength(plan.size, head.contentLength));
        }
        return {Verdict::Action::Take, 0, plan.size, {}};
    }
    const qint64 named = namedSize(head);
    return {Verdict::Action::Take, 0, named >= 0 ? named : head.contentLength, {}};
}

/// True when the response says that it is of another version than the bytes that are there. Only validators of the
/// same kind can be compared; the kind shows in the quotes.
bool isOtherVersion(const QByteArray& known, const QByteArray& told)
{
    const bool comparable = !known.isEmpty() && !told.isEmpty() && known.startsWith('"') == told.startsWith('"');
    return comparable && known != told;
}

Verdict startOver(qint64 size, const FileError& error)
{
    return {Verdict::Action::StartOver, 0, size, error};
}

FileError fileChanged()
{
    return FileError::net(kFileChanged, QStringLiteral("the file on the server was changed"), true);
}

Verdict judgePartial(const AttemptPlan& plan, const ResponseHead& head)
{
    const ContentRange range = parseContentRange(head.contentRange);
    const bool inside = plan.end < 0 || range.last < plan.end;
    if (!plan.ranged || !range.valid || range.first != plan.offset || !inside) {
        return fail(FileError::net(kWrongRange,
                                   QStringLiteral("partial content \"%1\" does not start at byte %2")
                                       .arg(QString::fromLatin1(head.contentRange), QString::number(plan.offset)),
                                   true));
    }
    if (isOtherVersion(plan.version.validator, head.validator)) {
        return startOver(plan.size, fileChanged());
    }
    if (plan.version.size >= 0 && range.total != plan.version.size) {
        return startOver(plan.size, fileChanged());
    }
    if (plan.size >= 0 && range.total != plan.size) {
        return fail(wrongLength(plan.size, range.total));
    }
    return {Verdict::Action::Continue, plan.offset, range.total >= 0 ? range.total : range.last + 1, {}};
}

/// The partial file does not lie inside the server's file: it is either all of it or of no use.
Verdict judgeUnsatisfiable(const AttemptPlan& plan, const ResponseHead& head)
{
    const ContentRange range = parseContentRange(head.contentRange);
    const bool local = range.valid && range.total == plan.offset && (plan.size < 0 || plan.size == plan.offset);
    if (local && !isOtherVersion(plan.version.validator, head.validator)) {
        return {Verdict::Action::Complete, plan.offset, plan.offset, {}};
    }
    return startOver(
        plan.size, FileError::net(head.status,
                                  QStringLiteral("the server refused the range from byte %1").arg(plan.offset), false));
}

} // namespace

Verdict judgeResponse(const AttemptPlan& plan, const ResponseHead& head)
{
    if (head.status == kOk || head.status == kNonAuthoritative) {
        return judgeWhole(plan, head);
    }
    if (head.status == kPartialContent) {
        return judgePartial(plan, head);
    }
    if (head.status == kRangeNotSatisfiable && plan.ranged) {
        return judgeUnsatisfiable(plan, head);
    }
    const QString message = QStringLiteral("the server answered with status %1").arg(head.status);
    if (head.status < kFirstError) {
        return fail(FileError::net(kUnusableStatus, message, false));
    }
    FileError error = FileError::net(head.status, message, isTransientStatus(head.status));
    error.retryAfterMs = head.retryAfterMs;
    return fail(error);
}

QByteArray strongValidator(const QByteArray& etag, const QByteArray& lastModified)
{
    const QByteArray tag = etag.trimmed();
    return tag.size() >= 2 && tag.startsWith('"') && tag.endsWith('"') ? tag : lastModified.trimmed();
}

qint64 parseRetryAfter(const QByteArray& value, const QDateTime& now)
{
    constexpr qint64 kLongestSeconds = 24LL * 3600;
    if (value.isEmpty()) {
        return 0;
    }
    qint64 seconds = 0;
    if (parseNumber(value, seconds)) {
        return qMin(seconds, kLongestSeconds) * 1000;
    }
    QDateTime until = QLocale::c().toDateTime(QString::fromLatin1(value.trimmed()),
                                              QStringLiteral("ddd, dd MMM yyyy hh:mm:ss 'GMT'"));
    until.setTimeSpec(Qt::UTC);
    return until.isValid() ? qBound<qint64>(0, now.msecsTo(until), kLongestSeconds * 1000) : 0;
}

ContentRange parseContentRange(const QByteArray& value)
{
    ContentRange range;
    const QByteArray text = value.trimmed();
    const int slash = text.indexOf('/');
    if (slash < 0 || !text.toLower().startsWith("bytes ")) {
        return range;
    }
    constexpr int kUnitLength = 6;
    const QByteArray span = text.mid(kUnitLength, slash - kUnitLength).trimmed();
    const QByteArray total = text.mid(slash + 1).trimmed();
    if (total != "*" && !parseNumber(total, range.total)) {
        return range;
    }
    if (span == "*") {
        range.valid = range.total >= 0;
        return range;
    }
    const int dash = span.indexOf('-');
    range.valid = dash > 0 && parseNumber(span.left(dash), range.first) &&
                  parseNumber(span.mid(dash + 1), range.last) && range.first <= range.last;
    return range;
}

} // namespace VantorEngine

// SPDX-License-Identifier: MIT
#include "ResponseCheck.h"

#include "RetryPolicy.h"

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

Verdict take(qint64 offset, qint64 size)
{
    return {Verdict::Action::Take, offset, size, {}};
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
    if (plan.size < 0) {
        const qint64 named = namedSize(head);
        return take(0, named >= 0 ? named : head.contentLength);
    }
    if (head.contentLength >= 0 && head.contentLength != plan.size) {
        return fail(wrongLength(plan.size, head.contentLength));
    }
    return take(0, plan.size);
}

Verdict judgePartial(const AttemptPlan& plan, const ResponseHead& head)
{
    const ContentRange range = parseContentRange(head.contentRange);
    if (plan.offset == 0 || !range.valid || range.first != plan.offset) {
        return fail(FileError::net(kWrongRange,
                                   QStringLiteral("partial content \"%1\" does not start at byte %2")
                                       .arg(QString::fromLatin1(head.contentRange))
                                       .arg(plan.offset),
                                   true));
    }
    if (plan.size >= 0 && range.total >= 0 && range.total != plan.size) {
        return fail(wrongLength(plan.size, range.total));
    }
    const qint64 size = plan.size >= 0 ? plan.size : range.total;
    return take(plan.offset, size >= 0 ? size : range.last + 1);
}

/// The partial file does not lie inside the server's file: it is either all of it or of no use.
Verdict judgeUnsatisfiable(const AttemptPlan& plan, const ResponseHead& head)
{
    const ContentRange range = parseContentRange(head.contentRange);
    Verdict verdict;
    verdict.size = plan.size;
    verdict.action = Verdict::Action::StartOver;
    if (plan.size < 0 && range.valid && range.total == plan.offset) {
        verdict.action = Verdict::Action::Complete;
        verdict.offset = plan.offset;
        verdict.size = plan.offset;
    }
    return verdict;
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
    if (head.status == kRangeNotSatisfiable && plan.offset > 0) {
        return judgeUnsatisfiable(plan, head);
    }
    const QString message = QStringLiteral("the server answered with status %1").arg(head.status);
    if (head.status < kFirstError) {
        return fail(FileError::net(kUnusableStatus, message, false));
    }
    return fail(FileError::net(head.status, message, isTransientStatus(head.status)));
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

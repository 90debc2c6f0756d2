// SPDX-License-Identifier: MIT
#pragma once

#include "FileError.h"
#include "StateFile.h"

#include <QByteArray>
#include <QDateTime>

namespace VantorEngine {

/// What an attempt asked for.
struct AttemptPlan
{
    bool ranged = false; ///< the request had a Range
    qint64 offset = 0;   ///< first byte asked for
    qint64 end = -1;     ///< behind the last byte asked for, -1: all
    qint64 size = -1;    ///< the whole file's as the list has it, -1: unknown
    FileVersion version; ///< of the bytes that are there; all unknown when there are none
};

/// What the server answered, after redirects.
struct ResponseHead
{
    int status = 0;
    qint64 contentLength = -1; ///< -1: not told
    QByteArray contentRange;
    QByteArray validator;    ///< a strong ETag, else Last-Modified, else empty
    qint64 retryAfterMs = 0; ///< 0: not told
    QByteArray sizeHeader;   ///< value of the header that the list names for an unknown size
    QByteArray headersJson;
};

/// What is to be done with the response.
struct Verdict
{
    enum class Action {
        Take,      ///< the whole file: start over with its body
        Continue,  ///< the bytes from `offset` on, as asked for
        Complete,  ///< the partial file is the whole file already
        StartOver, ///< drop the partial file and ask again
        Fail
    };
    Action action = Action::Fail;
    qint64 offset = 0;
    qint64 size = -1; ///< -1: still unknown
    FileError error;  ///< when it fails, or must start over
};

Verdict judgeResponse(const AttemptPlan& plan, const ResponseHead& head);

/// A Content-Range header: "bytes 5-9/10", "bytes 5-9/*" or "bytes */10".
struct ContentRange
{
    bool valid = false;
    qint64 first = -1; ///< -1 in the "*/total" form
    qint64 last = -1;
    qint64 total = -1; ///< -1: "*"
};

ContentRange parseContentRange(const QByteArray& value);

/// What If-Range takes: the ETag if it is a strong one, else the Last-Modified date, else nothing.
QByteArray strongValidator(const QByteArray& etag, const QByteArray& lastModified);

/// A Retry-After header, seconds or a date, as milliseconds from \a now; 0 when it is neither or past.
qint64 parseRetryAfter(const QByteArray& value, const QDateTime& now);

} // namespace VantorEngine

// SPDX-License-Identifier: MIT
#pragma once

#include "FileError.h"

#include <QByteArray>

namespace VantorEngine {

/// What an attempt asked for.
struct AttemptPlan
{
    qint64 offset = 0; ///< first byte asked for; above 0 the request had a Range
    qint64 size = -1;  ///< the whole file's, -1 while unknown
};

/// What the server answered, after redirects.
struct ResponseHead
{
    int status = 0;
    qint64 contentLength = -1; ///< -1: not told
    QByteArray contentRange;
    QByteArray sizeHeader; ///< value of the header that the list names for an unknown size
    QByteArray headersJson;
};

/// What is to be done with the response.
struct Verdict
{
    enum class Action {
        Take,      ///< write the body from `offset` on
        Complete,  ///< the partial file is the whole file already
        StartOver, ///< drop the partial file and ask again
        Fail
    };
    Action action = Action::Fail;
    qint64 offset = 0;
    qint64 size = -1; ///< -1: still unknown
    FileError error;
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

} // namespace VantorEngine

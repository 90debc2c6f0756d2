// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>
#include <QUrl>

#include <limits>

class QNetworkReply;

/// \file
/// How the range downloader reads an HTTP answer. Internal: not installed.

namespace HttpAnswer {

using Headers = QList<QPair<QByteArray, QByteArray>>;

constexpr int kOk = 200;
constexpr int kPartialContent = 206;
constexpr int kForbidden = 403;
constexpr int kRangeNotSatisfiable = 416;

/// \brief HTTP status; 0 when there was no answer.
int Status(const QNetworkReply& reply);
/// \brief Content-Length in bytes; 0 when the answer does not tell.
qint64 ContentLength(const QNetworkReply& reply);
bool IsRedirect(int status);
/// \brief Whether the answer carries the file or a part of it.
bool HasContent(int status);
/// \brief Where a redirect leads, resolved against `current`; invalid when it does not tell.
QUrl RedirectTarget(const QNetworkReply& reply, const QUrl& current);

/// \brief The sum of two sizes that are not negative; the largest number when it does not fit. Servers may claim what
/// they like.
inline qint64 Sum(qint64 a, qint64 b)
{
    constexpr qint64 kLargest = std::numeric_limits<qint64>::max();
    return a > kLargest - b ? kLargest : a + b;
}

/// \brief Whether the body of a 206 answer continues a file at `offset`.
/// \param expectedSize size of the whole file in bytes; 0 or less when unknown
bool ContinuesAt(const QNetworkReply& reply, qint64 offset, qint64 expectedSize);
/// \brief Size of the whole file as an answer to a request from `offset` on tells it; 0 when it does not.
qint64 WholeSize(const QNetworkReply& reply, qint64 offset);

/// \brief Size of the whole file as the "Content-Range" of a 416 answer tells it ("bytes */5000").
/// \return 0 when there is no header of exactly this spelling, or no size of at least 1 in it
qint64 SizeFromContentRange(const Headers& headers);
/// \brief The headers as "name:value;" pairs.
QString HeaderText(const Headers& headers);
/// \brief The headers as compact JSON text {"http_header": {name: value}}.
QString HeaderJson(const Headers& headers);

/// \brief Names joined with ";".
QString JoinNames(const QList<QString>& names);

} // namespace HttpAnswer

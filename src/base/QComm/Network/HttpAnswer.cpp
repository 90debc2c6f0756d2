// SPDX-License-Identifier: MIT
#include "Network/HttpAnswer.h"

#include "QCommLog.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkReply>
#include <QNetworkRequest>

#include <algorithm>

namespace {

// "bytes 1000-4999/5000"
struct ContentRange
{
    qint64 first = -1;
    qint64 size = 0; // 0: unknown ("*")
};

ContentRange parseContentRange(const QByteArray& value)
{
    ContentRange range;
    const QByteArray text = value.trimmed();
    if (!text.toLower().startsWith("bytes"))
        return range;
    const QByteArray numbers = text.mid(5).trimmed();
    const int dash = numbers.indexOf('-');
    const int slash = numbers.indexOf('/');
    if (dash < 1)
        return range;
    bool ok = false;
    const qint64 first = numbers.left(dash).trimmed().toLongLong(&ok);
    range.first = ok ? first : -1;
    if (slash > dash)
        range.size = std::max<qint64>(numbers.mid(slash + 1).trimmed().toLongLong(), 0);
    return range;
}

bool isMultipart(const QNetworkReply& reply)
{
    return reply.rawHeader("Content-Type").trimmed().toLower().startsWith("multipart/");
}

bool isEncoded(const QNetworkReply& reply)
{
    const QByteArray coding = reply.rawHeader("Content-Encoding").trimmed().toLower();
    return !coding.isEmpty() && coding != "identity";
}

} // namespace

namespace HttpAnswer {

int Status(const QNetworkReply& reply)
{
    return reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

qint64 ContentLength(const QNetworkReply& reply)
{
    return reply.header(QNetworkRequest::ContentLengthHeader).toLongLong();
}

bool IsRedirect(int status)
{
    return status == 301 || status == 302 || status == 303 || status == 305 || status == 307 || status == 308;
}

bool HasContent(int status)
{
    return status == kOk || status == kPartialContent;
}

QUrl RedirectTarget(const QNetworkReply& reply, const QUrl& current)
{
    QUrl target = reply.attribute(QNetworkRequest::RedirectionTargetAttribute).toUrl();
    if (target.isEmpty())
        target = QUrl(QString::fromUtf8(reply.rawHeader("Location")));
    if (target.isEmpty() || !target.isValid())
        return QUrl();
    return target.isRelative() ? current.resolved(target) : target;
}

bool ContinuesAt(const QNetworkReply& reply, qint64 offset, qint64 expectedSize)
{
    // Several parts, or a part of an encoded form, are not a piece of the file itself.
    if (isMultipart(reply) || isEncoded(reply))
        return false;
    if (reply.hasRawHeader("Content-Range"))
        return parseContentRange(reply.rawHeader("Content-Range")).first == offset;
    // Servers of old leave the header out; then the length must fit the part that was asked for.
    const qint64 length = ContentLength(reply);
    return length < 1 || expectedSize < 1 || length == expectedSize - offset;
}

qint64 WholeSize(const QNetworkReply& reply, qint64 offset)
{
    const qint64 length = ContentLength(reply);
    if (Status(reply) != kPartialContent)
        return length;
    const qint64 size = parseContentRange(reply.rawHeader("Content-Range")).size;
    if (size > 0)
        return size;
    return length > 0 ? Sum(offset, length) : 0;
}

qint64 SizeFromContentRange(const Headers& headers)
{
    // Intended: the spelling is compared as it is, "content-range" is not taken.
    const auto found = std::find_if(headers.cbegin(), headers.cend(), [](const QPair<QByteArray, QByteArray>& pair) {
        return pair.first == "Content-Range";
    });
    if (found == headers.cend() || found->second.isEmpty()) {
        QCOMM_LOG(LogLevel::Trace, "DownloadTask::GetRangeFrom416Response") << " 416 header pair is empty";
        return 0;
    }
    const QStringList parts = QString::fromUtf8(found->second).split(QLatin1Char('/'), Qt::SkipEmptyParts);
    return parts.size() < 2 ? 0 : std::max<qint64>(parts.at(1).toLongLong(), 0);
}

QString HeaderText(const Headers& headers)
{
    QString text;
    for (const QPair<QByteArray, QByteArray>& header : headers)
        text +=
            QString::fromUtf8(header.first) + QLatin1Char(':') + QString::fromUtf8(header.second) + QLatin1Char(';');
    return text;
}

QString HeaderJson(const Headers& headers)
{
    QJsonObject values;
    for (const QPair<QByteArray, QByteArray>& header : headers)
        values.insert(QString::fromUtf8(header.first), QString::fromUtf8(header.second));
    const QJsonObject object{{QStringLiteral("http_header"), values}};
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

QString JoinNames(const QList<QString>& names)
{
    QString text;
    for (const QString& name : names)
        text += name + QLatin1Char(';');
    // Intended: a text of only one or two characters keeps its ";".
    if (text.size() > 2)
        text.chop(1);
    return text;
}

} // namespace HttpAnswer

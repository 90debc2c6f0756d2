// SPDX-License-Identifier: MIT
#include "FileList.h"

#include <QHash>
#include <QRegularExpression>
#include <QStringList>

namespace {

const QLatin1String kNone("-");
constexpr char16_t kByteOrderMark = 0xFEFF;

// A name comes from the network, so it must not lead out of the folder.
bool isUsableName(const QString& name)
{
    static const QRegularExpression forbidden(QStringLiteral("[/\\\\:\\x00-\\x1f]"));
    return !name.isEmpty() && name != QLatin1String(".") && name != QLatin1String("..") && !name.contains(forbidden);
}

QString parseSize(const QString& text, FileRequest* request)
{
    if (text == kNone)
        return QString();
    bool isNumber = false;
    request->size = text.toLongLong(&isNumber);
    if (!isNumber || request->size < 0)
        return QStringLiteral("\"%1\" is not a size in bytes").arg(text);
    return QString();
}

QString parseFields(const QStringList& fields, FileRequest* request)
{
    if (fields.size() > 3)
        return QStringLiteral("more than URL, size and MD5");
    QString error = FileList::parseUrl(fields.at(0), request);
    if (error.isEmpty() && fields.size() > 1)
        error = parseSize(fields.at(1), request);
    if (error.isEmpty() && fields.size() > 2)
        error = FileList::parseMd5(fields.at(2), request);
    return error;
}

} // namespace

QString FileList::parseUrl(const QString& text, FileRequest* request)
{
    const QUrl url(text, QUrl::TolerantMode);
    const QString scheme = url.scheme();
    if (!url.isValid() || url.host().isEmpty() || (scheme != QLatin1String("http") && scheme != QLatin1String("https")))
        return QStringLiteral("\"%1\" is not an http or https URL").arg(text);
    request->url = url;
    if (!isUsableName(request->fileName()))
        return QStringLiteral("\"%1\" does not end in a usable file name").arg(text);
    return QString();
}

QString FileList::parseMd5(const QString& text, FileRequest* request)
{
    static const QRegularExpression digits(QStringLiteral("\\A[0-9A-Fa-f]{32}\\z"));
    if (text == kNone)
        return QString();
    if (!digits.match(text).hasMatch())
        return QStringLiteral("\"%1\" is not an MD5 (32 hexadecimal digits)").arg(text);
    request->md5 = text;
    return QString();
}

QString FileList::parseList(const QByteArray& text, QVector<FileRequest>* requests)
{
    static const QRegularExpression blanks(QStringLiteral("[ \\t]+"));
    QString list = QString::fromUtf8(text);
    if (list.startsWith(QChar(kByteOrderMark)))
        list.remove(0, 1);
    const QStringList lines = list.split(QLatin1Char('\n'));
    for (int i = 0; i < lines.size(); ++i) {
        const QString line = lines.at(i).trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
            continue;
        FileRequest request;
        const QString error = parseFields(line.split(blanks), &request);
        if (!error.isEmpty())
            return QStringLiteral("line %1: %2").arg(i + 1).arg(error);
        requests->append(request);
    }
    return QString();
}

QString FileList::findClash(const QVector<FileRequest>& requests)
{
    QHash<QString, QUrl> seen;
    for (const FileRequest& request : requests) {
        const QString key = request.fileName().toCaseFolded();
        const auto other = seen.constFind(key);
        if (other != seen.constEnd())
            return QStringLiteral("%1 and %2 would both be saved as \"%3\"")
                .arg(other->toDisplayString(), request.url.toDisplayString(), request.fileName());
        seen.insert(key, request.url);
    }
    return QString();
}

// SPDX-License-Identifier: MIT
#include "DownloadList.h"

#include "FileNames.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <QUrl>

namespace VantorEngine {

namespace {

constexpr double kTooManyBytes = 9223372036854775808.0; // 2^63

QString withSeparator(const QString& path)
{
    const bool open = path.isEmpty() || path.endsWith(QLatin1Char('/')) || path.endsWith(QLatin1Char('\\'));
    return open ? path : path + QLatin1Char('/');
}

/// A relative path may name any folder when it stands alone (it is then the whole path), but not leave a root.
bool leavesRoot(const QString& root, const QString& relative)
{
    if (root.isEmpty() || relative.isEmpty()) {
        return false;
    }
    QString unified = relative;
    unified.replace(QLatin1Char('\\'), QLatin1Char('/'));
    const QString clean = QDir::cleanPath(unified);
    return unified.startsWith(QLatin1Char('/')) || unified.contains(QLatin1Char(':')) || clean == QLatin1String("..") ||
           clean.startsWith(QLatin1String("../"));
}

/// The size is written as a decimal string, because a JSON number could lose digits. Numbers are taken as well.
qint64 sizeOf(const QJsonValue& value)
{
    bool numeric = value.isDouble();
    if (numeric) {
        return value.toDouble() >= 0 && value.toDouble() < kTooManyBytes ? static_cast<qint64>(value.toDouble()) : -1;
    }
    const qint64 size = value.toString().toLongLong(&numeric);
    return numeric && size >= 0 ? size : -1;
}

QString nameOf(const QJsonObject& item, const QString& url)
{
    const QString name = item.value(QStringLiteral("name")).toString();
    return name.isEmpty() ? QUrl(url).fileName(QUrl::FullyDecoded) : name;
}

FileSpec parseItem(const QJsonObject& item, const QString& root)
{
    const QString relative = item.value(QStringLiteral("relative_path")).toString();
    FileSpec file;
    file.url = item.value(QStringLiteral("url")).toString();
    file.directory = withSeparator(withSeparator(root) + relative);
    file.name = nameOf(item, file.url);
    file.climbsOut = leavesRoot(root, relative);
    file.size = sizeOf(item.value(QStringLiteral("size")));
    file.sizeHeader = item.value(QStringLiteral("http_header_size")).toString().toLatin1();
    file.md5 = item.value(QStringLiteral("checksum")).toString().trimmed().toLower().toLatin1();
    file.resume = !item.value(QStringLiteral("disable_resume_download")).toBool();
    return file;
}

/// One of two such files would be taken for what the other one has left, and be lost.
void markFilesInTheWay(QVector<FileSpec>& files)
{
    QSet<QString> paths;
    for (const FileSpec& file : qAsConst(files)) {
        paths.insert(pathKey(file.directory + file.name));
    }
    for (FileSpec& file : files) {
        const QString path = pathKey(file.directory + file.name);
        for (const char* suffix : kSuffixes) {
            const QLatin1String ending(suffix);
            file.inTheWay =
                file.inTheWay || (path.endsWith(ending) && paths.contains(path.left(path.size() - ending.size())));
        }
    }
}

} // namespace

DownloadList parseDownloadList(const QByteArray& json)
{
    DownloadList list;
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (!document.isObject()) {
        list.problem = QStringLiteral("the download list is not a JSON object: %1").arg(error.errorString());
        return list;
    }
    const QJsonObject object = document.object();
    const QString root = object.value(QStringLiteral("root_path")).toString();
    const QJsonArray items = object.value(QStringLiteral("download_items")).toArray();
    if (items.isEmpty()) {
        list.problem = QStringLiteral("the download list names no files");
        return list;
    }
    list.files.reserve(items.size());
    for (const QJsonValue& item : items) {
        list.files.append(parseItem(item.toObject(), root));
    }
    markFilesInTheWay(list.files);
    return list;
}

} // namespace VantorEngine

// SPDX-License-Identifier: MIT
#include "Manager/DownloadTaskModel.h"

#include <QDir>

#include <utility>

namespace {
const int kDownloadTaskModelType = qRegisterMetaType<DownloadTaskModel>("DownloadTaskModel");
} // namespace

DownloadTaskModel::DownloadTaskModel() = default;

DownloadTaskModel::~DownloadTaskModel() = default;

// The QObject part is new in every copy: connections and names belong to one object.
DownloadTaskModel::DownloadTaskModel(const DownloadTaskModel& other)
    : QObject(),
      url(other.url),
      md5(other.md5),
      md5Salt(other.md5Salt),
      path(other.path),
      priority(other.priority),
      size(other.size)
{
}

DownloadTaskModel& DownloadTaskModel::operator=(const DownloadTaskModel& other)
{
    url = other.url;
    md5 = other.md5;
    md5Salt = other.md5Salt;
    path = other.path;
    priority = other.priority;
    size = other.size;
    return *this;
}

void DownloadTaskModel::Init(const QString& newUrl, const QString& newPath, const QString& newMd5, QString newMd5Salt,
                             qint64 newSize)
{
    url = QUrl(newUrl);
    path = newPath;
    md5 = newMd5;
    md5Salt = std::move(newMd5Salt);
    size = newSize;
}

QString DownloadTaskModel::GetFileName() const
{
    return url.fileName(QUrl::FullyDecoded);
}

QString DownloadTaskModel::GetFilePath() const
{
    return QDir(path).absoluteFilePath(GetFileName());
}

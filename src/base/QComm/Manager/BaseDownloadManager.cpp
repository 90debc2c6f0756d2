// SPDX-License-Identifier: MIT
#include "Manager/BaseDownloadManager.h"

BaseDownloadManager::BaseDownloadManager(QObject* parent, const QString& managerName)
    : QObject(parent),
      // A child, so that it follows the manager to another thread.
      m_timer(this),
      name(managerName),
      logTag(QStringLiteral("[%1]").arg(managerName).toStdString())
{
}

BaseDownloadManager::~BaseDownloadManager() = default;

void BaseDownloadManager::Init(const QString& /*a*/, const QString& /*b*/, int /*x*/, int /*y*/)
{
}

int BaseDownloadManager::SetTask(const QVector<DownloadTaskModel>& /*models*/, DownloadPriority /*priority*/,
                                 int /*groupId*/)
{
    return 0;
}

void BaseDownloadManager::StartDownloadTask(int /*groupId*/, const QVector<DownloadTaskModel>& /*models*/,
                                            const QString& /*path*/)
{
}

void BaseDownloadManager::StopDownloadTask(int /*groupId*/)
{
}

void BaseDownloadManager::StopAllDownloadTask()
{
}

void BaseDownloadManager::RemoveDownloadTask(int /*groupId*/)
{
}

void BaseDownloadManager::RemoveAllDownloadTask()
{
}

void BaseDownloadManager::SetSpeedLimit(qint64 /*kilobytesPerSecond*/)
{
}

QString BaseDownloadManager::id()
{
    return QString();
}

bool BaseDownloadManager::IsValid()
{
    return true;
}

void BaseDownloadManager::UpdateRootPath(const QString& /*path*/)
{
}

void BaseDownloadManager::SetDisableResumeDownload(bool disable)
{
    disableResumeDownload = disable;
}

void BaseDownloadManager::SetEnablePcdn(bool enable)
{
    enablePcdn = enable;
}

void BaseDownloadManager::SetBusinessTag(const QString& tag)
{
    businessTag = tag;
}

void BaseDownloadManager::SetLogTag(const std::string& tag)
{
    logTag = tag;
}

// SPDX-License-Identifier: MIT
#include "Manager/BaseDownloadInterface.h"

BaseDownloadInterface::BaseDownloadInterface(QObject* parent) : QObject(parent)
{
}

BaseDownloadInterface::~BaseDownloadInterface() = default;

void BaseDownloadInterface::Init(const QString& /*a*/, const QString& /*b*/, int /*x*/, int /*y*/)
{
}

int BaseDownloadInterface::SetTask(const QVector<DownloadTaskModel>& /*models*/, DownloadPriority /*priority*/)
{
    return 0;
}

void BaseDownloadInterface::StartDownloadTask(int /*groupId*/)
{
}

void BaseDownloadInterface::StopDownloadTask(int /*groupId*/)
{
}

void BaseDownloadInterface::StopAllDownloadTask()
{
}

void BaseDownloadInterface::RemoveDownloadTask(int /*groupId*/)
{
}

void BaseDownloadInterface::RemoveAllDownloadTask()
{
}

void BaseDownloadInterface::SetSpeedLimit(qint64 /*kilobytesPerSecond*/)
{
}

QString BaseDownloadInterface::id()
{
    return QString();
}

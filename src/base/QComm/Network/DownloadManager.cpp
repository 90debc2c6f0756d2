// SPDX-License-Identifier: MIT
#include "Network/DownloadManager.h"

#include "Manager/NetlibControl.h"
#include "Network/DownloadGroupTask.h"
#include "QCommLog.h"

#include <QPointer>

#include <algorithm>
#include <limits>

namespace {

constexpr int kLimitPeriodMs = 500;
constexpr qint64 kBytesPerKilobyte = 1024;
constexpr qint64 kLargestKilobytes = std::numeric_limits<qint64>::max() / kBytesPerKilobyte;

} // namespace

DownloadManager::DownloadManager(QObject* parent, const QString& managerName)
    // A child, so that it follows the manager to another thread.
    : BaseDownloadManager(parent, managerName), limitTimer(this)
{
    limitTimer.setInterval(kLimitPeriodMs);
    connect(&limitTimer, &QTimer::timeout, this, &DownloadManager::onLimitTimeout);
}

DownloadManager::~DownloadManager()
{
    // Nobody is called from here: a handler could delete the manager a second time.
    blockSignals(true);
    RemoveAllDownloadTask();
}

int DownloadManager::SetTask(const QVector<DownloadTaskModel>& models, DownloadPriority priority, int groupId)
{
    QCOMM_LOG(LogLevel::Trace, "DownloadManager::SetTask") << logTag << " set task";
    lastGroupId = groupId == -1 ? lastGroupId + 1 : groupId;

    if (groups.contains(lastGroupId))
        return lastGroupId;
    DownloadGroupTask* const group = CreateGroup();
    Connect(group);
    group->SetTask(WithoutKnown(models), priority, lastGroupId);
    groups.insert(lastGroupId, group);
    return lastGroupId;
}

QVector<DownloadTaskModel> DownloadManager::WithoutKnown(const QVector<DownloadTaskModel>& models) const
{
    if (groups.isEmpty())
        return models;
    QVector<DownloadTaskModel> remaining;
    remaining.reserve(models.size());
    for (const DownloadTaskModel& model : models) {
        const bool known = std::any_of(groups.cbegin(), groups.cend(),
                                       [&model](DownloadGroupTask* group) { return group->Contains(model); });
        if (!known)
            remaining.append(model);
    }
    return remaining;
}

DownloadGroupTask* DownloadManager::CreateGroup()
{
    return new DownloadGroupTask(this);
}

void DownloadManager::Connect(DownloadGroupTask* group)
{
    using Group = DownloadGroupTask;
    connect(group, &Group::progress, this, &DownloadManager::progress);
    connect(group, &Group::error, this, &DownloadManager::onError);
    connect(group, &Group::md5Started, this, &DownloadManager::md5Started);
    connect(group, &Group::finish, this, &DownloadManager::onGroupFinish);
    connect(group, &Group::taskStart, this, &DownloadManager::taskStart);
    connect(group, &Group::taskFinish, this, &DownloadManager::taskFinish);
    connect(group, &Group::taskMd5Start, this, &DownloadManager::taskMd5Start);
    connect(group, &Group::taskMd5Stop, this, &DownloadManager::taskMd5Stop);
    connect(group, &Group::speed, this, &DownloadManager::speed);
    connect(group, &Group::totalSize, this, &DownloadManager::onGetTotalSize);
    connect(group, &Group::dataWritten, this, &DownloadManager::onDataWritten);
    connect(group, &Group::downloadReport, this, &DownloadManager::downloadReport);
    connect(group, &Group::relogin, this, &DownloadManager::relogin);
    connect(group, &Group::taskRestart, this, &DownloadManager::taskRestart);
}

void DownloadManager::StartDownloadTask(int groupId, const QVector<DownloadTaskModel>& models, const QString& path)
{
    QCOMM_LOG(LogLevel::Trace, "DownloadManager::StartDownloadTask") << logTag << "start download task";
    DownloadGroupTask* const group = groups.value(groupId);
    if (!group) {
        QCOMM_LOG(LogLevel::Trace, "DownloadManager::StartDownloadTask") << logTag << "download grouptask is not exist";
        // The id that it gave: with -1 the group is not found under the one that was asked for.
        StartDownloadTask(SetTask(models, DownloadPriority::Normal, groupId), models, path);
        return;
    }
    const QPointer<DownloadManager> self(this);
    group->Start();
    if (!self || speedLimit < 1)
        return;
    limitTimer.start();
    budgetBytes = 0;
}

void DownloadManager::StopDownloadTask(int groupId)
{
    QCOMM_LOG(LogLevel::Trace, "DownloadManager::StopDownloadTask") << logTag << "stop download task";
    const QPointer<DownloadManager> self(this);
    if (DownloadGroupTask* const group = groups.value(groupId)) {
        group->StopAll();
    } else {
        QCOMM_LOG(LogLevel::Trace, "DownloadManager::StopDownloadTask") << logTag << "download grouptask is not exist";
    }
    if (self)
        Q_EMIT cancelled(groupId);
}

void DownloadManager::StopAllDownloadTask()
{
    const QPointer<DownloadManager> self(this);
    const QList<int> ids = groups.keys();
    for (const int groupId : ids) {
        if (self)
            StopDownloadTask(groupId);
    }
}

void DownloadManager::RemoveDownloadTask(int groupId)
{
    DownloadGroupTask* const group = groups.take(groupId);
    if (!group)
        return;
    const QPointer<DownloadGroupTask> guard(group);
    group->Clear();
    if (guard)
        group->deleteLater();
}

void DownloadManager::RemoveAllDownloadTask()
{
    const QPointer<DownloadManager> self(this);
    const QList<int> ids = groups.keys();
    for (const int groupId : ids) {
        if (self)
            RemoveDownloadTask(groupId);
    }
}

void DownloadManager::SetSpeedLimit(qint64 kb)
{
    QCOMM_LOG(LogLevel::Detail, "DownloadManager::SetSpeedLimit") << logTag << " set speed limit " << kb << " kb/s";
    speedLimit = qBound(-kLargestKilobytes, kb, kLargestKilobytes) * kBytesPerKilobyte;
    budgetBytes = 0;
    NetlibControl::Instance()->SetLimitDownloadSpeed(speedLimit);
    if (speedLimit > 0)
        limitTimer.start();
    else
        onLimitTimeout();
}

QString DownloadManager::id()
{
    return NetlibControl::kNetlibTypeQT;
}

void DownloadManager::onGroupFinish(int nGroup)
{
    QCOMM_LOG(LogLevel::Trace, "DownloadManager::onGroupFinish") << logTag << " group finished";
    const QPointer<DownloadManager> self(this);
    RemoveDownloadTask(nGroup);
    if (self)
        Q_EMIT finish(nGroup);
}

void DownloadManager::onDataWritten(qint64 bytes)
{
    if (speedLimit < 1)
        return;
    budgetBytes += bytes;
    if (budgetBytes > speedLimit)
        SetPause(true);
}

void DownloadManager::onLimitTimeout()
{
    qint64 speedSum = 0;
    for (const DownloadGroupTask* group : qAsConst(groups))
        speedSum += group->GetCurSpeed();

    const QPointer<DownloadManager> self(this);
    SetPause(false);
    if (!self)
        return;
    // Intended: the budget of half a second is a whole second's, and the excess is a speed, not an amount.
    if (speedLimit > 0 && !groups.isEmpty())
        budgetBytes = std::max<qint64>(speedSum - speedLimit, 0);
    else
        limitTimer.stop();
}

// Resumed transfers deliver what they have at once, so a group may end and be removed on the way.
void DownloadManager::SetPause(bool pause)
{
    const QPointer<DownloadManager> self(this);
    const QList<int> ids = groups.keys();
    for (const int groupId : ids) {
        if (!self)
            return;
        if (DownloadGroupTask* const group = groups.value(groupId))
            group->SetPause(pause);
    }
}

void DownloadManager::onGetTotalSize(const QString& url, qint64 size)
{
    Q_EMIT totalSize(url, size);
}

void DownloadManager::onError(const TaskInfo& info)
{
    TaskInfo copy(info);
    copy.SetDownloaderId(0);
    Q_EMIT error(copy);
}

void DownloadManager::onLimitSpeedChanged(qint64 limit)
{
    SetSpeedLimit(limit);
}

// SPDX-License-Identifier: MIT
// The request side: from download commands to engine calls. The answers are in
// VantorDownloadManagerCallbacks.cpp.
#include "Manager/VantorDownloadManager.h"

#include "Manager/NetlibControl.h"
#include "QCommLog.h"
#include "vantor/VantorExporter.h"
#include "vantor/VantorGroupDownloadTask.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMetaEnum>
#include <QPointer>

#include <algorithm>
#include <limits>
#include <memory>
#include <utility>

namespace {

constexpr qint64 kBytesPerKilobyte = 1024;

// Intended: read and write for others, what deployed launchers have always set before deleting a partial
// file.
constexpr QFileDevice::Permissions kDeletablePermissions{QFileDevice::ReadOther | QFileDevice::WriteOther};

const QLatin1String kTemporarySuffix("_tmp");

// The engine echoes this text, so it is what identifies a file on both sides.
QString urlText(const DownloadTaskModel& model)
{
    return model.url.toString(QUrl::FullyEncoded);
}

// Not keyToValue(), which takes "VantorDownloadManager::Success" as well and stops at a null character.
int numberOf(const QMetaEnum& statuses, const QString& name)
{
    for (int index = 0; index < statuses.keyCount(); ++index) {
        if (name == QLatin1String(statuses.key(index)))
            return statuses.value(index);
    }
    return -1;
}

QString compactText(const QJsonObject& object)
{
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

} // namespace

VantorDownloadManager::VantorDownloadManager(QObject* parent, const QString& managerName)
    : BaseDownloadManager(parent, managerName),
      exporter(VantorExporter::Instance()),
      // Children, so that they follow the manager to another thread.
      speedTimer(this),
      speedMeter(this),
      speedInterval(std::make_unique<IntervalOperator>(this))
{
    speedInterval->SetInterval(speedSampleIntervalMs);
    connect(&speedTimer, &QTimer::timeout, this, &VantorDownloadManager::OnTimeoutToCalcDownloadSpeed);
}

VantorDownloadManager::~VantorDownloadManager()
{
    DisconnectSignals();
}

int VantorDownloadManager::SetTask(const QVector<DownloadTaskModel>& models, DownloadPriority /*priority*/,
                                   int requestedGroupId)
{
    if (requestedGroupId == -1)
        ++groupId;
    else
        groupId = requestedGroupId;
    if (!models.isEmpty())
        groupModels.insert(groupId, models);

    urlPathMap.clear();
    const int id = groupId;
    const QPointer<VantorDownloadManager> self(this);
    const QString list = GetDownloadListFromDownloadModels(models);
    if (!self)
        return id;
    downloadList = list;
    if (downloadList.isEmpty()) {
        QCOMM_LOG(LogLevel::Error, "VantorDownloadManager::SetTask") << logTag << "SetTask-SetDownloadList is empty";
        Q_ASSERT_X(!downloadList.isEmpty(), "VantorDownloadManager::SetTask", "SetTask-SetDownloadList");
    }
    QCOMM_LOG(LogLevel::Info, "VantorDownloadManager::SetTask")
        << logTag << "[vantor] set task, groupId: " << id << ", downloadList: " << downloadList;
    return id;
}

void VantorDownloadManager::StartDownloadTask(int newGroupId, const QVector<DownloadTaskModel>& models,
                                              const QString& newInstallPath)
{
    // Intended: the line names the group that was current until now.
    QCOMM_LOG(LogLevel::Info, "VantorDownloadManager::StartDownloadTask")
        << logTag << "[vantor] start download task, groupId: " << groupId << ", install path: " << newInstallPath;
    installPath = newInstallPath;

    DisconnectSignals();
    groupTask = VantorGroupDownloadTask::MakeGroupDownloadTask();
    ++runNumber;
    ConnectSignals();

    run = Run();
    speedMeter.Clear();
    speedInterval->Reset();
    StartStatAvgDownloadSpeed();

    const auto known = groupModels.constFind(newGroupId);
    if (models.isEmpty() && known != groupModels.constEnd()) {
        const QVector<DownloadTaskModel> stored = *known;
        StartDownloadTask(newGroupId, stored, newInstallPath);
        return;
    }

    groupId = newGroupId;
    const QPointer<VantorDownloadManager> self(this);
    const int number = runNumber;
    const QString list = GetDownloadListFromDownloadModels(models);
    // A handler of totalSize may have deleted the manager or started another run, which then is the current one.
    if (!self || runNumber != number)
        return;
    downloadList = list;
    if (downloadList.isEmpty()) {
        QCOMM_LOG(LogLevel::Error, "VantorDownloadManager::StartDownloadTask")
            << logTag << "SetTask-StartDownloadTask is empty";
        Q_ASSERT_X(!downloadList.isEmpty(), "VantorDownloadManager::StartDownloadTask", "SetTask-StartDownloadTask");
    }

    auto request = std::make_unique<VantorGroupDownloadTaskReq>();
    request->downloadList = downloadList;
    request->id = QString::fromStdString(logTag);
    groupTask->Start(std::move(request));
    groupGuid = groupTask->GetGuid();
    QCOMM_LOG(LogLevel::Info, "VantorDownloadManager::StartDownloadTask")
        << logTag << " [vantor] start download task, groupGuid: " << groupGuid << ", downloadList: " << downloadList;
}

void VantorDownloadManager::StopDownloadTask(int stoppedGroupId)
{
    QCOMM_LOG(LogLevel::Info, "VantorDownloadManager::StopDownloadTask")
        << logTag << "[vantor] stop download task, groupGuid: " << groupGuid;
    run.manualCancel = true;
    if (stoppedGroupId == groupId)
        exporter->Cancel(groupGuid);
}

void VantorDownloadManager::StopAllDownloadTask()
{
    StopDownloadTask(groupId);
}

void VantorDownloadManager::RemoveDownloadTask(int /*groupId*/)
{
    // Intended: there is only one group, so the argument is ignored.
    StopAllDownloadTask();
}

void VantorDownloadManager::RemoveAllDownloadTask()
{
    // Intended: launchers call it while a group runs and expect the group to go on.
}

void VantorDownloadManager::SetSpeedLimit(qint64 kilobytesPerSecond)
{
    constexpr qint64 kMost = std::numeric_limits<qint64>::max() / kBytesPerKilobyte;
    const qint64 bytesPerSecond = std::clamp(kilobytesPerSecond, -kMost, kMost) * kBytesPerKilobyte;
    const QJsonObject policy{
        {QStringLiteral("download_bandwidth"), bytesPerSecond},
        {QStringLiteral("progress_callback_interval"), progressCallbackIntervalMs},
    };
    const QString config = compactText({{QStringLiteral("download_policy"), policy}});
    QCOMM_LOG(LogLevel::Detail, "VantorDownloadManager::SetSpeedLimit") << logTag << "[vantor] set config: " << config;
    exporter->SetConfig(config);
}

QString VantorDownloadManager::id()
{
    return NetlibControl::kNetlibTypeVantor;
}

bool VantorDownloadManager::IsValid()
{
    return valid;
}

void VantorDownloadManager::UpdateRootPath(const QString& path)
{
    rootPath = path;
}

QString VantorDownloadManager::GetDownloadListFromDownloadModels(const QVector<DownloadTaskModel>& models)
{
    if (models.isEmpty())
        return QString();

    // A handler of totalSize may replace the list that `models` refers to, or delete the manager.
    const QVector<DownloadTaskModel> files = models;
    const QPointer<VantorDownloadManager> self(this);
    QJsonArray items;
    for (const DownloadTaskModel& model : files) {
        const QString url = urlText(model);
        const QString fileName = model.GetFileName();
        QJsonObject item{
            {QStringLiteral("url"), url},
            {QStringLiteral("name"), fileName},
            {QStringLiteral("checksum"), model.md5},
        };
        if (model.size > 0) {
            item.insert(QStringLiteral("size"), QString::number(model.size)); // Intended: text, not a number.
        } else {
            item.insert(QStringLiteral("http_header_size"), QStringLiteral("Content-Length"));
            QCOMM_LOG(LogLevel::Warning, "VantorDownloadManager::GetDownloadListFromDownloadModels")
                << logTag << " [vantor] size not set, will use Content-Length to fetch size of the url " << url;
        }
        if (!model.path.isEmpty())
            item.insert(QStringLiteral("relative_path"), QString(model.path + QLatin1Char('/')));
        if (disableResumeDownload)
            item.insert(QStringLiteral("disable_resume_download"), true);
        items.append(item);

        urlPathMap.insert(url, model.path + QLatin1Char('/') + fileName);
        Q_EMIT totalSize(url, model.size);
        if (!self)
            return QString();
    }

    QJsonObject list{
        {QStringLiteral("root_path"), QString()},
        {QStringLiteral("download_items"), items},
        {QStringLiteral("business_tag"), businessTag},
    };
    // Intended: the key is absent rather than false.
    if (enablePcdn)
        list.insert(QStringLiteral("enable_pcdn"), true);
    return compactText(list);
}

int VantorDownloadManager::GetGroupIdByGroupGuid(const QString& /*guid*/)
{
    return groupId;
}

void VantorDownloadManager::DeleteFileByUrl(const QString& url)
{
    const auto path = urlPathMap.constFind(url);
    if (path == urlPathMap.constEnd())
        return;
    QFile partial(*path + kTemporarySuffix);
    if (!QFileInfo(partial).isFile())
        return;
    partial.setPermissions(kDeletablePermissions);
    partial.remove();
}

int VantorDownloadManager::GetGroupStatusByName(const QString& name)
{
    return numberOf(QMetaEnum::fromType<GroupStatus>(), name);
}

int VantorDownloadManager::GetItemStatusByName(const QString& name)
{
    return numberOf(QMetaEnum::fromType<ItemStatus>(), name);
}

void VantorDownloadManager::ConnectSignals()
{
    // Callbacks that were under way when their run ended or was replaced still arrive: the number tells them
    // apart.
    const int number = runNumber;
    connect(groupTask.data(), &VantorGroupDownloadTask::groupTaskInfo, this,
            [this, number](const QString& guid, const GroupTaskModel& model) {
                if (number == runNumber)
                    onParseGroupTaskCallback(guid, model);
            });
    connect(groupTask.data(), &VantorGroupDownloadTask::singleTaskInfo, this,
            [this, number](const QString& guid, const QString& taskGuid, const SingleTaskErrorModel& model) {
                if (number == runNumber)
                    onParseSingleTaskCallback(guid, taskGuid, model);
            });
}

void VantorDownloadManager::DisconnectSignals()
{
    if (groupTask)
        disconnect(groupTask.data(), nullptr, this, nullptr);
}

void VantorDownloadManager::StartStatAvgDownloadSpeed()
{
    speedTimer.stop();
    run.speedSamples.clear();
    run.averageSpeed = 0;
    run.currentSpeed = 0;
    speedTimer.setSingleShot(false);
    speedTimer.setInterval(static_cast<int>(speedSampleIntervalMs));
    speedTimer.start();
}

void VantorDownloadManager::SetSpeedInterval(std::unique_ptr<IntervalOperator> interval)
{
    speedInterval = std::move(interval);
    speedInterval->setParent(this);
    speedInterval->SetInterval(speedSampleIntervalMs);
}

void VantorDownloadManager::StopStatAvgDownloadSpeed()
{
    speedTimer.stop();
}

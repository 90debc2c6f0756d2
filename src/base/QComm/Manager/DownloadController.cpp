// SPDX-License-Identifier: MIT
#include "Manager/DownloadController.h"

#include "Manager/NetlibControl.h"
#include "Manager/VantorDownloadManager.h"

#include <utility>

DownloadController::DownloadController(QObject* parent, const QString& controllerName)
    : QObject(parent), name(controllerName)
{
}

DownloadController::~DownloadController()
{
    if (vantorManager)
        vantorManager->deleteLater();
}

void DownloadController::Init(const QString& a, const QString& b, int x, int y)
{
    initText1 = a;
    initText2 = b;
    initNumber1 = x;
    initNumber2 = y;
    GetDownloadManager()->Init(a, b, x, y);
}

int DownloadController::SetTask(const QVector<DownloadTaskModel>& newModels, DownloadPriority priority)
{
    models = newModels;
    CheckDownloader();
    return GetDownloadManager()->SetTask(models, priority, -1);
}

void DownloadController::StartDownloadTask(int groupId, const QString& path)
{
    CheckDownloader();
    GetDownloadManager()->StartDownloadTask(groupId, models, path);
}

void DownloadController::StopDownloadTask(int groupId)
{
    GetDownloadManager()->StopDownloadTask(groupId);
}

void DownloadController::StopAllDownloadTask()
{
    GetDownloadManager()->StopAllDownloadTask();
}

void DownloadController::RemoveDownloadTask(int groupId)
{
    GetDownloadManager()->RemoveDownloadTask(groupId);
}

void DownloadController::RemoveAllDownloadTask()
{
    GetDownloadManager()->RemoveAllDownloadTask();
}

void DownloadController::SetSpeedLimit(qint64 kilobytesPerSecond)
{
    GetDownloadManager()->SetSpeedLimit(kilobytesPerSecond);
}

void DownloadController::UpdateRootPath(const QString& path)
{
    GetDownloadManager()->UpdateRootPath(path);
}

void DownloadController::SetDisableResumeDownload(bool disable)
{
    // Intended: unlike the other switches this one creates no back-end.
    if (currentManager)
        currentManager->SetDisableResumeDownload(disable);
}

void DownloadController::SetBusinessTag(const QString& tag)
{
    CheckDownloader();
    GetDownloadManager()->SetBusinessTag(tag);
}

void DownloadController::SetEnablePcdn(bool enable)
{
    CheckDownloader();
    GetDownloadManager()->SetEnablePcdn(enable);
}

QString DownloadController::id()
{
    return GetDownloadManager()->id();
}

void DownloadController::SetDownloaderId(QString id)
{
    downloaderId = std::move(id);
}

void DownloadController::SetLogTag(const std::string& tag)
{
    logTag = tag;
    for (BaseDownloadManager* manager : {qtManager, vantorManager}) {
        if (manager)
            manager->SetLogTag(tag);
    }
}

BaseDownloadManager* DownloadController::GetDownloadManager()
{
    if (!vantorManager) {
        createVantorManager();
        vantorManager->SetLogTag(logTag);
    }
    // Intended: whatever was switched to, every command goes to the chunk engine.
    currentManager = vantorManager;
    return currentManager;
}

void DownloadController::CheckDownloader()
{
    if (currentManager && !downloaderId.isEmpty() && downloaderId != currentManager->id())
        SwitchDownloader(downloaderId);
}

void DownloadController::SwitchDownloader(QString type)
{
    if (currentManager && currentManager->IsValid() && currentManager->id() == type)
        return;

    if (type == NetlibControl::kNetlibTypeVantor) {
        if (!vantorManager) {
            createVantorManager();
            vantorManager->Init(initText1, initText2, initNumber1, initNumber2);
        }
        currentManager = vantorManager;
        NetlibControl::Instance()->SetNetlibType(NetlibControl::kNetlibTypeVantor);
        if (!currentManager->IsValid())
            type = NetlibControl::kNetlibTypeQT;
    }
    if (type == NetlibControl::kNetlibTypeQT) {
        currentManager = qtManager;
        NetlibControl::Instance()->SetNetlibType(NetlibControl::kNetlibTypeQT);
    }
    Q_EMIT downloaderChanged(type);
}

void DownloadController::onLimitSpeedChanged(qint64 speedLimit)
{
    SetSpeedLimit(speedLimit);
}

void DownloadController::createVantorManager()
{
    vantorManager = new VantorDownloadManager(nullptr, name);
    connectSignals(vantorManager);
}

void DownloadController::connectSignals(BaseDownloadManager* manager)
{
    using From = BaseDownloadManager;
    using To = DownloadController;
    connect(manager, &From::progress, this, &To::progress);
    connect(manager, &From::finish, this, &To::finish);
    connect(manager, &From::taskStart, this, &To::taskStart);
    connect(manager, &From::taskFinish, this, &To::taskFinish);
    connect(manager, &From::taskDownloadStart, this, &To::taskDownloadStart);
    connect(manager, &From::taskDownloadStop, this, &To::taskDownloadStop);
    connect(manager, &From::taskMd5Start, this, &To::taskMd5Start);
    connect(manager, &From::taskMd5Stop, this, &To::taskMd5Stop);
    connect(manager, &From::error, this, &To::error);
    connect(manager, &From::md5Started, this, &To::md5Started);
    connect(manager, &From::speed, this, &To::speed);
    connect(manager, &From::downloadReport, this, &To::downloadReport);
    connect(manager, &From::totalSize, this, &To::totalSize);
    connect(manager, &From::relogin, this, &To::relogin);
    connect(manager, &From::taskRestart, this, &To::taskRestart);
    connect(manager, &From::cancelled, this, &To::cancelled);
    connect(manager, &From::errorRetry, this, &To::errorRetry);
    connect(manager, &From::downloadProgress, this, &To::downloadProgress);
    connect(manager, &From::checkProgress, this, &To::checkProgress);
    connect(manager, &From::speed2, this, &To::speed2);
}

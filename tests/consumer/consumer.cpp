// SPDX-License-Identifier: MIT
// What a launcher does with the installed package: includes it by both forms, connects to signals with member function
// pointers, and touches every exported class once. No engine is on the search path here.
#include "Manager/TaskInfo.h"
#include "OrvelCommon/DeviceInfo.h"
#include "OrvelCommon/Logger.h"

#include <OrvelQComm/OrvelQComm.h>

#include <QCoreApplication>
#include <QTemporaryDir>

#include <cstdio>

namespace {

int failures = 0;

void check(bool holds, const char* what)
{
    std::printf("%s %s\n", holds ? "ok    " : "FAILED", what);
    if (!holds)
        ++failures;
}

void useRecords()
{
    check(TaskInfo().GetGroupId() == -1, "TaskInfo");
    check(ProgressInfo().GetGroupId() == -1, "ProgressInfo");
    check(DownloadReportData().GetReportType() == 0, "DownloadReportData");
    check(NetlibControl::Instance()->GetNetlibType() == NetlibControl::kNetlibTypeQT, "NetlibControl");

    VantorTaskModel task;
    task.Parse("{\"status\":\"Start\"}");
    check(task.valid, "VantorTaskModel");
    SingleTaskModel file;
    file.Parse("{\"size\":5}");
    check(file.size == 5, "SingleTaskModel");
    SingleTaskErrorModel failed;
    failed.Parse("{\"url_net_error\":{\"error_code\":7}}");
    check(failed.error_code == 7, "SingleTaskErrorModel");
    check(GroupTaskModel().error.error_code == 6099, "GroupTaskModel");

    VantorChunkReq request;
    request.action_type = VantorChunkActionFetchSize;
    check(request.ToJsonStr().contains(QStringLiteral("fetch_size")), "VantorChunkReq");
    check(VantorChunkResp::FromJsonStr(QStringLiteral("{\"action\":\"fetch_size\"}")) != nullptr, "VantorChunkResp");
    check(vantor::chunk::ActionNameToActionType(QStringLiteral("fetch_size")) == VantorChunkActionFetchSize,
          "VantorChunkActionType");
}

void useTools()
{
    IntervalOperator interval;
    check(interval.IsTimeout(), "IntervalOperator");
    check(BytesUnitOperator::GetZeroNeedTimeString() == QStringLiteral("00:00:00"), "BytesUnitOperator");
    check(Orvel::Common::DeviceInfo::GetDiskSpaceInfo(".").second > 0, "DeviceInfo");
    check(!Process7zWorker().Start(QStringLiteral("no such file"), QStringLiteral(".")), "Process7zWorker");
    check(FileOperator::GetDirFileCount(QStringLiteral("no such folder")) == 0, "FileOperator");
#ifdef Q_OS_WIN
    check(FileVersion::GetFileVersion(QStringLiteral("no such file")).isEmpty(), "FileVersion");
#endif
    check(MD5CheckWorker().GetMd5(QStringLiteral("no such file")).isEmpty(), "MD5CheckWorker");
    check(!PcInfo::osArch().isEmpty(), "PcInfo");
    check(StringOperator::VersionCompare(QStringLiteral("1.2"), QStringLiteral("1.10")) == 1, "StringOperator");
    check(LanguageOperator().GetCurLanguage().isEmpty(), "LanguageOperator");
    Orvel::Common::Logger("consumer.cpp", 1, "useTools", 0).stream() << "a line";
}

#if defined(Q_OS_WIN)
void useWindowsTools()
{
    DiskTypeEnumerator disk;
    int type = -1;
    QObject::connect(&disk, &DiskTypeEnumerator::mediaType, &disk, [&type](int value) { type = value; });
    disk.onStart();
    check(type == 0, "DiskTypeEnumerator");
    check(ProcessOperator::CheckProcessExistCount(QString()) == -1, "ProcessOperator");
    check(ProtoRegistry().CheckProtoRegistry(), "ProtoRegistry");
    check(&WinMessageOperator::refreshIconCache != nullptr, "WinMessageOperator");
}
#endif

void useEngineClasses()
{
    const ProcApi<void()> missing("no-such-module", "NoSuchFunction");
    check(!missing.IsValid(), "ProcApi");
    QObject parent;
    const VantorHandle handle(&parent);
    check(!handle.IsValid(), "VantorHandle");
    check(!VantorExporter::Instance()->Init(QString(), QString(), 0, 0), "VantorExporter");
    check(VantorJsonHelper().ParseGroupTaskCallback(QString(), QString()).isEmpty(), "VantorJsonHelper");
    check(!VantorGroupDownloadTask::MakeGroupDownloadTask()->IsRunning(), "VantorGroupDownloadTask");
    check(!VantorGroupDownloadTaskManager::Instance()->FindGroupTask(QStringLiteral("none")),
          "VantorGroupDownloadTaskManager");
    check(!VantorChunkTask::MakeChunkTask()->IsRunning(), "VantorChunkTask");
    check(!VantorChunkTaskManager::Instance()->FindChunkTask(QStringLiteral("none")), "VantorChunkTaskManager");
}

void useDownloader()
{
    const BaseDownloadInterface older;
    check(older.parent() == nullptr, "BaseDownloadInterface");
    BaseDownloadManager base(nullptr, QStringLiteral("base"));
    check(base.IsValid(), "BaseDownloadManager");
    VantorDownloadManager backEnd(nullptr, QStringLiteral("back-end"));
    check(backEnd.id() == NetlibControl::kNetlibTypeVantor, "VantorDownloadManager");

    DownloadManager http(nullptr, QStringLiteral("http"));
    check(http.id() == NetlibControl::kNetlibTypeQT, "DownloadManager");
    check(DownloadGroupTask().GetDoneBytes() == 0, "DownloadGroupTask");

    const QTemporaryDir folder;
    DownloadTaskModel model;
    model.Init(QStringLiteral("http://127.0.0.1/dir/a%20b.zip"), folder.path(), QString(), QString(), 123);
    check(model.GetFileName() == QStringLiteral("a b.zip"), "DownloadTaskModel");

    check(DownloadTask(model).GetStatus() == DownloadTask::Stopped, "DownloadTask");
    DownloadController controller(nullptr, QStringLiteral("main"));
    int sizes = 0;
    QObject::connect(&controller, &DownloadController::totalSize, &controller,
                     [&sizes](const QString&, qint64 size) { sizes += static_cast<int>(size); });
    const int group = controller.SetTask({model}, Normal);
    controller.StartDownloadTask(group, folder.path());
    check(sizes == 2 * 123, "DownloadController");
}

void useWebApi()
{
    HttpNetworkManager network;
    const BaseHttpApiInterface contract;
    check(contract.parent() == nullptr, "BaseHttpApiInterface");
    BaseHttpApi api;
    api.SetNetworkManager(&network);
    int failed = 0;
    QObject::connect(&api, &BaseHttpApi::apiFailed, &api, [&failed] { ++failed; });
    api.OnTimeout();
    check(failed == 1 && !api.IsRunning(), "BaseHttpApi, HttpNetworkManager");
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication app(argc, argv);
    useRecords();
    useTools();
#if defined(Q_OS_WIN)
    useWindowsTools();
#endif
    useEngineClasses();
    useDownloader();
    useWebApi();
    return failures == 0 ? 0 : 1;
}

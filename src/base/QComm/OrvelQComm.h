// SPDX-License-Identifier: MIT
#pragma once

/// \file
/// Everything that the library exports. Include a single class by its folder to keep builds short, for
/// instance
/// `#include "Manager/DownloadController.h"`.

#include "QCommGlobal.h"

#include "Manager/BaseDownloadInterface.h"
#include "Manager/BaseDownloadManager.h"
#include "Manager/DownloadController.h"
#include "Manager/DownloadPriority.h"
#include "Manager/DownloadReportData.h"
#include "Manager/DownloadTaskModel.h"
#include "Manager/NetlibControl.h"
#include "Manager/ProgressInfo.h"
#include "Manager/TaskInfo.h"
#include "Manager/VantorDownloadManager.h"
#include "Network/BaseHttpApi.h"
#include "Network/BaseHttpApiInterface.h"
#include "Network/DownloadGroupTask.h"
#include "Network/DownloadManager.h"
#include "Network/DownloadTask.h"
#include "Network/DownloadTaskInterface.h"
#include "Network/HttpNetworkManager.h"
#include "Setup/Process7zWorker.h"
#include "Tool/BytesUnitOperator.h"
#include "Tool/FileOperator.h"
#include "Tool/IntervalOperator.h"
#include "Tool/LanguageOperator.h"
#include "Tool/MD5CheckWorker.h"
#include "Tool/PcInfo.h"
#include "Tool/StringOperator.h"
#include "vantor/GroupTaskModel.h"
#include "vantor/ProcApi.h"
#include "vantor/SingleTaskErrorModel.h"
#include "vantor/SingleTaskModel.h"
#include "vantor/VantorChunkActionType.h"
#include "vantor/VantorChunkReq.h"
#include "vantor/VantorChunkResp.h"
#include "vantor/VantorChunkTask.h"
#include "vantor/VantorChunkTaskManager.h"
#include "vantor/VantorExporter.h"
#include "vantor/VantorGroupDownloadTask.h"
#include "vantor/VantorGroupDownloadTaskManager.h"
#include "vantor/VantorHandle.h"
#include "vantor/VantorJsonHelper.h"
#include "vantor/VantorTaskModel.h"

#if defined(Q_OS_WIN)
#include "Tool/DiskTypeEnumerator.h"
#include "Tool/FileVersion.h"
#include "Tool/ProcessOperator.h"
#include "Tool/ProtoRegistry.h"
#include "Tool/WinMessageOperator.h"
#endif

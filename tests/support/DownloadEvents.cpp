// SPDX-License-Identifier: MIT
#include "DownloadEvents.h"

#include <utility>

namespace {

QString text(qint64 number)
{
    return QString::number(number);
}

QStringList fields(const TaskInfo& info)
{
    return {
        QStringLiteral("code %1").arg(info.GetErrorCode()),
        QStringLiteral("message %1").arg(info.GetErrorString()),
        QStringLiteral("url %1").arg(info.GetUrl()),
        QStringLiteral("http %1").arg(info.GetStatusCode()),
        QStringLiteral("internal %1").arg(info.GetNetErrorCode()),
        QStringLiteral("retries %1").arg(info.GetRetryTimes()),
        QStringLiteral("outcome %1").arg(info.GetResult()),
        QStringLiteral("group %1").arg(info.GetGroupId()),
    };
}

QStringList fields(const ProgressInfo& info)
{
    return {
        QStringLiteral("%1 of %2").arg(info.GetProcessedBytes()).arg(info.GetTotalBytes()),
        QStringLiteral("tag %1").arg(info.GetTag()),
        QStringLiteral("speed %1").arg(info.GetSpeed()),
        QStringLiteral("group %1").arg(info.GetGroupId()),
        QStringLiteral("pcdn %1").arg(info.GetUsingPcdn() ? 1 : 0),
        QStringLiteral("alias %1").arg(info.GetPcdnAlias()),
        QStringLiteral("traffic %1+%2").arg(info.GetPcdnNetworkTraffic()).arg(info.GetCdnNetworkTraffic()),
    };
}

} // namespace

QStringList DownloadEvents::Take()
{
    return std::exchange(m_lines, {});
}

int DownloadEvents::Count(const QString& beginning) const
{
    int count = 0;
    for (const QString& line : m_lines) {
        if (line.startsWith(beginning))
            ++count;
    }
    return count;
}

void DownloadEvents::add(const char* name, const QStringList& arguments)
{
    m_lines.append(QLatin1String(name) + QLatin1Char('(') + arguments.join(QStringLiteral(", ")) + QLatin1Char(')'));
}

void DownloadEvents::onProgress(qint64 bytesRead, qint64 totalBytes, int groupId)
{
    add("progress", {text(bytesRead), text(totalBytes), text(groupId)});
}

void DownloadEvents::onFinish(int groupId)
{
    add("finish", {text(groupId)});
}

void DownloadEvents::onTaskStart(int groupId, const TaskInfo& info)
{
    add("taskStart", {text(groupId), info.GetUrl()});
}

void DownloadEvents::onTaskFinish(int groupId, const TaskInfo& info)
{
    add("taskFinish", {text(groupId), info.GetUrl()});
}

void DownloadEvents::onTaskDownloadStart(int groupId, const TaskInfo& info)
{
    add("taskDownloadStart", {text(groupId), info.GetUrl()});
}

void DownloadEvents::onTaskDownloadStop(int groupId, const TaskInfo& info)
{
    add("taskDownloadStop", {text(groupId), info.GetUrl()});
}

void DownloadEvents::onTaskMd5Start(int groupId, const TaskInfo& info)
{
    add("taskMd5Start", {text(groupId), info.GetUrl()});
}

void DownloadEvents::onTaskMd5Stop(int groupId, const TaskInfo& info)
{
    add("taskMd5Stop", {text(groupId), info.GetUrl()});
}

void DownloadEvents::onError(const TaskInfo& info)
{
    add("error", fields(info));
}

void DownloadEvents::onMd5Started(int groupId)
{
    add("md5Started", {text(groupId)});
}

void DownloadEvents::onSpeed(qint64 speed, const QString& speedText, const QString& timeText, int groupId)
{
    add("speed", {text(speed), speedText, timeText, text(groupId)});
}

void DownloadEvents::onDownloadReport(const DownloadReportData& data)
{
    add("downloadReport", {text(data.GetReportType())});
}

void DownloadEvents::onTotalSize(const QString& url, qint64 size)
{
    add("totalSize", {url, text(size)});
}

void DownloadEvents::onRelogin()
{
    add("relogin", {});
}

void DownloadEvents::onTaskRestart(const QString& json)
{
    add("taskRestart", {json});
}

void DownloadEvents::onCancelled(int groupId)
{
    add("cancelled", {text(groupId)});
}

void DownloadEvents::onErrorRetry(const TaskInfo& info)
{
    add("errorRetry", fields(info));
}

void DownloadEvents::onDownloadProgress(const ProgressInfo& info)
{
    add("downloadProgress", fields(info));
}

void DownloadEvents::onCheckProgress(const ProgressInfo& info)
{
    add("checkProgress", fields(info));
}

void DownloadEvents::onSpeed2(qint64 speed, qint64 /*rwSpeed*/, const QString& /*speedText*/,
                              const QString& /*timeText*/, int groupId)
{
    add("speed2", {text(speed), text(groupId)});
}

// SPDX-License-Identifier: MIT
#include "Network/DownloadGroupTask.h"

#include "Manager/ByteCounts.h"
#include "Network/DownloadTask.h"

#include <QDateTime>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPointer>

#include <algorithm>

namespace {

constexpr qint64 kSpeedIntervalMs = 1000;
constexpr qint64 kProgressIntervalMs = 100;
constexpr int kRequestFailed = 3012;

QString urlText(const DownloadTaskModel& model)
{
    return model.url.toString(QUrl::FullyEncoded);
}

TaskInfo infoOf(const QString& url)
{
    TaskInfo info;
    info.SetUrl(url);
    return info;
}

TaskInfo requestFailure(const QString& message, const QString& url, int groupId)
{
    TaskInfo info = infoOf(url);
    info.SetErrorCode(kRequestFailed);
    info.SetErrorString(message);
    info.SetStatusCode(-1);
    info.SetGroupId(groupId);
    return info;
}

bool isCheckingOrFinished(DownloadTaskInterface* task)
{
    const int status = task->GetStatus();
    return status == DownloadTask::Checking || status == DownloadTask::Finished;
}

} // namespace

/// Whether handlers have left a group alone since this was made: not deleted, stopped, cleared or started it.
class DownloadGroupTask::Watch
{
public:
    explicit Watch(DownloadGroupTask* group) : m_group(group), m_run(group->run) {}
    bool IsAlive() const { return m_group; }
    bool Undisturbed() const { return m_group && m_group->run == m_run; }

private:
    QPointer<DownloadGroupTask> m_group;
    quint64 m_run;
};

DownloadGroupTask::DownloadGroupTask(QObject* parent)
    // Children, so that they follow the group to another thread.
    : QObject(parent), speedInterval(this), progressInterval(this), speedMeter(this)
{
    speedInterval.SetInterval(kSpeedIntervalMs);
    progressInterval.SetInterval(kProgressIntervalMs);
}

DownloadGroupTask::~DownloadGroupTask()
{
    // Nobody is called from here: a handler could delete the group a second time.
    blockSignals(true);
    Clear();
}

void DownloadGroupTask::SetTask(const QVector<DownloadTaskModel>& models, DownloadPriority /*priority*/, int newGroupId)
{
    groupId = newGroupId;
    for (const DownloadTaskModel& model : models) {
        if (!Contains(model))
            Append(model);
    }
}

DownloadGroupTask::FileKey DownloadGroupTask::KeyOf(const DownloadTaskModel& model)
{
    return qMakePair(urlText(model), model.path);
}

void DownloadGroupTask::Append(const DownloadTaskModel& model)
{
    const int index = tasks.size();
    DownloadTaskInterface* const task = CreateTask(model);
    task->setParent(this);
    tasks.append(task);
    known.insert(KeyOf(model), index);
    shares.append(Share());
    outdatedShares.append(index);
    Connect(task, index);
}

DownloadTaskInterface* DownloadGroupTask::CreateTask(const DownloadTaskModel& model)
{
    if (!headerNetwork)
        headerNetwork = DownloadTask::MakeHeaderNetwork();
    auto* task = new DownloadTask(model);
    task->SetHeaderNetwork(headerNetwork);
    return task;
}

qint64 DownloadGroupTask::CurrentTimeMs() const
{
    return QDateTime::currentMSecsSinceEpoch();
}

// Whatever a task signals may have changed its share of the sums and whether it is still to be started.
void DownloadGroupTask::Connect(DownloadTaskInterface* task, int index)
{
    using Task = DownloadTaskInterface;
    connect(task, &Task::progress, this, [this, index](qint64 bytesReceived, qint64 /*bytesTotal*/) {
        Touch(index);
        if (IsSampleDue(bytesReceived))
            EmitProgress();
    });
    connect(task, &Task::finish, this, [this, index](const QString& url) {
        Touch(index);
        onTaskFinish(url);
    });
    connect(task, &Task::error, this, [this, index](const TaskInfo& info) {
        Touch(index);
        onError(info);
    });
    connect(task, &Task::md5Started, this, [this, index](const QString& url) {
        Touch(index);
        onMd5Started(url);
    });
    connect(task, &Task::md5Stoped, this, [this, index](const QString& url) {
        Touch(index);
        onMd5Stoped(url);
    });
    connect(task, &Task::totalSize, this, [this, index](const QString& url, qint64 size) {
        Touch(index);
        onGetTotalSize(url, size);
    });
    connect(task, &Task::taskRestart, this, [this, index](const QString& json) {
        Touch(index);
        onTaskRestart(json);
    });
    connect(task, &Task::dataWritten, this, &DownloadGroupTask::dataWritten);
    connect(task, &Task::downloadReport, this, &DownloadGroupTask::downloadReport);
    connect(task, &Task::relogin, this, &DownloadGroupTask::relogin);
    connect(task, &Task::resetSpeed, this, &DownloadGroupTask::onResetSpeed);
    connect(task, &Task::taskStart, this, &DownloadGroupTask::onTaskStart);
}

void DownloadGroupTask::Start()
{
    ++run;
    speedInterval.Reset();
    progressInterval.Reset();
    speedMeter.Clear();
    sizes.clear();
    TouchAll();
    if (InitAll())
        StartNext();
}

// Files may finish, enter their check or fail on the way, and the list may be cleared under it. Returns whether every
// file was prepared and the group is left to go on with.
bool DownloadGroupTask::InitAll()
{
    const Watch watch(this);
    for (int i = 0; i < tasks.size(); ++i) {
        DownloadTaskInterface* const task = tasks.at(i);
        task->SetRetryTimes(1);
        const bool ready = task->Init();
        if (!watch.Undisturbed())
            return false;
        Touch(i);
        if (!ready) {
            FailInit(task);
            return false;
        }
    }
    return true;
}

// Header requests of earlier files, and a transfer that a check has started, must not report after the error.
void DownloadGroupTask::FailInit(DownloadTaskInterface* task)
{
    const TaskInfo info = requestFailure(task->GetErrorString(), urlText(task->GetTaskModel()), groupId);
    const QPointer<DownloadGroupTask> self(this);
    const quint64 stopped = run + 1;
    StopAll();
    if (self && run == stopped)
        Q_EMIT error(info);
}

// A file that was complete already enters its check while it is started. The next one is started from here then: from
// in there, thousands of such files would use up the stack.
bool DownloadGroupTask::StartNext()
{
    const Watch watch(this);
    const bool started = StartFirstOpen();
    while (started && watch.Undisturbed() && nextWanted) {
        if (StartFirstOpen())
            continue;
        if (watch.Undisturbed())
            Q_EMIT md5Started(groupId);
        break;
    }
    return started;
}

// Also true when a handler has decided what runs now.
bool DownloadGroupTask::StartFirstOpen()
{
    nextWanted = false;
    const Watch watch(this);
    while (firstOpen < tasks.size() && isCheckingOrFinished(tasks.at(firstOpen)))
        ++firstOpen;
    for (int i = firstOpen; i < tasks.size(); ++i) {
        DownloadTaskInterface* const task = tasks.at(i);
        if (isCheckingOrFinished(task))
            continue;
        const QString url = urlText(task->GetTaskModel());
        Q_EMIT taskStart(groupId, infoOf(url));
        // A handler that has stopped or started the group has decided what runs now.
        if (!watch.Undisturbed())
            return true;
        Touch(i);
        if (StartWatched(task, watch))
            return true;
        if (!watch.Undisturbed())
            return true;
        Q_EMIT error(requestFailure(tr("message_error_resource_acquisition_failed"), url, groupId));
        if (!watch.Undisturbed())
            return true;
    }
    return false;
}

bool DownloadGroupTask::StartWatched(DownloadTaskInterface* task, const Watch& watch)
{
    const Watch* const outer = starting;
    starting = &watch;
    const bool started = task->Start();
    if (watch.IsAlive())
        starting = outer;
    return started;
}

void DownloadGroupTask::StopAll()
{
    ++run;
    TouchAll();
    const QPointer<DownloadGroupTask> self(this);
    for (int i = 0; self && i < tasks.size(); ++i)
        tasks.at(i)->Stop();
}

void DownloadGroupTask::Clear()
{
    ++run;
    QVector<QPointer<DownloadTaskInterface>> removed;
    removed.reserve(tasks.size());
    for (DownloadTaskInterface* task : qAsConst(tasks))
        removed.append(task);
    tasks.clear();
    known.clear();
    shares.clear();
    outdatedShares.clear();
    totalBytes = 0;
    doneBytes = 0;
    firstOpen = 0;

    // Local from here on: the reports of Stop() may end in a handler that deletes the group.
    for (const QPointer<DownloadTaskInterface>& task : qAsConst(removed)) {
        if (task)
            task->Stop();
        if (!task)
            continue;
        task->disconnect();
        task->Release();
        task->deleteLater();
    }
}

void DownloadGroupTask::SetPause(bool pause)
{
    const QPointer<DownloadGroupTask> self(this);
    for (int i = 0; self && i < tasks.size(); ++i)
        tasks.at(i)->SetPause(pause);
}

bool DownloadGroupTask::Contains(const DownloadTaskModel& model) const
{
    return known.contains(KeyOf(model));
}

qint64 DownloadGroupTask::GetCurSpeed() const
{
    return speedMeter.GetCurSpeed();
}

qint64 DownloadGroupTask::GetDoneBytes()
{
    TouchAll();
    UpdateSums();
    return ToSignedBytes(doneBytes);
}

qint64 DownloadGroupTask::GetTotalBytes()
{
    TouchAll();
    UpdateSums();
    return ToSignedBytes(totalBytes);
}

void DownloadGroupTask::Touch(int index)
{
    // A task that is being removed may still report.
    if (index >= shares.size())
        return;
    firstOpen = std::min(firstOpen, index);
    Share& share = shares[index];
    if (share.outdated)
        return;
    share.outdated = true;
    outdatedShares.append(index);
}

void DownloadGroupTask::TouchAll()
{
    for (int i = 0; i < shares.size(); ++i)
        Touch(i);
    firstOpen = 0;
}

void DownloadGroupTask::UpdateSums()
{
    for (const int index : qAsConst(outdatedShares)) {
        Share& share = shares[index];
        DownloadTaskInterface* const task = tasks.at(index);
        const qint64 total = std::max<qint64>(task->GetTotalSize(), 0);
        const qint64 done = task->IsFinished() ? total : std::max<qint64>(QFileInfo(task->GetTempFilePath()).size(), 0);
        totalBytes += static_cast<quint64>(total) - static_cast<quint64>(share.total);
        doneBytes += static_cast<quint64>(done) - static_cast<quint64>(share.done);
        share = {total, done, false};
    }
    outdatedShares.clear();
}

void DownloadGroupTask::onProgress(qint64 bytesReceived, qint64 /*bytesTotal*/)
{
    if (!IsSampleDue(bytesReceived))
        return;
    // No file of ours says that it is the only one that has changed.
    TouchAll();
    EmitProgress();
}

bool DownloadGroupTask::IsSampleDue(qint64 bytesReceived)
{
    return bytesReceived >= 1 && sizes.size() >= tasks.size() && progressInterval.IsTimeout();
}

void DownloadGroupTask::EmitProgress()
{
    UpdateSums();
    const qint64 total = ToSignedBytes(totalBytes);
    const qint64 done = ToSignedBytes(doneBytes);
    const Watch watch(this);
    Q_EMIT progress(std::min(done, total), total, groupId);
    if (!watch.Undisturbed())
        return;
    // Intended: only the first sample feeds the meter here; the texts below add one each.
    if (speedMeter.IsEmpty())
        speedMeter.UpdateCurSpeed(done, speedInterval.GetLastTimeStamp());
    if (speedInterval.IsTimeout())
        EmitSpeed(done, total);
}

void DownloadGroupTask::EmitSpeed(qint64 done, qint64 total)
{
    const QString speedText = speedMeter.GetCurSpeedString(done, speedInterval.GetLastTimeStamp());
    const QString timeText = speedMeter.GetNeedTimeString(done, total);
    Q_EMIT speed(GetCurSpeed(), speedText, timeText, groupId);
}

// Intended: starts nothing. Only a file that enters its check does.
void DownloadGroupTask::onTaskFinish(QString url)
{
    const Watch watch(this);
    Q_EMIT taskFinish(groupId, infoOf(url));
    if (!watch.Undisturbed() || !AllFinished())
        return;
    const QPointer<DownloadGroupTask> self(this);
    Clear();
    if (self)
        Q_EMIT finish(groupId);
}

// From the end, where the unfinished ones are: asked after each file of thousands.
bool DownloadGroupTask::AllFinished() const
{
    return std::all_of(tasks.crbegin(), tasks.crend(), [](DownloadTaskInterface* task) { return task->IsFinished(); });
}

void DownloadGroupTask::onError(TaskInfo info)
{
    const QPointer<DownloadGroupTask> self(this);
    const quint64 stopped = run + 1;
    StopAll();
    if (!self || run != stopped)
        return;
    info.SetGroupId(groupId);
    Q_EMIT error(info);
}

void DownloadGroupTask::onMd5Started(QString url)
{
    const Watch watch(this);
    Q_EMIT taskMd5Start(groupId, infoOf(url));
    if (!watch.Undisturbed())
        return;
    if (starting && starting->Undisturbed()) {
        nextWanted = true;
        return;
    }
    if (!StartNext() && watch.Undisturbed())
        Q_EMIT md5Started(groupId);
}

void DownloadGroupTask::onMd5Stoped(QString url)
{
    Q_EMIT taskMd5Stop(groupId, infoOf(url));
}

void DownloadGroupTask::onGetTotalSize(QString url, qint64 size)
{
    sizes.insert(url, size);
    Q_EMIT totalSize(url, size);
}

void DownloadGroupTask::onResetSpeed()
{
    const QPointer<DownloadGroupTask> self(this);
    StopAll();
    if (self)
        Start();
}

void DownloadGroupTask::onTaskRestart(QString json)
{
    const QJsonDocument document = QJsonDocument::fromJson(json.toUtf8());
    if (!document.isObject())
        return;
    QJsonObject object = document.object();
    object.insert(QStringLiteral("group_id"), groupId);
    Q_EMIT taskRestart(QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact)));
}

void DownloadGroupTask::onTaskStart(QString url)
{
    Q_EMIT taskStart(groupId, infoOf(url));
}

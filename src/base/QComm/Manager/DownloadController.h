// SPDX-License-Identifier: MIT
#pragma once

#include "Manager/BaseDownloadManager.h"
#include "QCommGlobal.h"

#include <QObject>
#include <QString>
#include <QVector>

#include <string>

/// \brief The launcher's entry point for downloads: owns the back-end and re-emits its signals.
///
/// Create one on the launcher's thread, connect to its signals, give it the files and start the group:
///
/// \code
/// auto* controller = new DownloadController(this, QStringLiteral("main"));
/// connect(controller, &DownloadController::downloadProgress, this, &Window::showProgress);
/// connect(controller, &DownloadController::error, this, &Window::showError);
/// connect(controller, &DownloadController::finish, this, &Window::done);
/// const int group = controller->SetTask(models, Normal);
/// controller->StartDownloadTask(group, installFolder);
/// \endcode
///
/// Every command reaches the chunk-engine back-end (VantorDownloadManager), which is created by the first
/// command that needs it. That routing is intended: the slot for an HTTP back-end exists, but nothing in the
/// library fills it. The engine itself is started once per process with VantorExporter::Init().
///
/// Signals are those of BaseDownloadManager with the same order and meaning, and `downloaderChanged`. All of
/// them are emitted on the thread that owns the controller. Signal handlers may call any command; to get rid
/// of the controller in a handler, use deleteLater().
class QCOMM_EXPORT DownloadController : public QObject
{
    Q_OBJECT

public:
    /// \param parent owner of the controller, may be null
    /// \param name   name given to the back-ends, which begin their log lines with "[name]"
    DownloadController(QObject* parent, const QString& name);
    /// \brief Schedules the back-end's deletion with deleteLater(); a running group goes on in the engine.
    ~DownloadController() override;

    /// \brief Stores the four values for back-ends created later and hands them to the active one.
    ///
    /// Only back-ends interpret them; the chunk-engine back-end ignores them.
    void Init(const QString& a, const QString& b, int x, int y);
    /// \brief Remembers the files and creates a group for them.
    /// \return the id that the back-end allocated for the group
    int SetTask(const QVector<DownloadTaskModel>& models, DownloadPriority priority);
    /// \brief Starts a group with the files last given to SetTask().
    /// \param groupId id returned by SetTask()
    /// \param path    installation folder of the group; its volume is watched for free space
    void StartDownloadTask(int groupId, const QString& path);
    /// \brief Asks the back-end to stop a group; `cancelled` follows once the engine has stopped it.
    void StopDownloadTask(int groupId);
    /// \brief Asks the back-end to stop every group.
    void StopAllDownloadTask();
    /// \brief Asks the back-end to stop and forget a group.
    void RemoveDownloadTask(int groupId);
    /// \brief Asks the back-end to stop and forget every group.
    void RemoveAllDownloadTask();
    /// \brief Limits the download speed, in KiB per second; 0 lifts the limit. Takes effect on running
    /// groups.
    void SetSpeedLimit(qint64 kilobytesPerSecond);
    /// \brief Tells the back-end the root folder of all downloads.
    void UpdateRootPath(const QString& path);
    /// \brief Whether later requests start files afresh; handed on only when there is an active back-end.
    void SetDisableResumeDownload(bool disable);
    /// \brief Tag sent with later requests for the operator's statistics.
    void SetBusinessTag(const QString& tag);
    /// \brief Whether later requests may use peer-assisted delivery.
    void SetEnablePcdn(bool enable);
    /// \brief Type of the back-end that commands go to.
    QString id();
    /// \brief The type wanted, one of NetlibControl's texts; applied by the next command that checks it
    /// (SetTask, StartDownloadTask, SetBusinessTag, SetEnablePcdn).
    void SetDownloaderId(QString id);
    /// \brief Replaces the text that the back-ends' log lines begin with. UTF-8.
    void SetLogTag(const std::string& tag);

    /// \brief The back-end that commands go to: always the chunk-engine one, created on first use.
    BaseDownloadManager* GetDownloadManager();
    /// \brief Switches to the wanted type when the active back-end is of another.
    void CheckDownloader();
    /// \brief Makes `type` the recorded network library type and announces it with `downloaderChanged`.
    ///
    /// "vantor" creates the engine back-end when there is none; when that is not usable, "QT" is recorded and
    /// announced instead. A type unknown to the library changes nothing but is announced all the same.
    /// Nothing happens when the active back-end is usable and of that type.
    void SwitchDownloader(QString type);

public Q_SLOTS:
    /// \brief The same as SetSpeedLimit().
    void onLimitSpeedChanged(qint64 speedLimit);

Q_SIGNALS:
    // The signals of BaseDownloadManager, in the same order; documented there.
    void progress(qint64 bytesRead, qint64 totalBytes, int groupId);
    void finish(int groupId);
    void taskStart(int nGroupId, const TaskInfo& info);
    void taskFinish(int nGroupId, const TaskInfo& info);
    void taskDownloadStart(int nGroupId, const TaskInfo& info);
    void taskDownloadStop(int nGroupId, const TaskInfo& info);
    void taskMd5Start(int nGroupId, const TaskInfo& info);
    void taskMd5Stop(int nGroupId, const TaskInfo& info);
    void error(const TaskInfo& info);
    void md5Started(int groupId);
    void speed(qint64 speed, const QString& speedStr, const QString& timeStr, int groupId);
    void downloadReport(const DownloadReportData& data);
    void totalSize(const QString& url, qint64 size);
    void relogin();
    void taskRestart(const QString& json);
    void cancelled(int groupId);
    void errorRetry(const TaskInfo& info);
    void downloadProgress(const ProgressInfo& info);
    void checkProgress(const ProgressInfo& info);
    void speed2(qint64 speed, qint64 rwSpeed, const QString& speedStr, const QString& timeStr, int groupId);

    /// The network library type has been switched, to the type that SwitchDownloader() announces.
    void downloaderChanged(const QString& /*type*/);

protected:
    BaseDownloadManager* currentManager = nullptr; ///< receives commands; one of the two below or null
    BaseDownloadManager* qtManager = nullptr;      ///< slot of the "QT" back-end, for subclasses to fill
    BaseDownloadManager* vantorManager = nullptr;  ///< created on demand, owned, deleted with deleteLater()

private:
    void createVantorManager();
    void connectSignals(BaseDownloadManager* manager);

    QString initText1;
    QString initText2;
    int initNumber1 = 0;
    int initNumber2 = 0;
    QString downloaderId;
    QVector<DownloadTaskModel> models;
    QString name;
    std::string logTag;
};

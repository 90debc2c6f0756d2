// SPDX-License-Identifier: MIT
#pragma once

#include "Manager/NetlibControl.h"
#include "Network/DownloadTask.h"

#include <QCryptographicHash>
#include <QDir>
#include <QDnsLookup>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkRequest>
#include <QPointer>
#include <QStringList>
#include <QTemporaryDir>
#include <QVector>

#include <functional>
#include <memory>

/// Bytes that differ from place to place, so that a misplaced piece is noticed.
inline QByteArray someContent(int size)
{
    QByteArray content(size, '\0');
    for (int i = 0; i < size; ++i)
        content[i] = static_cast<char>((i * 31 + i / 253 + i / 65537) & 0xff);
    return content;
}

inline QString md5Of(const QByteArray& bytes)
{
    return QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Md5).toHex());
}

inline bool writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

inline QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<cannot be read>");
}

/// Puts the process-wide settings back at the end of a test.
class Settings
{
public:
    Settings() { reset(); }
    ~Settings() { reset(); }
    Settings(const Settings&) = delete;
    Settings& operator=(const Settings&) = delete;

    static void reset()
    {
        NetlibControl* control = NetlibControl::Instance();
        control->SetPkgSizeInfo(NetlibControl::kPkgSizeInfoHeader);
        control->SetSwitchFor416(false);
        control->SetIsDownloadWithLogin(false);
        control->SetFlushOrGzipStrategy(1);
        control->SetLimitDownloadSpeed(0);
    }
};

/// Leaves redirects to the task, as the network layer does when it will not follow one.
class ManualRedirects : public QNetworkAccessManager
{
protected:
    QNetworkReply* createRequest(Operation operation, const QNetworkRequest& request, QIODevice* body) override
    {
        QNetworkRequest manual(request);
        manual.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
        return QNetworkAccessManager::createRequest(operation, manual, body);
    }
};

/// A task whose seams a test sets, and which keeps its own look-ups from the network.
class TestTask : public DownloadTask
{
public:
    using DownloadTask::DataNetwork;
    using DownloadTask::DataReply;
    using DownloadTask::DownloadTask;
    using DownloadTask::FastWrites;
    using DownloadTask::HeaderNetwork;
    using DownloadTask::SetFastWrites;

    int timeoutMs = 30000;
    std::function<qint64(const QByteArray&, qint64*)> write;
    std::function<bool()> flush;
    qint64 freeBytes = -1; ///< -1: what the disk says
    QStringList lookups;   ///< "TYPE NAME"
    bool holdLookups = false;
    QVector<QPointer<QDnsLookup>> heldLookups; ///< begun and not ended, when they are held
    bool manualRedirects = false;

    bool flushForReal() { return DownloadTask::FlushFile(); }
    int timeoutForReal() const { return DownloadTask::ResponseTimeoutMs(); }
    qint64 writeForReal(const QByteArray& block, qint64* ms) { return DownloadTask::WriteToFile(block, ms); }

protected:
    int ResponseTimeoutMs() const override { return timeoutMs; }
    qint64 WriteToFile(const QByteArray& block, qint64* elapsedMs) override
    {
        return write ? write(block, elapsedMs) : DownloadTask::WriteToFile(block, elapsedMs);
    }
    bool FlushFile() override { return flush ? flush() : DownloadTask::FlushFile(); }
    qint64 FreeDiskBytes() const override { return freeBytes < 0 ? DownloadTask::FreeDiskBytes() : freeBytes; }
    std::unique_ptr<QNetworkAccessManager> MakeDataNetwork() const override
    {
        return manualRedirects ? std::make_unique<ManualRedirects>() : DownloadTask::MakeDataNetwork();
    }
    void LookUpCanonicalNames(QDnsLookup* lookup) override
    {
        lookups << QStringLiteral("%1 %2").arg(int(lookup->type())).arg(lookup->name());
        if (holdLookups)
            heldLookups << lookup;
        else
            Q_EMIT lookup->finished();
    }
};

/// What a task signals, in order. Progress and written bytes, whose number depends on the network, are kept apart.
class TaskEvents : public QObject
{
public:
    explicit TaskEvents(DownloadTaskInterface* task)
    {
        using Task = DownloadTaskInterface;
        connect(task, &Task::totalSize, this, [this](const QString& url, qint64 size) {
            urls << url;
            log << QStringLiteral("totalSize %1").arg(size);
        });
        connect(task, &Task::taskStart, this, [this](const QString& url) {
            urls << url;
            log << QStringLiteral("taskStart");
        });
        connect(task, &Task::finish, this, [this](const QString& url) {
            urls << url;
            log << QStringLiteral("finish");
        });
        connect(task, &Task::md5Started, this, [this](const QString& url) {
            urls << url;
            log << QStringLiteral("md5Started");
        });
        connect(task, &Task::md5Stoped, this, [this](const QString& url) {
            urls << url;
            log << QStringLiteral("md5Stoped");
        });
        connect(task, &Task::relogin, this, [this] { log << QStringLiteral("relogin"); });
        connect(task, &Task::resetSpeed, this, [this] { log << QStringLiteral("resetSpeed"); });
        connect(task, &Task::error, this, [this](const TaskInfo& info) {
            errors << info;
            log << QStringLiteral("error %1 %2 %3")
                       .arg(info.GetErrorCode())
                       .arg(info.GetStatusCode())
                       .arg(info.GetNetErrorCode());
        });
        connect(task, &Task::taskRestart, this, [this](const QString& json) {
            restarts << QJsonDocument::fromJson(json.toUtf8()).object();
            log << QStringLiteral("taskRestart %1").arg(restarts.last().value(QStringLiteral("error_code")).toInt());
        });
        connect(task, &Task::downloadReport, this, [this](const DownloadReportData& data) {
            reports << data;
            const QMap<QString, QVariant> map = data.GetReportMap();
            QString text = QStringLiteral("report %1").arg(data.GetReportType());
            if (data.GetReportType() == 2)
                text += QStringLiteral(" result %1").arg(map.value(QStringLiteral("result")).toInt());
            if (data.GetReportType() == 3)
                text += QLatin1Char(' ') + map.value(QStringLiteral("status")).toString();
            log << text;
        });
        connect(task, &Task::progress, this,
                [this](qint64 received, qint64 total) { progress << qMakePair(received, total); });
        connect(task, &Task::dataWritten, this, [this](qint64 bytes) { written += bytes; });
    }

    /// The log without the reports of closing the temporary file.
    QStringList withoutFlush() const
    {
        QStringList rest = log;
        rest.removeAll(QStringLiteral("report 3 start"));
        rest.removeAll(QStringLiteral("report 3 finish"));
        return rest;
    }
    bool ended() const
    {
        return log.contains(QStringLiteral("finish")) || log.contains(QStringLiteral("relogin")) || !errors.isEmpty();
    }
    DownloadReportData lastReport(int type) const
    {
        for (int i = reports.size() - 1; i >= 0; --i) {
            if (reports.at(i).GetReportType() == type)
                return reports.at(i);
        }
        return DownloadReportData();
    }

    QStringList log;
    QStringList urls;
    QVector<TaskInfo> errors;
    QVector<QJsonObject> restarts;
    QVector<DownloadReportData> reports;
    QVector<QPair<qint64, qint64>> progress;
    qint64 written = 0;
};

/// Does what the test says and keeps a common log of what the group asks for.
class FakeTask : public DownloadTaskInterface
{
public:
    FakeTask(const DownloadTaskModel& description, QStringList* calls) : model(description), m_calls(calls) {}

    DownloadTaskModel GetTaskModel() override { return model; }
    qint64 GetTotalSize() override { return model.size; }
    bool IsFinished() override { return status == DownloadTask::Finished; }
    bool Init() override
    {
        note("Init");
        return onInit ? onInit() : true;
    }
    bool Start() override
    {
        note("Start");
        return onStart ? onStart() : true;
    }
    void Stop() override
    {
        note("Stop");
        status = DownloadTask::Stopped;
    }
    QString GetTempFilePath() override
    {
        ++sizeQuestions;
        return model.GetFilePath() + QStringLiteral("_tmp");
    }
    void Release() override { note("Release"); }
    int GetStatus() override { return status; }
    void SetPause(bool pause) override { note(pause ? "Pause" : "Resume"); }
    QString GetErrorString() override { return QStringLiteral("why ") + name(); }
    void SetRetryTimes(int times) override { *m_calls << QStringLiteral("Retry%1 %2").arg(times).arg(name()); }
    qint64 GetRangeFrom416Response(const QList<QPair<QByteArray, QByteArray>>& /*headers*/) override { return 0; }
    void EmitRetry(int, const QString&, const QString&, int, int, const QString&, const QString&) override {}

    QString name() const { return model.GetFileName(); }
    QString url() const { return model.url.toString(QUrl::FullyEncoded); }

    DownloadTaskModel model;
    int status = DownloadTask::Stopped;
    int sizeQuestions = 0;
    std::function<bool()> onInit;
    std::function<bool()> onStart;

private:
    void note(const char* call) { *m_calls << QStringLiteral("%1 %2").arg(QString::fromLatin1(call), name()); }

    QStringList* m_calls;
};

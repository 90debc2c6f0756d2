// SPDX-License-Identifier: MIT
#include "Manager/BaseDownloadInterface.h"
#include "MetaMethods.h"
#include "VirtualPlaces.h"

#include <QThread>
#include <QtTest>

namespace {

/// A back-end that notes what it is told.
class Backend : public BaseDownloadInterface
{
public:
    using BaseDownloadInterface::BaseDownloadInterface;

    QStringList calls;

    void Init(const QString& a, const QString& b, int x, int y) override
    {
        calls.append(QStringLiteral("Init %1 %2 %3 %4").arg(a, b).arg(x).arg(y));
    }
    int SetTask(const QVector<DownloadTaskModel>& models, DownloadPriority priority) override
    {
        calls.append(QStringLiteral("SetTask %1 %2").arg(models.size()).arg(static_cast<int>(priority)));
        return 5;
    }
    void StartDownloadTask(int groupId) override { calls.append(QStringLiteral("Start %1").arg(groupId)); }
    void StopDownloadTask(int groupId) override { calls.append(QStringLiteral("Stop %1").arg(groupId)); }
    void StopAllDownloadTask() override { calls.append(QStringLiteral("StopAll")); }
    void RemoveDownloadTask(int groupId) override { calls.append(QStringLiteral("Remove %1").arg(groupId)); }
    void RemoveAllDownloadTask() override { calls.append(QStringLiteral("RemoveAll")); }
    void SetSpeedLimit(qint64 limit) override { calls.append(QStringLiteral("SetSpeedLimit %1").arg(limit)); }
    QString id() override { return QStringLiteral("backend"); }
};

void callEverything(BaseDownloadInterface& downloader)
{
    downloader.Init(QStringLiteral("a"), QStringLiteral("b"), 1, 2);
    downloader.SetTask({DownloadTaskModel()}, DownloadPriority::High);
    downloader.StartDownloadTask(1);
    downloader.StopDownloadTask(2);
    downloader.StopAllDownloadTask();
    downloader.RemoveDownloadTask(3);
    downloader.RemoveAllDownloadTask();
    downloader.SetSpeedLimit(4);
}

} // namespace

class tst_BaseDownloadInterface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void declaresItsSignals();
    void numbersThePriorities();
    void baseDoesNothing();
    void operationsAreVirtual();
#ifndef Q_CC_MSVC
    void operationsKeepTheirPlaces();
#endif
    void belongsToItsParent();
    void signalsCrossThreads();
};

void tst_BaseDownloadInterface::declaresItsSignals()
{
    const QStringList expected{
        QStringLiteral("progress(qint64 bytesRead, qint64 totalBytes, int groupId)"),
        QStringLiteral("finish(int groupId)"),
        QStringLiteral("taskStart(int nGroupId, QString)"),
        QStringLiteral("taskFinish(int nGroupId, QString)"),
        QStringLiteral("taskMd5Start(int nGroupId, QString)"),
        QStringLiteral("taskMd5Stop(int nGroupId, QString)"),
        QStringLiteral("error(int, QString, int statusCode, QString, int qtErrorCode, int)"),
        QStringLiteral("md5Started(int groupId)"),
        QStringLiteral("speed(qint64 speed, QString speedStr, QString timeStr, int groupId)"),
        QStringLiteral("downloadReport(DownloadReportData data)"),
        QStringLiteral("totalSize(QString, qint64 size)"),
        QStringLiteral("relogin()"),
        QStringLiteral("taskRestart(QString)"),
        QStringLiteral("cancelled(int)"),
    };
    QCOMPARE(declaredSignals(BaseDownloadInterface::staticMetaObject), expected);
    QCOMPARE(BaseDownloadInterface::staticMetaObject.superClass(), &QObject::staticMetaObject);
}

void tst_BaseDownloadInterface::numbersThePriorities()
{
    QCOMPARE(static_cast<int>(DownloadPriority::Low), 0);
    QCOMPARE(static_cast<int>(DownloadPriority::Normal), 1);
    QCOMPARE(static_cast<int>(DownloadPriority::High), 2);
}

void tst_BaseDownloadInterface::baseDoesNothing()
{
    BaseDownloadInterface downloader(nullptr);
    QSignalSpy progress(&downloader, &BaseDownloadInterface::progress);
    QSignalSpy finish(&downloader, &BaseDownloadInterface::finish);
    QSignalSpy cancelled(&downloader, &BaseDownloadInterface::cancelled);
    callEverything(downloader);
    QCOMPARE(downloader.SetTask({DownloadTaskModel(), DownloadTaskModel()}, DownloadPriority::Low), 0);
    QCOMPARE(downloader.id(), QString());
    QCoreApplication::processEvents();
    QCOMPARE(progress.count() + finish.count() + cancelled.count(), 0);
}

void tst_BaseDownloadInterface::operationsAreVirtual()
{
    Backend backend;
    BaseDownloadInterface& downloader = backend;
    callEverything(downloader);
    QCOMPARE(backend.calls,
             (QStringList{QStringLiteral("Init a b 1 2"), QStringLiteral("SetTask 1 2"), QStringLiteral("Start 1"),
                          QStringLiteral("Stop 2"), QStringLiteral("StopAll"), QStringLiteral("Remove 3"),
                          QStringLiteral("RemoveAll"), QStringLiteral("SetSpeedLimit 4")}));
    QCOMPARE(downloader.SetTask({}, DownloadPriority::Normal), 5);
    QCOMPARE(downloader.id(), QStringLiteral("backend"));
}

#ifndef Q_CC_MSVC
void tst_BaseDownloadInterface::operationsKeepTheirPlaces()
{
    using I = BaseDownloadInterface;
    const QVector<int> places{VirtualPlace(&I::Init),
                              VirtualPlace(&I::SetTask),
                              VirtualPlace(&I::StartDownloadTask),
                              VirtualPlace(&I::StopDownloadTask),
                              VirtualPlace(&I::StopAllDownloadTask),
                              VirtualPlace(&I::RemoveDownloadTask),
                              VirtualPlace(&I::RemoveAllDownloadTask),
                              VirtualPlace(&I::SetSpeedLimit),
                              VirtualPlace(&I::id)};
    QCOMPARE(places, PlacesAfterQObject(places.size()));
}
#endif

void tst_BaseDownloadInterface::belongsToItsParent()
{
    QObject parent;
    const BaseDownloadInterface downloader(&parent);
    QCOMPARE(downloader.parent(), &parent);
}

void tst_BaseDownloadInterface::signalsCrossThreads()
{
    QThread thread;
    BaseDownloadInterface downloader(nullptr);
    downloader.moveToThread(&thread);

    QStringList events;
    const auto note = [this, &events](const QString& event) {
        events.append(QThread::currentThread() == this->thread() ? event : QStringLiteral("wrong thread"));
    };
    connect(&downloader, &BaseDownloadInterface::error, this,
            [note](int code, const QString& message, int status, const QString& url, int netError, int groupId) {
                note(QStringLiteral("error %1 %2 %3 %4 %5 %6")
                         .arg(code)
                         .arg(message)
                         .arg(status)
                         .arg(url)
                         .arg(netError)
                         .arg(groupId));
            });
    connect(&downloader, &BaseDownloadInterface::downloadReport, this, [note](const DownloadReportData& data) {
        note(QStringLiteral("report %1 %2").arg(data.GetReportType()).arg(data.GetReportMap().size()));
    });
    thread.start();
    QMetaObject::invokeMethod(&downloader, [&downloader] {
        Q_EMIT downloader.error(1, QStringLiteral("message"), 404, QStringLiteral("url"), 203, 7);
        DownloadReportData data;
        data.SetReportType(2);
        data.SetReportMap({{QStringLiteral("url"), QStringLiteral("u")}});
        Q_EMIT downloader.downloadReport(data);
    });
    QTRY_COMPARE(events, (QStringList{QStringLiteral("error 1 message 404 url 203 7"), QStringLiteral("report 2 1")}));
    thread.quit();
    QVERIFY(thread.wait());
}

QTEST_GUILESS_MAIN(tst_BaseDownloadInterface)
#include "tst_BaseDownloadInterface.moc"

// SPDX-License-Identifier: MIT
#include "Manager/BaseDownloadManager.h"
#include "MetaMethods.h"
#include "VirtualPlaces.h"

#include <QThread>
#include <QtTest>

namespace {

/// A back-end outside the library: it reaches the protected members.
class Backend : public BaseDownloadManager
{
public:
    using BaseDownloadManager::BaseDownloadManager;

    using BaseDownloadManager::businessTag;
    using BaseDownloadManager::disableResumeDownload;
    using BaseDownloadManager::enablePcdn;
    using BaseDownloadManager::logTag;
    using BaseDownloadManager::m_timer;
    using BaseDownloadManager::name;
};

/// A back-end that notes what it is told.
class NotingBackend : public BaseDownloadManager
{
public:
    using BaseDownloadManager::BaseDownloadManager;

    QStringList calls;

    void Init(const QString& a, const QString& b, int x, int y) override
    {
        calls.append(QStringLiteral("Init %1 %2 %3 %4").arg(a, b).arg(x).arg(y));
    }
    int SetTask(const QVector<DownloadTaskModel>& models, DownloadPriority priority, int groupId) override
    {
        calls.append(
            QStringLiteral("SetTask %1 %2 %3").arg(models.size()).arg(static_cast<int>(priority)).arg(groupId));
        return 5;
    }
    void StartDownloadTask(int groupId, const QVector<DownloadTaskModel>& models, const QString& path) override
    {
        calls.append(QStringLiteral("Start %1 %2 %3").arg(groupId).arg(models.size()).arg(path));
    }
    void StopDownloadTask(int groupId) override { calls.append(QStringLiteral("Stop %1").arg(groupId)); }
    void StopAllDownloadTask() override { calls.append(QStringLiteral("StopAll")); }
    void RemoveDownloadTask(int groupId) override { calls.append(QStringLiteral("Remove %1").arg(groupId)); }
    void RemoveAllDownloadTask() override { calls.append(QStringLiteral("RemoveAll")); }
    void SetSpeedLimit(qint64 limit) override { calls.append(QStringLiteral("SetSpeedLimit %1").arg(limit)); }
    QString id() override { return QStringLiteral("backend"); }
    bool IsValid() override { return false; }
    void UpdateRootPath(const QString& path) override { calls.append(QStringLiteral("UpdateRootPath ") + path); }
    void SetDisableResumeDownload(bool disable) override
    {
        calls.append(QStringLiteral("SetDisableResumeDownload %1").arg(disable));
    }
    void SetEnablePcdn(bool enable) override { calls.append(QStringLiteral("SetEnablePcdn %1").arg(enable)); }
    void SetBusinessTag(const QString& tag) override { calls.append(QStringLiteral("SetBusinessTag ") + tag); }
};

void callEverything(BaseDownloadManager& manager)
{
    manager.Init(QStringLiteral("a"), QStringLiteral("b"), 1, 2);
    manager.SetTask({DownloadTaskModel()}, DownloadPriority::Normal, -1);
    manager.StartDownloadTask(1, {DownloadTaskModel(), DownloadTaskModel()}, QStringLiteral("/games"));
    manager.StopDownloadTask(2);
    manager.StopAllDownloadTask();
    manager.RemoveDownloadTask(3);
    manager.RemoveAllDownloadTask();
    manager.SetSpeedLimit(4);
    manager.UpdateRootPath(QStringLiteral("/root"));
    manager.SetDisableResumeDownload(true);
    manager.SetEnablePcdn(true);
    manager.SetBusinessTag(QStringLiteral("tag"));
}

TaskInfo taskInfo(const QString& url)
{
    TaskInfo info;
    info.SetUrl(url);
    return info;
}

ProgressInfo progressInfo(qint64 processed)
{
    ProgressInfo info;
    info.SetProcessedBytes(processed);
    return info;
}

/// Emits all twenty signals in order, with values that tell them apart.
void emitEverything(BaseDownloadManager& manager)
{
    Q_EMIT manager.progress(5000000000, 6000000000, 1);
    Q_EMIT manager.finish(2);
    Q_EMIT manager.taskStart(3, taskInfo(QStringLiteral("start")));
    Q_EMIT manager.taskFinish(4, taskInfo(QStringLiteral("finish")));
    Q_EMIT manager.taskDownloadStart(5, taskInfo(QStringLiteral("downloadStart")));
    Q_EMIT manager.taskDownloadStop(6, taskInfo(QStringLiteral("downloadStop")));
    Q_EMIT manager.taskMd5Start(7, taskInfo(QStringLiteral("md5Start")));
    Q_EMIT manager.taskMd5Stop(8, taskInfo(QStringLiteral("md5Stop")));
    Q_EMIT manager.error(taskInfo(QStringLiteral("error")));
    Q_EMIT manager.md5Started(9);
    Q_EMIT manager.speed(10, QStringLiteral("10KB/s"), QStringLiteral("00:00:10"), 10);
    DownloadReportData data;
    data.SetReportType(3);
    Q_EMIT manager.downloadReport(data);
    Q_EMIT manager.totalSize(QStringLiteral("url"), 7000000000);
    Q_EMIT manager.relogin();
    Q_EMIT manager.taskRestart(QStringLiteral("{}"));
    Q_EMIT manager.cancelled(11);
    Q_EMIT manager.errorRetry(taskInfo(QStringLiteral("retry")));
    Q_EMIT manager.downloadProgress(progressInfo(12));
    Q_EMIT manager.checkProgress(progressInfo(13));
    Q_EMIT manager.speed2(14, 15, QStringLiteral("15KB/s"), QStringLiteral("00:00:15"), 16);
}

QStringList everythingEmitted()
{
    return {
        QStringLiteral("progress 5000000000 6000000000 1"),
        QStringLiteral("finish 2"),
        QStringLiteral("taskStart 3 start"),
        QStringLiteral("taskFinish 4 finish"),
        QStringLiteral("taskDownloadStart 5 downloadStart"),
        QStringLiteral("taskDownloadStop 6 downloadStop"),
        QStringLiteral("taskMd5Start 7 md5Start"),
        QStringLiteral("taskMd5Stop 8 md5Stop"),
        QStringLiteral("error error"),
        QStringLiteral("md5Started 9"),
        QStringLiteral("speed 10 10KB/s 00:00:10 10"),
        QStringLiteral("downloadReport 3"),
        QStringLiteral("totalSize url 7000000000"),
        QStringLiteral("relogin"),
        QStringLiteral("taskRestart {}"),
        QStringLiteral("cancelled 11"),
        QStringLiteral("errorRetry retry"),
        QStringLiteral("downloadProgress 12"),
        QStringLiteral("checkProgress 13"),
        QStringLiteral("speed2 14 15 15KB/s 00:00:15 16"),
    };
}

/// Notes every signal of a manager as text, on the thread that the recorder lives on.
class Recorder : public QObject
{
public:
    explicit Recorder(BaseDownloadManager& manager)
    {
        using M = BaseDownloadManager;
        connect(&manager, &M::progress, this,
                [this](qint64 read, qint64 total, int id) { note("progress", read, total, id); });
        connect(&manager, &M::finish, this, [this](int id) { note("finish", id); });
        connect(&manager, &M::taskStart, this,
                [this](int id, const TaskInfo& i) { note("taskStart", id, i.GetUrl()); });
        connect(&manager, &M::taskFinish, this,
                [this](int id, const TaskInfo& i) { note("taskFinish", id, i.GetUrl()); });
        connect(&manager, &M::taskDownloadStart, this,
                [this](int id, const TaskInfo& i) { note("taskDownloadStart", id, i.GetUrl()); });
        connect(&manager, &M::taskDownloadStop, this,
                [this](int id, const TaskInfo& i) { note("taskDownloadStop", id, i.GetUrl()); });
        connect(&manager, &M::taskMd5Start, this,
                [this](int id, const TaskInfo& i) { note("taskMd5Start", id, i.GetUrl()); });
        connect(&manager, &M::taskMd5Stop, this,
                [this](int id, const TaskInfo& i) { note("taskMd5Stop", id, i.GetUrl()); });
        connect(&manager, &M::error, this, [this](const TaskInfo& i) { note("error", i.GetUrl()); });
        connect(&manager, &M::md5Started, this, [this](int id) { note("md5Started", id); });
        connect(&manager, &M::speed, this, [this](qint64 speed, const QString& text, const QString& time, int id) {
            note("speed", speed, text, time, id);
        });
        connect(&manager, &M::downloadReport, this,
                [this](const DownloadReportData& data) { note("downloadReport", data.GetReportType()); });
        connect(&manager, &M::totalSize, this,
                [this](const QString& url, qint64 size) { note("totalSize", url, size); });
        connect(&manager, &M::relogin, this, [this] { note("relogin"); });
        connect(&manager, &M::taskRestart, this, [this](const QString& json) { note("taskRestart", json); });
        connect(&manager, &M::cancelled, this, [this](int id) { note("cancelled", id); });
        connect(&manager, &M::errorRetry, this, [this](const TaskInfo& i) { note("errorRetry", i.GetUrl()); });
        connect(&manager, &M::downloadProgress, this,
                [this](const ProgressInfo& i) { note("downloadProgress", i.GetProcessedBytes()); });
        connect(&manager, &M::checkProgress, this,
                [this](const ProgressInfo& i) { note("checkProgress", i.GetProcessedBytes()); });
        connect(&manager, &M::speed2, this,
                [this](qint64 speed, qint64 rwSpeed, const QString& text, const QString& time, int id) {
                    note("speed2", speed, rwSpeed, text, time, id);
                });
    }

    QStringList events;

private:
    template<typename... Values>
    void note(const char* signal, const Values&... values)
    {
        QStringList words{QString::fromLatin1(signal)};
        (words.append(QVariant(values).toString()), ...);
        if (QThread::currentThread() != thread())
            words.append(QStringLiteral("on the wrong thread"));
        events.append(words.join(QLatin1Char(' ')));
    }
};

} // namespace

class tst_BaseDownloadManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void declaresTheTwentySignals();
    void startsWithDefaults();
    void prefixesLogLinesWithItsName_data();
    void prefixesLogLinesWithItsName();
    void setLogTagReplacesTheTag();
    void storesTheFlagsAndTheTag();
    void baseDoesNothing();
    void operationsAreVirtual();
#ifndef Q_CC_MSVC
    void operationsKeepTheirPlaces();
#endif
    void timerFollowsToAnotherThread();
    void emitsAllSignals();
    void queuedSignalsCrossThreads();
    void queuedSignalsCrossThreadsBySignatureText();
};

void tst_BaseDownloadManager::declaresTheTwentySignals()
{
    const QStringList expected{
        QStringLiteral("progress(qint64 bytesRead, qint64 totalBytes, int groupId)"),
        QStringLiteral("finish(int groupId)"),
        QStringLiteral("taskStart(int nGroupId, TaskInfo info)"),
        QStringLiteral("taskFinish(int nGroupId, TaskInfo info)"),
        QStringLiteral("taskDownloadStart(int nGroupId, TaskInfo info)"),
        QStringLiteral("taskDownloadStop(int nGroupId, TaskInfo info)"),
        QStringLiteral("taskMd5Start(int nGroupId, TaskInfo info)"),
        QStringLiteral("taskMd5Stop(int nGroupId, TaskInfo info)"),
        QStringLiteral("error(TaskInfo info)"),
        QStringLiteral("md5Started(int groupId)"),
        QStringLiteral("speed(qint64 speed, QString speedStr, QString timeStr, int groupId)"),
        QStringLiteral("downloadReport(DownloadReportData data)"),
        QStringLiteral("totalSize(QString url, qint64 size)"),
        QStringLiteral("relogin()"),
        QStringLiteral("taskRestart(QString json)"),
        QStringLiteral("cancelled(int groupId)"),
        QStringLiteral("errorRetry(TaskInfo info)"),
        QStringLiteral("downloadProgress(ProgressInfo info)"),
        QStringLiteral("checkProgress(ProgressInfo info)"),
        QStringLiteral("speed2(qint64 speed, qint64 rwSpeed, QString speedStr, QString timeStr, int groupId)"),
    };
    QCOMPARE(expected.size(), 20);
    QCOMPARE(declaredSignals(BaseDownloadManager::staticMetaObject), expected);
    QCOMPARE(BaseDownloadManager::staticMetaObject.superClass(), &QObject::staticMetaObject);
}

void tst_BaseDownloadManager::startsWithDefaults()
{
    QObject parent;
    const Backend manager(&parent, QStringLiteral("net"));
    QCOMPARE(manager.parent(), &parent);
    QCOMPARE(manager.disableResumeDownload, false);
    QCOMPARE(manager.enablePcdn, false);
    QCOMPARE(manager.name, QStringLiteral("net"));
    QCOMPARE(manager.businessTag, QString());
    QVERIFY(!manager.m_timer.isActive());
}

void tst_BaseDownloadManager::prefixesLogLinesWithItsName_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("tag");
    QTest::newRow("name") << QStringLiteral("net") << QByteArray("[net]");
    QTest::newRow("empty name") << QString() << QByteArray("[]");
    QTest::newRow("name that is not ASCII") << QStringLiteral("\u00E4") << QByteArray("[\xC3\xA4]");
    QTest::newRow("name like a place marker") << QStringLiteral("%1") << QByteArray("[%1]");
}

void tst_BaseDownloadManager::prefixesLogLinesWithItsName()
{
    QFETCH(const QString, name);
    QFETCH(const QByteArray, tag);
    const Backend manager(nullptr, name);
    QCOMPARE(QByteArray::fromStdString(manager.logTag), tag);
}

void tst_BaseDownloadManager::setLogTagReplacesTheTag()
{
    Backend manager(nullptr, QStringLiteral("net"));
    manager.SetLogTag("<other>");
    QCOMPARE(manager.logTag, std::string("<other>"));
    QCOMPARE(manager.name, QStringLiteral("net"));
    manager.SetLogTag(std::string());
    QCOMPARE(manager.logTag, std::string());
}

void tst_BaseDownloadManager::storesTheFlagsAndTheTag()
{
    Backend manager(nullptr, QStringLiteral("net"));
    manager.SetDisableResumeDownload(true);
    QCOMPARE(manager.disableResumeDownload, true);
    QCOMPARE(manager.enablePcdn, false);
    manager.SetEnablePcdn(true);
    QCOMPARE(manager.enablePcdn, true);
    manager.SetBusinessTag(QStringLiteral("business"));
    QCOMPARE(manager.businessTag, QStringLiteral("business"));
    manager.SetDisableResumeDownload(false);
    QCOMPARE(manager.disableResumeDownload, false);
    manager.SetEnablePcdn(false);
    QCOMPARE(manager.enablePcdn, false);
    manager.SetBusinessTag(QString());
    QCOMPARE(manager.businessTag, QString());
}

void tst_BaseDownloadManager::baseDoesNothing()
{
    BaseDownloadManager manager(nullptr, QStringLiteral("net"));
    const Recorder recorder(manager);
    callEverything(manager);
    QCOMPARE(manager.SetTask({DownloadTaskModel()}, DownloadPriority::High, 7), 0);
    QCOMPARE(manager.id(), QString());
    QCOMPARE(manager.IsValid(), true);
    QCoreApplication::processEvents();
    QCOMPARE(recorder.events, QStringList());
}

void tst_BaseDownloadManager::operationsAreVirtual()
{
    NotingBackend backend(nullptr, QStringLiteral("net"));
    BaseDownloadManager& manager = backend;
    callEverything(manager);
    QCOMPARE(backend.calls,
             (QStringList{QStringLiteral("Init a b 1 2"), QStringLiteral("SetTask 1 1 -1"),
                          QStringLiteral("Start 1 2 /games"), QStringLiteral("Stop 2"), QStringLiteral("StopAll"),
                          QStringLiteral("Remove 3"), QStringLiteral("RemoveAll"), QStringLiteral("SetSpeedLimit 4"),
                          QStringLiteral("UpdateRootPath /root"), QStringLiteral("SetDisableResumeDownload 1"),
                          QStringLiteral("SetEnablePcdn 1"), QStringLiteral("SetBusinessTag tag")}));
    QCOMPARE(manager.SetTask({}, DownloadPriority::Normal, 0), 5);
    QCOMPARE(manager.id(), QStringLiteral("backend"));
    QCOMPARE(manager.IsValid(), false);
}

#ifndef Q_CC_MSVC
void tst_BaseDownloadManager::operationsKeepTheirPlaces()
{
    using M = BaseDownloadManager;
    const QVector<int> places{VirtualPlace(&M::Init),
                              VirtualPlace(&M::SetTask),
                              VirtualPlace(&M::StartDownloadTask),
                              VirtualPlace(&M::StopDownloadTask),
                              VirtualPlace(&M::StopAllDownloadTask),
                              VirtualPlace(&M::RemoveDownloadTask),
                              VirtualPlace(&M::RemoveAllDownloadTask),
                              VirtualPlace(&M::SetSpeedLimit),
                              VirtualPlace(&M::id),
                              VirtualPlace(&M::IsValid),
                              VirtualPlace(&M::UpdateRootPath),
                              VirtualPlace(&M::SetDisableResumeDownload),
                              VirtualPlace(&M::SetEnablePcdn),
                              VirtualPlace(&M::SetBusinessTag)};
    QCOMPARE(places, PlacesAfterQObject(places.size()));
    QCOMPARE(VirtualPlace(&M::SetLogTag), -1);
}
#endif

void tst_BaseDownloadManager::timerFollowsToAnotherThread()
{
    QThread thread;
    Backend manager(nullptr, QStringLiteral("net"));
    manager.moveToThread(&thread);
    QCOMPARE(manager.m_timer.thread(), &thread);
}

void tst_BaseDownloadManager::emitsAllSignals()
{
    BaseDownloadManager manager(nullptr, QStringLiteral("net"));
    const Recorder recorder(manager);
    emitEverything(manager);
    QCOMPARE(recorder.events, everythingEmitted());
}

void tst_BaseDownloadManager::queuedSignalsCrossThreads()
{
    QThread thread;
    BaseDownloadManager manager(nullptr, QStringLiteral("net"));
    manager.moveToThread(&thread);
    const Recorder recorder(manager);
    thread.start();
    QMetaObject::invokeMethod(&manager, [&manager] { emitEverything(manager); });
    QTRY_COMPARE(recorder.events.size(), 20);
    QCOMPARE(recorder.events, everythingEmitted());
    thread.quit();
    QVERIFY(thread.wait());
}

void tst_BaseDownloadManager::queuedSignalsCrossThreadsBySignatureText()
{
    // As launchers with old-style connections use them: the records must be known by their names.
    QThread thread;
    BaseDownloadManager source(nullptr, QStringLiteral("source"));
    BaseDownloadManager relay(nullptr, QStringLiteral("relay"));
    const QMetaObject& metaObject = BaseDownloadManager::staticMetaObject;
    for (int index = metaObject.methodOffset(); index < metaObject.methodCount(); ++index) {
        const QByteArray signal = QByteArray::number(QSIGNAL_CODE) + metaObject.method(index).methodSignature();
        QVERIFY2(QObject::connect(&source, signal.constData(), &relay, signal.constData(), Qt::QueuedConnection),
                 signal.constData());
    }
    source.moveToThread(&thread);
    const Recorder recorder(relay);
    thread.start();
    QMetaObject::invokeMethod(&source, [&source] { emitEverything(source); });
    QTRY_COMPARE(recorder.events.size(), 20);
    QCOMPARE(recorder.events, everythingEmitted());
    thread.quit();
    QVERIFY(thread.wait());
}

QTEST_GUILESS_MAIN(tst_BaseDownloadManager)
#include "tst_BaseDownloadManager.moc"

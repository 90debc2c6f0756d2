// SPDX-License-Identifier: MIT
// The HTTP back-end as a launcher drives it: groups, the limiter, and whole downloads from a scripted server.
#include "LogCapture.h"
#include "MetaMethods.h"
#include "Network/DownloadGroupTask.h"
#include "Network/DownloadManager.h"
#include "Network/DownloadTask.h"
#include "ScriptedHttpServer.h"
#include "TaskProbe.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QMetaMethod>
#include <QPointer>
#include <QSignalSpy>
#include <QtTest>

#include <algorithm>
#include <limits>
#include <memory>

namespace {

QStringList texts(std::initializer_list<const char*> list)
{
    QStringList result;
    for (const char* text : list)
        result << QString::fromLatin1(text);
    return result;
}

/// The signals of a manager, in order; progress and speed, whose number depends on time, are counted apart.
class ManagerEvents : public QObject
{
public:
    explicit ManagerEvents(DownloadManager* manager)
    {
        using Manager = DownloadManager;
        const auto task = [this](const char* what) {
            return [this, what](int id, const TaskInfo& info) {
                log << QStringLiteral("%1 %2 %3")
                           .arg(QString::fromLatin1(what))
                           .arg(id)
                           .arg(QUrl(info.GetUrl()).fileName());
            };
        };
        connect(manager, &Manager::taskStart, this, task("taskStart"));
        connect(manager, &Manager::taskFinish, this, task("taskFinish"));
        connect(manager, &Manager::taskMd5Start, this, task("taskMd5Start"));
        connect(manager, &Manager::taskMd5Stop, this, task("taskMd5Stop"));
        connect(manager, &Manager::md5Started, this,
                [this](int id) { log << QStringLiteral("md5Started %1").arg(id); });
        connect(manager, &Manager::finish, this, [this](int id) { log << QStringLiteral("finish %1").arg(id); });
        connect(manager, &Manager::cancelled, this, [this](int id) { log << QStringLiteral("cancelled %1").arg(id); });
        connect(manager, &Manager::relogin, this, [this] { log << QStringLiteral("relogin"); });
        connect(manager, &Manager::taskRestart, this, [this](const QString&) { log << QStringLiteral("taskRestart"); });
        connect(manager, &Manager::error, this, [this](const TaskInfo& info) {
            errors << info;
            log << QStringLiteral("error %1 %2").arg(info.GetErrorCode()).arg(info.GetGroupId());
        });
    }
    QStringList log;
    QVector<TaskInfo> errors;
};

/// Lets a test emit the signals of its groups.
class TestManager : public DownloadManager
{
public:
    using DownloadManager::DownloadManager;
    QVector<QPointer<DownloadGroupTask>> created;

protected:
    DownloadGroupTask* CreateGroup() override
    {
        created.append(DownloadManager::CreateGroup());
        return created.last();
    }
};

/// Its groups have tasks that only keep a log.
class FakeManager : public DownloadManager
{
public:
    using DownloadManager::DownloadManager;
    QStringList calls;
    QVector<QPointer<DownloadGroupTask>> created;
    QVector<QPointer<FakeTask>> tasks;
    qint64 now = QDateTime::currentMSecsSinceEpoch();

protected:
    class Group : public DownloadGroupTask
    {
    public:
        explicit Group(FakeManager* manager) : DownloadGroupTask(manager), m_manager(manager) {}

    protected:
        DownloadTaskInterface* CreateTask(const DownloadTaskModel& description) override
        {
            auto* task = new FakeTask(description, &m_manager->calls);
            m_manager->tasks.append(task);
            return task;
        }
        qint64 CurrentTimeMs() const override { return m_manager->now; }

    private:
        FakeManager* m_manager;
    };
    DownloadGroupTask* CreateGroup() override
    {
        created.append(new Group(this));
        return created.last();
    }

public:
    // Here, while the log that the tasks write to is alive.
    ~FakeManager() override { RemoveAllDownloadTask(); }
};

} // namespace

class tst_DownloadManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void isTheQtBackEnd();
    void declaresItsSlots();
    void allocatesIds();
    void keepsAnExistingGroup();
    void dropsModelsOfOtherGroups();
    void startCreatesAnUnknownGroup();
    void startCreatesThroughSetTask();
    void startWithMinusOneEnds();
    void stopTellsAlsoUnknownGroups();
    void stopAllStopsEveryGroup();
    void removeForgetsTheGroup();
    void finishComesAfterTheRemoval();
    void logLines();
    void relaysEverySignal();
    void errorsAreOfThisBackEnd();

    void downloadsAGroup();
    void overlapsCheckAndTransfer();
    void takesLeftOversBehindACheckedOne();
    void aFailingFileEndsTheRunOnce();
    void groupWithoutMd5Waits();
    void retriesStartOverWithEachStart();
    void reloginIsPassedOn();
    void stopAndStartResumes();

    void speedLimitIsStored();
    void limitedDownloadIsPaused();
    void limitIsLifted();
    void budgetIsThatOfAWholeSecond();
    void excessSpeedIsCarriedOver();
    void limiterRunsEveryHalfSecond();

    void deletingInHandlersIsSafe_data();
    void deletingInHandlersIsSafe();
    void deletingAGroupInHandlersIsSafe_data();
    void deletingAGroupInHandlersIsSafe();
    void deletingAtAnyMomentIsSafe_data();
    void deletingAtAnyMomentIsSafe();
    void deletingAfterAnyNumberOfEventsIsSafe();

private:
    DownloadTaskModel model(const QString& name, const QByteArray& content, bool withMd5 = true) const;
    QString path(const QString& name) const { return m_folder->filePath(name); }

    std::unique_ptr<ScriptedHttpServer> m_server;
    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<Settings> m_settings;
    QByteArray m_content;
};

void tst_DownloadManager::init()
{
    m_content = someContent(100000);
    m_server = std::make_unique<ScriptedHttpServer>();
    m_folder = std::make_unique<QTemporaryDir>();
    m_settings = std::make_unique<Settings>();
    QVERIFY(m_server->port() != 0);
}

void tst_DownloadManager::cleanup()
{
    m_settings.reset();
    m_folder.reset();
    m_server.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

DownloadTaskModel tst_DownloadManager::model(const QString& name, const QByteArray& content, bool withMd5) const
{
    DownloadTaskModel model;
    model.Init(m_server->urlText("/" + name.toLatin1()), m_folder->path(), withMd5 ? md5Of(content) : QString(),
               QString(), content.size());
    return model;
}

void tst_DownloadManager::isTheQtBackEnd()
{
    DownloadManager manager(nullptr, QStringLiteral("net"));
    QCOMPARE(manager.id(), QStringLiteral("QT"));
    QVERIFY(manager.IsValid());
}

void tst_DownloadManager::declaresItsSlots()
{
    const QMetaObject& meta = DownloadManager::staticMetaObject;
    QCOMPARE(declaredSignals(meta), QStringList());
    QCOMPARE(declaredSlots(meta), texts({"onGroupFinish(int nGroup)", "onLimitTimeout()", "onDataWritten(qint64 bytes)",
                                         "onGetTotalSize(QString url, qint64 size)", "onError(TaskInfo info)",
                                         "onLimitSpeedChanged(qint64 speedLimit)"}));
    QCOMPARE(meta.superClass(), &BaseDownloadManager::staticMetaObject);
}

void tst_DownloadManager::allocatesIds()
{
    DownloadManager manager(nullptr, QStringLiteral("net"));
    QCOMPARE(manager.SetTask({}, Normal, -1), 1);
    QCOMPARE(manager.SetTask({}, Normal, -1), 2);
    QCOMPARE(manager.SetTask({}, Normal, 7), 7);
    QCOMPARE(manager.SetTask({}, Normal, -1), 8);
    // Not the highest so far, but the last one.
    QCOMPARE(manager.SetTask({}, Normal, 4), 4);
    QCOMPARE(manager.SetTask({}, Normal, -1), 5);
    QCOMPARE(manager.SetTask({}, Normal, 0), 0);
    QCOMPARE(manager.SetTask({}, Normal, -1), 1);
}

void tst_DownloadManager::keepsAnExistingGroup()
{
    TestManager manager(nullptr, QStringLiteral("net"));
    const DownloadTaskModel a = model(QStringLiteral("a"), m_content);
    const DownloadTaskModel b = model(QStringLiteral("b"), m_content);
    QCOMPARE(manager.SetTask({a}, Normal, 7), 7);
    QCOMPARE(manager.SetTask({b}, Normal, 7), 7);
    QVERIFY(manager.created.first()->Contains(a));
    QVERIFY(!manager.created.first()->Contains(b));
    m_server->serve("/a", m_content);
    const ManagerEvents events(&manager);
    manager.StartDownloadTask(7, {}, QString());
    QTRY_VERIFY(events.log.contains(QStringLiteral("finish 7")));
    QVERIFY(QFile::exists(path(QStringLiteral("a"))));
    QVERIFY(!QFile::exists(path(QStringLiteral("b"))));
}

void tst_DownloadManager::dropsModelsOfOtherGroups()
{
    TestManager manager(nullptr, QStringLiteral("net"));
    const DownloadTaskModel a = model(QStringLiteral("a"), m_content);
    const DownloadTaskModel b = model(QStringLiteral("b"), m_content);
    QCOMPARE(manager.SetTask({a}, Normal, 1), 1);
    QCOMPARE(manager.SetTask({a, b}, Normal, 2), 2);
    QVERIFY(!manager.created.at(1)->Contains(a));
    QVERIFY(manager.created.at(1)->Contains(b));
    // All dropped: there is an id all the same.
    QCOMPARE(manager.SetTask({a, b}, Normal, -1), 3);
}

void tst_DownloadManager::startCreatesAnUnknownGroup()
{
    m_server->serve("/a", m_content);
    DownloadManager manager(nullptr, QStringLiteral("net"));
    const ManagerEvents events(&manager);
    manager.StartDownloadTask(5, {model(QStringLiteral("a"), m_content)}, QStringLiteral("ignored"));
    QTRY_VERIFY(events.log.contains(QStringLiteral("finish 5")));
    QCOMPARE(readFile(path(QStringLiteral("a"))), m_content);
    QVERIFY(!QFile::exists(QStringLiteral("ignored")));
}

// SetTask() is virtual: what a launcher's own class makes of it holds here too.
void tst_DownloadManager::startCreatesThroughSetTask()
{
    class Listening : public DownloadManager
    {
    public:
        using DownloadManager::DownloadManager;
        QStringList calls;
        int SetTask(const QVector<DownloadTaskModel>& models, DownloadPriority priority, int groupId) override
        {
            calls << QStringLiteral("%1 files, priority %2, group %3").arg(models.size()).arg(priority).arg(groupId);
            return DownloadManager::SetTask(models, priority, groupId);
        }
    };
    m_server->always("/a", HttpResponse::nothing(HttpResponse::Fault::Stall));
    Listening manager(nullptr, QStringLiteral("net"));
    const QVector<DownloadTaskModel> models{model(QStringLiteral("a"), m_content)};
    manager.StartDownloadTask(5, models, QString());
    QCOMPARE(manager.calls, texts({"1 files, priority 1, group 5"}));
    // It is known now.
    manager.StartDownloadTask(5, models, QString());
    QCOMPARE(manager.calls.size(), 1);
}

void tst_DownloadManager::startWithMinusOneEnds()
{
    m_server->serve("/a", m_content);
    DownloadManager manager(nullptr, QStringLiteral("net"));
    const ManagerEvents events(&manager);
    manager.StartDownloadTask(-1, {model(QStringLiteral("a"), m_content)}, QString());
    QTRY_VERIFY(events.log.contains(QStringLiteral("finish 1")));
    QCOMPARE(manager.SetTask({}, Normal, -1), 2);
}

void tst_DownloadManager::stopTellsAlsoUnknownGroups()
{
    DownloadManager manager(nullptr, QStringLiteral("net"));
    const ManagerEvents events(&manager);
    manager.StopDownloadTask(99);
    manager.SetTask({}, Normal, 1);
    manager.StopDownloadTask(1);
    QCOMPARE(events.log, texts({"cancelled 99", "cancelled 1"}));
}

void tst_DownloadManager::stopAllStopsEveryGroup()
{
    DownloadManager manager(nullptr, QStringLiteral("net"));
    manager.SetTask({}, Normal, 3);
    manager.SetTask({}, Normal, 1);
    const ManagerEvents events(&manager);
    manager.StopAllDownloadTask();
    QCOMPARE(events.log, texts({"cancelled 1", "cancelled 3"}));
}

void tst_DownloadManager::removeForgetsTheGroup()
{
    m_server->always("/a", HttpResponse::nothing(HttpResponse::Fault::Stall));
    TestManager manager(nullptr, QStringLiteral("net"));
    const DownloadTaskModel a = model(QStringLiteral("a"), m_content);
    manager.SetTask({a}, Normal, 1);
    manager.SetTask({}, Normal, 2);
    manager.StartDownloadTask(1, {}, QString());
    const ManagerEvents events(&manager);
    manager.RemoveDownloadTask(1);
    manager.RemoveDownloadTask(1);
    QTRY_VERIFY(!manager.created.first());
    // Known to nobody any more.
    manager.SetTask({a}, Normal, 4);
    QVERIFY(manager.created.last()->Contains(a));
    manager.RemoveAllDownloadTask();
    QTRY_VERIFY(!manager.created.at(1));
    QCOMPARE(events.log, QStringList());
}

void tst_DownloadManager::finishComesAfterTheRemoval()
{
    const DownloadTaskModel a = model(QStringLiteral("a"), m_content);
    QVERIFY(writeFile(path(QStringLiteral("a")), m_content));
    TestManager manager(nullptr, QStringLiteral("net"));
    int finished = 0;
    connect(&manager, &DownloadManager::finish, this, [&](int id) {
        ++finished;
        QCOMPARE(id, 3);
        // The id and the file are free for a new group.
        QCOMPARE(manager.SetTask({a}, Normal, id), id);
        QCOMPARE(manager.created.size(), 2);
        QVERIFY(manager.created.last()->Contains(a));
    });
    manager.StartDownloadTask(3, {a}, QString());
    QCOMPARE(finished, 1);
    // A group that is not there has finished all the same.
    manager.disconnect(this);
    const ManagerEvents events(&manager);
    manager.onGroupFinish(99);
    QCOMPARE(events.log, texts({"finish 99"}));
}

void tst_DownloadManager::logLines()
{
    m_server->serve("/a", m_content);
    LogCapture log;
    DownloadManager manager(nullptr, QStringLiteral("net"));
    const ManagerEvents events(&manager);
    const int id = manager.SetTask({model(QStringLiteral("a"), m_content)}, Normal, -1);
    QCOMPARE(log.count(0, QStringLiteral("[net] set task")), 1);
    QCOMPARE(log.records().back().function, std::string("DownloadManager::SetTask"));
    manager.SetLogTag("TAG");
    manager.StopDownloadTask(99);
    QCOMPARE(log.count(0, QStringLiteral("TAGstop download task")), 1);
    QCOMPARE(log.count(0, QStringLiteral("TAGdownload grouptask is not exist")), 1);
    manager.SetSpeedLimit(100);
    QCOMPARE(log.count(1, QStringLiteral("TAG set speed limit 100 kb/s")), 1);
    manager.StartDownloadTask(id, {}, QString());
    QCOMPARE(log.count(0, QStringLiteral("TAGstart download task")), 1);
    QTRY_VERIFY(events.log.contains(QStringLiteral("finish 1")));
    QCOMPARE(log.count(0, QStringLiteral("TAG group finished")), 1);
    const QMap<QString, QString> functions{
        {QStringLiteral("TAGstop download task"), QStringLiteral("DownloadManager::StopDownloadTask")},
        {QStringLiteral("TAG set speed limit 100 kb/s"), QStringLiteral("DownloadManager::SetSpeedLimit")},
        {QStringLiteral("TAGstart download task"), QStringLiteral("DownloadManager::StartDownloadTask")},
        {QStringLiteral("TAG group finished"), QStringLiteral("DownloadManager::onGroupFinish")},
    };
    int named = 0;
    for (const Orvel::Common::LogRecord& record : log.records()) {
        const QString text = QString::fromStdString(record.text);
        if (!functions.contains(text))
            continue;
        QCOMPARE(QString::fromStdString(record.function), functions.value(text));
        ++named;
    }
    QCOMPARE(named, functions.size());
    log.clear();
    manager.StartDownloadTask(50, {}, QString());
    QCOMPARE(log.texts(0), texts({"TAGstart download task", "TAGdownload grouptask is not exist", "TAG set task",
                                  "TAGstart download task"}));
}

void tst_DownloadManager::relaysEverySignal()
{
    TestManager manager(nullptr, QStringLiteral("net"));
    manager.SetTask({}, Normal, 7);
    DownloadGroupTask* group = manager.created.first();
    TaskInfo info;
    info.SetUrl(QStringLiteral("u"));
    DownloadReportData report;
    report.SetReportType(3);
    QSignalSpy progress(&manager, &DownloadManager::progress);
    QSignalSpy md5Started(&manager, &DownloadManager::md5Started);
    QSignalSpy taskStart(&manager, &DownloadManager::taskStart);
    QSignalSpy taskFinish(&manager, &DownloadManager::taskFinish);
    QSignalSpy taskMd5Start(&manager, &DownloadManager::taskMd5Start);
    QSignalSpy taskMd5Stop(&manager, &DownloadManager::taskMd5Stop);
    QSignalSpy speed(&manager, &DownloadManager::speed);
    QSignalSpy totalSize(&manager, &DownloadManager::totalSize);
    QSignalSpy downloadReport(&manager, &DownloadManager::downloadReport);
    QSignalSpy relogin(&manager, &DownloadManager::relogin);
    QSignalSpy taskRestart(&manager, &DownloadManager::taskRestart);
    Q_EMIT group->progress(1, 2, 7);
    Q_EMIT group->md5Started(7);
    Q_EMIT group->taskStart(7, info);
    Q_EMIT group->taskFinish(7, info);
    Q_EMIT group->taskMd5Start(7, info);
    Q_EMIT group->taskMd5Stop(7, info);
    Q_EMIT group->speed(5, QStringLiteral("s"), QStringLiteral("t"), 7);
    Q_EMIT group->totalSize(QStringLiteral("u"), 9);
    Q_EMIT group->downloadReport(report);
    Q_EMIT group->relogin();
    Q_EMIT group->taskRestart(QStringLiteral("{}"));
    QCOMPARE(progress, (QList<QVariantList>{{qint64(1), qint64(2), 7}}));
    QCOMPARE(md5Started, (QList<QVariantList>{{7}}));
    for (const QSignalSpy* spy : {&taskStart, &taskFinish, &taskMd5Start, &taskMd5Stop}) {
        QCOMPARE(spy->size(), 1);
        QCOMPARE(spy->at(0).at(0).toInt(), 7);
        QCOMPARE(spy->at(0).at(1).value<TaskInfo>().GetUrl(), QStringLiteral("u"));
    }
    QCOMPARE(speed, (QList<QVariantList>{{qint64(5), QStringLiteral("s"), QStringLiteral("t"), 7}}));
    QCOMPARE(totalSize, (QList<QVariantList>{{QStringLiteral("u"), qint64(9)}}));
    QCOMPARE(downloadReport.at(0).at(0).value<DownloadReportData>().GetReportType(), 3);
    QCOMPARE(relogin.size(), 1);
    QCOMPARE(taskRestart, (QList<QVariantList>{{QStringLiteral("{}")}}));
}

void tst_DownloadManager::errorsAreOfThisBackEnd()
{
    TestManager manager(nullptr, QStringLiteral("net"));
    manager.SetTask({}, Normal, 7);
    TaskInfo info;
    info.SetDownloaderId(5);
    info.SetErrorCode(3010);
    const ManagerEvents events(&manager);
    Q_EMIT manager.created.first()->error(info);
    QCOMPARE(events.errors.size(), 1);
    QCOMPARE(events.errors.first().GetDownloaderId(), 0);
    QCOMPARE(events.errors.first().GetErrorCode(), 3010);
}

void tst_DownloadManager::downloadsAGroup()
{
    m_server->serve("/a", m_content);
    TestManager manager(nullptr, QStringLiteral("net"));
    const ManagerEvents events(&manager);
    QSignalSpy sizes(&manager, &DownloadManager::totalSize);
    const int id = manager.SetTask({model(QStringLiteral("a"), m_content)}, Normal, -1);
    manager.StartDownloadTask(id, {}, QString());
    QTRY_VERIFY(events.log.contains(QStringLiteral("finish 1")));
    QCOMPARE(events.log, texts({"taskStart 1 a", "taskMd5Start 1 a", "md5Started 1", "taskMd5Stop 1 a",
                                "taskFinish 1 a", "finish 1"}));
    QCOMPARE(sizes, (QList<QVariantList>{{m_server->urlText("/a"), qint64(m_content.size())}}));
    QCOMPARE(readFile(path(QStringLiteral("a"))), m_content);
    QTRY_VERIFY(!manager.created.first());
}

void tst_DownloadManager::overlapsCheckAndTransfer()
{
    QVector<DownloadTaskModel> models;
    for (const char* name : {"a", "b", "c"}) {
        m_server->serve(QByteArray("/") + name, m_content);
        models << model(QString::fromLatin1(name), m_content);
    }
    DownloadManager manager(nullptr, QStringLiteral("net"));
    const ManagerEvents events(&manager);
    manager.StartDownloadTask(manager.SetTask(models, Normal, -1), {}, QString());
    QTRY_VERIFY(events.log.contains(QStringLiteral("finish 1")));
    const QStringList log = events.log;
    // Each file's check starts the next file, whatever the checks' own ends are.
    for (const char* pair :
         {"taskMd5Start 1 a|taskStart 1 b", "taskMd5Start 1 b|taskStart 1 c", "taskMd5Start 1 c|md5Started 1"}) {
        const QStringList names = QString::fromLatin1(pair).split(QLatin1Char('|'));
        QCOMPARE(log.indexOf(names.at(1)), log.indexOf(names.at(0)) + 1);
    }
    QCOMPARE(log.last(), QStringLiteral("finish 1"));
    QCOMPARE(log.filter(QStringLiteral("taskFinish")).size(), 3);
}

// The check of the first left-over starts the second file before that one is prepared.
void tst_DownloadManager::takesLeftOversBehindACheckedOne()
{
    QVector<DownloadTaskModel> models;
    for (const char* name : {"a", "b", "c"}) {
        m_server->always(QByteArray("/") + name, HttpResponse::nothing(HttpResponse::Fault::Stall));
        models << model(QString::fromLatin1(name), m_content);
    }
    models[1].md5.clear();
    QVERIFY(writeFile(path(QStringLiteral("a_check")), m_content));
    QVERIFY(writeFile(path(QStringLiteral("b_check")), m_content));
    QVERIFY(writeFile(path(QStringLiteral("c")), m_content));
    DownloadManager manager(nullptr, QStringLiteral("net"));
    const ManagerEvents events(&manager);
    manager.StartDownloadTask(manager.SetTask(models, Normal, -1), {}, QString());
    QTRY_VERIFY(events.log.contains(QStringLiteral("finish 1")));
    QCOMPARE(events.log.filter(QStringLiteral("taskFinish")).size(), 3);
    QCOMPARE(events.errors.size(), 0);
    for (const char* name : {"a", "b", "c"})
        QCOMPARE(readFile(path(QString::fromLatin1(name))), m_content);
}

void tst_DownloadManager::aFailingFileEndsTheRunOnce()
{
    QVector<DownloadTaskModel> models;
    for (const char* name : {"a", "b", "c"}) {
        m_server->serve(QByteArray("/") + name, m_content);
        models << model(QString::fromLatin1(name), m_content);
    }
    m_server->once("/b", HttpResponse::withStatus(404, "gone"));
    DownloadManager manager(nullptr, QStringLiteral("net"));
    const ManagerEvents events(&manager);
    const int id = manager.SetTask(models, Normal, -1);
    manager.StartDownloadTask(id, {}, QString());
    QTRY_COMPARE(events.errors.size(), 1);
    QCOMPARE(events.log.last(), QStringLiteral("error 3009 1"));
    QVERIFY(!events.log.contains(QStringLiteral("taskStart 1 c")));
    // The fault is gone: the same group ends well.
    manager.StartDownloadTask(id, {}, QString());
    QTRY_VERIFY(events.log.contains(QStringLiteral("finish 1")));
    QCOMPARE(events.errors.size(), 1);
    for (const char* name : {"a", "b", "c"})
        QCOMPARE(readFile(path(QString::fromLatin1(name))), m_content);
}

void tst_DownloadManager::groupWithoutMd5Waits()
{
    for (const char* name : {"/a", "/b"})
        m_server->serve(name, m_content);
    DownloadManager manager(nullptr, QStringLiteral("net"));
    const ManagerEvents events(&manager);
    const int id = manager.SetTask(
        {model(QStringLiteral("a"), m_content, false), model(QStringLiteral("b"), m_content, false)}, Normal, -1);
    manager.StartDownloadTask(id, {}, QString());
    QTRY_COMPARE(events.log, texts({"taskStart 1 a", "taskFinish 1 a"}));
    QCOMPARE(m_server->requestCount("/b"), 0);
    manager.StartDownloadTask(id, {}, QString());
    QTRY_VERIFY(events.log.contains(QStringLiteral("finish 1")));
    QCOMPARE(events.log.mid(2),
             texts({"taskStart 1 a", "taskFinish 1 a", "taskStart 1 b", "taskFinish 1 b", "finish 1"}));
}

void tst_DownloadManager::retriesStartOverWithEachStart()
{
    m_server->always("/a", HttpResponse::withStatus(500));
    DownloadManager manager(nullptr, QStringLiteral("net"));
    const ManagerEvents events(&manager);
    QSignalSpy restarts(&manager, &DownloadManager::taskRestart);
    const int id = manager.SetTask({model(QStringLiteral("a"), m_content)}, Normal, -1);
    for (int run = 1; run <= 2; ++run) {
        manager.StartDownloadTask(id, {}, QString());
        QTRY_COMPARE(events.errors.size(), run);
        QCOMPARE(restarts.size(), 4 * run);
    }
    QCOMPARE(QJsonDocument::fromJson(restarts.first().first().toString().toUtf8())
                 .object()
                 .value(QStringLiteral("group_id"))
                 .toInt(),
             id);
}

void tst_DownloadManager::reloginIsPassedOn()
{
    NetlibControl::Instance()->SetIsDownloadWithLogin(true);
    m_server->always("/a", HttpResponse::withStatus(403));
    DownloadManager manager(nullptr, QStringLiteral("net"));
    const ManagerEvents events(&manager);
    const int id = manager.SetTask({model(QStringLiteral("a"), m_content)}, Normal, -1);
    manager.StartDownloadTask(id, {}, QString());
    QTRY_COMPARE(events.log, texts({"taskStart 1 a", "relogin"}));
    m_server->serve("/a", m_content);
    manager.StartDownloadTask(id, {}, QString());
    QTRY_VERIFY(events.log.contains(QStringLiteral("finish 1")));
}

void tst_DownloadManager::stopAndStartResumes()
{
    const QByteArray content = someContent(2000000);
    m_server->always("/a", HttpResponse::ok(content).stallAfter(1000000));
    DownloadManager manager(nullptr, QStringLiteral("net"));
    const ManagerEvents events(&manager);
    const int id = manager.SetTask({model(QStringLiteral("a"), content)}, Normal, -1);
    manager.StartDownloadTask(id, {}, QString());
    QTRY_VERIFY(QFileInfo(path(QStringLiteral("a_tmp"))).size() > 500000);
    manager.StopDownloadTask(id);
    QCOMPARE(events.log.last(), QStringLiteral("cancelled 1"));
    const qint64 have = QFileInfo(path(QStringLiteral("a_tmp"))).size();
    m_server->serve("/a", content);
    manager.StartDownloadTask(id, {}, QString());
    QTRY_VERIFY(events.log.contains(QStringLiteral("finish 1")));
    QCOMPARE(m_server->requests("/a").last().rangeStart(), have);
    QCOMPARE(readFile(path(QStringLiteral("a"))), content);
}

void tst_DownloadManager::speedLimitIsStored()
{
    DownloadManager manager(nullptr, QStringLiteral("net"));
    manager.SetSpeedLimit(100);
    QCOMPARE(NetlibControl::Instance()->GetLimitDownloadSpeed(), qint64(102400));
    manager.onLimitSpeedChanged(7);
    QCOMPARE(NetlibControl::Instance()->GetLimitDownloadSpeed(), qint64(7168));
    manager.SetSpeedLimit(0);
    QCOMPARE(NetlibControl::Instance()->GetLimitDownloadSpeed(), qint64(0));
    manager.SetSpeedLimit(-1);
    QCOMPARE(NetlibControl::Instance()->GetLimitDownloadSpeed(), qint64(-1024));
    manager.SetSpeedLimit(std::numeric_limits<qint64>::max());
    QVERIFY(NetlibControl::Instance()->GetLimitDownloadSpeed() > qint64(1) << 60);
}

// 100 KiB per half second: 400 KiB take at least three periods.
void tst_DownloadManager::limitedDownloadIsPaused()
{
    const QByteArray content = someContent(400 * 1024);
    // In a fifth of a second: the network layer may hold all that arrives before it hears of its buffer's size.
    m_server->on("/a", [content](const HttpRequest& request) {
        return HttpResponse::content(request, content).rate(2000 * 1000);
    });
    DownloadManager manager(nullptr, QStringLiteral("net"));
    const ManagerEvents events(&manager);
    manager.SetSpeedLimit(100);
    const int id = manager.SetTask({model(QStringLiteral("a"), content)}, Normal, -1);
    QElapsedTimer timer;
    timer.start();
    manager.StartDownloadTask(id, {}, QString());
    QTRY_VERIFY_WITH_TIMEOUT(events.log.contains(QStringLiteral("finish 1")), 10000);
    QVERIFY2(timer.elapsed() > 500, qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(readFile(path(QStringLiteral("a"))), content);
}

void tst_DownloadManager::limitIsLifted()
{
    const QByteArray content = someContent(4 * 1024 * 1024);
    m_server->serve("/a", content);
    DownloadManager manager(nullptr, QStringLiteral("net"));
    const ManagerEvents events(&manager);
    manager.SetSpeedLimit(1);
    manager.StartDownloadTask(manager.SetTask({model(QStringLiteral("a"), content)}, Normal, -1), {}, QString());
    QTRY_VERIFY(QFileInfo(path(QStringLiteral("a_tmp"))).size() > 0);
    QVERIFY(!events.log.contains(QStringLiteral("finish 1")));
    // At once, not at the end of a period.
    manager.SetSpeedLimit(0);
    QTRY_VERIFY(events.log.contains(QStringLiteral("finish 1")));
    QCOMPARE(readFile(path(QStringLiteral("a"))), content);
}

// With tasks that keep a log in place of transfers: when they are held back, and what a period begins with.
void tst_DownloadManager::budgetIsThatOfAWholeSecond()
{
    FakeManager manager(nullptr, QStringLiteral("net"));
    manager.SetTask({model(QStringLiteral("a"), m_content)}, Normal, 1);
    manager.SetTask({model(QStringLiteral("b"), m_content)}, Normal, 2);
    // Without a limit nothing is counted.
    manager.onDataWritten(1 << 30);
    QCOMPARE(manager.calls, QStringList());
    manager.SetSpeedLimit(1); // 1024 bytes per second
    manager.onDataWritten(1000);
    manager.onDataWritten(24);
    QCOMPARE(manager.calls, QStringList());
    manager.onDataWritten(1);
    QCOMPARE(manager.calls, texts({"Pause a", "Pause b"}));
    manager.calls.clear();
    // A new period, with nothing carried over while the speed is not above the limit.
    manager.onLimitTimeout();
    QCOMPARE(manager.calls, texts({"Resume a", "Resume b"}));
    manager.calls.clear();
    manager.onDataWritten(1024);
    QCOMPARE(manager.calls, QStringList());
    // A new limit begins anew, and lifting it resumes at once.
    manager.SetSpeedLimit(1);
    manager.onDataWritten(1024);
    QCOMPARE(manager.calls, QStringList());
    manager.SetSpeedLimit(0);
    QCOMPARE(manager.calls, texts({"Resume a", "Resume b"}));
}

void tst_DownloadManager::excessSpeedIsCarriedOver()
{
    FakeManager manager(nullptr, QStringLiteral("net"));
    const DownloadTaskModel a = model(QStringLiteral("a"), m_content);
    manager.SetTask({a}, Normal, 1);
    // The timer stays off: the periods are the test's. 15000 bytes within a second.
    Q_EMIT manager.tasks.first()->totalSize(a.url.toString(), m_content.size());
    manager.now += 5000;
    manager.created.first()->Start();
    Q_EMIT manager.tasks.first()->totalSize(a.url.toString(), m_content.size());
    manager.now += 100;
    Q_EMIT manager.tasks.first()->progress(1, 1);
    QVERIFY(writeFile(path(QStringLiteral("a_tmp")), QByteArray(15000, 'x')));
    manager.now += 900;
    Q_EMIT manager.tasks.first()->progress(1, 1);
    QCOMPARE(manager.created.first()->GetCurSpeed(), qint64(15000));
    manager.SetSpeedLimit(10); // 10240 bytes per second
    manager.onLimitTimeout();
    manager.calls.clear();
    // The budget of 10240 less what was too much, 15000 - 10240.
    manager.onDataWritten(5480);
    QCOMPARE(manager.calls, QStringList());
    manager.onDataWritten(1);
    QCOMPARE(manager.calls, texts({"Pause a"}));
}

void tst_DownloadManager::limiterRunsEveryHalfSecond()
{
    FakeManager manager(nullptr, QStringLiteral("net"));
    manager.SetTask({model(QStringLiteral("a"), m_content)}, Normal, 1);
    const QList<QTimer*> timers = manager.findChildren<QTimer*>(QString(), Qt::FindDirectChildrenOnly);
    const auto found =
        std::find_if(timers.cbegin(), timers.cend(), [](const QTimer* timer) { return timer->interval() == 500; });
    QVERIFY(found != timers.cend());
    const QTimer* period = *found;
    QVERIFY(!period->isSingleShot());
    QVERIFY(!period->isActive());
    QElapsedTimer timer;
    timer.start();
    manager.SetSpeedLimit(1);
    QVERIFY(period->isActive());
    QTRY_VERIFY(manager.calls.size() >= 2);
    QCOMPARE(manager.calls.mid(0, 2), texts({"Resume a", "Resume a"}));
    // Coarse: up to a twentieth early.
    QVERIFY2(timer.elapsed() >= 900, qPrintable(QString::number(timer.elapsed())));
    // It ends with the limit.
    manager.SetSpeedLimit(0);
    QVERIFY(!period->isActive());
    manager.SetSpeedLimit(1);
    QVERIFY(period->isActive());
    manager.SetSpeedLimit(-1);
    QVERIFY(!period->isActive());
    manager.SetSpeedLimit(1);
    QVERIFY(period->isActive());
    // It ends with the last group, and begins again with the next start.
    manager.RemoveAllDownloadTask();
    manager.onLimitTimeout();
    QVERIFY(!period->isActive());
    manager.calls.clear();
    manager.SetTask({model(QStringLiteral("b"), m_content)}, Normal, 2);
    manager.onDataWritten(5000);
    manager.calls.clear();
    manager.StartDownloadTask(2, {}, QString());
    manager.calls.clear();
    // Started with an empty budget.
    manager.onDataWritten(1024);
    QCOMPARE(manager.calls, QStringList());
    QTRY_VERIFY(!manager.calls.isEmpty());
    QCOMPARE(manager.calls.first(), QStringLiteral("Resume b"));
}

void tst_DownloadManager::deletingInHandlersIsSafe_data()
{
    QTest::addColumn<QByteArray>("signal");
    const QMetaObject& meta = BaseDownloadManager::staticMetaObject;
    for (const char* name :
         {"progress", "finish", "taskStart", "taskFinish", "taskMd5Start", "taskMd5Stop", "error", "md5Started",
          "downloadReport", "totalSize", "relogin", "taskRestart", "cancelled", "speed"}) {
        for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
            if (meta.method(i).name() == name)
                QTest::newRow(name) << meta.method(i).methodSignature();
        }
    }
}

namespace {

/// Deletes an object at the first signal.
class Deleter : public QObject
{
    Q_OBJECT

public:
    explicit Deleter(QObject* object) : m_object(object) {}

    void connectTo(const QByteArray& signal)
    {
        const QMetaObject* meta = m_object->metaObject();
        const int index = meta->indexOfSignal(signal.constData());
        QVERIFY(index >= 0);
        QVERIFY(connect(m_object, meta->method(index), this,
                        metaObject()->method(metaObject()->indexOfSlot("deleteNow()"))));
    }

public Q_SLOTS:
    void deleteNow() { delete m_object; }

private:
    QPointer<QObject> m_object;
};

} // namespace

void tst_DownloadManager::deletingInHandlersIsSafe()
{
    QFETCH(QByteArray, signal);
    const QByteArray content = someContent(3000000);
    m_server->always("/a", HttpResponse::ok(content).rate(1500000));
    m_server->serve("/b", m_content);
    m_server->serve("/c", m_content);
    m_server->once("/b", HttpResponse::withStatus(500));
    NetlibControl::Instance()->SetIsDownloadWithLogin(true);
    if (signal.startsWith("relogin"))
        m_server->once("/a", HttpResponse::withStatus(403));
    if (signal.startsWith("error"))
        m_server->once("/a", HttpResponse::withStatus(404, "x"));
    auto* manager = new DownloadManager(nullptr, QStringLiteral("net"));
    const QPointer<DownloadManager> guard(manager);
    Deleter deleter(manager);
    deleter.connectTo(signal);
    const bool slow = signal.startsWith("speed") || signal.startsWith("progress");
    QVector<DownloadTaskModel> models{model(QStringLiteral("b"), m_content), model(QStringLiteral("c"), m_content)};
    if (slow || signal.startsWith("relogin") || signal.startsWith("error"))
        models = {model(QStringLiteral("a"), content)};
    manager->StartDownloadTask(-1, models, QString());
    if (guard && signal.startsWith("cancelled"))
        manager->StopDownloadTask(1);
    QTRY_VERIFY(!guard);
}

void tst_DownloadManager::deletingAGroupInHandlersIsSafe_data()
{
    QTest::addColumn<QByteArray>("signal");
    const QMetaObject& meta = DownloadGroupTask::staticMetaObject;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        if (meta.method(i).methodType() == QMetaMethod::Signal)
            QTest::newRow(meta.method(i).name().constData()) << meta.method(i).methodSignature();
    }
}

void tst_DownloadManager::deletingAGroupInHandlersIsSafe()
{
    QFETCH(QByteArray, signal);
    const QByteArray content = someContent(3000000);
    const bool slow = signal.startsWith("speed");
    NetlibControl::Instance()->SetIsDownloadWithLogin(true);
    m_server->always("/a", HttpResponse::ok(content).rate(slow ? 2000000 : 20000000));
    m_server->serve("/b", m_content);
    if (signal.startsWith("taskRestart"))
        m_server->once("/a", HttpResponse::withStatus(500));
    if (signal.startsWith("relogin"))
        m_server->once("/a", HttpResponse::withStatus(403));
    if (signal.startsWith("error"))
        m_server->once("/a", HttpResponse::withStatus(404, "x"));
    auto* group = new DownloadGroupTask;
    const QPointer<DownloadGroupTask> guard(group);
    Deleter deleter(group);
    deleter.connectTo(signal);
    group->SetTask({model(QStringLiteral("a"), content), model(QStringLiteral("b"), m_content)}, Normal, 1);
    group->Start();
    QTRY_VERIFY(!guard);
}

void tst_DownloadManager::deletingAtAnyMomentIsSafe_data()
{
    QTest::addColumn<QString>("who");
    QTest::addColumn<QString>("moment");
    for (const char* who : {"task", "group", "manager"}) {
        for (const char* moment : {"header request", "connecting", "transfer", "paused", "check"})
            QTest::addRow("%s, %s", who, moment) << QString::fromLatin1(who) << QString::fromLatin1(moment);
    }
}

void tst_DownloadManager::deletingAtAnyMomentIsSafe()
{
    QFETCH(QString, who);
    QFETCH(QString, moment);
    const QByteArray content = someContent(2000000);
    const QString temporary = path(QStringLiteral("a_tmp"));
    const auto temporarySize = [&temporary] { return QFileInfo(temporary).size(); };
    DownloadTaskModel described = model(QStringLiteral("a"), content);
    const bool transfers = moment == QLatin1String("transfer") || moment == QLatin1String("paused");
    m_server->always("/a", transfers ? HttpResponse::ok(content).stallAfter(1000000)
                                     : HttpResponse::nothing(HttpResponse::Fault::Stall));
    if (moment == QLatin1String("header request"))
        described.size = 0;
    if (moment == QLatin1String("check")) {
        // Sparse; hashing it takes minutes.
        described.size = 1;
        QVERIFY(writeFile(temporary, QByteArray()));
        QVERIFY(QFile::resize(temporary, qint64(64) << 30));
    }

    // The outermost object of the three, and the task within.
    std::unique_ptr<QObject> object;
    DownloadTaskInterface* task = nullptr;
    if (who == QLatin1String("task")) {
        task = new DownloadTask(described);
        object.reset(task);
        QVERIFY(task->Init());
        QVERIFY(task->Start());
    } else if (who == QLatin1String("group")) {
        auto* group = new DownloadGroupTask;
        object.reset(group);
        group->SetTask({described}, Normal, 1);
        group->Start();
    } else {
        auto* manager = new DownloadManager(nullptr, QStringLiteral("net"));
        object.reset(manager);
        manager->StartDownloadTask(1, {described}, QString());
    }
    if (!task)
        task = object->findChild<DownloadTaskInterface*>();
    QVERIFY(task);
    if (moment == QLatin1String("transfer"))
        QTRY_VERIFY(temporarySize() > 500000);
    else if (moment == QLatin1String("paused"))
        QTRY_VERIFY((task->SetPause(temporarySize() > 0), task->GetStatus() == DownloadTask::Paused));
    else if (moment == QLatin1String("check"))
        QCOMPARE(task->GetStatus(), int(DownloadTask::Checking));
    else
        QTRY_COMPARE(m_server->requestCount(), moment == QLatin1String("header request") ? 2 : 1);

    const qint64 had = temporarySize();
    QElapsedTimer timer;
    timer.start();
    object.reset();
    // Neither the rest of a transfer nor that of a check is waited for.
    QVERIFY2(timer.elapsed() < 10000, qPrintable(QString::number(timer.elapsed())));
    // What was on its way finds nobody.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();
    QVERIFY(temporarySize() >= had);
    QVERIFY(!QFile::exists(path(QStringLiteral("a"))));
    QCOMPARE(QFile::exists(temporary), had > 0);
    if (moment == QLatin1String("check"))
        return;
    // Another one goes on where it ended.
    m_server->serve("/a", content);
    DownloadManager next(nullptr, QStringLiteral("net"));
    const ManagerEvents events(&next);
    next.StartDownloadTask(1, {model(QStringLiteral("a"), content)}, QString());
    QTRY_VERIFY(events.log.contains(QStringLiteral("finish 1")));
    QCOMPARE(readFile(path(QStringLiteral("a"))), content);
}

void tst_DownloadManager::deletingAfterAnyNumberOfEventsIsSafe()
{
    const QByteArray content = someContent(2000000);
    m_server->serve("/a", content);
    // Each round goes a little further into the download.
    for (int round = 0; round < 60; ++round) {
        auto manager = std::make_unique<DownloadManager>(nullptr, QStringLiteral("net"));
        manager->StartDownloadTask(-1, {model(QStringLiteral("a"), content)}, QString());
        for (int events = 0; events < round * 3; ++events)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents | QEventLoop::EventLoopExec, 5);
        manager.reset();
        QFile::remove(path(QStringLiteral("a")));
        if (round % 2 == 0)
            QFile::remove(path(QStringLiteral("a_tmp")));
    }
}

QTEST_GUILESS_MAIN(tst_DownloadManager)

#include "tst_DownloadManager.moc"

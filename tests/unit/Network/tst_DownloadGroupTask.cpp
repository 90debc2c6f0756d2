// SPDX-License-Identifier: MIT
// The order in which a group runs its files, with scripted tasks in place of downloads.
#include "MetaMethods.h"
#include "Network/DownloadGroupTask.h"
#include "Network/DownloadTask.h"
#include "TaskProbe.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPointer>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <functional>
#include <limits>
#include <memory>

namespace {

constexpr int kGroup = 7;

QStringList texts(std::initializer_list<const char*> list)
{
    QStringList result;
    for (const char* text : list)
        result << QString::fromLatin1(text);
    return result;
}

class TestGroup : public DownloadGroupTask
{
public:
    using DownloadGroupTask::DownloadGroupTask;
    QVector<QPointer<FakeTask>> fakes;
    QStringList* calls = nullptr;
    /// Time passes when a test says so.
    qint64 now = QDateTime::currentMSecsSinceEpoch();

protected:
    qint64 CurrentTimeMs() const override { return now; }
    DownloadTaskInterface* CreateTask(const DownloadTaskModel& model) override
    {
        auto* task = new FakeTask(model, calls);
        fakes.append(task);
        return task;
    }
};

} // namespace

class tst_DownloadGroupTask : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void declaresItsSignalsAndSlots();
    void startsWithoutAnId();
    void keepsOneTaskPerUrlAndFolder();
    void containsComparesWithCase();
    void startPreparesAllAndStartsTheFirst();
    void startStopsAtTheFirstFailure();
    void startSurvivesFilesThatFinish();
    void startSurvivesAllFilesFinishing();
    void startSurvivesAFileThatEntersItsCheck();
    void startSurvivesAFileThatFails();
    void startNextSkipsCheckedAndFinished();
    void startNextGoesOnAfterARefusal();
    void stoppingInTaskStartStartsNothing();
    void onlyACheckStartsTheNextFile();
    void completeFilesDoNotStartEachOther();
    void md5StartedWhenNothingIsLeft();
    void finishesWhenEveryFileIs();
    void errorStopsEveryFile();
    void stopAllAndPauseReachEveryFile();
    void clearReleasesAndForgets();
    void destructorClears();
    void relaysSignals();
    void restartGetsTheGroup_data();
    void restartGetsTheGroup();
    void resetSpeedStartsAnew();
    void progressWaitsForAllSizes();
    void progressCountsFinishedAndPartialFiles();
    void sumsDoNotOverflow();
    void progressIsPaced();
    void progressIgnoresNothing();
    void speedIsPaced();
    void speedGoesBackToTheSeed();
    void progressAsksOnlyWhatChanged();
    void sumsAreThoseOfNow();
    void setTaskIsQuick();
    void deletingInHandlersIsSafe_data();
    void deletingInHandlersIsSafe();

private:
    DownloadTaskModel model(const QString& name, qint64 size = 100) const;
    void fill(int count, qint64 size = 100);
    FakeTask* task(int index) const { return m_group->fakes.at(index); }
    void setStatus(int index, int status) { task(index)->status = status; }
    void finishTask(int index);

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<TestGroup> m_group;
    QStringList m_log; // calls to tasks and signals of the group, in order
    TaskInfo m_lastError;
};

void tst_DownloadGroupTask::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    m_group = std::make_unique<TestGroup>();
    m_group->calls = &m_log;
    m_log.clear();
    using Group = DownloadGroupTask;
    const auto nameOf = [](const TaskInfo& info) { return QUrl(info.GetUrl()).fileName(); };
    Group* group = m_group.get();
    connect(group, &Group::progress, this, [this](qint64 done, qint64 total, int id) {
        m_log << QStringLiteral("progress %1 %2 %3").arg(done).arg(total).arg(id);
    });
    connect(group, &Group::finish, this, [this](int id) { m_log << QStringLiteral("finish %1").arg(id); });
    const auto logTask = [this, nameOf](const char* what) {
        return [this, nameOf, what](int id, const TaskInfo& info) {
            m_log << QStringLiteral("%1 %2 %3").arg(QString::fromLatin1(what)).arg(id).arg(nameOf(info));
        };
    };
    connect(group, &Group::taskStart, this, logTask("taskStart"));
    connect(group, &Group::taskFinish, this, logTask("taskFinish"));
    connect(group, &Group::taskMd5Start, this, logTask("taskMd5Start"));
    connect(group, &Group::taskMd5Stop, this, logTask("taskMd5Stop"));
    connect(group, &Group::md5Started, this, [this](int id) { m_log << QStringLiteral("md5Started %1").arg(id); });
    connect(group, &Group::error, this, [this, nameOf](const TaskInfo& info) {
        m_lastError = info;
        m_log << QStringLiteral("error %1 %2 %3 %4 %5")
                     .arg(info.GetErrorCode())
                     .arg(info.GetErrorString(), nameOf(info))
                     .arg(info.GetStatusCode())
                     .arg(info.GetGroupId());
    });
    connect(group, &Group::speed, this,
            [this](qint64, const QString&, const QString&, int id) { m_log << QStringLiteral("speed %1").arg(id); });
    connect(group, &Group::totalSize, this, [this](const QString& url, qint64 size) {
        m_log << QStringLiteral("totalSize %1 %2").arg(QUrl(url).fileName()).arg(size);
    });
    connect(group, &Group::taskRestart, this, [this](const QString& json) { m_log << json; });
    connect(group, &Group::relogin, this, [this] { m_log << QStringLiteral("relogin"); });
    connect(group, &Group::dataWritten, this, [this](qint64 n) { m_log << QStringLiteral("dataWritten %1").arg(n); });
    connect(group, &Group::downloadReport, this,
            [this](const DownloadReportData& data) { m_log << QStringLiteral("report %1").arg(data.GetReportType()); });
}

void tst_DownloadGroupTask::cleanup()
{
    m_group.reset();
    m_folder.reset();
}

DownloadTaskModel tst_DownloadGroupTask::model(const QString& name, qint64 size) const
{
    DownloadTaskModel model;
    model.Init(QStringLiteral("http://host/") + name, m_folder->path(), QString(), QString(), size);
    return model;
}

void tst_DownloadGroupTask::fill(int count, qint64 size)
{
    QVector<DownloadTaskModel> models;
    for (int i = 0; i < count; ++i)
        models << model(QString(QLatin1Char(static_cast<char>('a' + i))), size);
    m_group->SetTask(models, Normal, kGroup);
}

void tst_DownloadGroupTask::finishTask(int index)
{
    setStatus(index, DownloadTask::Finished);
    Q_EMIT task(index)->finish(task(index)->url());
}

void tst_DownloadGroupTask::declaresItsSignalsAndSlots()
{
    const QMetaObject& meta = DownloadGroupTask::staticMetaObject;
    QCOMPARE(declaredSignals(meta),
             texts({"progress(qint64 bytesRead, qint64 totalBytes, int groupId)", "finish(int groupId)",
                    "taskStart(int nGroupId, TaskInfo info)", "taskFinish(int nGroupId, TaskInfo info)",
                    "taskMd5Start(int nGroupId, TaskInfo info)", "error(TaskInfo info)", "md5Started(int groupId)",
                    "taskMd5Stop(int nGroupId, TaskInfo info)",
                    "speed(qint64 speed, QString speedStr, QString timeStr, int groupId)", "dataWritten(qint64 bytes)",
                    "downloadReport(DownloadReportData data)", "totalSize(QString url, qint64 size)", "relogin()",
                    "taskRestart(QString json)"}));
    QCOMPARE(declaredSlots(meta),
             texts({"onProgress(qint64 bytesReceived, qint64 bytesTotal)", "onTaskFinish(QString url)",
                    "onError(TaskInfo info)", "onMd5Started(QString url)", "onMd5Stoped(QString url)",
                    "onGetTotalSize(QString url, qint64 size)", "onResetSpeed()", "onTaskRestart(QString json)",
                    "onTaskStart(QString url)"}));
}

void tst_DownloadGroupTask::startsWithoutAnId()
{
    m_group->onTaskStart(QStringLiteral("http://host/a"));
    m_group->Start();
    QVERIFY(!m_group->StartNext());
    QCOMPARE(m_group->GetTotalBytes(), qint64(0));
    QCOMPARE(m_log, texts({"taskStart -1 a"}));
}

void tst_DownloadGroupTask::keepsOneTaskPerUrlAndFolder()
{
    DownloadTaskModel elsewhere = model(QStringLiteral("a"));
    elsewhere.path += QStringLiteral("/below");
    m_group->SetTask({model(QStringLiteral("a")), model(QStringLiteral("b")), model(QStringLiteral("a")), elsewhere},
                     Normal, kGroup);
    QCOMPARE(m_group->fakes.size(), 3);
    m_group->SetTask({model(QStringLiteral("b")), model(QStringLiteral("c"))}, Normal, kGroup);
    QCOMPARE(m_group->fakes.size(), 4);
    QCOMPARE(task(3)->name(), QStringLiteral("c"));
}

void tst_DownloadGroupTask::containsComparesWithCase()
{
    fill(1);
    QVERIFY(m_group->Contains(model(QStringLiteral("a"))));
    QVERIFY(!m_group->Contains(model(QStringLiteral("A"))));
    DownloadTaskModel elsewhere = model(QStringLiteral("a"));
    elsewhere.path = elsewhere.path.toUpper();
    QVERIFY(!m_group->Contains(elsewhere));
    DownloadTaskModel other = model(QStringLiteral("a"), 5);
    other.md5 = QStringLiteral("x");
    QVERIFY(m_group->Contains(other));
}

void tst_DownloadGroupTask::startPreparesAllAndStartsTheFirst()
{
    fill(3);
    m_group->Start();
    QCOMPARE(m_log,
             texts({"Retry1 a", "Init a", "Retry1 b", "Init b", "Retry1 c", "Init c", "taskStart 7 a", "Start a"}));
}

void tst_DownloadGroupTask::startStopsAtTheFirstFailure()
{
    fill(3);
    task(1)->onInit = [] { return false; };
    m_group->Start();
    // Stopped before the error, so that no header request of an earlier file reports after it.
    QCOMPARE(m_log, texts({"Retry1 a", "Init a", "Retry1 b", "Init b", "Stop a", "Stop b", "Stop c",
                           "error 3012 why b b -1 7"}));
    QCOMPARE(m_lastError.GetUrl(), task(1)->url());
    QCOMPARE(m_lastError.GetNetErrorCode(), 0);
    QCOMPARE(m_lastError.GetIP(), QString());
}

void tst_DownloadGroupTask::startSurvivesFilesThatFinish()
{
    fill(3);
    task(0)->onInit = [this] {
        finishTask(0);
        return true;
    };
    m_group->Start();
    QCOMPARE(m_log, texts({"Retry1 a", "Init a", "taskFinish 7 a", "Retry1 b", "Init b", "Retry1 c", "Init c",
                           "taskStart 7 b", "Start b"}));
}

void tst_DownloadGroupTask::startSurvivesAllFilesFinishing()
{
    fill(2);
    for (int i = 0; i < 2; ++i) {
        task(i)->onInit = [this, i] {
            finishTask(i);
            return true;
        };
    }
    m_group->Start();
    QCOMPARE(m_log, texts({"Retry1 a", "Init a", "taskFinish 7 a", "Retry1 b", "Init b", "taskFinish 7 b", "Stop a",
                           "Release a", "Stop b", "Release b", "finish 7"}));
}

void tst_DownloadGroupTask::startSurvivesAFileThatEntersItsCheck()
{
    fill(2);
    task(0)->onInit = [this] {
        setStatus(0, DownloadTask::Checking);
        Q_EMIT task(0)->md5Started(task(0)->url());
        return true;
    };
    task(1)->onStart = [this] {
        setStatus(1, DownloadTask::Downloading);
        return true;
    };
    m_group->Start();
    QCOMPARE(m_log, texts({"Retry1 a", "Init a", "taskMd5Start 7 a", "taskStart 7 b", "Start b", "Retry1 b", "Init b",
                           "taskStart 7 b", "Start b"}));
}

void tst_DownloadGroupTask::startSurvivesAFileThatFails()
{
    fill(2);
    task(0)->onInit = [this] {
        TaskInfo info;
        info.SetErrorCode(2004);
        info.SetErrorString(QStringLiteral("text"));
        info.SetUrl(task(0)->url());
        Q_EMIT task(0)->error(info);
        return true;
    };
    m_group->Start();
    QCOMPARE(m_log, texts({"Retry1 a", "Init a", "Stop a", "Stop b", "error 2004 text a 0 7"}));
}

void tst_DownloadGroupTask::startNextSkipsCheckedAndFinished()
{
    fill(5);
    setStatus(0, DownloadTask::Checking);
    setStatus(1, DownloadTask::Finished);
    setStatus(2, DownloadTask::Failed);
    QVERIFY(m_group->StartNext());
    QCOMPARE(m_log, texts({"taskStart 7 c", "Start c"}));
    setStatus(2, DownloadTask::Checking);
    setStatus(3, DownloadTask::Checking);
    QVERIFY(m_group->StartNext());
    QCOMPARE(m_log.mid(2), texts({"taskStart 7 e", "Start e"}));
    setStatus(4, DownloadTask::Finished);
    QVERIFY(!m_group->StartNext());
    QCOMPARE(m_log.size(), 4);
}

void tst_DownloadGroupTask::startNextGoesOnAfterARefusal()
{
    fill(3);
    task(0)->onStart = [] { return false; };
    QVERIFY(m_group->StartNext());
    QCOMPARE(m_log, texts({"taskStart 7 a", "Start a", "error 3012 message_error_resource_acquisition_failed a -1 7",
                           "taskStart 7 b", "Start b"}));
    m_log.clear();
    for (int i = 0; i < 3; ++i)
        task(i)->onStart = [] { return false; };
    QVERIFY(!m_group->StartNext());
    QCOMPARE(m_log.filter(QStringLiteral("error")).size(), 3);
}

void tst_DownloadGroupTask::stoppingInTaskStartStartsNothing()
{
    fill(2);
    connect(m_group.get(), &DownloadGroupTask::taskStart, this, [this] { m_group->StopAll(); });
    m_group->Start();
    QVERIFY(!m_log.contains(QStringLiteral("Start a")));
    QVERIFY(!m_log.contains(QStringLiteral("Start b")));
}

void tst_DownloadGroupTask::onlyACheckStartsTheNextFile()
{
    fill(3);
    m_group->Start();
    m_log.clear();
    // A file without MD5 finishes, and the group waits.
    finishTask(0);
    QCOMPARE(m_log, texts({"taskFinish 7 a"}));
    m_log.clear();
    setStatus(1, DownloadTask::Checking);
    Q_EMIT task(1)->md5Started(task(1)->url());
    QCOMPARE(m_log, texts({"taskMd5Start 7 b", "taskStart 7 c", "Start c"}));
}

// Files whose transfer was complete before enter their check while they are started.
void tst_DownloadGroupTask::completeFilesDoNotStartEachOther()
{
    fill(4);
    int depth = 0;
    int greatestDepth = 0;
    for (int i = 0; i < 3; ++i) {
        task(i)->onStart = [this, i, &depth, &greatestDepth] {
            greatestDepth = std::max(greatestDepth, ++depth);
            setStatus(i, DownloadTask::Checking);
            Q_EMIT task(i)->md5Started(task(i)->url());
            --depth;
            return true;
        };
    }
    m_group->Start();
    QCOMPARE(greatestDepth, 1);
    QCOMPARE(m_log.mid(m_log.indexOf(QStringLiteral("taskStart 7 a"))),
             texts({"taskStart 7 a", "Start a", "taskMd5Start 7 a", "taskStart 7 b", "Start b", "taskMd5Start 7 b",
                    "taskStart 7 c", "Start c", "taskMd5Start 7 c", "taskStart 7 d", "Start d"}));
    // The last one has nobody to start.
    m_log.clear();
    setStatus(3, DownloadTask::Stopped);
    task(3)->onStart = [this] {
        setStatus(3, DownloadTask::Checking);
        Q_EMIT task(3)->md5Started(task(3)->url());
        return true;
    };
    QVERIFY(m_group->StartNext());
    QCOMPARE(m_log, texts({"taskStart 7 d", "Start d", "taskMd5Start 7 d", "md5Started 7"}));
}

void tst_DownloadGroupTask::md5StartedWhenNothingIsLeft()
{
    fill(1);
    m_group->Start();
    m_log.clear();
    setStatus(0, DownloadTask::Checking);
    Q_EMIT task(0)->md5Started(task(0)->url());
    Q_EMIT task(0)->md5Stoped(task(0)->url());
    QCOMPARE(m_log, texts({"taskMd5Start 7 a", "md5Started 7", "taskMd5Stop 7 a"}));
}

void tst_DownloadGroupTask::finishesWhenEveryFileIs()
{
    fill(2);
    finishTask(1);
    QCOMPARE(m_log, texts({"taskFinish 7 b"}));
    m_log.clear();
    finishTask(0);
    QCOMPARE(m_log, texts({"taskFinish 7 a", "Stop a", "Release a", "Stop b", "Release b", "finish 7"}));
    QVERIFY(!m_group->Contains(model(QStringLiteral("a"))));
    QCOMPARE(m_group->GetTotalBytes(), qint64(0));
    QVERIFY(!m_group->StartNext());
}

void tst_DownloadGroupTask::errorStopsEveryFile()
{
    fill(2);
    TaskInfo info;
    info.SetErrorCode(3010);
    info.SetErrorString(QStringLiteral("text"));
    info.SetUrl(task(1)->url());
    info.SetStatusCode(500);
    Q_EMIT task(1)->error(info);
    QCOMPARE(m_log, texts({"Stop a", "Stop b", "error 3010 text b 500 7"}));
}

void tst_DownloadGroupTask::stopAllAndPauseReachEveryFile()
{
    fill(2);
    m_group->SetPause(true);
    m_group->SetPause(false);
    m_group->StopAll();
    QCOMPARE(m_log, texts({"Pause a", "Pause b", "Resume a", "Resume b", "Stop a", "Stop b"}));
}

void tst_DownloadGroupTask::clearReleasesAndForgets()
{
    fill(2);
    const QPointer<FakeTask> first = task(0);
    m_group->Clear();
    QCOMPARE(m_log, texts({"Stop a", "Release a", "Stop b", "Release b"}));
    QVERIFY(first);
    QTRY_VERIFY(!first);
    // The group may be filled anew.
    m_group->SetTask({model(QStringLiteral("a"))}, Normal, kGroup);
    QVERIFY(m_group->Contains(model(QStringLiteral("a"))));
}

void tst_DownloadGroupTask::destructorClears()
{
    fill(2);
    const QPointer<FakeTask> first = task(0);
    m_group.reset();
    QCOMPARE(m_log, texts({"Stop a", "Release a", "Stop b", "Release b"}));
    QVERIFY(!first);
}

void tst_DownloadGroupTask::relaysSignals()
{
    fill(1);
    Q_EMIT task(0)->dataWritten(42);
    DownloadReportData report;
    report.SetReportType(2);
    Q_EMIT task(0)->downloadReport(report);
    Q_EMIT task(0)->totalSize(task(0)->url(), 1234);
    Q_EMIT task(0)->relogin();
    Q_EMIT task(0)->taskStart(task(0)->url());
    QCOMPARE(m_log, texts({"dataWritten 42", "report 2", "totalSize a 1234", "relogin", "taskStart 7 a"}));
}

void tst_DownloadGroupTask::restartGetsTheGroup_data()
{
    QTest::addColumn<QString>("json");
    QTest::addColumn<QStringList>("log");
    QTest::newRow("object") << QStringLiteral("{\"error_code\": 3010}")
                            << texts({"{\"error_code\":3010,\"group_id\":7}"});
    QTest::newRow("not JSON") << QStringLiteral("{error") << QStringList();
    QTest::newRow("empty") << QString() << QStringList();
}

void tst_DownloadGroupTask::restartGetsTheGroup()
{
    QFETCH(QString, json);
    fill(1);
    Q_EMIT task(0)->taskRestart(json);
    QTEST(m_log, "log");
}

void tst_DownloadGroupTask::resetSpeedStartsAnew()
{
    fill(1);
    Q_EMIT task(0)->resetSpeed();
    QCOMPARE(m_log, texts({"Stop a", "Retry1 a", "Init a", "taskStart 7 a", "Start a"}));
}

void tst_DownloadGroupTask::progressWaitsForAllSizes()
{
    fill(3);
    m_group->Start();
    m_log.clear();
    m_group->now += 100;
    Q_EMIT task(0)->totalSize(task(0)->url(), 100);
    Q_EMIT task(1)->totalSize(task(1)->url(), 100);
    Q_EMIT task(0)->progress(1, 100);
    QVERIFY(m_log.filter(QStringLiteral("progress")).isEmpty());
    Q_EMIT task(2)->totalSize(task(2)->url(), 100);
    Q_EMIT task(0)->progress(1, 100);
    QCOMPARE(m_log.filter(QStringLiteral("progress")), texts({"progress 0 300 7"}));
    // Forgotten at the next start.
    m_group->Start();
    m_group->now += 100;
    m_log.clear();
    Q_EMIT task(0)->progress(1, 100);
    QVERIFY(m_log.filter(QStringLiteral("progress")).isEmpty());
}

void tst_DownloadGroupTask::progressCountsFinishedAndPartialFiles()
{
    fill(4);
    QVERIFY(writeFile(task(1)->GetTempFilePath(), QByteArray(30, 'x')));
    setStatus(0, DownloadTask::Finished);
    task(3)->model.size = -5; // unknown counts as nothing
    QCOMPARE(m_group->GetTotalBytes(), qint64(300));
    QCOMPARE(m_group->GetDoneBytes(), qint64(130));
    // More on the disk than in all is not told.
    QVERIFY(writeFile(task(1)->GetTempFilePath(), QByteArray(900, 'x')));
    for (int i = 0; i < 4; ++i)
        Q_EMIT task(i)->totalSize(task(i)->url(), 1);
    m_group->now += 100;
    m_log.clear();
    Q_EMIT task(1)->progress(1, 1);
    QCOMPARE(m_log, texts({"progress 300 300 7"}));
    QCOMPARE(m_group->GetDoneBytes(), qint64(1000));
}

// Sizes are what servers say.
void tst_DownloadGroupTask::sumsDoNotOverflow()
{
    constexpr qint64 kLargest = std::numeric_limits<qint64>::max();
    fill(2, kLargest);
    setStatus(0, DownloadTask::Finished);
    setStatus(1, DownloadTask::Finished);
    QCOMPARE(m_group->GetTotalBytes(), kLargest);
    QCOMPARE(m_group->GetDoneBytes(), kLargest);
    // Back to what is real.
    task(0)->model.size = 100;
    task(1)->model.size = 200;
    QCOMPARE(m_group->GetTotalBytes(), qint64(300));
    QCOMPARE(m_group->GetDoneBytes(), qint64(300));
    // A finished file whose size nobody has told.
    task(0)->model.size = -1;
    task(1)->model.size = 0;
    QCOMPARE(m_group->GetTotalBytes(), qint64(0));
    QCOMPARE(m_group->GetDoneBytes(), qint64(0));
}

void tst_DownloadGroupTask::progressIsPaced()
{
    fill(1);
    m_group->now += 5000;
    m_group->Start(); // begins the interval
    Q_EMIT task(0)->totalSize(task(0)->url(), 100);
    m_log.clear();
    const auto seenAfter = [this](qint64 ms) {
        m_group->now += ms;
        Q_EMIT task(0)->progress(1, 100);
        return m_log.filter(QStringLiteral("progress")).size();
    };
    QCOMPARE(seenAfter(0), 0);
    QCOMPARE(seenAfter(99), 0);
    QCOMPARE(seenAfter(1), 1);
    QCOMPARE(seenAfter(0), 1);
    QCOMPARE(seenAfter(99), 1);
    QCOMPARE(seenAfter(1), 2);
    // Late samples do not make the next ones come sooner.
    QCOMPARE(seenAfter(250), 3);
    QCOMPARE(seenAfter(60), 3);
    QCOMPARE(seenAfter(40), 4);
}

void tst_DownloadGroupTask::progressIgnoresNothing()
{
    fill(1);
    Q_EMIT task(0)->totalSize(task(0)->url(), 100);
    m_group->now += 100;
    m_log.clear();
    // Not even a sample that would be the first.
    Q_EMIT task(0)->progress(0, 100);
    Q_EMIT task(0)->progress(-1, 100);
    QCOMPARE(m_log, QStringList());
    Q_EMIT task(0)->progress(1, 100);
    QCOMPARE(m_log, texts({"progress 0 100 7"}));
}

void tst_DownloadGroupTask::speedIsPaced()
{
    fill(1, 1000000);
    m_group->now += 5000;
    m_group->Start();
    Q_EMIT task(0)->totalSize(task(0)->url(), 1000000);
    QStringList speeds;
    connect(m_group.get(), &DownloadGroupTask::speed, this,
            [&](qint64 speed, const QString& text, const QString& left, int id) {
                speeds << QStringLiteral("%1|%2|%3|%4").arg(speed).arg(text, left).arg(id);
            });
    const auto sampleAfter = [this](qint64 ms, int bytes) {
        QVERIFY(writeFile(task(0)->GetTempFilePath(), QByteArray(bytes, 'x')));
        m_group->now += ms;
        Q_EMIT task(0)->progress(1, 100);
    };
    // Seeded with the first sample and the time of the start; those in between do not count.
    sampleAfter(100, 100000);
    sampleAfter(500, 300000);
    sampleAfter(399, 350000);
    QCOMPARE(speeds, QStringList());
    QCOMPARE(m_group->GetCurSpeed(), qint64(0));
    // 400 ms after its last progress: what is not reported as progress is no speed sample either.
    sampleAfter(1, 400000);
    QCOMPARE(speeds, QStringList());
    sampleAfter(99, 400000);
    // (400000 - 100000) bytes within 1099 ms, and 600000 to go.
    QCOMPARE(speeds, texts({"272975|266.58label_unit_kblabel_speed_second|00:00:02|7"}));
    QCOMPARE(m_group->GetCurSpeed(), qint64(272975));
    sampleAfter(900, 500000);
    QCOMPARE(speeds.size(), 1);
    sampleAfter(100, 700000);
    QCOMPARE(speeds.size(), 2);
    // Every report has added a sample: 600000 bytes within 2099 ms.
    QCOMPARE(m_group->GetCurSpeed(), qint64(285850));
    QCOMPARE(m_log.filter(QStringLiteral("speed 7")).size(), 2);
    // A new start forgets it.
    m_group->Start();
    QCOMPARE(m_group->GetCurSpeed(), qint64(0));
    Q_EMIT task(0)->totalSize(task(0)->url(), 1000000);
    sampleAfter(999, 800000);
    QCOMPARE(speeds.size(), 2);
}

// A sample per report of speed, not one per progress: thirty of those would push the first ones out.
void tst_DownloadGroupTask::speedGoesBackToTheSeed()
{
    fill(1, 1000000);
    m_group->now += 5000;
    m_group->Start();
    Q_EMIT task(0)->totalSize(task(0)->url(), 1000000);
    for (int i = 1; i <= 30; ++i) {
        // All of it in the first half second.
        QVERIFY(writeFile(task(0)->GetTempFilePath(), QByteArray(i < 5 ? 1 : 300001, 'x')));
        m_group->now += 100;
        Q_EMIT task(0)->progress(1, 100);
    }
    QCOMPARE(m_log.filter(QStringLiteral("speed 7")).size(), 3);
    QCOMPARE(m_group->GetCurSpeed(), qint64(100000));
}

void tst_DownloadGroupTask::progressAsksOnlyWhatChanged()
{
    fill(20);
    for (int i = 0; i < 20; ++i)
        Q_EMIT task(i)->totalSize(task(i)->url(), 100);
    const auto progressOf = [this](int index) {
        for (int i = 0; i < 20; ++i)
            task(i)->sizeQuestions = 0;
        m_group->now += 100;
        m_log.clear();
        Q_EMIT task(index)->progress(1, 1);
        return m_log;
    };
    QCOMPARE(progressOf(0), texts({"progress 0 2000 7"}));
    QVERIFY(writeFile(task(3)->GetTempFilePath(), QByteArray(10, 'x')));
    QCOMPARE(progressOf(3), texts({"progress 10 2000 7"}));
    for (int i = 0; i < 20; ++i)
        QCOMPARE(task(i)->sizeQuestions > 0, i == 3);
    // Signals of any kind count: the file is gone after an error.
    QVERIFY(QFile::remove(task(3)->GetTempFilePath()));
    Q_EMIT task(3)->error(TaskInfo());
    QCOMPARE(progressOf(5), texts({"progress 0 2000 7"}));
}

void tst_DownloadGroupTask::sumsAreThoseOfNow()
{
    fill(2);
    QCOMPARE(m_group->GetDoneBytes(), qint64(0));
    // No file signals that these were changed.
    QVERIFY(writeFile(task(0)->GetTempFilePath(), QByteArray(10, 'x')));
    QCOMPARE(m_group->GetDoneBytes(), qint64(10));
    task(1)->model.size = 150;
    QCOMPARE(m_group->GetTotalBytes(), qint64(250));
    for (int i = 0; i < 2; ++i)
        Q_EMIT task(i)->totalSize(task(i)->url(), 1);
    m_group->now += 100;
    m_group->onProgress(1, 1);
    QVERIFY(writeFile(task(0)->GetTempFilePath(), QByteArray(20, 'x')));
    m_group->now += 100;
    m_log.clear();
    m_group->onProgress(1, 1);
    QCOMPARE(m_log, texts({"progress 20 250 7"}));
}

void tst_DownloadGroupTask::setTaskIsQuick()
{
    constexpr int kFiles = 20000;
    QVector<DownloadTaskModel> models;
    for (int i = 0; i < kFiles; ++i)
        models << model(QStringLiteral("file%1").arg(i % (kFiles / 2)));
    DownloadGroupTask real;
    QElapsedTimer timer;
    timer.start();
    real.SetTask(models, Normal, 1);
    // A comparison of each with each takes minutes.
    QVERIFY2(timer.elapsed() < 5000, qPrintable(QString::number(timer.elapsed())));
    QVERIFY(real.Contains(models.last()));
}

void tst_DownloadGroupTask::deletingInHandlersIsSafe_data()
{
    QTest::addColumn<QString>("signal");
    for (const char* name :
         {"taskStart", "taskFinish", "taskMd5Start", "md5Started", "taskMd5Stop", "error", "progress", "totalSize",
          "finish", "taskRestart", "dataWritten", "relogin", "downloadReport"})
        QTest::newRow(name) << QString::fromLatin1(name);
}

void tst_DownloadGroupTask::deletingInHandlersIsSafe()
{
    QFETCH(QString, signal);
    auto* group = new TestGroup;
    group->calls = &m_log;
    QPointer<DownloadGroupTask> guard(group);
    const auto remove = [group] { delete group; };
    using Group = DownloadGroupTask;
    const QHash<QString, std::function<void()>> connects{
        {QStringLiteral("taskStart"), [&] { connect(group, &Group::taskStart, this, remove); }},
        {QStringLiteral("taskFinish"), [&] { connect(group, &Group::taskFinish, this, remove); }},
        {QStringLiteral("taskMd5Start"), [&] { connect(group, &Group::taskMd5Start, this, remove); }},
        {QStringLiteral("md5Started"), [&] { connect(group, &Group::md5Started, this, remove); }},
        {QStringLiteral("taskMd5Stop"), [&] { connect(group, &Group::taskMd5Stop, this, remove); }},
        {QStringLiteral("error"), [&] { connect(group, &Group::error, this, remove); }},
        {QStringLiteral("progress"), [&] { connect(group, &Group::progress, this, remove); }},
        {QStringLiteral("totalSize"), [&] { connect(group, &Group::totalSize, this, remove); }},
        {QStringLiteral("finish"), [&] { connect(group, &Group::finish, this, remove); }},
        {QStringLiteral("taskRestart"), [&] { connect(group, &Group::taskRestart, this, remove); }},
        {QStringLiteral("dataWritten"), [&] { connect(group, &Group::dataWritten, this, remove); }},
        {QStringLiteral("relogin"), [&] { connect(group, &Group::relogin, this, remove); }},
        {QStringLiteral("downloadReport"), [&] { connect(group, &Group::downloadReport, this, remove); }},
    };
    group->SetTask({model(QStringLiteral("a"))}, Normal, kGroup);
    connects.value(signal)();
    const QPointer<FakeTask> fake = group->fakes.first();
    const QString url = fake->url();
    const QVector<std::function<void()>> steps{
        [&] { group->Start(); },
        [&] { Q_EMIT fake->totalSize(url, 100); },
        [&] {
            static_cast<TestGroup*>(guard.data())->now += 100;
            Q_EMIT fake->progress(1, 100);
        },
        [&] { Q_EMIT fake->dataWritten(1); },
        [&] { Q_EMIT fake->downloadReport(DownloadReportData()); },
        [&] { Q_EMIT fake->taskRestart(QStringLiteral("{}")); },
        [&] { Q_EMIT fake->relogin(); },
        [&] { Q_EMIT fake->error(TaskInfo()); },
        [&] {
            fake->status = DownloadTask::Checking;
            Q_EMIT fake->md5Started(url);
        },
        [&] { Q_EMIT fake->md5Stoped(url); },
        [&] {
            fake->status = DownloadTask::Finished;
            Q_EMIT fake->finish(url);
        },
    };
    for (const auto& step : steps) {
        if (guard && fake)
            step();
    }
    QVERIFY(!guard);
}

QTEST_GUILESS_MAIN(tst_DownloadGroupTask)

#include "tst_DownloadGroupTask.moc"

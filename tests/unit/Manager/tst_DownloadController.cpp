// SPDX-License-Identifier: MIT
#include "DownloadEvents.h"
#include "EngineDouble.h"
#include "EngineTexts.h"
#include "LogCapture.h"
#include "Manager/DownloadController.h"
#include "Manager/NetlibControl.h"
#include "Manager/VantorDownloadManager.h"
#include "MetaMethods.h"
#include "vantor/VantorExporter.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPointer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

/// \brief A back-end that writes down its commands.
class RecordingManager : public BaseDownloadManager
{
public:
    explicit RecordingManager(const QString& typeName, bool usable = true)
        : BaseDownloadManager(nullptr, QStringLiteral("recording")), type(typeName), isUsable(usable)
    {
    }

    void Init(const QString& a, const QString& b, int x, int y) override
    {
        commands.append(QStringLiteral("Init(%1, %2, %3, %4)").arg(a, b).arg(x).arg(y));
    }
    int SetTask(const QVector<DownloadTaskModel>& models, DownloadPriority priority, int groupId) override
    {
        commands.append(QStringLiteral("SetTask(%1, %2, %3)").arg(models.size()).arg(priority).arg(groupId));
        return 77;
    }
    void StartDownloadTask(int groupId, const QVector<DownloadTaskModel>& models, const QString& path) override
    {
        commands.append(QStringLiteral("StartDownloadTask(%1, %2, %3)").arg(groupId).arg(models.size()).arg(path));
    }
    void StopDownloadTask(int groupId) override
    {
        commands.append(QStringLiteral("StopDownloadTask(%1)").arg(groupId));
    }
    void StopAllDownloadTask() override { commands.append(QStringLiteral("StopAllDownloadTask()")); }
    void RemoveDownloadTask(int groupId) override
    {
        commands.append(QStringLiteral("RemoveDownloadTask(%1)").arg(groupId));
    }
    void RemoveAllDownloadTask() override { commands.append(QStringLiteral("RemoveAllDownloadTask()")); }
    void SetSpeedLimit(qint64 kilobytesPerSecond) override
    {
        commands.append(QStringLiteral("SetSpeedLimit(%1)").arg(kilobytesPerSecond));
    }
    QString id() override { return type; }
    bool IsValid() override { return isUsable; }
    void UpdateRootPath(const QString& path) override
    {
        commands.append(QStringLiteral("UpdateRootPath(%1)").arg(path));
    }
    void SetDisableResumeDownload(bool disable) override
    {
        commands.append(QStringLiteral("SetDisableResumeDownload(%1)").arg(disable));
    }
    void SetEnablePcdn(bool enable) override { commands.append(QStringLiteral("SetEnablePcdn(%1)").arg(enable)); }
    void SetBusinessTag(const QString& tag) override { commands.append(QStringLiteral("SetBusinessTag(%1)").arg(tag)); }

    std::string CurrentLogTag() const { return logTag; }

    QStringList commands;

private:
    const QString type;
    const bool isUsable;
};

/// \brief Gives tests the controller's slots for back-ends.
class OpenController : public DownloadController
{
public:
    OpenController() : DownloadController(nullptr, QStringLiteral("net")) {}

    using DownloadController::currentManager;
    using DownloadController::qtManager;
    using DownloadController::vantorManager;

    /// \brief Puts a back-end in the engine's place; the controller deletes it.
    RecordingManager* Record(bool usable = true)
    {
        auto* manager = new RecordingManager(QStringLiteral("vantor"), usable);
        vantorManager = manager;
        return manager;
    }
};

QVector<DownloadTaskModel> models(int count)
{
    QVector<DownloadTaskModel> files;
    for (int i = 0; i < count; ++i) {
        DownloadTaskModel file;
        file.Init(QStringLiteral("http://127.0.0.1/%1").arg(i), QStringLiteral("C:/Games"), QString(), QString(), 5);
        files.append(file);
    }
    return files;
}

TaskInfo info(const QString& url)
{
    TaskInfo task;
    task.SetUrl(url);
    task.SetGroupId(4);
    return task;
}

/// \brief Runs deletions that are due.
void deleteDeferred()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

} // namespace

class tst_DownloadController : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void belongsToItsParent();
    void createsNoBackEndByItself();
    void commandsCreateTheBackEnd_data();
    void commandsCreateTheBackEnd();
    void createsTheBackEndOnce();
    void disableResumeCreatesNone();
    void limitSlotSetsTheSpeedLimit();
    void limitSlotIsReachedByName();
    void commandsAreHandedOn();
    void startUsesTheLastModels();
    void initReachesTheBackEnd();
    void initIsStoredForALaterSwitch();
    void initDoesNotStartTheEngine();
    void backEndBearsTheName();
    void logTagReachesBackEnds();
    void backEndCreatedBySwitchKeepsItsOwnTag();

    void downloaderIdSettles();
    void downloaderIdIsCheckedBySome_data();
    void downloaderIdIsCheckedBySome();
    void downloaderIdNeedsABackEnd();
    void commandsReturnToTheEngine();
    void switchToTheSameTypeIsSilent();
    void switchToVantorCreatesIt();
    void switchToVantorWhenUnusable();
    void switchIsDoneWhenItIsAnnounced();
    void switchToQt();
    void switchToQtUsesTheSlot();
    void switchToAnotherTypeChangesNothing();
    void unusableBackEndIsSwitchedAgain();

    void signalListIsComplete();
    void forwardsEachSignal();
    void backEndDiesLater();
    void totalSizeHandlerMaySetOtherModels();
    void downloadsThroughTheEngine();

private:
    std::unique_ptr<EngineDoubleClient> engine;
};

void tst_DownloadController::init()
{
    engine = std::make_unique<EngineDoubleClient>();
    QVERIFY(engine->IsThere());
    NetlibControl::Instance()->SetNetlibType(QStringLiteral("unset"));
}

void tst_DownloadController::cleanup()
{
    deleteDeferred();
    engine.reset();
}

void tst_DownloadController::belongsToItsParent()
{
    QObject parent;
    const DownloadController controller(&parent, QStringLiteral("net"));
    QCOMPARE(controller.parent(), &parent);
    QCOMPARE(DownloadController::staticMetaObject.superClass(), &QObject::staticMetaObject);
}

void tst_DownloadController::createsNoBackEndByItself()
{
    OpenController controller;
    controller.SetDownloaderId(QStringLiteral("vantor"));
    controller.SetLogTag("tag");
    controller.CheckDownloader();
    QVERIFY(!controller.currentManager);
    QVERIFY(!controller.vantorManager);
    QVERIFY(!controller.qtManager);
}

void tst_DownloadController::commandsCreateTheBackEnd_data()
{
    QTest::addColumn<int>("command");
    const char* names[] = {"Init",
                           "SetTask",
                           "StartDownloadTask",
                           "StopDownloadTask",
                           "StopAllDownloadTask",
                           "RemoveDownloadTask",
                           "RemoveAllDownloadTask",
                           "SetSpeedLimit",
                           "UpdateRootPath",
                           "SetBusinessTag",
                           "SetEnablePcdn",
                           "id",
                           "GetDownloadManager",
                           "onLimitSpeedChanged"};
    int number = 0;
    for (const char* name : names)
        QTest::newRow(name) << number++;
}

void tst_DownloadController::commandsCreateTheBackEnd()
{
    QFETCH(int, command);
    OpenController controller;
    switch (command) {
    case 0:
        controller.Init(QString(), QString(), 0, 0);
        break;
    case 1:
        controller.SetTask(models(1), Normal);
        break;
    case 2:
        controller.SetTask(models(1), Normal);
        controller.StartDownloadTask(0, QString());
        break;
    case 3:
        controller.StopDownloadTask(0);
        break;
    case 4:
        controller.StopAllDownloadTask();
        break;
    case 5:
        controller.RemoveDownloadTask(0);
        break;
    case 6:
        controller.RemoveAllDownloadTask();
        break;
    case 7:
        controller.SetSpeedLimit(1);
        break;
    case 8:
        controller.UpdateRootPath(QString());
        break;
    case 9:
        controller.SetBusinessTag(QString());
        break;
    case 10:
        controller.SetEnablePcdn(true);
        break;
    case 11:
        QCOMPARE(controller.id(), QStringLiteral("vantor"));
        break;
    case 12:
        QCOMPARE(controller.GetDownloadManager()->id(), QStringLiteral("vantor"));
        break;
    default:
        controller.onLimitSpeedChanged(1);
        break;
    }
    QVERIFY(qobject_cast<VantorDownloadManager*>(controller.vantorManager));
    QCOMPARE(controller.currentManager, controller.vantorManager);
    QVERIFY(!controller.vantorManager->parent());
}

void tst_DownloadController::createsTheBackEndOnce()
{
    OpenController controller;
    BaseDownloadManager* const first = controller.GetDownloadManager();
    controller.SetTask(models(1), Normal);
    controller.SwitchDownloader(QStringLiteral("vantor"));
    QCOMPARE(controller.GetDownloadManager(), first);
}

void tst_DownloadController::disableResumeCreatesNone()
{
    OpenController controller;
    controller.SetDisableResumeDownload(true);
    QVERIFY(!controller.vantorManager);

    RecordingManager* const manager = controller.Record();
    controller.SetDisableResumeDownload(true);
    QCOMPARE(manager->commands, QStringList()); // there, but not active yet
    controller.GetDownloadManager();
    controller.SetDisableResumeDownload(true);
    controller.SetDisableResumeDownload(false);
    QCOMPARE(manager->commands, (QStringList{QStringLiteral("SetDisableResumeDownload(1)"),
                                             QStringLiteral("SetDisableResumeDownload(0)")}));
}

void tst_DownloadController::limitSlotSetsTheSpeedLimit()
{
    QVERIFY(DownloadController::staticMetaObject.indexOfSlot("onLimitSpeedChanged(qint64)") >= 0);
    OpenController controller;
    RecordingManager* const manager = controller.Record();
    controller.onLimitSpeedChanged(5000000000);
    QCOMPARE(manager->commands, QStringList(QStringLiteral("SetSpeedLimit(5000000000)")));
}

void tst_DownloadController::limitSlotIsReachedByName()
{
    QCOMPARE(declaredSlots(DownloadController::staticMetaObject),
             QStringList(QStringLiteral("onLimitSpeedChanged(qint64 speedLimit)")));
    OpenController controller;
    RecordingManager* const manager = controller.Record();
    QVERIFY(QMetaObject::invokeMethod(&controller, "onLimitSpeedChanged", Q_ARG(qint64, -3)));
    QCOMPARE(manager->commands, QStringList(QStringLiteral("SetSpeedLimit(-3)")));
}

void tst_DownloadController::commandsAreHandedOn()
{
    OpenController controller;
    RecordingManager* const manager = controller.Record();
    QCOMPARE(controller.SetTask(models(2), High), 77);
    controller.StartDownloadTask(5, QStringLiteral("D:/x"));
    controller.StopDownloadTask(6);
    controller.StopAllDownloadTask();
    controller.RemoveDownloadTask(7);
    controller.RemoveAllDownloadTask();
    controller.SetSpeedLimit(8);
    controller.UpdateRootPath(QStringLiteral("D:/root"));
    controller.SetBusinessTag(QStringLiteral("tag"));
    controller.SetEnablePcdn(true);
    QCOMPARE(manager->commands, (QStringList{
                                    QStringLiteral("SetTask(2, 2, -1)"),
                                    QStringLiteral("StartDownloadTask(5, 2, D:/x)"),
                                    QStringLiteral("StopDownloadTask(6)"),
                                    QStringLiteral("StopAllDownloadTask()"),
                                    QStringLiteral("RemoveDownloadTask(7)"),
                                    QStringLiteral("RemoveAllDownloadTask()"),
                                    QStringLiteral("SetSpeedLimit(8)"),
                                    QStringLiteral("UpdateRootPath(D:/root)"),
                                    QStringLiteral("SetBusinessTag(tag)"),
                                    QStringLiteral("SetEnablePcdn(1)"),
                                }));
}

void tst_DownloadController::startUsesTheLastModels()
{
    OpenController controller;
    RecordingManager* const manager = controller.Record();
    controller.StartDownloadTask(1, QString());
    controller.SetTask(models(2), Normal);
    controller.SetTask(models(3), Normal);
    controller.StartDownloadTask(1, QString());
    QCOMPARE(manager->commands.first(), QStringLiteral("StartDownloadTask(1, 0, )"));
    QCOMPARE(manager->commands.last(), QStringLiteral("StartDownloadTask(1, 3, )"));
}

void tst_DownloadController::initReachesTheBackEnd()
{
    OpenController controller;
    RecordingManager* const manager = controller.Record();
    controller.Init(QStringLiteral("a"), QStringLiteral("b"), 3, -4);
    QCOMPARE(manager->commands, QStringList(QStringLiteral("Init(a, b, 3, -4)")));
}

void tst_DownloadController::initIsStoredForALaterSwitch()
{
    // The back-end that a switch creates ignores the values, so only the absence of harm shows.
    OpenController controller;
    controller.Record();
    controller.Init(QStringLiteral("a"), QStringLiteral("b"), 3, 4);
    controller.vantorManager->deleteLater();
    controller.vantorManager = nullptr;
    controller.currentManager = nullptr;
    controller.SwitchDownloader(QStringLiteral("vantor"));
    QVERIFY(controller.vantorManager);
    QCOMPARE(controller.currentManager, controller.vantorManager);
}

void tst_DownloadController::initDoesNotStartTheEngine()
{
    DownloadController controller(nullptr, QStringLiteral("net"));
    controller.Init(QStringLiteral("a"), QStringLiteral("b"), 3, 4);
    QCOMPARE(engine->TakeCallLines(), QStringList());
}

void tst_DownloadController::backEndBearsTheName()
{
    const LogCapture log;
    OpenController controller;
    controller.SwitchDownloader(QStringLiteral("vantor"));
    controller.StopAllDownloadTask();
    QCOMPARE(log.texts(), QStringList(QStringLiteral("[net][vantor] stop download task, groupGuid: ")));
}

void tst_DownloadController::logTagReachesBackEnds()
{
    {
        // A back-end created by a command takes the controller's tag, the empty one too.
        const LogCapture log;
        OpenController controller;
        controller.StopAllDownloadTask();
        controller.SetLogTag("[später]");
        controller.StopAllDownloadTask();
        QCOMPARE(log.texts(), (QStringList{QStringLiteral("[vantor] stop download task, groupGuid: "),
                                           QStringLiteral("[später][vantor] stop download task, groupGuid: ")}));
    }
    {
        const LogCapture log;
        OpenController controller;
        controller.SetLogTag("[früher]");
        controller.StopAllDownloadTask();
        QCOMPARE(log.texts(), QStringList(QStringLiteral("[früher][vantor] stop download task, groupGuid: ")));
    }
    OpenController controller;
    RecordingManager* const first = controller.Record();
    RecordingManager second(QStringLiteral("QT"));
    controller.qtManager = &second;
    controller.SetLogTag("[both]");
    QCOMPARE(first->CurrentLogTag(), std::string("[both]"));
    QCOMPARE(second.CurrentLogTag(), std::string("[both]"));
}

void tst_DownloadController::backEndCreatedBySwitchKeepsItsOwnTag()
{
    const LogCapture log;
    OpenController controller;
    controller.SetLogTag("[early]");
    controller.SwitchDownloader(QStringLiteral("vantor"));
    controller.StopAllDownloadTask();
    QCOMPARE(log.texts(), QStringList(QStringLiteral("[net][vantor] stop download task, groupGuid: ")));
}

void tst_DownloadController::downloaderIdSettles()
{
    OpenController controller;
    QSignalSpy changed(&controller, &DownloadController::downloaderChanged);
    controller.SetDownloaderId(QStringLiteral("vantor"));
    QCOMPARE(controller.SetTask(models(1), Normal), 0);
    BaseDownloadManager* const manager = controller.vantorManager;
    QVERIFY(manager);
    QCOMPARE(controller.SetTask(models(1), Normal), 1);
    QCOMPARE(controller.vantorManager, manager);
    QCOMPARE(changed.size(), 0);
}

void tst_DownloadController::downloaderIdIsCheckedBySome_data()
{
    QTest::addColumn<int>("command");
    QTest::addColumn<int>("switches");
    QTest::newRow("SetTask") << 0 << 1;
    QTest::newRow("StartDownloadTask") << 1 << 1;
    QTest::newRow("SetBusinessTag") << 2 << 1;
    QTest::newRow("SetEnablePcdn") << 3 << 1;
    QTest::newRow("StopDownloadTask") << 4 << 0;
    QTest::newRow("SetSpeedLimit") << 5 << 0;
    QTest::newRow("UpdateRootPath") << 6 << 0;
    QTest::newRow("Init") << 7 << 0;
}

void tst_DownloadController::downloaderIdIsCheckedBySome()
{
    QFETCH(int, command);
    OpenController controller;
    RecordingManager* const manager = controller.Record();
    controller.GetDownloadManager();
    QSignalSpy changed(&controller, &DownloadController::downloaderChanged);
    controller.SetDownloaderId(QStringLiteral("QT"));
    switch (command) {
    case 0:
        controller.SetTask(models(1), Normal);
        break;
    case 1:
        controller.StartDownloadTask(1, QString());
        break;
    case 2:
        controller.SetBusinessTag(QString());
        break;
    case 3:
        controller.SetEnablePcdn(true);
        break;
    case 4:
        controller.StopDownloadTask(1);
        break;
    case 5:
        controller.SetSpeedLimit(1);
        break;
    case 6:
        controller.UpdateRootPath(QString());
        break;
    default:
        controller.Init(QString(), QString(), 0, 0);
        break;
    }
    QTEST(int(changed.size()), "switches");
    QCOMPARE(manager->commands.size(), 1); // the command itself goes to the engine back-end all the same
}

void tst_DownloadController::downloaderIdNeedsABackEnd()
{
    OpenController controller;
    QSignalSpy changed(&controller, &DownloadController::downloaderChanged);
    controller.SetDownloaderId(QStringLiteral("QT"));
    controller.SetTask(models(1), Normal);
    QCOMPARE(changed.size(), 0); // no back-end was active yet
    controller.SetTask(models(1), Normal);
    QCOMPARE(changed.size(), 1);
    controller.SetDownloaderId(QString());
    controller.SetTask(models(1), Normal);
    QCOMPARE(changed.size(), 1);
}

void tst_DownloadController::commandsReturnToTheEngine()
{
    OpenController controller;
    RecordingManager* const manager = controller.Record();
    RecordingManager http(QStringLiteral("QT"));
    controller.qtManager = &http;
    controller.SwitchDownloader(QStringLiteral("QT"));
    QCOMPARE(controller.currentManager, &http);
    controller.StopDownloadTask(3);
    QCOMPARE(http.commands, QStringList());
    QCOMPARE(manager->commands, QStringList(QStringLiteral("StopDownloadTask(3)")));
    QCOMPARE(controller.currentManager, manager);
    QCOMPARE(NetlibControl::Instance()->GetNetlibType(), QStringLiteral("QT")); // the setting stays
}

void tst_DownloadController::switchToTheSameTypeIsSilent()
{
    OpenController controller;
    controller.GetDownloadManager();
    QSignalSpy changed(&controller, &DownloadController::downloaderChanged);
    controller.SwitchDownloader(QStringLiteral("vantor"));
    QCOMPARE(changed.size(), 0);
    QCOMPARE(NetlibControl::Instance()->GetNetlibType(), QStringLiteral("unset"));
}

void tst_DownloadController::switchToVantorCreatesIt()
{
    OpenController controller;
    QSignalSpy changed(&controller, &DownloadController::downloaderChanged);
    controller.SwitchDownloader(QStringLiteral("vantor"));
    QVERIFY(qobject_cast<VantorDownloadManager*>(controller.vantorManager));
    QCOMPARE(controller.currentManager, controller.vantorManager);
    QCOMPARE(changed.size(), 1);
    QCOMPARE(changed.first().first().toString(), QStringLiteral("vantor"));
    QCOMPARE(NetlibControl::Instance()->GetNetlibType(), QStringLiteral("vantor"));
    // Its signals are connected too.
    DownloadEvents events(static_cast<DownloadController*>(&controller));
    Q_EMIT controller.vantorManager->finish(8);
    QCOMPARE(events.Lines(), QStringList(QStringLiteral("finish(8)")));
}

void tst_DownloadController::switchToVantorWhenUnusable()
{
    OpenController controller;
    controller.Record(false);
    QSignalSpy changed(&controller, &DownloadController::downloaderChanged);
    controller.SwitchDownloader(QStringLiteral("vantor"));
    QCOMPARE(changed.size(), 1);
    QCOMPARE(changed.first().first().toString(), QStringLiteral("QT"));
    QCOMPARE(NetlibControl::Instance()->GetNetlibType(), QStringLiteral("QT"));
    QVERIFY(!controller.currentManager); // nothing fills the slot
}

void tst_DownloadController::switchIsDoneWhenItIsAnnounced()
{
    OpenController controller;
    RecordingManager* const manager = controller.Record();
    RecordingManager http(QStringLiteral("QT"));
    controller.qtManager = &http;
    QStringList seen;
    connect(&controller, &DownloadController::downloaderChanged, this, [&](const QString& type) {
        const QString current = controller.currentManager == manager ? QStringLiteral("engine")
                                : controller.currentManager == &http ? QStringLiteral("http")
                                                                     : QStringLiteral("none");
        seen.append(QStringList{type, NetlibControl::Instance()->GetNetlibType(), current}.join(QLatin1Char(' ')));
    });
    controller.SwitchDownloader(QStringLiteral("vantor"));
    controller.SwitchDownloader(QStringLiteral("QT"));
    controller.SwitchDownloader(QStringLiteral("libcurl"));
    QCOMPARE(seen, (QStringList{QStringLiteral("vantor vantor engine"), QStringLiteral("QT QT http"),
                                QStringLiteral("libcurl QT http")}));
}

void tst_DownloadController::switchToQt()
{
    OpenController controller;
    controller.GetDownloadManager();
    QSignalSpy changed(&controller, &DownloadController::downloaderChanged);
    controller.SwitchDownloader(QStringLiteral("QT"));
    QCOMPARE(changed.size(), 1);
    QCOMPARE(changed.first().first().toString(), QStringLiteral("QT"));
    QCOMPARE(NetlibControl::Instance()->GetNetlibType(), QStringLiteral("QT"));
    QVERIFY(!controller.currentManager);
    QVERIFY(controller.vantorManager);
}

void tst_DownloadController::switchToQtUsesTheSlot()
{
    OpenController controller;
    RecordingManager http(QStringLiteral("QT"));
    controller.qtManager = &http;
    controller.SwitchDownloader(QStringLiteral("QT"));
    QCOMPARE(controller.currentManager, &http);
    QVERIFY(!controller.vantorManager);
    QSignalSpy changed(&controller, &DownloadController::downloaderChanged);
    controller.SwitchDownloader(QStringLiteral("QT"));
    QCOMPARE(changed.size(), 0);
    controller.SetDisableResumeDownload(true);
    QCOMPARE(http.commands, QStringList(QStringLiteral("SetDisableResumeDownload(1)")));
}

void tst_DownloadController::switchToAnotherTypeChangesNothing()
{
    OpenController controller;
    BaseDownloadManager* const manager = controller.GetDownloadManager();
    QSignalSpy changed(&controller, &DownloadController::downloaderChanged);
    for (const char* type : {"libcurl", "", "Vantor", "qt"}) {
        controller.SwitchDownloader(QLatin1String(type));
        QCOMPARE(changed.size(), 1);
        QCOMPARE(changed.takeFirst().first().toString(), QString::fromLatin1(type));
    }
    QCOMPARE(NetlibControl::Instance()->GetNetlibType(), QStringLiteral("unset"));
    QCOMPARE(controller.currentManager, manager);
}

void tst_DownloadController::unusableBackEndIsSwitchedAgain()
{
    OpenController controller;
    controller.Record(false);
    controller.GetDownloadManager();
    QSignalSpy changed(&controller, &DownloadController::downloaderChanged);
    controller.SwitchDownloader(QStringLiteral("vantor")); // active and of that type, but not usable
    QCOMPARE(changed.size(), 1);
    QCOMPARE(changed.first().first().toString(), QStringLiteral("QT"));
}

void tst_DownloadController::signalListIsComplete()
{
    QStringList expected = declaredSignals(BaseDownloadManager::staticMetaObject);
    QCOMPARE(expected.size(), 20);
    expected.append(QStringLiteral("downloaderChanged(QString)"));
    QCOMPARE(declaredSignals(DownloadController::staticMetaObject), expected);
}

void tst_DownloadController::forwardsEachSignal()
{
    OpenController controller;
    BaseDownloadManager* const source = controller.GetDownloadManager();
    DownloadEvents expected(source);
    DownloadEvents events(static_cast<DownloadController*>(&controller));
    QSignalSpy speeds(&controller, &DownloadController::speed2);

    ProgressInfo progress;
    progress.SetProcessedBytes(5);
    progress.SetTotalBytes(9);
    progress.SetPcdnAlias(QStringLiteral("north"));
    DownloadReportData report;
    report.SetReportType(3);
    Q_EMIT source->progress(1, 2, 3);
    Q_EMIT source->finish(4);
    Q_EMIT source->taskStart(1, info(QStringLiteral("start")));
    Q_EMIT source->taskFinish(2, info(QStringLiteral("finish")));
    Q_EMIT source->taskDownloadStart(3, info(QStringLiteral("download start")));
    Q_EMIT source->taskDownloadStop(4, info(QStringLiteral("download stop")));
    Q_EMIT source->taskMd5Start(5, info(QStringLiteral("md5 start")));
    Q_EMIT source->taskMd5Stop(6, info(QStringLiteral("md5 stop")));
    Q_EMIT source->error(info(QStringLiteral("error")));
    Q_EMIT source->md5Started(7);
    Q_EMIT source->speed(8, QStringLiteral("8 B"), QStringLiteral("00:00:01"), 9);
    Q_EMIT source->downloadReport(report);
    Q_EMIT source->totalSize(QStringLiteral("u"), 10);
    Q_EMIT source->relogin();
    Q_EMIT source->taskRestart(QStringLiteral("{}"));
    Q_EMIT source->cancelled(11);
    Q_EMIT source->errorRetry(info(QStringLiteral("retry")));
    Q_EMIT source->downloadProgress(progress);
    Q_EMIT source->checkProgress(progress);
    Q_EMIT source->speed2(12, 13, QStringLiteral("speed"), QStringLiteral("time"), 14);

    QCOMPARE(expected.Lines().size(), 20);
    QCOMPARE(events.Lines(), expected.Lines());
    QCOMPARE(speeds.size(), 1);
    QCOMPARE(speeds.first(),
             (QVariantList{qint64(12), qint64(13), QStringLiteral("speed"), QStringLiteral("time"), 14}));
}

void tst_DownloadController::backEndDiesLater()
{
    QPointer<BaseDownloadManager> manager;
    {
        DownloadController controller(nullptr, QStringLiteral("net"));
        manager = controller.GetDownloadManager();
    }
    QVERIFY(manager);
    deleteDeferred();
    QVERIFY(!manager);
}

void tst_DownloadController::totalSizeHandlerMaySetOtherModels()
{
    DownloadController controller(nullptr, QStringLiteral("net"));
    const int group = controller.SetTask(models(50), Normal);
    bool replaced = false;
    connect(&controller, &DownloadController::totalSize, this, [&] {
        if (!std::exchange(replaced, true))
            controller.SetTask(models(1), Normal);
    });
    controller.StartDownloadTask(group, QString());
    const QList<EngineCall> calls = engine->TakeCalls();
    QCOMPARE(calls.size(), 1);
    QCOMPARE(calls.first().text1.count(QStringLiteral("\"url\"")), 50);
}

void tst_DownloadController::downloadsThroughTheEngine()
{
    QVERIFY(VantorExporter::Instance()->Init(QString(), QString(), 0, 0));
    const QTemporaryDir folder;
    DownloadController controller(nullptr, QStringLiteral("net"));
    controller.Init(QString(), QString(), 0, 0);
    controller.SetDownloaderId(QStringLiteral("vantor"));
    DownloadEvents events(&controller);
    const int group = controller.SetTask(models(1), Normal);
    engine->NextGroupGuid(QStringLiteral("g"));
    controller.StartDownloadTask(group, folder.path());
    events.Take();
    engine->FireGroup(QStringLiteral("g"),
                      EngineTexts::Group(QStringLiteral("g"), QStringLiteral("Success"),
                                         {EngineTexts::File(QStringLiteral("0"), QStringLiteral("Success"))}));
    QTRY_COMPARE(events.Last(), QStringLiteral("finish(%1)").arg(group));
    QCOMPARE(events.Lines().size(), 3); // md5Started, checkProgress, finish
    engine->Flush();
}

QTEST_GUILESS_MAIN(tst_DownloadController)

#include "tst_DownloadController.moc"

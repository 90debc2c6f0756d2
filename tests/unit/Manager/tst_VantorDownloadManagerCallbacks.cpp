// SPDX-License-Identifier: MIT
// The answer side of the engine back-end: what follows from each callback of the engine.
#include "ClockedManager.h"
#include "DownloadEvents.h"
#include "EngineDouble.h"
#include "EngineTexts.h"
#include "LogCapture.h"
#include "MetaMethods.h"
#include "OrvelCommon/Testing.h"
#include "vantor/VantorExporter.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <cstdint>
#include <limits>
#include <memory>

using EngineTexts::ErrorDetail;
using EngineTexts::File;

namespace {

constexpr int kInfo = 2;
constexpr int kWarning = 3;
constexpr int kError = 4;

constexpr std::uint64_t kDiskSpaceLimit = 104857600;
constexpr int kGroup = 3;

const QString kGuid = QStringLiteral("g");

DownloadTaskModel model(const QString& name, const QString& path)
{
    DownloadTaskModel file;
    file.Init(QString(QStringLiteral("http://127.0.0.1/") + name), path, QString(), QString(), 123);
    return file;
}

/// \brief Members of a file object that count bytes.
QJsonObject bytes(int size, int existing, int written)
{
    return {
        {QStringLiteral("size"), size},
        {QStringLiteral("existing_byte_count"), existing},
        {QStringLiteral("written_byte_count"), written},
    };
}

QJsonObject with(QJsonObject object, const char* key, const QJsonValue& value)
{
    object.insert(QLatin1String(key), value);
    return object;
}

QJsonObject failedFile(const QString& guid, bool completed, const char* errorKey, const QJsonObject& detail)
{
    return File(guid, QStringLiteral("Failed"),
                {{QStringLiteral("completed"), completed}, {QLatin1String(errorKey), detail}});
}

} // namespace

class tst_VantorDownloadManagerCallbacks : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void slotsAreRegistered();
    void ignoresWhatIsNoJson();
    void ignoresCallbacksBeforeAnyGroup();

    void diskGuardLetsTheLimitPass();
    void diskGuardCancelsBelowTheLimit();
    void diskGuardCancelsOnce();
    void lowDiskEndsAsFailed();
    void diskGuardAsksForTheInstallPath();
    void diskGuardRestsInEndStates_data();
    void diskGuardRestsInEndStates();
    void diskGuardNeedsAFolder();
    void diskGuardRestsAfterAForbiddenFile();
    void diskGuardCancelsTheGroupThatTheCallbackNames();
    void warningsNameTheGroupOfTheCallback();

    void userStopEndsAsCancelled();
    void engineCancelEndsAsCancelled();
    void stopOfAnotherGroupMarksTheRun();
    void userStopBeatsLowDisk();
    void userStopBeatsAForbiddenFile();
    void forbiddenFileEndsAsFailed();
    void lowDiskBeatsAForbiddenFile();

    void progressSumsUpTheFiles();
    void progressStopsAtTheTotal();
    void progressComesInTwoStates_data();
    void progressComesInTwoStates();
    void progressNeedsATotal();
    void progressBytesDoNotOverflow();
    void aliasesAreCollected();
    void trafficIsSplit();
    void trafficFollowsARestartedFile();
    void trafficIsLogged();

    void md5StartedWhenAllAreTransferred_data();
    void md5StartedWhenAllAreTransferred();
    void md5StartedWaitsForAll();
    void md5StartedNeedsVerification();
    void md5StartedCountsCompleteFiles();
    void emptyFileInTransferDoesNotCount();
    void completeFileInTransferIsLogged();
    void checkProgressFollowsMd5Started();
    void emptyListStartsNoVerification();

    void successEndsInOrder();
    void successWithoutFilesFinishes();
    void duplicatedEndsSilently();
    void endStopsTheAveraging_data();
    void endStopsTheAveraging();
    void endForgetsTheGuid();
    void endLeavesTheExporter();
    void failureWithoutDetail();
    void failureWithDetail_data();
    void failureWithDetail();
    void failureWithAList();
    void failureListKeepsEncodedUrls();
    void failureAfterAUserStopIsSilent();
    void failureListAfterAUserStopIsSilent();

    void fileErrorCodes_data();
    void fileErrorCodes();
    void fileErrorsTellTheServer();
    void retryCountIsOneLess_data();
    void retryCountIsOneLess();
    void otherFileStatesAreSilent_data();
    void otherFileStatesAreSilent();
    void invalidFileIsIgnored();
    void completedFailureCancelsTheGroup();
    void cancelsTheGroupThatTheCallbackNames();
    void forbiddenCancelsBeforeCompletion();
    void secondFailureCancelsNothing();
    void checksumErrorDeletesThePartialFile();
    void otherErrorsKeepThePartialFile();
    void lowDiskRewritesFileErrors();

    void speedComesAfterTheInterval();
    void speedIsMeasuredBetweenReports();
    void speedComesEverySecond();
    void speedComesOnlyWithProgress();
    void nextRunMeasuresAfresh();
    void speedPrefersTheAverage();
    void averageTakesReportedSpeeds();
    void averageKeepsTenSamples();
    void hugeSpeedsDoNotOverflow();
    void averageTicksByItself();
    void netInfoIsLoggedOncePerFile();

    void finishFromOutside();
    void emptySlotsDoNothing();
    void textSlotsParse();
    void nextRunStartsAfresh();

private:
    void start();
    void group(const QString& status, const QList<QJsonObject>& files = {}, const QString& guid = kGuid);
    void file(const QJsonObject& object);
    QTimer* timer() const;

    std::unique_ptr<EngineDoubleClient> engine;
    std::unique_ptr<LogCapture> log;
    std::unique_ptr<QTemporaryDir> folder;
    std::unique_ptr<VantorDownloadManager> manager;
    std::unique_ptr<DownloadEvents> events;
    qint64 nowMs = 1700000000000; // what the speed reports take for the time
    std::uint64_t freeBytes = 0;
    QStringList probed;
};

void tst_VantorDownloadManagerCallbacks::init()
{
    engine = std::make_unique<EngineDoubleClient>();
    QVERIFY(engine->IsThere());
    log = std::make_unique<LogCapture>();
    folder = std::make_unique<QTemporaryDir>();
    QVERIFY(folder->isValid());
    freeBytes = std::numeric_limits<std::uint64_t>::max();
    probed.clear();
    Orvel::Common::SetDiskSpaceProbe([this](const std::string& path) {
        probed.append(QString::fromStdString(path));
        return std::make_pair(freeBytes, std::uint64_t(0));
    });
    manager = std::make_unique<ClockedManager>(nowMs);
    events = std::make_unique<DownloadEvents>(manager.get());
    start();
}

void tst_VantorDownloadManagerCallbacks::cleanup()
{
    events.reset();
    manager.reset();
    Orvel::Common::SetDiskSpaceProbe({});
    log.reset();
    folder.reset();
    engine.reset();
}

void tst_VantorDownloadManagerCallbacks::start()
{
    engine->NextGroupGuid(kGuid);
    manager->StartDownloadTask(kGroup, {model(QStringLiteral("a"), folder->path())}, folder->path());
    engine->TakeCalls();
    events->Take();
    log->clear();
}

void tst_VantorDownloadManagerCallbacks::group(const QString& status, const QList<QJsonObject>& files,
                                               const QString& guid)
{
    GroupTaskModel parsed;
    parsed.Parse(EngineTexts::Group(guid, status, files));
    manager->onParseGroupTaskCallback(guid, parsed);
}

void tst_VantorDownloadManagerCallbacks::file(const QJsonObject& object)
{
    SingleTaskErrorModel parsed;
    parsed.Parse(EngineTexts::Text(object));
    manager->onParseSingleTaskCallback(kGuid, parsed.guid, parsed);
}

/// \brief The running averaging timer, null when it is stopped.
QTimer* tst_VantorDownloadManagerCallbacks::timer() const
{
    const auto timers = manager->findChildren<QTimer*>();
    for (QTimer* timer : timers) {
        if (timer->isActive() && timer->interval() == 1000 && !timer->isSingleShot())
            return timer;
    }
    return nullptr;
}

void tst_VantorDownloadManagerCallbacks::slotsAreRegistered()
{
    QCOMPARE(declaredSlots(VantorDownloadManager::staticMetaObject),
             (QStringList{
                 QStringLiteral("groupTaskCallback(QString guid, QString data)"),
                 QStringLiteral("singleTaskCallback(QString guid, QString data)"),
                 QStringLiteral("onGroupFinish(int nGroup)"),
                 QStringLiteral("onGetTotalSize(QString, qint64 size)"),
                 QStringLiteral("onStateCallback(QString)"),
                 QStringLiteral("onParseGroupTaskCallback(QString, GroupTaskModel)"),
                 QStringLiteral("onParseSingleTaskCallback(QString, QString task_guid, SingleTaskErrorModel)"),
                 QStringLiteral("OnTimeoutToCalcDownloadSpeed()"),
             }));
}

void tst_VantorDownloadManagerCallbacks::ignoresWhatIsNoJson()
{
    GroupTaskModel invalid;
    invalid.Parse("no JSON");
    invalid.status = QStringLiteral("Success");
    freeBytes = 0;
    manager->onParseGroupTaskCallback(kGuid, invalid);
    QCOMPARE(events->Lines(), QStringList());
    QCOMPARE(log->texts(), QStringList());
    QCOMPARE(engine->TakeCallLines(), QStringList());
}

void tst_VantorDownloadManagerCallbacks::ignoresCallbacksBeforeAnyGroup()
{
    manager = std::make_unique<ClockedManager>(nowMs);
    events = std::make_unique<DownloadEvents>(manager.get());
    log->clear();
    group(QStringLiteral("Success"), {File(QStringLiteral("a"), QStringLiteral("Success"), bytes(1, 0, 1))});
    file(failedFile(QStringLiteral("a"), true, "url_net_error", ErrorDetail(1, 2, QStringLiteral("m"))));
    QCOMPARE(events->Lines(), QStringList());
    QCOMPARE(log->texts(), QStringList());
    QCOMPARE(engine->TakeCallLines(), QStringList());
}

void tst_VantorDownloadManagerCallbacks::diskGuardLetsTheLimitPass()
{
    freeBytes = kDiskSpaceLimit;
    group(QStringLiteral("Progressing"), {File(QStringLiteral("a"), QStringLiteral("Downloading"), bytes(10, 0, 1))});
    QCOMPARE(engine->TakeCallLines(), QStringList());
    QCOMPARE(log->texts(kWarning), QStringList());
    QCOMPARE(events->Count(QStringLiteral("downloadProgress(")), 1);
}

void tst_VantorDownloadManagerCallbacks::diskGuardCancelsBelowTheLimit()
{
    freeBytes = kDiskSpaceLimit - 1;
    group(QStringLiteral("Progressing"), {File(QStringLiteral("a"), QStringLiteral("Downloading"), bytes(10, 0, 1))});
    QCOMPARE(engine->TakeCallLines(), QStringList(QStringLiteral("Cancel(g)")));
    QCOMPARE(log->texts(),
             QStringList(QStringLiteral("[net] [vantor] disk space less than 100 mb, need cancel download task g")));
    QCOMPARE(log->records().front().level, kWarning);
    // The callback is not handled any further.
    QCOMPARE(events->Lines(), QStringList());
}

void tst_VantorDownloadManagerCallbacks::diskGuardCancelsOnce()
{
    freeBytes = kDiskSpaceLimit - 1;
    group(QStringLiteral("Pending"));
    group(QStringLiteral("Progressing"), {File(QStringLiteral("a"), QStringLiteral("Downloading"), bytes(10, 0, 1))});
    group(QStringLiteral("Cancelling"));
    QCOMPARE(engine->TakeCallLines(), QStringList(QStringLiteral("Cancel(g)")));
    QCOMPARE(probed.size(), 1);
    // Meanwhile the group is handled as usual.
    QCOMPARE(events->Count(QStringLiteral("downloadProgress(")), 1);
}

void tst_VantorDownloadManagerCallbacks::lowDiskEndsAsFailed()
{
    freeBytes = kDiskSpaceLimit - 1;
    group(QStringLiteral("Progressing"));
    log->clear();
    group(QStringLiteral("Cancelled"), {File(QStringLiteral("a"), QStringLiteral("Cancelled"))});
    QCOMPARE(events->Lines(),
             QStringList(QStringLiteral("error(code 6099, message unknown error, url , http 0, internal 0, retries 0, "
                                        "outcome 0, group 3)")));
    QCOMPARE(log->texts(kWarning),
             QStringList(QStringLiteral("[net] [vantor] disk space less than 100 mb, inner cancelled g")));
}

void tst_VantorDownloadManagerCallbacks::diskGuardAsksForTheInstallPath()
{
    const QString path = folder->filePath(QStringLiteral("Spiele ä 更"));
    QVERIFY(QDir().mkpath(path));
    manager->StartDownloadTask(kGroup, {model(QStringLiteral("a"), QString())}, path);
    group(QStringLiteral("Pending"));
    QCOMPARE(probed, QStringList(path));
}

void tst_VantorDownloadManagerCallbacks::diskGuardRestsInEndStates_data()
{
    QTest::addColumn<QString>("status");
    QTest::addColumn<bool>("asked");
    for (const char* status : {"Invalid", "Pending", "Start", "Progressing", "Verifying", "Unheard-of", ""})
        QTest::newRow(qPrintable(QStringLiteral("asks in '%1'").arg(QLatin1String(status))))
            << QString::fromLatin1(status) << true;
    for (const char* status : {"Cancelling", "Cancelled", "Failed", "Success", "Duplicated"})
        QTest::newRow(qPrintable(QStringLiteral("rests in '%1'").arg(QLatin1String(status))))
            << QString::fromLatin1(status) << false;
}

void tst_VantorDownloadManagerCallbacks::diskGuardRestsInEndStates()
{
    QFETCH(QString, status);
    QFETCH(bool, asked);
    freeBytes = 0;
    group(status);
    QCOMPARE(probed.size(), asked ? 1 : 0);
    QCOMPARE(engine->TakeCallLines().size(), asked ? 1 : 0);
}

void tst_VantorDownloadManagerCallbacks::diskGuardNeedsAFolder()
{
    freeBytes = 0;
    const QString missing = folder->filePath(QStringLiteral("missing"));
    manager->StartDownloadTask(kGroup, {model(QStringLiteral("a"), QString())}, missing);
    engine->TakeCalls();
    log->clear();
    const QString warning =
        QStringLiteral("[net] [vantor] must not check disk space, because invalid install path: %1").arg(missing);
    group(QStringLiteral("Progressing"));
    group(QStringLiteral("Progressing"));
    QCOMPARE(log->texts(kWarning), (QStringList{warning, warning})); // at each callback
    QCOMPARE(log->texts(kInfo).size(), 2);                           // handled as usual

    QFile plainFile(missing);
    QVERIFY(plainFile.open(QIODevice::WriteOnly));
    group(QStringLiteral("Success"));
    QCOMPARE(log->count(kWarning, warning), 3);
    QCOMPARE(probed, QStringList());
    QCOMPARE(engine->TakeCallLines(), QStringList());
    QCOMPARE(events->Last(), QStringLiteral("finish(3)"));
}

void tst_VantorDownloadManagerCallbacks::diskGuardRestsAfterAForbiddenFile()
{
    freeBytes = 0;
    file(failedFile(QStringLiteral("a"), true, "url_net_error", ErrorDetail(1, 2, QStringLiteral("m"))));
    engine->TakeCalls();
    group(QStringLiteral("Progressing"));
    QCOMPARE(probed, QStringList());
    QCOMPARE(engine->TakeCallLines(), QStringList());
}

void tst_VantorDownloadManagerCallbacks::diskGuardCancelsTheGroupThatTheCallbackNames()
{
    const QString named = QStringLiteral("named");
    freeBytes = 0;
    group(QStringLiteral("Progressing"), {}, named);
    QCOMPARE(engine->TakeCallLines(), QStringList(QStringLiteral("Cancel(named)")));
    group(QStringLiteral("Cancelled"), {}, named);
    QCOMPARE(log->texts(kWarning),
             (QStringList{QStringLiteral("[net] [vantor] disk space less than 100 mb, need cancel download task named"),
                          QStringLiteral("[net] [vantor] disk space less than 100 mb, inner cancelled named")}));
}

void tst_VantorDownloadManagerCallbacks::warningsNameTheGroupOfTheCallback()
{
    const QString named = QStringLiteral("named");
    group(QStringLiteral("Progressing"), {File(QStringLiteral("a"), QStringLiteral("Downloading"), bytes(10, 4, 6))},
          named);
    QCOMPARE(log->texts(kWarning),
             QStringList(QStringLiteral("[net] [vantor] named download finished but status is: Downloading")));
    file(failedFile(QStringLiteral("a"), true, "url_net_error", ErrorDetail(1, 2, QStringLiteral("m"))));
    group(QStringLiteral("Cancelled"), {}, named);
    QCOMPARE(log->texts(kWarning).last(), QStringLiteral("[net] [vantor] single task failed or 403, named"));
}

void tst_VantorDownloadManagerCallbacks::userStopEndsAsCancelled()
{
    manager->StopDownloadTask(kGroup);
    log->clear();
    group(QStringLiteral("Cancelled"), {File(QStringLiteral("a"), QStringLiteral("Cancelled"))});
    QCOMPARE(events->Lines(), QStringList(QStringLiteral("cancelled(3)")));
    QCOMPARE(log->texts(),
             (QStringList{QStringLiteral("[net]pcdn:0, cdn:0"), QStringLiteral("[net] [manual cancel]  cancelled")}));
    QCOMPARE(log->texts(kInfo).size(), 2);
}

void tst_VantorDownloadManagerCallbacks::engineCancelEndsAsCancelled()
{
    group(QStringLiteral("Cancelled"), {File(QStringLiteral("a"), QStringLiteral("Cancelled"))});
    QCOMPARE(events->Lines(), QStringList(QStringLiteral("cancelled(3)")));
    QCOMPARE(log->texts().last(), QStringLiteral("[net] cancelled"));
    QCOMPARE(log->texts(kWarning), QStringList());
}

void tst_VantorDownloadManagerCallbacks::stopOfAnotherGroupMarksTheRun()
{
    manager->StopDownloadTask(kGroup + 1);
    group(QStringLiteral("Cancelled"));
    QCOMPARE(events->Lines(), QStringList(QStringLiteral("cancelled(3)")));
    QCOMPARE(log->texts().last(), QStringLiteral("[net] [manual cancel]  cancelled"));
}

void tst_VantorDownloadManagerCallbacks::userStopBeatsLowDisk()
{
    freeBytes = 0;
    group(QStringLiteral("Progressing"));
    manager->StopDownloadTask(kGroup);
    log->clear();
    group(QStringLiteral("Cancelled"));
    QCOMPARE(events->Lines(), QStringList(QStringLiteral("cancelled(3)")));
    QCOMPARE(log->texts(kWarning), QStringList());
}

void tst_VantorDownloadManagerCallbacks::userStopBeatsAForbiddenFile()
{
    file(failedFile(QStringLiteral("a"), true, "url_net_error", ErrorDetail(1, 2, QStringLiteral("m"))));
    manager->StopDownloadTask(kGroup);
    log->clear();
    group(QStringLiteral("Cancelled"));
    QCOMPARE(events->Lines(), QStringList(QStringLiteral("cancelled(3)")));
    QCOMPARE(log->texts(kWarning), QStringList());
}

void tst_VantorDownloadManagerCallbacks::forbiddenFileEndsAsFailed()
{
    file(failedFile(QStringLiteral("a"), true, "url_net_error", ErrorDetail(1, 2, QStringLiteral("m"))));
    log->clear();
    group(QStringLiteral("Cancelled"));
    QCOMPARE(events->Lines(),
             QStringList(QStringLiteral("error(code 6001, message m, url http://127.0.0.1/a, http 0, internal 2, "
                                        "retries 0, outcome 2, group 3)")));
    QCOMPARE(log->texts(kWarning), QStringList(QStringLiteral("[net] [vantor] single task failed or 403, g")));
}

void tst_VantorDownloadManagerCallbacks::lowDiskBeatsAForbiddenFile()
{
    freeBytes = 0;
    group(QStringLiteral("Progressing"));
    file(failedFile(QStringLiteral("a"), true, "file_write_error", ErrorDetail(1, 2, QStringLiteral("m"))));
    log->clear();
    group(QStringLiteral("Cancelled"));
    QCOMPARE(events->Lines(),
             QStringList(QStringLiteral("error(code 3004, message disk space not enough, url http://127.0.0.1/a, "
                                        "http 0, internal 2, retries 0, outcome 0, group 3)")));
    QCOMPARE(log->texts(kWarning),
             QStringList(QStringLiteral("[net] [vantor] disk space less than 100 mb, inner cancelled g")));
}

void tst_VantorDownloadManagerCallbacks::progressSumsUpTheFiles()
{
    group(QStringLiteral("Progressing"),
          {File(QStringLiteral("a"), QStringLiteral("Downloading"), bytes(1000, 100, 20)),
           File(QStringLiteral("b"), QStringLiteral("Pending"), bytes(50, 0, 3))});
    QCOMPARE(events->Lines(),
             QStringList(QStringLiteral(
                 "downloadProgress(123 of 1050, tag 0, speed 0, group 3, pcdn 0, alias , traffic 0+23)")));
}

void tst_VantorDownloadManagerCallbacks::progressStopsAtTheTotal()
{
    group(QStringLiteral("Progressing"),
          {File(QStringLiteral("a"), QStringLiteral("Downloading"), bytes(100, 90, 30))});
    QCOMPARE(events->Lines(),
             QStringList(QStringLiteral(
                 "downloadProgress(100 of 100, tag 0, speed 0, group 3, pcdn 0, alias , traffic 0+30)")));
}

void tst_VantorDownloadManagerCallbacks::progressComesInTwoStates_data()
{
    QTest::addColumn<QString>("status");
    QTest::addColumn<bool>("reported");
    for (const char* status : {"Progressing", "Success"})
        QTest::newRow(status) << QString::fromLatin1(status) << true;
    for (const char* status :
         {"Invalid", "Pending", "Start", "Verifying", "Cancelling", "Cancelled", "Failed", "Duplicated", "Unheard-of"})
        QTest::newRow(status) << QString::fromLatin1(status) << false;
}

void tst_VantorDownloadManagerCallbacks::progressComesInTwoStates()
{
    QFETCH(QString, status);
    QFETCH(bool, reported);
    group(status, {File(QStringLiteral("a"), QStringLiteral("Downloading"), bytes(10, 0, 1))});
    QCOMPARE(events->Count(QStringLiteral("downloadProgress(")), reported ? 1 : 0);
}

void tst_VantorDownloadManagerCallbacks::progressNeedsATotal()
{
    group(QStringLiteral("Progressing"), {File(QStringLiteral("a"), QStringLiteral("Downloading"), bytes(0, 0, 0))});
    QCOMPARE(events->Lines(), QStringList());
    group(QStringLiteral("Progressing"), {File(QStringLiteral("a"), QStringLiteral("Downloading"), bytes(1, 0, 0))});
    QCOMPARE(events->Lines(), QStringList(QStringLiteral("downloadProgress(0 of 1, tag 0, speed 0, group 3, pcdn 0, "
                                                         "alias , traffic 0+0)")));
}

void tst_VantorDownloadManagerCallbacks::progressBytesDoNotOverflow()
{
    const QJsonObject huge{{QStringLiteral("size"), 1.8e19}, {QStringLiteral("written_byte_count"), 1.8e19}};
    group(QStringLiteral("Progressing"), {File(QStringLiteral("a"), QStringLiteral("Downloading"), huge)});
    QCOMPARE(events->Count(QStringLiteral("downloadProgress(9223372036854775807 of 9223372036854775807,")), 1);
}

void tst_VantorDownloadManagerCallbacks::aliasesAreCollected()
{
    const auto named = [](const QString& guid, const char* alias) {
        return File(guid, QStringLiteral("Downloading"), with(bytes(10, 0, 0), "pcdn_alias", QLatin1String(alias)));
    };
    group(QStringLiteral("Progressing"), {named(QStringLiteral("a"), "north"), named(QStringLiteral("b"), ""),
                                          named(QStringLiteral("c"), "south"), named(QStringLiteral("d"), "north")});
    QVERIFY(events->Take().join(QLatin1Char('\n')).contains(QStringLiteral("alias north,south,")));
    // Kept for the run, whether or not they are named again.
    group(QStringLiteral("Progressing"), {named(QStringLiteral("a"), "east")});
    QVERIFY(events->Take().join(QLatin1Char('\n')).contains(QStringLiteral("alias north,south,east,")));
    start();
    group(QStringLiteral("Progressing"), {named(QStringLiteral("a"), "")});
    QVERIFY(events->Take().join(QLatin1Char('\n')).contains(QStringLiteral("alias ,")));
}

void tst_VantorDownloadManagerCallbacks::trafficIsSplit()
{
    const auto item = [](const char* guid, int written, bool pcdn) {
        return File(QLatin1String(guid), QStringLiteral("Downloading"),
                    with(bytes(1000, 7, written), "using_pcdn", pcdn));
    };
    group(QStringLiteral("Progressing"), {item("a", 100, false), item("b", 10, false)});
    QVERIFY(events->Take().join(QLatin1Char('\n')).endsWith(QStringLiteral("pcdn 0, alias , traffic 0+110)")));
    // Only what is new since the last callback counts, for the way it comes now.
    group(QStringLiteral("Progressing"), {item("a", 250, true), item("b", 10, false)});
    QVERIFY(events->Take().join(QLatin1Char('\n')).endsWith(QStringLiteral("pcdn 1, alias , traffic 150+110)")));
    // The run stays marked.
    group(QStringLiteral("Progressing"), {item("a", 251, false), item("b", 12, false)});
    QVERIFY(events->Take().join(QLatin1Char('\n')).endsWith(QStringLiteral("pcdn 1, alias , traffic 150+113)")));
    start();
    group(QStringLiteral("Progressing"), {item("a", 251, false)});
    QVERIFY(events->Take().join(QLatin1Char('\n')).endsWith(QStringLiteral("pcdn 0, alias , traffic 0+251)")));
}

void tst_VantorDownloadManagerCallbacks::trafficFollowsARestartedFile()
{
    const auto item = [](int written) {
        return File(QStringLiteral("a"), QStringLiteral("Downloading"), bytes(1000, 0, written));
    };
    group(QStringLiteral("Progressing"), {item(400)});
    group(QStringLiteral("Progressing"), {item(50)});
    QVERIFY(events->Take().join(QLatin1Char('\n')).endsWith(QStringLiteral("traffic 0+50)")));
    group(QStringLiteral("Progressing"), {item(80)});
    QVERIFY(events->Take().join(QLatin1Char('\n')).endsWith(QStringLiteral("traffic 0+80)")));
}

void tst_VantorDownloadManagerCallbacks::trafficIsLogged()
{
    const QJsonObject peer = with(bytes(1000, 0, 5), "using_pcdn", true);
    group(QStringLiteral("Verifying"), {File(QStringLiteral("a"), QStringLiteral("Downloading"), peer),
                                        File(QStringLiteral("b"), QStringLiteral("Downloading"), bytes(9, 0, 3))});
    group(QStringLiteral("Pending"));
    QCOMPARE(log->count(kInfo, QStringLiteral("[net]pcdn:5, cdn:3")), 2);
}

void tst_VantorDownloadManagerCallbacks::md5StartedWhenAllAreTransferred_data()
{
    QTest::addColumn<QString>("status");
    QTest::addColumn<bool>("through");
    for (const char* status : {"Downloaded", "Verifying", "Verified", "Success"})
        QTest::newRow(status) << QString::fromLatin1(status) << true;
    for (const char* status : {"Invalid", "Pending", "Start", "Preparing", "Prepared", "Downloading", "Cancelling",
                               "Cancelled", "Failed", "Unheard-of", ""})
        QTest::newRow(qPrintable(QStringLiteral("not '%1'").arg(QLatin1String(status))))
            << QString::fromLatin1(status) << false;
}

void tst_VantorDownloadManagerCallbacks::md5StartedWhenAllAreTransferred()
{
    QFETCH(QString, status);
    QFETCH(bool, through);
    const QList<QJsonObject> files{File(QStringLiteral("a"), status, bytes(10, 0, 9)),
                                   File(QStringLiteral("b"), QStringLiteral("Verifying"), bytes(10, 0, 9))};
    group(QStringLiteral("Progressing"), files);
    QCOMPARE(events->Count(QStringLiteral("md5Started(3)")), through ? 1 : 0);
    group(QStringLiteral("Progressing"), files);
    QCOMPARE(events->Count(QStringLiteral("md5Started(")), through ? 1 : 0); // once per run
    start();
    group(QStringLiteral("Progressing"), files);
    QCOMPARE(events->Count(QStringLiteral("md5Started(")), through ? 1 : 0);
}

void tst_VantorDownloadManagerCallbacks::md5StartedWaitsForAll()
{
    group(QStringLiteral("Progressing"), {File(QStringLiteral("a"), QStringLiteral("Verified"), bytes(10, 0, 10)),
                                          File(QStringLiteral("b"), QStringLiteral("Downloading"), bytes(10, 0, 9))});
    QCOMPARE(events->Count(QStringLiteral("md5Started(")), 0);
    QCOMPARE(events->Count(QStringLiteral("downloadProgress(")), 1);
}

void tst_VantorDownloadManagerCallbacks::md5StartedNeedsVerification()
{
    group(QStringLiteral("Progressing"), {File(QStringLiteral("a"), QStringLiteral("Downloading"), bytes(10, 0, 10)),
                                          File(QStringLiteral("b"), QStringLiteral("Prepared"), bytes(10, 10, 0))});
    QCOMPARE(events->Count(QStringLiteral("md5Started(")), 0);
}

void tst_VantorDownloadManagerCallbacks::md5StartedCountsCompleteFiles()
{
    group(QStringLiteral("Progressing"), {File(QStringLiteral("a"), QStringLiteral("Downloading"), bytes(10, 4, 6)),
                                          File(QStringLiteral("b"), QStringLiteral("Downloaded"), bytes(10, 0, 10))});
    QCOMPARE(events->Count(QStringLiteral("md5Started(3)")), 1);
}

void tst_VantorDownloadManagerCallbacks::emptyFileInTransferDoesNotCount()
{
    group(QStringLiteral("Progressing"), {File(QStringLiteral("a"), QStringLiteral("Downloading"), bytes(0, 0, 0)),
                                          File(QStringLiteral("b"), QStringLiteral("Downloaded"), bytes(10, 0, 10))});
    QCOMPARE(events->Count(QStringLiteral("md5Started(")), 0);
    QCOMPARE(log->texts(kWarning), QStringList());
    group(QStringLiteral("Progressing"), {File(QStringLiteral("a"), QStringLiteral("Success"), bytes(0, 0, 0)),
                                          File(QStringLiteral("b"), QStringLiteral("Downloaded"), bytes(10, 0, 10))});
    QCOMPARE(events->Count(QStringLiteral("md5Started(")), 1);
}

void tst_VantorDownloadManagerCallbacks::completeFileInTransferIsLogged()
{
    const QList<QJsonObject> files{File(QStringLiteral("a"), QStringLiteral("Downloading"), bytes(10, 4, 6)),
                                   File(QStringLiteral("b"), QStringLiteral("Verified"), bytes(10, 4, 6)),
                                   File(QStringLiteral("c"), QStringLiteral("Pending"), bytes(10, 4, 5)),
                                   File(QStringLiteral("d"), QStringLiteral("Prepared"), bytes(1, 1, 0))};
    group(QStringLiteral("Progressing"), files);
    const QStringList warnings{QStringLiteral("[net] [vantor] g download finished but status is: Downloading"),
                               QStringLiteral("[net] [vantor] g download finished but status is: Prepared")};
    QCOMPARE(log->texts(kWarning), warnings);
    group(QStringLiteral("Progressing"), files);
    QCOMPARE(log->texts(kWarning), warnings + warnings);
}

void tst_VantorDownloadManagerCallbacks::checkProgressFollowsMd5Started()
{
    const auto item = [](const char* guid, int size, int verified, int speed) {
        QJsonObject members = with(bytes(size, 0, size), "verified_byte_count", verified);
        members = with(members, "pcdn_alias", QLatin1String("north"));
        members = with(members, "using_pcdn", true);
        return File(QLatin1String(guid), QStringLiteral("Verifying"), with(members, "verified_speed_byte", speed));
    };
    group(QStringLiteral("Progressing"), {item("a", 100, 40, 5), item("b", 50, 2, 7)});
    const QString check =
        QStringLiteral("checkProgress(%1 of 150, tag 1, speed %2, group 3, pcdn 0, alias , traffic 0+0)");
    QCOMPARE(events->Take(), (QStringList{QStringLiteral("md5Started(3)"), check.arg(42).arg(12)}));
    // No download progress and no speed any more; checking is reported in whatever state.
    for (const char* status : {"Progressing", "Verifying", "Cancelling"}) {
        group(QLatin1String(status), {item("a", 100, 100, 0), item("b", 50, 30, 1)});
        QCOMPARE(events->Take(), QStringList(check.arg(130).arg(1)));
    }
}

void tst_VantorDownloadManagerCallbacks::emptyListStartsNoVerification()
{
    group(QStringLiteral("Verifying"));
    QCOMPARE(events->Lines(), QStringList());
}

void tst_VantorDownloadManagerCallbacks::successEndsInOrder()
{
    group(QStringLiteral("Success"),
          {File(QStringLiteral("a"), QStringLiteral("Success"), with(bytes(10, 0, 10), "verified_byte_count", 10))});
    QCOMPARE(events->Lines(),
             (QStringList{
                 QStringLiteral("md5Started(3)"),
                 QStringLiteral("checkProgress(10 of 10, tag 1, speed 0, group 3, pcdn 0, alias , traffic 0+0)"),
                 QStringLiteral("finish(3)"),
             }));
}

void tst_VantorDownloadManagerCallbacks::successWithoutFilesFinishes()
{
    group(QStringLiteral("Success"));
    QCOMPARE(events->Lines(), QStringList(QStringLiteral("finish(3)")));
}

void tst_VantorDownloadManagerCallbacks::duplicatedEndsSilently()
{
    group(QStringLiteral("Duplicated"), {File(QStringLiteral("a"), QStringLiteral("Pending"), bytes(10, 0, 0))});
    QCOMPARE(events->Lines(), QStringList());
    QCOMPARE(log->texts(kWarning) + log->texts(kError), QStringList());
    QVERIFY(!timer());
}

void tst_VantorDownloadManagerCallbacks::endStopsTheAveraging_data()
{
    QTest::addColumn<QString>("status");
    QTest::addColumn<bool>("running");
    for (const char* status : {"Cancelled", "Failed", "Success", "Duplicated"})
        QTest::newRow(status) << QString::fromLatin1(status) << false;
    for (const char* status : {"Pending", "Start", "Progressing", "Verifying", "Cancelling", "Unheard-of"})
        QTest::newRow(status) << QString::fromLatin1(status) << true;
}

void tst_VantorDownloadManagerCallbacks::endStopsTheAveraging()
{
    QFETCH(QString, status);
    QVERIFY(timer());
    group(status);
    QTEST(timer() != nullptr, "running");
    start();
    QVERIFY(timer());
}

void tst_VantorDownloadManagerCallbacks::endForgetsTheGuid()
{
    group(QStringLiteral("Success"));
    manager->StopDownloadTask(kGroup);
    QCOMPARE(engine->TakeCallLines(), QStringList(QStringLiteral("Cancel()")));
}

void tst_VantorDownloadManagerCallbacks::endLeavesTheExporter()
{
    VantorExporter* const exporter = VantorExporter::Instance();
    connect(exporter, &VantorExporter::onGroupTaskCallback, manager.get(), &VantorDownloadManager::groupTaskCallback);
    const QString text = QString::fromUtf8(EngineTexts::Group(kGuid, QStringLiteral("Success"), {}));
    exporter->GroupTaskCallback(kGuid, text);
    QCOMPARE(events->Take(), QStringList(QStringLiteral("finish(3)")));
    exporter->GroupTaskCallback(kGuid, text);
    QCOMPARE(events->Lines(), QStringList());
}

void tst_VantorDownloadManagerCallbacks::failureWithoutDetail()
{
    group(QStringLiteral("Failed"), {File(QStringLiteral("a"), QStringLiteral("Failed"))});
    QCOMPARE(events->Lines(),
             QStringList(QStringLiteral("error(code 6099, message unknown error, url , http 0, internal 0, retries 0, "
                                        "outcome 0, group 3)")));
    QCOMPARE(log->texts(kError), QStringList(QStringLiteral("[net] [vantor] Single task error list empty, err code: "
                                                            "6099, url: , err msg: unknown error")));
}

void tst_VantorDownloadManagerCallbacks::failureWithDetail_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<int>("code");
    QTest::newRow("network") << QStringLiteral("url_net_error") << 6012;
    QTest::newRow("file write") << QStringLiteral("file_write_error") << 7012;
    QTest::newRow("checksum") << QStringLiteral("checksum_check_error") << 8012;
    QTest::newRow("none") << QStringLiteral("other_error") << 6099;
}

void tst_VantorDownloadManagerCallbacks::failureWithDetail()
{
    QFETCH(QString, key);
    QFETCH(int, code);
    group(QStringLiteral("Failed"), {failedFile(QStringLiteral("a"), true, key.toLatin1().constData(),
                                                ErrorDetail(12, 34, QStringLiteral("broken")))});
    QCOMPARE(events->Lines().size(), 1);
    const QString message = code == 6099 ? QStringLiteral("unknown error") : QStringLiteral("broken");
    QVERIFY2(events->Lines().first().startsWith(
                 QStringLiteral("error(code %1, message %2, url http://127.0.0.1/a,").arg(code).arg(message)),
             qPrintable(events->Lines().first()));
    QCOMPARE(log->texts(kError),
             QStringList(QStringLiteral("[net] [vantor] Single task error list empty, err code: %1, url: "
                                        "http://127.0.0.1/a, err msg: %2")
                             .arg(code)
                             .arg(message)));
}

void tst_VantorDownloadManagerCallbacks::failureWithAList()
{
    file(failedFile(QStringLiteral("b"), true, "url_net_error", ErrorDetail(1, 11, QStringLiteral("first"))));
    file(failedFile(QStringLiteral("a"), true, "file_write_error", ErrorDetail(2, 22, QStringLiteral("second"))));
    QCOMPARE(events->Lines(), QStringList()); // only when the group ends
    group(QStringLiteral("Failed"),
          {failedFile(QStringLiteral("c"), true, "url_net_error", ErrorDetail(3, 33, QStringLiteral("not used")))});
    QCOMPARE(events->Lines(),
             (QStringList{
                 QStringLiteral("error(code 6001, message first, url http://127.0.0.1/b, http 0, internal 11, retries "
                                "0, outcome 2, group 3)"),
                 QStringLiteral("error(code 7002, message second, url http://127.0.0.1/a, http 0, internal 22, retries "
                                "0, outcome 2, group 3)"),
             }));
    const QStringList errors = log->texts(kError);
    QCOMPARE(errors.size(), 1);
    QVERIFY(errors[0].startsWith(QStringLiteral("[net] [vantor] Single task error list info: ")));
    for (const char* part : {"6001", "7002", "first", "second", "http://127.0.0.1/a", "http://127.0.0.1/b"})
        QVERIFY2(errors[0].contains(QLatin1String(part)), qPrintable(errors[0]));
}

void tst_VantorDownloadManagerCallbacks::failureListKeepsEncodedUrls()
{
    QJsonObject failed = failedFile(QStringLiteral("a"), true, "url_net_error", ErrorDetail(1, 2, QStringLiteral("m")));
    failed.insert(QStringLiteral("url"), QStringLiteral("http://127.0.0.1/a%2Fb%3Fc"));
    failed.insert(QStringLiteral("url_response_info"), QJsonObject{{QStringLiteral("http_status_code"), 404}});
    file(failed);
    group(QStringLiteral("Failed"));
    QCOMPARE(log->texts(kError),
             QStringList(QStringLiteral("[net] [vantor] Single task error list info: {code: 6001, url: "
                                        "http://127.0.0.1/a%2Fb%3Fc, http status: 404, retry times: 0, message: m}")));
}

void tst_VantorDownloadManagerCallbacks::failureAfterAUserStopIsSilent()
{
    manager->StopDownloadTask(kGroup);
    group(QStringLiteral("Failed"));
    QCOMPARE(events->Lines(), QStringList());
    QCOMPARE(log->texts(kError).size(), 1);
}

void tst_VantorDownloadManagerCallbacks::failureListAfterAUserStopIsSilent()
{
    file(failedFile(QStringLiteral("a"), true, "url_net_error", ErrorDetail(1, 2, QStringLiteral("m"))));
    manager->StopDownloadTask(kGroup);
    group(QStringLiteral("Failed"));
    QCOMPARE(events->Lines(), QStringList());
    QCOMPARE(log->texts(kError).size(), 1);
}

void tst_VantorDownloadManagerCallbacks::fileErrorCodes_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<int>("engineCode");
    QTest::addColumn<int>("code");
    const int most = std::numeric_limits<int>::max();
    QTest::newRow("network") << QStringLiteral("url_net_error") << 404 << 6404;
    QTest::newRow("network without code") << QStringLiteral("url_net_error") << 0 << 6000;
    QTest::newRow("file write") << QStringLiteral("file_write_error") << 5 << 7005;
    QTest::newRow("checksum") << QStringLiteral("checksum_check_error") << 1 << 8001;
    QTest::newRow("none") << QStringLiteral("other_error") << 77 << 0;
    QTest::newRow("negative") << QStringLiteral("url_net_error") << -1 << 5999;
    QTest::newRow("too large") << QStringLiteral("url_net_error") << most << most;
}

void tst_VantorDownloadManagerCallbacks::fileErrorCodes()
{
    QFETCH(QString, key);
    QFETCH(int, engineCode);
    QFETCH(int, code);
    QJsonObject object = failedFile(QStringLiteral("a"), false, key.toLatin1().constData(),
                                    ErrorDetail(engineCode, -7, QStringLiteral("why")));
    object = with(object, "url_response_info",
                  QJsonObject{{QStringLiteral("http_status_code"), 404},
                              {QStringLiteral("http_header"), QJsonObject{{QStringLiteral("Server"), 1}}}});
    file(object);
    const QString message = code == 0 ? QString() : QStringLiteral("why");
    QCOMPARE(events->Lines(),
             QStringList(QStringLiteral("errorRetry(code %1, message %2, url http://127.0.0.1/a, http 404, internal "
                                        "%3, retries 0, outcome 2, group 3)")
                             .arg(code)
                             .arg(message)
                             .arg(code == 0 ? 0 : -7)));
    QCOMPARE(engine->TakeCallLines(), QStringList());
}

void tst_VantorDownloadManagerCallbacks::fileErrorsTellTheServer()
{
    QSignalSpy spy(manager.get(), &BaseDownloadManager::errorRetry);
    QJsonObject object =
        failedFile(QStringLiteral("a"), false, "url_net_error", ErrorDetail(1, 2, QStringLiteral("why")));
    object.insert(QStringLiteral("remote_address"), QStringLiteral("127.0.0.9"));
    object.insert(QStringLiteral("url_response_info"),
                  QJsonObject{{QStringLiteral("http_header"), QJsonObject{{QStringLiteral("Server"), 1}}}});
    file(object);
    QCOMPARE(spy.size(), 1);
    const auto info = spy.first().first().value<TaskInfo>();
    QCOMPARE(info.GetIP(), QStringLiteral("127.0.0.9"));
    QCOMPARE(info.GetResponseHeader(), QStringLiteral("{\"Server\":1}"));
}

void tst_VantorDownloadManagerCallbacks::retryCountIsOneLess_data()
{
    QTest::addColumn<int>("engineCount");
    QTest::addColumn<int>("count");
    QTest::newRow("3") << 3 << 2;
    QTest::newRow("1") << 1 << 0;
    QTest::newRow("0") << 0 << 0;
    QTest::newRow("negative") << -4 << 0;
    QTest::newRow("smallest") << std::numeric_limits<int>::min() << 0;
}

void tst_VantorDownloadManagerCallbacks::retryCountIsOneLess()
{
    QFETCH(int, engineCount);
    QFETCH(int, count);
    file(with(failedFile(QStringLiteral("a"), false, "url_net_error", ErrorDetail(1, 1, QString())),
              "current_retry_times", engineCount));
    QCOMPARE(events->Lines().size(), 1);
    QVERIFY(events->Lines().first().contains(QStringLiteral("retries %1,").arg(count)));
}

void tst_VantorDownloadManagerCallbacks::otherFileStatesAreSilent_data()
{
    QTest::addColumn<QString>("status");
    for (const char* status : {"Invalid", "Pending", "Start", "Preparing", "Prepared", "Downloading", "Downloaded",
                               "Verifying", "Verified", "Cancelling", "Cancelled", "Success", "Unheard-of", ""})
        QTest::newRow(qPrintable(QStringLiteral("'%1'").arg(QLatin1String(status)))) << QString::fromLatin1(status);
}

void tst_VantorDownloadManagerCallbacks::otherFileStatesAreSilent()
{
    QFETCH(QString, status);
    file(File(QStringLiteral("a"), status,
              {{QStringLiteral("completed"), true},
               {QStringLiteral("url_response_info"), QJsonObject{{QStringLiteral("http_status_code"), 403}}},
               {QStringLiteral("url_net_error"), ErrorDetail(1, 2, QStringLiteral("m"))}}));
    QCOMPARE(events->Lines(), QStringList());
    QCOMPARE(engine->TakeCallLines(), QStringList());
}

void tst_VantorDownloadManagerCallbacks::invalidFileIsIgnored()
{
    SingleTaskErrorModel invalid;
    invalid.Parse("{\"status\":\"Failed\"");
    invalid.status = QStringLiteral("Failed");
    manager->onParseSingleTaskCallback(kGuid, QStringLiteral("a"), invalid);
    QCOMPARE(events->Lines(), QStringList());
    QCOMPARE(engine->TakeCallLines(), QStringList());
}

void tst_VantorDownloadManagerCallbacks::completedFailureCancelsTheGroup()
{
    file(failedFile(QStringLiteral("a"), true, "url_net_error", ErrorDetail(1, 2, QStringLiteral("m"))));
    QCOMPARE(events->Lines(), QStringList());
    QCOMPARE(engine->TakeCallLines(), QStringList(QStringLiteral("Cancel(g)")));
    QCOMPARE(log->texts(),
             QStringList(QStringLiteral("[net] [vantor] single task failed or 403, request to cancel the all group ")));
    QCOMPARE(log->records().front().level, kWarning);
}

void tst_VantorDownloadManagerCallbacks::cancelsTheGroupThatTheCallbackNames()
{
    SingleTaskErrorModel model;
    model.Parse(EngineTexts::Text(
        failedFile(QStringLiteral("a"), true, "url_net_error", ErrorDetail(1, 2, QStringLiteral("m")))));
    manager->onParseSingleTaskCallback(QStringLiteral("named"), QStringLiteral("a"), model);
    QCOMPARE(engine->TakeCallLines(), QStringList(QStringLiteral("Cancel(named)")));
}

void tst_VantorDownloadManagerCallbacks::forbiddenCancelsBeforeCompletion()
{
    file(with(failedFile(QStringLiteral("a"), false, "url_net_error", ErrorDetail(3, 4, QStringLiteral("no"))),
              "url_response_info", QJsonObject{{QStringLiteral("http_status_code"), 403}}));
    QCOMPARE(events->Lines(), QStringList()); // no errorRetry
    QCOMPARE(engine->TakeCallLines(), QStringList(QStringLiteral("Cancel(g)")));
    group(QStringLiteral("Cancelled"));
    QCOMPARE(events->Lines(),
             QStringList(QStringLiteral("error(code 6003, message no, url http://127.0.0.1/a, http 403, internal 4, "
                                        "retries 0, outcome 2, group 3)")));
}

void tst_VantorDownloadManagerCallbacks::secondFailureCancelsNothing()
{
    file(failedFile(QStringLiteral("a"), true, "url_net_error", ErrorDetail(1, 2, QStringLiteral("m"))));
    file(failedFile(QStringLiteral("b"), true, "url_net_error", ErrorDetail(2, 2, QStringLiteral("m"))));
    QCOMPARE(engine->TakeCallLines(), QStringList(QStringLiteral("Cancel(g)")));
    group(QStringLiteral("Cancelled"));
    QCOMPARE(events->Count(QStringLiteral("error(")), 2);
}

void tst_VantorDownloadManagerCallbacks::checksumErrorDeletesThePartialFile()
{
    const QString partial = folder->filePath(QStringLiteral("a_tmp"));
    QFile created(partial);
    QVERIFY(created.open(QIODevice::WriteOnly));
    created.close();
    bool goneWhenReported = false;
    connect(manager.get(), &BaseDownloadManager::errorRetry, this, [&] { goneWhenReported = !QFile::exists(partial); });
    file(failedFile(QStringLiteral("a"), false, "checksum_check_error", ErrorDetail(1, 2, QStringLiteral("m"))));
    QVERIFY(goneWhenReported);
}

void tst_VantorDownloadManagerCallbacks::otherErrorsKeepThePartialFile()
{
    const QString partial = folder->filePath(QStringLiteral("a_tmp"));
    QFile created(partial);
    QVERIFY(created.open(QIODevice::WriteOnly));
    created.close();
    file(failedFile(QStringLiteral("a"), false, "url_net_error", ErrorDetail(1, 2, QStringLiteral("m"))));
    file(failedFile(QStringLiteral("a"), true, "file_write_error", ErrorDetail(1, 2, QStringLiteral("m"))));
    QVERIFY(QFile::exists(partial));
}

void tst_VantorDownloadManagerCallbacks::lowDiskRewritesFileErrors()
{
    freeBytes = 0;
    group(QStringLiteral("Progressing"));
    engine->TakeCalls();
    log->clear();
    file(failedFile(QStringLiteral("a"), false, "file_write_error", ErrorDetail(28, 2, QStringLiteral("full"))));
    QCOMPARE(events->Take(),
             QStringList(QStringLiteral("errorRetry(code 3004, message disk space not enough, url http://127.0.0.1/a, "
                                        "http 0, internal 2, retries 0, outcome 0, group 3)")));
    const QString warning = QStringLiteral("[net] [vantor] disk space less than 100 mb, inner cancelled ");
    QCOMPARE(log->texts(), QStringList(warning));
    QCOMPARE(log->records().front().level, kWarning);

    file(File(QStringLiteral("b"), QStringLiteral("Cancelled")));
    QCOMPARE(log->count(kWarning, warning), 2);
    file(failedFile(QStringLiteral("a"), true, "file_write_error", ErrorDetail(28, 2, QStringLiteral("full"))));
    QCOMPARE(engine->TakeCallLines(), QStringList()); // the group has been cancelled once already
    group(QStringLiteral("Cancelled"));
    QCOMPARE(events->Take(),
             QStringList(QStringLiteral("error(code 3004, message disk space not enough, url http://127.0.0.1/a, http "
                                        "0, internal 2, retries 0, outcome 0, group 3)")));
}

void tst_VantorDownloadManagerCallbacks::speedComesAfterTheInterval()
{
    QSignalSpy spy(manager.get(), &BaseDownloadManager::speed2);
    const auto item = [](const char* guid, int done, int bandwidth) {
        return File(QLatin1String(guid), QStringLiteral("Downloading"),
                    with(bytes(100000000, 0, done), "bandwidth_byte", bandwidth));
    };
    nowMs += 200;
    group(QStringLiteral("Progressing"), {item("a", 1000000, 111), item("b", 0, 0)}); // seeds the measurement
    nowMs += 799;
    group(QStringLiteral("Progressing"), {item("a", 2000000, 111), item("b", 0, 0)});
    QVERIFY(spy.isEmpty());
    nowMs += 1;
    group(QStringLiteral("Progressing"), {item("a", 5000000, 5000), item("b", 0, 55)});
    QCOMPARE(spy.size(), 1);
    // The engine's own figure for all files together, as there is no average yet; then the measured one: 4 MB in the
    // second since the run began, and 195 MB left.
    QCOMPARE(spy.takeFirst(),
             (QVariantList{qint64(5055), qint64(4000000), QStringLiteral("3.81label_unit_mblabel_speed_second"),
                           QStringLiteral("00:00:48"), kGroup}));
    // Directly after the progress that it belongs to.
    QVERIFY(events->Lines().at(events->Lines().size() - 2).startsWith(QStringLiteral("downloadProgress(5000000 of")));
    QCOMPARE(events->Last(), QStringLiteral("speed2(5055, 3)"));

    nowMs += 999;
    group(QStringLiteral("Progressing"), {item("a", 7000000, 9), item("b", 0, 0)});
    QVERIFY(spy.isEmpty());
    nowMs += 1;
    group(QStringLiteral("Success"), {item("a", 7000000, 9), item("b", 0, 0)});
    QCOMPARE(spy.size(), 1);
    QCOMPARE(spy.first().at(1).toLongLong(), qint64(3000000)); // 6 MB in two seconds
    QCOMPARE(events->Last(), QStringLiteral("finish(3)"));
}

void tst_VantorDownloadManagerCallbacks::speedIsMeasuredBetweenReports()
{
    QSignalSpy spy(manager.get(), &BaseDownloadManager::speed2);
    const auto item = [](int done) {
        return File(QStringLiteral("a"), QStringLiteral("Downloading"), bytes(100000000, 0, done));
    };
    // However many callbacks come before a report, only the first of them is a sample.
    for (int callback = 1; callback <= 30; ++callback)
        group(QStringLiteral("Progressing"), {item(callback * 1000)});
    nowMs += 1000;
    group(QStringLiteral("Progressing"), {item(41000)});
    QCOMPARE(spy.size(), 1);
    QCOMPARE(spy.first().at(1).toLongLong(), qint64(40000));
}

void tst_VantorDownloadManagerCallbacks::speedComesEverySecond()
{
    // With the manager's own interval and clock.
    const qint64 beginMs = QDateTime::currentMSecsSinceEpoch();
    manager = std::make_unique<VantorDownloadManager>(nullptr, QStringLiteral("net"));
    events = std::make_unique<DownloadEvents>(manager.get());
    start();
    const auto isReported = [this] {
        group(QStringLiteral("Progressing"),
              {File(QStringLiteral("a"), QStringLiteral("Downloading"), bytes(100, 0, 10))});
        return events->Count(QStringLiteral("speed2(")) > 0;
    };
    QTRY_VERIFY(isReported());
    QVERIFY(QDateTime::currentMSecsSinceEpoch() - beginMs >= 1000);
}

void tst_VantorDownloadManagerCallbacks::speedComesOnlyWithProgress()
{
    nowMs += 5000;
    const QJsonObject item = File(QStringLiteral("a"), QStringLiteral("Downloading"), bytes(100, 0, 10));
    group(QStringLiteral("Verifying"), {item});
    group(QStringLiteral("Cancelling"), {item});
    group(QStringLiteral("Progressing"), {File(QStringLiteral("a"), QStringLiteral("Verifying"), bytes(100, 0, 100))});
    QCOMPARE(events->Count(QStringLiteral("speed2(")), 0);
}

void tst_VantorDownloadManagerCallbacks::nextRunMeasuresAfresh()
{
    QSignalSpy spy(manager.get(), &BaseDownloadManager::speed2);
    const auto item = [](int done) {
        return File(QStringLiteral("a"), QStringLiteral("Downloading"), bytes(100000000, 0, done));
    };
    nowMs += 1000;
    group(QStringLiteral("Progressing"), {item(50000000)});
    QCOMPARE(spy.size(), 1);
    nowMs += 600;
    start();
    nowMs += 999;
    group(QStringLiteral("Progressing"), {item(0)});
    QCOMPARE(spy.size(), 1); // the interval began with the run
    nowMs += 1;
    group(QStringLiteral("Progressing"), {item(1024)});
    QCOMPARE(spy.size(), 2);
    QCOMPARE(spy.last().at(1).toLongLong(), qint64(1024));
    QCOMPARE(spy.last().at(2).toString(), QStringLiteral("1.00label_unit_kblabel_speed_second"));
}

void tst_VantorDownloadManagerCallbacks::speedPrefersTheAverage()
{
    const auto report = [this](int bandwidth) {
        nowMs += 1000;
        group(QStringLiteral("Progressing"), {File(QStringLiteral("a"), QStringLiteral("Downloading"),
                                                   with(bytes(1000, 0, 10), "bandwidth_byte", bandwidth))});
        return events->Last();
    };
    QCOMPARE(report(1), QStringLiteral("speed2(1, 3)"));
    manager->OnTimeoutToCalcDownloadSpeed(); // 1: the average is 1 and counts from now on
    QCOMPARE(report(10), QStringLiteral("speed2(1, 3)"));
    manager->OnTimeoutToCalcDownloadSpeed();             // 1, 10
    QCOMPARE(report(0), QStringLiteral("speed2(5, 3)")); // the integer mean
    start();
    QCOMPARE(report(7), QStringLiteral("speed2(7, 3)")); // the next run averages afresh
}

void tst_VantorDownloadManagerCallbacks::averageTakesReportedSpeeds()
{
    const auto item = [](int bandwidth) {
        return File(QStringLiteral("a"), QStringLiteral("Downloading"),
                    with(bytes(1000, 0, 10), "bandwidth_byte", bandwidth));
    };
    nowMs += 1000;
    group(QStringLiteral("Progressing"), {item(500)});
    nowMs += 999;
    group(QStringLiteral("Progressing"), {item(900)}); // too early for a report
    manager->OnTimeoutToCalcDownloadSpeed();
    nowMs += 1;
    group(QStringLiteral("Progressing"), {item(0)});
    QCOMPARE(events->Last(), QStringLiteral("speed2(500, 3)"));
}

void tst_VantorDownloadManagerCallbacks::averageKeepsTenSamples()
{
    const auto report = [this](int bandwidth) {
        nowMs += 1000;
        group(QStringLiteral("Progressing"), {File(QStringLiteral("a"), QStringLiteral("Downloading"),
                                                   with(bytes(1000, 0, 10), "bandwidth_byte", bandwidth))});
        return events->Last();
    };
    // Twelve ticks of growing speeds, of which the last ten count: 300, 400, ... 1200.
    for (int tick = 1; tick <= 12; ++tick) {
        report(tick * 100);
        manager->OnTimeoutToCalcDownloadSpeed();
    }
    QCOMPARE(report(5), QStringLiteral("speed2(750, 3)"));
}

void tst_VantorDownloadManagerCallbacks::hugeSpeedsDoNotOverflow()
{
    const QJsonObject item =
        File(QStringLiteral("a"), QStringLiteral("Downloading"), with(bytes(1000, 0, 10), "bandwidth_byte", 1.8e19));
    for (int tick = 0; tick < 20; ++tick) {
        nowMs += 1000;
        group(QStringLiteral("Progressing"), {item});
        QVERIFY(events->Last().startsWith(QStringLiteral("speed2(")));
        QVERIFY(!events->Last().contains(QLatin1Char('-')));
        manager->OnTimeoutToCalcDownloadSpeed();
    }
}

void tst_VantorDownloadManagerCallbacks::averageTicksByItself()
{
    const auto report = [this](int bandwidth) {
        nowMs += 1000;
        group(QStringLiteral("Progressing"), {File(QStringLiteral("a"), QStringLiteral("Downloading"),
                                                   with(bytes(1000, 0, 10), "bandwidth_byte", bandwidth))});
        return events->Last();
    };
    QCOMPARE(report(500), QStringLiteral("speed2(500, 3)"));
    QSignalSpy ticks(timer(), &QTimer::timeout);
    QVERIFY(ticks.wait());
    QCOMPARE(report(0), QStringLiteral("speed2(500, 3)"));
}

void tst_VantorDownloadManagerCallbacks::netInfoIsLoggedOncePerFile()
{
    const QJsonObject item = File(QStringLiteral("a"), QStringLiteral("Downloading"),
                                  {{QStringLiteral("remote_address"), QStringLiteral("127.0.0.9")},
                                   {QStringLiteral("canonical_name"), QJsonArray{QStringLiteral("cdn.example.org")}}});
    const auto lines = [this] { return log->texts(kInfo).filter(QStringLiteral("127.0.0.9")); };
    group(QStringLiteral("Progressing"), {item});
    group(QStringLiteral("Progressing"), {item});
    QCOMPARE(lines(), QStringList(QStringLiteral("[net] [vantor] url: http://127.0.0.1/a, remote address: 127.0.0.9, "
                                                 "canonical name: [cdn.example.org]")));
    start();
    group(QStringLiteral("Progressing"), {item});
    QCOMPARE(lines().size(), 1);
}

void tst_VantorDownloadManagerCallbacks::finishFromOutside()
{
    manager->onGroupFinish(44);
    QCOMPARE(events->Lines(), QStringList(QStringLiteral("finish(44)")));
    QCOMPARE(engine->TakeCallLines(), QStringList(QStringLiteral("Cancel(g)")));
    QCOMPARE(log->texts(), (QStringList{QStringLiteral("[net][vantor] finished download task, groupGuid: g"),
                                        QStringLiteral("[net][vantor] stop download task, groupGuid: g")}));
    QCOMPARE(log->texts(kInfo).size(), 2);
}

void tst_VantorDownloadManagerCallbacks::emptySlotsDoNothing()
{
    manager->onGetTotalSize(QStringLiteral("http://127.0.0.1/a"), 5);
    manager->onStateCallback(QStringLiteral("{}"));
    QCOMPARE(events->Lines(), QStringList());
    QCOMPARE(log->texts(), QStringList());
    QCOMPARE(engine->TakeCallLines(), QStringList());
}

void tst_VantorDownloadManagerCallbacks::textSlotsParse()
{
    manager->singleTaskCallback(
        QStringLiteral("a"), QString::fromUtf8(EngineTexts::Text(failedFile(QStringLiteral("a"), false, "url_net_error",
                                                                            ErrorDetail(1, 2, QString())))));
    QCOMPARE(events->Count(QStringLiteral("errorRetry(code 6001,")), 1);
    manager->groupTaskCallback(kGuid, QString::fromUtf8(EngineTexts::Group(kGuid, QStringLiteral("Success"), {})));
    QCOMPARE(events->Last(), QStringLiteral("finish(3)"));
}

void tst_VantorDownloadManagerCallbacks::nextRunStartsAfresh()
{
    freeBytes = 0;
    group(QStringLiteral("Progressing"));
    file(failedFile(QStringLiteral("a"), true, "url_net_error", ErrorDetail(1, 2, QStringLiteral("m"))));
    manager->StopDownloadTask(kGroup);
    group(QStringLiteral("Cancelled"));
    start();

    // No mark of the stop, of the disk or of the failed file is left.
    freeBytes = kDiskSpaceLimit;
    group(QStringLiteral("Progressing"));
    QCOMPARE(probed.size(), 2);
    group(QStringLiteral("Cancelled"));
    QCOMPARE(events->Take(), QStringList(QStringLiteral("cancelled(3)")));
    QCOMPARE(log->texts().last(), QStringLiteral("[net] cancelled"));
    start();
    group(QStringLiteral("Failed"));
    QCOMPARE(events->Take().size(), 1);
    QCOMPARE(log->texts(kError).size(), 1);
    QVERIFY(log->texts(kError).first().contains(QStringLiteral("list empty")));
}

QTEST_GUILESS_MAIN(tst_VantorDownloadManagerCallbacks)

#include "tst_VantorDownloadManagerCallbacks.moc"

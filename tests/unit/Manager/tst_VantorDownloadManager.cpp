// SPDX-License-Identifier: MIT
// The request side of the engine back-end: what its commands send to the engine.
#include "DownloadEvents.h"
#include "EngineDouble.h"
#include "LogCapture.h"
#include "Manager/VantorDownloadManager.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMetaEnum>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <limits>
#include <memory>

namespace {

constexpr int kDetail = 1;
constexpr int kInfo = 2;
constexpr int kWarning = 3;
constexpr int kError = 4;

DownloadTaskModel model(const QString& url, const QString& path = QStringLiteral("C:/Games/Demo"),
                        const QString& md5 = QStringLiteral("0123456789abcdef0123456789ABCDEF"), qint64 size = 123)
{
    DownloadTaskModel file;
    file.Init(url, path, md5, QString(), size);
    return file;
}

QVector<DownloadTaskModel> oneFile()
{
    return {model(QStringLiteral("http://127.0.0.1/data.pak"))};
}

QJsonObject parsed(const QString& text)
{
    return QJsonDocument::fromJson(text.toUtf8()).object();
}

QJsonObject firstItem(const QString& list)
{
    return parsed(list).value(QStringLiteral("download_items")).toArray().at(0).toObject();
}

QStringList sortedKeys(const QJsonObject& object)
{
    return object.keys(); // QJsonObject keeps them sorted
}

/// \brief An empty file, with the folders above it.
bool touch(const QString& path)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly);
}

} // namespace

class tst_VantorDownloadManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void namesItself();
    void belongsToItsParent();
    void groupStatusHasFixedNumbers_data();
    void groupStatusHasFixedNumbers();
    void itemStatusHasFixedNumbers_data();
    void itemStatusHasFixedNumbers();
    void statusesAreKnownToTheMetaObject();

    void listHasExactKeys();
    void listIsCompactText();
    void listOfNothingIsEmpty();
    void listKeepsOrder();
    void sizeIsText();
    void unknownSizeComesFromTheHeader_data();
    void unknownSizeComesFromTheHeader();
    void knownSizeLogsNoWarning();
    void emptyPathHasNoKey();
    void disableResumeAddsKeyToEachItem();
    void pcdnAddsKeyOnlyWhenOn();
    void businessTagIsAlwaysThere();
    void urlIsPercentEncodedAndNameIsNot();
    void listAnnouncesSizes();

    void setTaskAllocatesIds();
    void setTaskLogsAndLeavesTheEngineAlone();
#if defined(QT_NO_DEBUG) // elsewhere an assertion ends the process, see emptyRequestsAreErrors
    void emptySetTaskIsLogged();
    void emptySetTaskKeepsTheStoredModels();
    void startOfUnknownEmptyGroupIsLogged();
#endif

    void startSubmitsTheList();
    void startLogsInOrder();
    void startUsesStoredModels();
    void startPrefersGivenModels();
    void emptyRequestsAreErrors_data();
    void emptyRequestsAreErrors();
    void startAdoptsTheGroupId();
    void engineGuidIsCopied();
    void engineWithoutGuid();

    void stopCancelsTheGroup();
    void stopOfAnotherGroupCancelsNothing();
    void stopAllCancelsTheGroup();
    void removeIgnoresItsArgument();
    void removeAllDoesNothing();

    void speedLimitGoesOutInBytes_data();
    void speedLimitGoesOutInBytes();
    void rootPathStaysOutOfRequests();
    void everyGuidBelongsToTheCurrentGroup();

    void deletesPartialFileByUrl();
    void deletesWriteProtectedPartialFile();
    void givesOthersAccessBeforeDeleting();
    void deletesNothingElse();
    void setTaskForgetsFormerUrls();

    void totalSizeHandlerDeletesTheManager();
    void totalSizeHandlerStartsAnotherRun();
    void totalSizeHandlerReplacesTheModels();

private:
    std::unique_ptr<EngineDoubleClient> engine;
    std::unique_ptr<LogCapture> log;
    std::unique_ptr<VantorDownloadManager> manager;
};

void tst_VantorDownloadManager::init()
{
    engine = std::make_unique<EngineDoubleClient>();
    QVERIFY(engine->IsThere());
    log = std::make_unique<LogCapture>();
    manager = std::make_unique<VantorDownloadManager>(nullptr, QStringLiteral("net"));
}

void tst_VantorDownloadManager::cleanup()
{
    manager.reset();
    log.reset();
    engine.reset();
}

void tst_VantorDownloadManager::namesItself()
{
    QCOMPARE(manager->id(), QStringLiteral("vantor"));
    QVERIFY(manager->IsValid());
}

void tst_VantorDownloadManager::belongsToItsParent()
{
    QObject parent;
    const VantorDownloadManager child(&parent, QStringLiteral("net"));
    QCOMPARE(child.parent(), &parent);
}

void tst_VantorDownloadManager::groupStatusHasFixedNumbers_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("number");
    const char* names[] = {"Invalid",    "Pending",   "Start",  "Progressing", "Verifying",
                           "Cancelling", "Cancelled", "Failed", "Success",     "Duplicated"};
    int number = -1;
    for (const char* name : names)
        QTest::newRow(name) << QString::fromLatin1(name) << number++;
    QTest::newRow("unknown") << QStringLiteral("Paused") << -1;
    QTest::newRow("empty") << QString() << -1;
    QTest::newRow("other case") << QStringLiteral("success") << -1;
    QTest::newRow("of a file") << QStringLiteral("Downloading") << -1;
    QTest::newRow("qualified") << QStringLiteral("VantorDownloadManager::Success") << -1;
    QTest::newRow("with a null character") << QString(QStringLiteral("Success") + QChar(QChar::Null)) << -1;
}

void tst_VantorDownloadManager::groupStatusHasFixedNumbers()
{
    QFETCH(QString, name);
    QTEST(VantorDownloadManager::GetGroupStatusByName(name), "number");
}

void tst_VantorDownloadManager::itemStatusHasFixedNumbers_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("number");
    const char* names[] = {"Invalid",   "Pending",  "Start",      "Preparing", "Prepared", "Downloading", "Downloaded",
                           "Verifying", "Verified", "Cancelling", "Cancelled", "Failed",   "Success"};
    int number = 0;
    for (const char* name : names)
        QTest::newRow(name) << QString::fromLatin1(name) << number++;
    QTest::newRow("unknown") << QStringLiteral("Paused") << -1;
    QTest::newRow("empty") << QString() << -1;
    QTest::newRow("other case") << QStringLiteral("failed") << -1;
    QTest::newRow("of a group") << QStringLiteral("Progressing") << -1;
    QTest::newRow("qualified") << QStringLiteral("VantorDownloadManager::Success") << -1;
    QTest::newRow("with a null character") << QString(QStringLiteral("Success") + QChar(QChar::Null)) << -1;
}

void tst_VantorDownloadManager::itemStatusHasFixedNumbers()
{
    QFETCH(QString, name);
    QTEST(VantorDownloadManager::GetItemStatusByName(name), "number");
}

void tst_VantorDownloadManager::statusesAreKnownToTheMetaObject()
{
    const auto groups = QMetaEnum::fromType<VantorDownloadManager::GroupStatus>();
    QCOMPARE(groups.keyCount(), 10);
    QVERIFY(groups.isScoped());
    const auto items = QMetaEnum::fromType<VantorDownloadManager::ItemStatus>();
    QCOMPARE(items.keyCount(), 13);
    QVERIFY(items.isScoped());
}

void tst_VantorDownloadManager::listHasExactKeys()
{
    const QString list = manager->GetDownloadListFromDownloadModels(
        {model(QStringLiteral("http://127.0.0.1/a/data.pak?x=1"), QStringLiteral("C:/Games/Demo"),
               QStringLiteral("AbC"), 123)});
    const QJsonObject expected{
        {QStringLiteral("root_path"), QString(QLatin1String(""))},
        {QStringLiteral("business_tag"), QString(QLatin1String(""))},
        {QStringLiteral("download_items"),
         QJsonArray{QJsonObject{
             {QStringLiteral("url"), QStringLiteral("http://127.0.0.1/a/data.pak?x=1")},
             {QStringLiteral("name"), QStringLiteral("data.pak")},
             {QStringLiteral("size"), QStringLiteral("123")},
             {QStringLiteral("checksum"), QStringLiteral("AbC")},
             {QStringLiteral("relative_path"), QStringLiteral("C:/Games/Demo/")},
         }}},
    };
    QCOMPARE(parsed(list), expected);
}

void tst_VantorDownloadManager::listIsCompactText()
{
    const QString list = manager->GetDownloadListFromDownloadModels(oneFile());
    const auto document = QJsonDocument::fromJson(list.toUtf8());
    QVERIFY(document.isObject());
    QCOMPARE(list, QString::fromUtf8(document.toJson(QJsonDocument::Compact)));
}

void tst_VantorDownloadManager::listOfNothingIsEmpty()
{
    QCOMPARE(manager->GetDownloadListFromDownloadModels({}), QString());
}

void tst_VantorDownloadManager::listKeepsOrder()
{
    QVector<DownloadTaskModel> models;
    for (const char* name : {"c", "a", "b"})
        models.append(model(QStringLiteral("http://127.0.0.1/") + QLatin1String(name)));
    const QJsonArray items =
        parsed(manager->GetDownloadListFromDownloadModels(models)).value(QStringLiteral("download_items")).toArray();
    QStringList names;
    for (const QJsonValue item : items)
        names.append(item.toObject().value(QStringLiteral("name")).toString());
    QCOMPARE(names, (QStringList{QStringLiteral("c"), QStringLiteral("a"), QStringLiteral("b")}));
}

void tst_VantorDownloadManager::sizeIsText()
{
    const QString list = manager->GetDownloadListFromDownloadModels({model(
        QStringLiteral("http://127.0.0.1/big"), QStringLiteral("x"), QString(), std::numeric_limits<qint64>::max())});
    const QJsonValue size = firstItem(list).value(QStringLiteral("size"));
    QVERIFY(size.isString());
    QCOMPARE(size.toString(), QStringLiteral("9223372036854775807"));
}

void tst_VantorDownloadManager::unknownSizeComesFromTheHeader_data()
{
    QTest::addColumn<qint64>("size");
    QTest::newRow("zero") << qint64(0);
    QTest::newRow("negative") << qint64(-1);
}

void tst_VantorDownloadManager::unknownSizeComesFromTheHeader()
{
    QFETCH(qint64, size);
    const QString list = manager->GetDownloadListFromDownloadModels(
        {model(QStringLiteral("http://127.0.0.1/x"), QStringLiteral("p"), QStringLiteral("md5"), size)});
    const QJsonObject item = firstItem(list);
    QCOMPARE(sortedKeys(item),
             (QStringList{QStringLiteral("checksum"), QStringLiteral("http_header_size"), QStringLiteral("name"),
                          QStringLiteral("relative_path"), QStringLiteral("url")}));
    QCOMPARE(item.value(QStringLiteral("http_header_size")).toString(), QStringLiteral("Content-Length"));
    QCOMPARE(log->texts(kWarning),
             QStringList(QStringLiteral("[net] [vantor] size not set, will use Content-Length to fetch size of the "
                                        "url http://127.0.0.1/x")));
}

void tst_VantorDownloadManager::knownSizeLogsNoWarning()
{
    manager->GetDownloadListFromDownloadModels({model(QStringLiteral("http://127.0.0.1/x"), QString(), QString(), 1)});
    QCOMPARE(log->texts(kWarning), QStringList());
}

void tst_VantorDownloadManager::emptyPathHasNoKey()
{
    const QJsonObject item =
        firstItem(manager->GetDownloadListFromDownloadModels({model(QStringLiteral("http://127.0.0.1/x"), QString())}));
    QCOMPARE(sortedKeys(item), (QStringList{QStringLiteral("checksum"), QStringLiteral("name"), QStringLiteral("size"),
                                            QStringLiteral("url")}));
}

void tst_VantorDownloadManager::disableResumeAddsKeyToEachItem()
{
    const QString key = QStringLiteral("disable_resume_download");
    const QVector<DownloadTaskModel> models{model(QStringLiteral("http://127.0.0.1/a")),
                                            model(QStringLiteral("http://127.0.0.1/b"))};
    manager->SetDisableResumeDownload(true);
    const QJsonArray items =
        parsed(manager->GetDownloadListFromDownloadModels(models)).value(QStringLiteral("download_items")).toArray();
    QCOMPARE(items.size(), 2);
    for (const QJsonValue item : items)
        QCOMPARE(item.toObject().value(key), QJsonValue(true));

    manager->SetDisableResumeDownload(false);
    QVERIFY(!firstItem(manager->GetDownloadListFromDownloadModels(models)).contains(key));
}

void tst_VantorDownloadManager::pcdnAddsKeyOnlyWhenOn()
{
    const QString key = QStringLiteral("enable_pcdn");
    manager->SetEnablePcdn(true);
    const QJsonObject on = parsed(manager->GetDownloadListFromDownloadModels(oneFile()));
    QCOMPARE(sortedKeys(on), (QStringList{QStringLiteral("business_tag"), QStringLiteral("download_items"), key,
                                          QStringLiteral("root_path")}));
    QCOMPARE(on.value(key), QJsonValue(true));

    manager->SetEnablePcdn(false);
    QVERIFY(!parsed(manager->GetDownloadListFromDownloadModels(oneFile())).contains(key));
}

void tst_VantorDownloadManager::businessTagIsAlwaysThere()
{
    const QString key = QStringLiteral("business_tag");
    QCOMPARE(parsed(manager->GetDownloadListFromDownloadModels(oneFile())).value(key),
             QJsonValue(QString(QLatin1String(""))));
    manager->SetBusinessTag(QStringLiteral("更新"));
    QCOMPARE(parsed(manager->GetDownloadListFromDownloadModels(oneFile())).value(key),
             QJsonValue(QStringLiteral("更新")));
}

void tst_VantorDownloadManager::urlIsPercentEncodedAndNameIsNot()
{
    const QJsonObject item = firstItem(
        manager->GetDownloadListFromDownloadModels({model(QStringLiteral("http://127.0.0.1/a b/Größe 1.pak?q=ü"))}));
    QCOMPARE(item.value(QStringLiteral("url")).toString(),
             QStringLiteral("http://127.0.0.1/a%20b/Gr%C3%B6%C3%9Fe%201.pak?q=%C3%BC"));
    QCOMPARE(item.value(QStringLiteral("name")).toString(), QStringLiteral("Größe 1.pak"));
}

void tst_VantorDownloadManager::listAnnouncesSizes()
{
    DownloadEvents events(manager.get());
    manager->GetDownloadListFromDownloadModels({model(QStringLiteral("http://127.0.0.1/b c"), QString(), QString(), 7),
                                                model(QStringLiteral("http://127.0.0.1/a"), QString(), QString(), 0)});
    QCOMPARE(events.Lines(), (QStringList{QStringLiteral("totalSize(http://127.0.0.1/b%20c, 7)"),
                                          QStringLiteral("totalSize(http://127.0.0.1/a, 0)")}));
}

void tst_VantorDownloadManager::setTaskAllocatesIds()
{
    const int first = manager->SetTask(oneFile(), Normal, -1);
    QCOMPARE(manager->SetTask(oneFile(), Low, -1), first + 1);
    QCOMPARE(manager->SetTask(oneFile(), High, -1), first + 2);
    QCOMPARE(manager->SetTask(oneFile(), Normal, 40), 40);
    QCOMPARE(manager->SetTask(oneFile(), Normal, -1), 41);
    QCOMPARE(manager->SetTask(oneFile(), Normal, 3), 3);
}

void tst_VantorDownloadManager::setTaskLogsAndLeavesTheEngineAlone()
{
    DownloadEvents events(manager.get());
    const int id = manager->SetTask(oneFile(), Normal, 5);
    QCOMPARE(id, 5);
    const auto records = log->records();
    QCOMPARE(records.size(), std::size_t(1));
    const QString list = manager->GetDownloadListFromDownloadModels(oneFile());
    QCOMPARE(QString::fromStdString(records[0].text),
             QString(QStringLiteral("[net][vantor] set task, groupId: 5, downloadList: ") + list));
    QCOMPARE(records[0].level, kInfo);
    QCOMPARE(records[0].function, std::string("VantorDownloadManager::SetTask"));
    QVERIFY(QString::fromStdString(records[0].file)
                .startsWith(QStringLiteral("src/base/QComm/Manager/VantorDownloadManager")));
    QCOMPARE(events.Take().value(0), QStringLiteral("totalSize(http://127.0.0.1/data.pak, 123)"));
    QCOMPARE(engine->TakeCallLines(), QStringList());
}

#if defined(QT_NO_DEBUG)
void tst_VantorDownloadManager::emptySetTaskIsLogged()
{
    QCOMPARE(manager->SetTask({}, Normal, 9), 9);
    QCOMPARE(log->texts(), (QStringList{QStringLiteral("[net]SetTask-SetDownloadList is empty"),
                                        QStringLiteral("[net][vantor] set task, groupId: 9, downloadList: ")}));
    QCOMPARE(log->texts(kError).size(), 1);
    QCOMPARE(log->texts(kInfo).size(), 1);
}

void tst_VantorDownloadManager::emptySetTaskKeepsTheStoredModels()
{
    manager->SetTask({model(QStringLiteral("http://127.0.0.1/stored"))}, Normal, 9);
    manager->SetTask({}, Normal, 9);
    manager->StartDownloadTask(9, {}, QString());
    QCOMPARE(firstItem(engine->TakeCalls().value(0).text1).value(QStringLiteral("name")).toString(),
             QStringLiteral("stored"));
}
#endif

void tst_VantorDownloadManager::startSubmitsTheList()
{
    manager->StartDownloadTask(3, oneFile(), QStringLiteral("C:/Games"));
    const QString list = manager->GetDownloadListFromDownloadModels(oneFile());
    QCOMPARE(engine->TakeCallLines(), QStringList(QStringLiteral("SetDownloadList(%1, )").arg(list)));
}

void tst_VantorDownloadManager::startLogsInOrder()
{
    manager->SetTask(oneFile(), Normal, 2);
    log->clear();
    engine->NextGroupGuid(QStringLiteral("{g-1}"));
    manager->StartDownloadTask(3, oneFile(), QStringLiteral("C:/Games"));
    const QString list = manager->GetDownloadListFromDownloadModels(oneFile());
    // The first line still names the group that was current before.
    QCOMPARE(log->texts(),
             (QStringList{
                 QStringLiteral("[net][vantor] start download task, groupId: 2, install path: C:/Games"),
                 QString(QStringLiteral("[net] [vantor] start download task, groupGuid: {g-1}, downloadList: ") + list),
             }));
    QCOMPARE(log->texts(kInfo).size(), 2);
}

void tst_VantorDownloadManager::startUsesStoredModels()
{
    manager->SetTask({model(QStringLiteral("http://127.0.0.1/two"))}, Normal, 2);
    manager->SetTask({model(QStringLiteral("http://127.0.0.1/three"))}, Normal, 3);
    log->clear();
    manager->StartDownloadTask(2, {}, QStringLiteral("C:/Games"));
    const QList<EngineCall> calls = engine->TakeCalls();
    QCOMPARE(calls.size(), 1);
    QCOMPARE(firstItem(calls[0].text1).value(QStringLiteral("name")).toString(), QStringLiteral("two"));
    // It calls itself with the stored files, so the first line comes twice.
    QCOMPARE(log->count(kInfo, QStringLiteral("[net][vantor] start download task, groupId: 3, install path: C:/Games")),
             2);
    QCOMPARE(log->texts(kError), QStringList());
}

void tst_VantorDownloadManager::startPrefersGivenModels()
{
    manager->SetTask({model(QStringLiteral("http://127.0.0.1/stored"))}, Normal, 2);
    manager->StartDownloadTask(2, {model(QStringLiteral("http://127.0.0.1/given"))}, QString());
    const QList<EngineCall> calls = engine->TakeCalls();
    QCOMPARE(calls.size(), 1);
    QCOMPARE(firstItem(calls[0].text1).value(QStringLiteral("name")).toString(), QStringLiteral("given"));
    manager->StartDownloadTask(2, {}, QString());
    QCOMPARE(firstItem(engine->TakeCalls().value(0).text1).value(QStringLiteral("name")).toString(),
             QStringLiteral("stored"));
}

#if defined(QT_NO_DEBUG)
void tst_VantorDownloadManager::startOfUnknownEmptyGroupIsLogged()
{
    manager->StartDownloadTask(8, {}, QStringLiteral("C:/Games"));
    QCOMPARE(log->texts(kError), QStringList(QStringLiteral("[net]SetTask-StartDownloadTask is empty")));
    QCOMPARE(engine->TakeCallLines(), QStringList(QStringLiteral("SetDownloadList(, )")));
}
#endif

void tst_VantorDownloadManager::emptyRequestsAreErrors_data()
{
    QTest::addColumn<QString>("request");
    QTest::addColumn<QString>("assertion");
    QTest::newRow("SetTask") << QStringLiteral("--empty-set-task") << QStringLiteral("SetTask-SetDownloadList");
    QTest::newRow("StartDownloadTask") << QStringLiteral("--empty-start")
                                       << QStringLiteral("SetTask-StartDownloadTask");
}

void tst_VantorDownloadManager::emptyRequestsAreErrors()
{
    QFETCH(QString, request);
    QFETCH(QString, assertion);
    QProcess child;
    child.setProcessChannelMode(QProcess::MergedChannels);
    child.start(QCoreApplication::applicationFilePath(), {request});
    QVERIFY(child.waitForFinished());
    const QString output = QString::fromUtf8(child.readAll());
    const QString line = QStringLiteral("[net]%1 is empty").arg(assertion);
    QVERIFY2(output.contains(line), qPrintable(output));
#if defined(QT_NO_DEBUG)
    QCOMPARE(child.exitStatus(), QProcess::NormalExit);
    QCOMPARE(child.exitCode(), 0);
    QVERIFY2(!output.contains(QStringLiteral("ASSERT")), qPrintable(output));
#else
    QCOMPARE(child.exitStatus(), QProcess::CrashExit);
    QVERIFY2(output.contains(QLatin1Char('"') + assertion + QLatin1Char('"')), qPrintable(output));
#endif
}

void tst_VantorDownloadManager::startAdoptsTheGroupId()
{
    manager->StartDownloadTask(17, oneFile(), QString());
    QCOMPARE(manager->GetGroupIdByGroupGuid(QStringLiteral("group-1")), 17);
    QCOMPARE(manager->SetTask(oneFile(), Normal, -1), 18);
}

void tst_VantorDownloadManager::engineGuidIsCopied()
{
    engine->NextGroupGuid(QStringLiteral("größe-1"));
    manager->StartDownloadTask(3, oneFile(), QString());
    engine->ScribbleReturnedTexts();
    engine->TakeCalls();
    manager->StopDownloadTask(3);
    QCOMPARE(engine->TakeCallLines(), QStringList(QStringLiteral("Cancel(größe-1)")));
}

void tst_VantorDownloadManager::engineWithoutGuid()
{
    engine->NextGroupGuidIsNull();
    manager->StartDownloadTask(3, oneFile(), QString());
    engine->TakeCalls();
    manager->StopDownloadTask(3);
    QCOMPARE(engine->TakeCallLines(), QStringList(QStringLiteral("Cancel()")));
}

void tst_VantorDownloadManager::stopCancelsTheGroup()
{
    engine->NextGroupGuid(QStringLiteral("g"));
    manager->StartDownloadTask(3, oneFile(), QString());
    engine->TakeCalls();
    log->clear();
    DownloadEvents events(manager.get());
    manager->StopDownloadTask(3);
    QCOMPARE(engine->TakeCallLines(), QStringList(QStringLiteral("Cancel(g)")));
    QCOMPARE(log->texts(), QStringList(QStringLiteral("[net][vantor] stop download task, groupGuid: g")));
    QCOMPARE(log->texts(kInfo).size(), 1);
    QCOMPARE(events.Lines(), QStringList()); // the end is reported when the engine has ended the group
}

void tst_VantorDownloadManager::stopOfAnotherGroupCancelsNothing()
{
    engine->NextGroupGuid(QStringLiteral("g3"));
    manager->StartDownloadTask(3, oneFile(), QString());
    engine->TakeCalls();
    log->clear();
    manager->StopDownloadTask(4);
    QCOMPARE(engine->TakeCallLines(), QStringList());
    QCOMPARE(log->texts(), QStringList(QStringLiteral("[net][vantor] stop download task, groupGuid: g3")));
}

void tst_VantorDownloadManager::stopAllCancelsTheGroup()
{
    engine->NextGroupGuid(QStringLiteral("g"));
    manager->StartDownloadTask(3, oneFile(), QString());
    engine->TakeCalls();
    manager->StopAllDownloadTask();
    QCOMPARE(engine->TakeCallLines(), QStringList(QStringLiteral("Cancel(g)")));
}

void tst_VantorDownloadManager::removeIgnoresItsArgument()
{
    engine->NextGroupGuid(QStringLiteral("g3"));
    manager->StartDownloadTask(3, oneFile(), QString());
    engine->TakeCalls();
    manager->RemoveDownloadTask(7);
    QCOMPARE(engine->TakeCallLines(), QStringList(QStringLiteral("Cancel(g3)")));
}

void tst_VantorDownloadManager::removeAllDoesNothing()
{
    manager->StartDownloadTask(3, oneFile(), QString());
    engine->TakeCalls();
    log->clear();
    manager->RemoveAllDownloadTask();
    QCOMPARE(engine->TakeCallLines(), QStringList());
    QCOMPARE(log->texts(), QStringList());
}

void tst_VantorDownloadManager::speedLimitGoesOutInBytes_data()
{
    QTest::addColumn<qint64>("kilobytes");
    QTest::addColumn<QString>("bytes");
    QTest::newRow("512") << qint64(512) << QStringLiteral("524288");
    QTest::newRow("none") << qint64(0) << QStringLiteral("0");
    QTest::newRow("beyond 32 bits") << qint64(8388608) << QStringLiteral("8589934592");
    // Beyond 2^53 a JSON number has no more digits than a double.
    QTest::newRow("largest") << std::numeric_limits<qint64>::max() / 1024 << QStringLiteral("9223372036854775000");
    QTest::newRow("larger") << std::numeric_limits<qint64>::max() << QStringLiteral("9223372036854775000");
    QTest::newRow("smallest") << std::numeric_limits<qint64>::min() << QStringLiteral("-9223372036854775000");
}

void tst_VantorDownloadManager::speedLimitGoesOutInBytes()
{
    QFETCH(qint64, kilobytes);
    QFETCH(QString, bytes);
    manager->SetSpeedLimit(kilobytes);
    const QString config =
        QStringLiteral("{\"download_policy\":{\"download_bandwidth\":%1,\"progress_callback_interval\":100}}")
            .arg(bytes);
    QCOMPARE(engine->TakeCallLines(), QStringList(QStringLiteral("SetConfig(%1)").arg(config)));
    QCOMPARE(log->texts(), QStringList(QString(QStringLiteral("[net][vantor] set config: ") + config)));
    QCOMPARE(log->records().front().level, kDetail);
}

void tst_VantorDownloadManager::rootPathStaysOutOfRequests()
{
    manager->UpdateRootPath(QStringLiteral("D:/Root"));
    manager->StartDownloadTask(3, oneFile(), QStringLiteral("D:/Root/Demo"));
    const QString request = engine->TakeCalls().value(0).text1;
    QCOMPARE(parsed(request).value(QStringLiteral("root_path")), QJsonValue(QString(QLatin1String(""))));
    QVERIFY(!request.contains(QStringLiteral("D:/Root")));
}

void tst_VantorDownloadManager::everyGuidBelongsToTheCurrentGroup()
{
    QCOMPARE(manager->GetGroupIdByGroupGuid(QStringLiteral("x")), -1);
    manager->SetTask(oneFile(), Normal, 12);
    QCOMPARE(manager->GetGroupIdByGroupGuid(QString()), 12);
    QCOMPARE(manager->GetGroupIdByGroupGuid(QStringLiteral("never seen")), 12);
}

void tst_VantorDownloadManager::deletesPartialFileByUrl()
{
    const QTemporaryDir folder;
    const QString partial = folder.filePath(QStringLiteral("ä b.pak_tmp"));
    QVERIFY(touch(partial));
    QVERIFY(touch(folder.filePath(QStringLiteral("ä b.pak"))));
    manager->SetTask({model(QStringLiteral("http://127.0.0.1/ä b.pak"), folder.path())}, Normal, 1);
    manager->DeleteFileByUrl(QStringLiteral("http://127.0.0.1/%C3%A4%20b.pak"));
    QVERIFY(!QFile::exists(partial));
    QVERIFY(QFile::exists(folder.filePath(QStringLiteral("ä b.pak"))));
}

void tst_VantorDownloadManager::deletesWriteProtectedPartialFile()
{
    const QTemporaryDir folder;
    const QString partial = folder.filePath(QStringLiteral("a.pak_tmp"));
    QVERIFY(touch(partial));
    QVERIFY(QFile::setPermissions(partial, QFile::ReadOwner | QFile::ReadUser | QFile::ReadOther));
    manager->SetTask({model(QStringLiteral("http://127.0.0.1/a.pak"), folder.path())}, Normal, 1);
    manager->DeleteFileByUrl(QStringLiteral("http://127.0.0.1/a.pak"));
    QVERIFY(!QFile::exists(partial));
}

void tst_VantorDownloadManager::givesOthersAccessBeforeDeleting()
{
#if defined(Q_OS_UNIX)
    // A second name of the file shows what happened to it.
    const QTemporaryDir folder;
    const QString partial = folder.filePath(QStringLiteral("a.pak_tmp"));
    const QString witness = folder.filePath(QStringLiteral("witness"));
    QVERIFY(touch(partial));
    QCOMPARE(QProcess::execute(QStringLiteral("ln"), {partial, witness}), 0);
    manager->SetTask({model(QStringLiteral("http://127.0.0.1/a.pak"), folder.path())}, Normal, 1);
    manager->DeleteFileByUrl(QStringLiteral("http://127.0.0.1/a.pak"));
    QVERIFY(!QFile::exists(partial));
    const auto shared = QFile::permissions(witness) &
                        (QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadGroup | QFile::WriteGroup |
                         QFile::ExeGroup | QFile::ReadOther | QFile::WriteOther | QFile::ExeOther);
    QCOMPARE(int(shared), int(QFile::ReadOther | QFile::WriteOther));
    QCOMPARE(int(QFile::ReadOther | QFile::WriteOther), 6);
#else
    deletesWriteProtectedPartialFile(); // there, the file goes only because it was made writable
#endif
}

void tst_VantorDownloadManager::deletesNothingElse()
{
    const QTemporaryDir folder;
    QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("folder_tmp")));
    const QFile::Permissions permissions = QFile::permissions(folder.filePath(QStringLiteral("folder_tmp")));
    const QString other = folder.filePath(QStringLiteral("other_tmp"));
    QVERIFY(touch(other));
    manager->SetTask({model(QStringLiteral("http://127.0.0.1/folder"), folder.path()),
                      model(QStringLiteral("http://127.0.0.1/missing"), folder.path())},
                     Normal, 1);
    manager->DeleteFileByUrl(QStringLiteral("http://127.0.0.1/folder"));
    manager->DeleteFileByUrl(QStringLiteral("http://127.0.0.1/missing"));
    manager->DeleteFileByUrl(QStringLiteral("http://127.0.0.1/other"));
    manager->DeleteFileByUrl(QString());
    QVERIFY(QDir(folder.filePath(QStringLiteral("folder_tmp"))).exists());
    QCOMPARE(QFile::permissions(folder.filePath(QStringLiteral("folder_tmp"))), permissions);
    QVERIFY(QFile::exists(other));
}

void tst_VantorDownloadManager::setTaskForgetsFormerUrls()
{
    const QTemporaryDir folder;
    const QString partial = folder.filePath(QStringLiteral("a_tmp"));
    QVERIFY(touch(partial));
    manager->SetTask({model(QStringLiteral("http://127.0.0.1/a"), folder.path())}, Normal, 1);
    manager->SetTask({model(QStringLiteral("http://127.0.0.1/b"), folder.path())}, Normal, 1);
    manager->DeleteFileByUrl(QStringLiteral("http://127.0.0.1/a"));
    QVERIFY(QFile::exists(partial));
    manager->StartDownloadTask(1, {model(QStringLiteral("http://127.0.0.1/a"), folder.path())}, QString());
    manager->DeleteFileByUrl(QStringLiteral("http://127.0.0.1/a"));
    QVERIFY(!QFile::exists(partial));
}

void tst_VantorDownloadManager::totalSizeHandlerDeletesTheManager()
{
    int announced = 0;
    connect(manager.get(), &BaseDownloadManager::totalSize, this, [this, &announced] {
        ++announced;
        manager.reset();
    });
    QVector<DownloadTaskModel> models = oneFile() + oneFile();
    VantorDownloadManager* const running = manager.get();
    QCOMPARE(running->SetTask(models, Normal, 6), 6);
    QCOMPARE(announced, 1);

    manager = std::make_unique<VantorDownloadManager>(nullptr, QStringLiteral("net"));
    connect(manager.get(), &BaseDownloadManager::totalSize, this, [this] { manager.reset(); });
    VantorDownloadManager* const starting = manager.get();
    starting->StartDownloadTask(6, models, QString());
    QVERIFY(!manager);
    QCOMPARE(engine->TakeCallLines(), QStringList());
}

void tst_VantorDownloadManager::totalSizeHandlerStartsAnotherRun()
{
    bool started = false;
    connect(manager.get(), &BaseDownloadManager::totalSize, this, [this, &started] {
        if (std::exchange(started, true))
            return;
        engine->NextGroupGuid(QStringLiteral("inner"));
        manager->StartDownloadTask(2, {model(QStringLiteral("http://127.0.0.1/inner"))}, QString());
    });
    manager->StartDownloadTask(1, {model(QStringLiteral("http://127.0.0.1/outer"))}, QString());
    // The run that began last is the current one, and the only one that was submitted.
    const QList<EngineCall> calls = engine->TakeCalls();
    QCOMPARE(calls.size(), 1);
    QCOMPARE(firstItem(calls[0].text1).value(QStringLiteral("name")).toString(), QStringLiteral("inner"));
    QCOMPARE(manager->GetGroupIdByGroupGuid(QString()), 2);
    manager->StopAllDownloadTask();
    QCOMPARE(engine->TakeCallLines(), QStringList(QStringLiteral("Cancel(inner)")));
}

void tst_VantorDownloadManager::totalSizeHandlerReplacesTheModels()
{
    QVector<DownloadTaskModel> models;
    for (int i = 0; i < 100; ++i)
        models.append(model(QStringLiteral("http://127.0.0.1/%1").arg(i)));
    connect(manager.get(), &BaseDownloadManager::totalSize, this, [&models] { models.clear(); });
    manager->StartDownloadTask(1, models, QString());
    const QString list = engine->TakeCalls().value(0).text1;
    QCOMPARE(parsed(list).value(QStringLiteral("download_items")).toArray().size(), 100);
}

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const QString request = application.arguments().value(1);
    if (request == QLatin1String("--empty-set-task")) {
        VantorDownloadManager(nullptr, QStringLiteral("net")).SetTask({}, Normal, 1);
        return 0;
    }
    if (request == QLatin1String("--empty-start")) {
        VantorDownloadManager(nullptr, QStringLiteral("net")).StartDownloadTask(1, {}, QString());
        return 0;
    }
    tst_VantorDownloadManager test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_VantorDownloadManager.moc"

// SPDX-License-Identifier: MIT
// The local side of a task: preparing, checking and placing files, without a server.
#include "LogCapture.h"
#include "MetaMethods.h"
#include "TaskProbe.h"
#include "Tool/MD5CheckWorker.h"
#include "VirtualPlaces.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QThread>
#include <QTimer>
#include <QTranslator>
#include <QtTest>

#include <memory>

namespace {

const QByteArray kContent("the whole file");

// A file of zeros that takes no space and minutes to hash; ending its check must not take even a part of that.
constexpr qint64 kHugeBytes = qint64(64) << 30;
constexpr qint64 kAtOnceMs = 10000;

QStringList texts(std::initializer_list<const char*> list)
{
    QStringList result;
    for (const char* text : list)
        result << QString::fromLatin1(text);
    return result;
}

/// Answers every key of one context with "<key>".
class Brackets : public QTranslator
{
public:
    QString translate(const char* context, const char* source, const char* /*hint*/, int /*n*/) const override
    {
        return qstrcmp(context, "DownloadTask") == 0 ? QStringLiteral("<%1>").arg(QString::fromUtf8(source))
                                                     : QString();
    }
    bool isEmpty() const override { return false; }
};

} // namespace

class tst_DownloadTask : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void declaresItsSignalsAndSlots();
    void startsIdle();
    void statusValues();
    void namesOfTheFiles();
    void reservedOperationDoesNothing();

    void initTakesAnExistingDestination();
    void initFailures_data();
    void initFailures();
    void initRefusesUnsafeNames_data();
    void initRefusesUnsafeNames();
    void initAcceptsUnusualNames_data();
    void initAcceptsUnusualNames();
    void initCreatesTheFolder();
    void initResumes();
    void initClearsTheLastError();
    void initTakesALeftOverWithoutMd5();
    void initChecksALeftOver();
    void initFailsWhenTheLeftOverCannotBeTaken();

    void startFinishesACompleteFile_data();
    void startFinishesACompleteFile();
    void startFinishesAFileThatIsLarger();
    void startDoesNothingWhile_data();
    void startDoesNothingWhile();

    void md5MatchIgnoresCase();
    void md5UsesTheSalt();
    void md5MismatchDeletesTheFile();
    void md5MismatchIsToldBeforeTheFileGoes();
    void md5MismatchMayBeStartedAnewAtOnce();
    void md5MismatchMayBeGivenUpAtOnce_data();
    void md5MismatchMayBeGivenUpAtOnce();
    void md5MismatchDeletesADestinationThatAppeared();
    void md5MatchKeepsADestinationThatAppeared();
    void md5DestinationThatCannotBeDeletedEnds();
    void md5RunsOnAThreadOfItsOwn();
    void stopDuringTheCheckReturnsAtOnce();
    void releaseDuringTheCheckIsSilent();
    void deletingDuringTheCheckReturnsAtOnce();
    void digestOfAStoppedCheckIsDropped();

    void renameReplacesAnOldFile();
    void renameFailsOnAFolder();
    void renameFailsWhenTheTemporaryFileIsGone();
    void messagesAreTranslated();

    void stopDeletesAnEmptyTemporaryFile();
    void stopKeepsAPartialFile();
    void stopReportsTheFlush_data();
    void stopReportsTheFlush();
    void pauseHoldsOnlyARunningTransfer();
    void retryReportsAndStarts();
    void stopInsideTheRetryReportWins();
    void sizeFrom416_data();
    void sizeFrom416();
    void timeOutRetries();
    void timeOutOnTheFifthAttemptFails();

private:
    DownloadTaskModel model(const QString& md5 = QString(), qint64 size = kContent.size()) const;
    QString destination() const { return m_folder->filePath(QStringLiteral("file.bin")); }
    QString temporary() const { return destination() + QStringLiteral("_tmp"); }
    QString leftOver() const { return destination() + QStringLiteral("_check"); }

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<Settings> m_settings;

#ifndef Q_CC_MSVC
private Q_SLOTS:
    void operationsKeepTheirPlaces();
#endif
};

void tst_DownloadTask::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
    m_settings = std::make_unique<Settings>();
}

void tst_DownloadTask::cleanup()
{
    m_settings.reset();
    m_folder.reset();
}

// Port 9 refuses: no test here waits for an answer.
DownloadTaskModel tst_DownloadTask::model(const QString& md5, qint64 size) const
{
    DownloadTaskModel model;
    model.Init(QStringLiteral("http://127.0.0.1:9/dir/file.bin"), m_folder->path(), md5, QString(), size);
    return model;
}

// Launchers connect by these names, and invoke by them.
void tst_DownloadTask::declaresItsSignalsAndSlots()
{
    QCOMPARE(
        declaredSignals(DownloadTaskInterface::staticMetaObject),
        texts({"progress(qint64 bytesReceived, qint64 bytesTotal)", "dataWritten(qint64 bytes)", "finish(QString url)",
               "error(TaskInfo errInfo)", "md5Started(QString url)", "md5Stoped(QString url)",
               "downloadReport(DownloadReportData data)", "totalSize(QString url, qint64 size)", "resetSpeed()",
               "relogin()", "taskRestart(QString json)", "taskStart(QString url)"}));
    QCOMPARE(declaredSlots(DownloadTask::staticMetaObject),
             texts({"onHeaderReponse()", "onDownloadFinished()", "onDownloadReadyRead()",
                    "onNetworkReplyProgress(qint64 bytesReceived, qint64 bytesTotal)", "onTimeOut()",
                    "onGetFileMD5(QString md5String)"}));
    QCOMPARE(DownloadTask::staticMetaObject.superClass(), &DownloadTaskInterface::staticMetaObject);
    QCOMPARE(DownloadTaskInterface::staticMetaObject.superClass(), &QObject::staticMetaObject);
}

void tst_DownloadTask::startsIdle()
{
    QObject parent;
    auto* task = new DownloadTask(model(), &parent);
    QCOMPARE(task->parent(), &parent);
    QCOMPARE(task->GetStatus(), int(DownloadTask::Stopped));
    QCOMPARE(task->GetTotalSize(), qint64(kContent.size()));
    QCOMPARE(task->GetErrorString(), QString());
    QVERIFY(!task->IsFinished());
    const auto* timer = task->findChild<QTimer*>();
    QVERIFY(timer);
    QVERIFY(timer->isSingleShot());
    QVERIFY(!timer->isActive());
    QCOMPARE(timer->interval(), 30000);
    const DownloadTaskModel copy = task->GetTaskModel();
    QCOMPARE(copy.url, model().url);
    QCOMPARE(copy.path, m_folder->path());
}

void tst_DownloadTask::statusValues()
{
    QCOMPARE(int(DownloadTask::Downloading), 0);
    QCOMPARE(int(DownloadTask::Stopped), 1);
    QCOMPARE(int(DownloadTask::Failed), 2);
    QCOMPARE(int(DownloadTask::Checking), 3);
    QCOMPARE(int(DownloadTask::Finished), 4);
    QCOMPARE(int(DownloadTask::Paused), 5);
    QCOMPARE(int(DownloadTask::CheckFileTaken), 6);
}

void tst_DownloadTask::namesOfTheFiles()
{
    DownloadTaskModel described;
    described.Init(QStringLiteral("http://host/dir/a%20b.zip?x=1"), m_folder->path(), QString(), QString(), 1);
    DownloadTask task(described);
    QCOMPARE(task.GetTempFilePath(), m_folder->filePath(QStringLiteral("a b.zip_tmp")));
}

void tst_DownloadTask::reservedOperationDoesNothing()
{
    DownloadTask task(model());
    const TaskEvents events(&task);
    task.Reserved();
    QCOMPARE(events.log, QStringList());
    QCOMPARE(task.GetStatus(), int(DownloadTask::Stopped));
}

#ifndef Q_CC_MSVC
void tst_DownloadTask::operationsKeepTheirPlaces()
{
    using I = DownloadTaskInterface;
    const QVector<int> places{VirtualPlace(&I::GetTaskModel),    VirtualPlace(&I::GetTotalSize),
                              VirtualPlace(&I::IsFinished),      VirtualPlace(&I::Init),
                              VirtualPlace(&I::Start),           VirtualPlace(&I::Stop),
                              VirtualPlace(&I::GetTempFilePath), VirtualPlace(&I::Release),
                              VirtualPlace(&I::GetStatus),       VirtualPlace(&I::SetPause),
                              VirtualPlace(&I::GetErrorString),  VirtualPlace(&I::Reserved),
                              VirtualPlace(&I::SetRetryTimes),   VirtualPlace(&I::GetRangeFrom416Response),
                              VirtualPlace(&I::EmitRetry)};
    QCOMPARE(places, PlacesAfterQObject(places.size()));
}
#endif

void tst_DownloadTask::initTakesAnExistingDestination()
{
    QVERIFY(writeFile(destination(), "other content"));
    // The wrong MD5 shows that there is no check.
    DownloadTask task(model(QStringLiteral("00000000000000000000000000000000"), 5));
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    QCOMPARE(events.log, texts({"totalSize 13", "taskStart", "finish"}));
    const QString url = QStringLiteral("http://127.0.0.1:9/dir/file.bin");
    QCOMPARE(events.urls, (QStringList{url, url, url}));
    QVERIFY(task.IsFinished());
    QCOMPARE(task.GetTotalSize(), qint64(13));
    QCOMPARE(readFile(destination()), QByteArray("other content"));
    QVERIFY(!QFile::exists(temporary()));
    QVERIFY(task.Start());
    QCOMPARE(task.GetStatus(), int(DownloadTask::Finished));
}

void tst_DownloadTask::initFailures_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("below"); // the folder, below the temporary one
    QTest::addColumn<QString>("text");
    QTest::newRow("no URL") << QString() << QString() << QStringLiteral("download url is empty");
    QTest::newRow("no file name") << QStringLiteral("http://127.0.0.1:9/dir/") << QString()
                                  << QStringLiteral("download file name is empty");
    QTest::newRow("folder below a file") << QStringLiteral("http://127.0.0.1:9/f") << QStringLiteral("/plain/below")
                                         << QStringLiteral("download create floder error");
    QTest::newRow("temporary file is a folder")
        << QStringLiteral("http://127.0.0.1:9/taken") << QString() << QStringLiteral("download open file error");
}

void tst_DownloadTask::initFailures()
{
    QFETCH(QString, url);
    QFETCH(QString, below);
    QFETCH(QString, text);
    QVERIFY(writeFile(m_folder->filePath(QStringLiteral("plain")), "x"));
    QVERIFY(QDir(m_folder->path()).mkdir(QStringLiteral("taken_tmp")));
    DownloadTaskModel described;
    described.Init(url, m_folder->path() + below, QString(), QString(), 5);
    LogCapture log;
    DownloadTask task(described);
    const TaskEvents events(&task);
    QVERIFY(!task.Init());
    QCOMPARE(task.GetErrorString(), text);
    QCOMPARE(log.count(4, text), 1);
    QCOMPARE(events.log, QStringList());
    QCOMPARE(task.GetStatus(), int(DownloadTask::Stopped));
}

void tst_DownloadTask::initRefusesUnsafeNames_data()
{
    QTest::addColumn<QString>("segment");
    const char* const names[] = {"%2e%2e",     ".",         "..",         "...",      "..%20",   "%20",    "..%5Cx",
                                 "a%5Cb",      "C%3Ax",     "x%3Astream", "CON",      "con.txt", "NUL",    "nul%20.zip",
                                 "AUX.tar.gz", "PRN",       "COM1",       "com9.bin", "LPT1",    "lpt5.x", "CONIN$",
                                 "conout$.x",  "COM%C2%B9", "a%00b",      "a%0Ab",    "COM0"};
    for (const char* name : names)
        QTest::newRow(name) << QString::fromLatin1(name);
}

void tst_DownloadTask::initRefusesUnsafeNames()
{
    QFETCH(QString, segment);
    const QString inner = m_folder->filePath(QStringLiteral("inner"));
    QVERIFY(QDir().mkpath(inner));
    QVERIFY(writeFile(m_folder->filePath(QStringLiteral("sentinel")), "untouched"));
    DownloadTaskModel described;
    described.Init(QStringLiteral("http://127.0.0.1:9/dir/") + segment, inner, QString(), QString(), 5);
    if (described.GetFileName().isEmpty())
        QFAIL("the row tests nothing");
    LogCapture log;
    DownloadTask task(described);
    const TaskEvents events(&task);
    QVERIFY(!task.Init());
    QCOMPARE(task.GetErrorString(), QStringLiteral("download open file error"));
    QCOMPARE(log.count(4, QStringLiteral("download open file error")), 1);
    const QStringList reasons = log.texts(4);
    QVERIFY(reasons.first().startsWith(QStringLiteral("download file name is refused, it ")));
    QVERIFY(QDir(inner).isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden));
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden, QDir::Name),
             texts({"inner", "sentinel"}));
    QCOMPARE(events.log, QStringList());
}

void tst_DownloadTask::initAcceptsUnusualNames_data()
{
    QTest::addColumn<QString>("segment");
    QTest::addColumn<QString>("name");
    QTest::newRow("blank") << QStringLiteral("a%20b.zip") << QStringLiteral("a b.zip");
    QTest::newRow("not ASCII") << QStringLiteral("%E4%B8%AD%E6%96%87.pak") << QStringLiteral("\u4e2d\u6587.pak");
    QTest::newRow("dots inside") << QStringLiteral("a..b") << QStringLiteral("a..b");
    QTest::newRow("leading dot") << QStringLiteral(".hidden") << QStringLiteral(".hidden");
    QTest::newRow("begins like a device") << QStringLiteral("console.txt") << QStringLiteral("console.txt");
    QTest::newRow("device with two digits") << QStringLiteral("COM12") << QStringLiteral("COM12");
    QTest::newRow("device as extension") << QStringLiteral("a.con") << QStringLiteral("a.con");
    QTest::newRow("percent sign") << QStringLiteral("100%25.bin") << QStringLiteral("100%.bin");
    QTest::newRow("decoded slash keeps the end") << QStringLiteral("..%2F..%2Fevil") << QStringLiteral("evil");
}

void tst_DownloadTask::initAcceptsUnusualNames()
{
    QFETCH(QString, segment);
    QFETCH(QString, name);
    DownloadTaskModel described;
    described.Init(QStringLiteral("http://127.0.0.1:9/dir/") + segment, m_folder->path(), QString(), QString(), 5);
    DownloadTask task(described);
    QVERIFY2(task.Init(), qPrintable(task.GetErrorString()));
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files | QDir::Hidden), QStringList{name + QStringLiteral("_tmp")});
}

void tst_DownloadTask::initCreatesTheFolder()
{
    DownloadTaskModel described = model();
    described.path = m_folder->filePath(QStringLiteral("new/\u4e2d/deep"));
    DownloadTask task(described);
    QVERIFY(task.Init());
    QVERIFY(QFile::exists(described.path + QStringLiteral("/file.bin_tmp")));
}

void tst_DownloadTask::initResumes()
{
    QVERIFY(writeFile(temporary(), "part"));
    DownloadTask task(model());
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    QCOMPARE(events.log, texts({"totalSize 14"}));
    QCOMPARE(readFile(temporary()), QByteArray("part"));
    QCOMPARE(task.GetStatus(), int(DownloadTask::Stopped));
}

void tst_DownloadTask::initClearsTheLastError()
{
    const QString obstacle = temporary();
    QVERIFY(QDir().mkpath(obstacle));
    DownloadTask task(model());
    QVERIFY(!task.Init());
    QVERIFY(QDir().rmdir(obstacle));
    QVERIFY(task.Init());
    QCOMPARE(task.GetErrorString(), QString());
}

void tst_DownloadTask::initTakesALeftOverWithoutMd5()
{
    QVERIFY(writeFile(leftOver(), kContent));
    LogCapture log;
    DownloadTask task(model());
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    QCOMPARE(events.log, texts({"finish"}));
    QCOMPARE(task.GetStatus(), int(DownloadTask::Finished));
    QCOMPARE(readFile(destination()), kContent);
    QVERIFY(!QFile::exists(leftOver()));
    QVERIFY(!QFile::exists(temporary()));
    QCOMPARE(log.count(0, QStringLiteral(" Download finish rename: %1 ==> %2").arg(temporary(), destination())), 1);
}

void tst_DownloadTask::initChecksALeftOver()
{
    QVERIFY(writeFile(leftOver(), kContent));
    DownloadTask task(model(md5Of(kContent)));
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    QCOMPARE(task.GetStatus(), int(DownloadTask::Checking));
    QVERIFY(QFile::exists(temporary()));
    QTRY_VERIFY(task.IsFinished());
    QCOMPARE(events.log, texts({"md5Started", "md5Stoped", "finish"}));
    QCOMPARE(readFile(destination()), kContent);
}

void tst_DownloadTask::initFailsWhenTheLeftOverCannotBeTaken()
{
    QVERIFY(writeFile(leftOver(), kContent));
    QVERIFY(writeFile(temporary(), "part"));
    DownloadTask task(model());
    const TaskEvents events(&task);
    QVERIFY(!task.Init());
    QCOMPARE(task.GetStatus(), int(DownloadTask::Failed));
    QCOMPARE(events.log, QStringList());
    QCOMPARE(readFile(leftOver()), kContent);
}

void tst_DownloadTask::startFinishesACompleteFile_data()
{
    QTest::addColumn<bool>("resource");
    QTest::addColumn<int>("group");
    QTest::newRow("sizes from the server") << false << 0;
    QTest::newRow("sizes from the description") << true << 1;
}

void tst_DownloadTask::startFinishesACompleteFile()
{
    QFETCH(bool, resource);
    if (resource)
        NetlibControl::Instance()->SetPkgSizeInfo(NetlibControl::kPkgSizeInfoResource);
    QVERIFY(writeFile(temporary(), kContent));
    DownloadTask task(model());
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    QVERIFY(task.Start());
    QCOMPARE(events.log, texts({"totalSize 14", "report 2 result 0", "finish"}));
    const QMap<QString, QVariant> expected{
        {QStringLiteral("url"), QStringLiteral("http://127.0.0.1:9/dir/file.bin")},
        {QStringLiteral("result"), 0},
        {QStringLiteral("group"), events.reports.first().GetReportMap().value(QStringLiteral("group"))}};
    QCOMPARE(events.reports.first().GetReportMap(), expected);
    QTEST(events.reports.first().GetReportMap().value(QStringLiteral("group")).toInt(), "group");
    QCOMPARE(readFile(destination()), kContent);
    QVERIFY(!QFile::exists(temporary()));
}

// Intended: there is nothing to ask for. Only an MD5 tells whether such a file is the right one.
void tst_DownloadTask::startFinishesAFileThatIsLarger()
{
    const QByteArray larger = kContent + " and more";
    QVERIFY(writeFile(temporary(), larger));
    DownloadTask task(model());
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    QVERIFY(task.Start());
    QCOMPARE(events.log, texts({"totalSize 14", "report 2 result 0", "finish"}));
    QCOMPARE(readFile(destination()), larger);
}

void tst_DownloadTask::startDoesNothingWhile_data()
{
    QTest::addColumn<int>("status");
    QTest::newRow("downloading") << int(DownloadTask::Downloading);
    QTest::newRow("paused") << int(DownloadTask::Paused);
    QTest::newRow("checking") << int(DownloadTask::Checking);
    QTest::newRow("finished") << int(DownloadTask::Finished);
}

void tst_DownloadTask::startDoesNothingWhile()
{
    QFETCH(int, status);
    if (status == DownloadTask::Finished)
        QVERIFY(writeFile(destination(), kContent));
    if (status == DownloadTask::Checking)
        QVERIFY(writeFile(temporary(), kContent));
    TestTask task(model(status == DownloadTask::Checking ? md5Of(kContent) : QString()));
    QVERIFY(task.Init());
    QVERIFY(task.Start());
    if (status == DownloadTask::Paused)
        task.SetPause(true);
    QCOMPARE(task.GetStatus(), status);
    const QNetworkReply* reply = task.DataReply();
    const TaskEvents events(&task);
    QVERIFY(task.Start());
    QCOMPARE(task.GetStatus(), status);
    QCOMPARE(static_cast<const QNetworkReply*>(task.DataReply()), reply);
    QCOMPARE(events.log, QStringList());
}

void tst_DownloadTask::md5MatchIgnoresCase()
{
    QVERIFY(writeFile(temporary(), kContent));
    DownloadTask task(model(md5Of(kContent).toUpper()));
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    QVERIFY(task.Start());
    QCOMPARE(task.GetStatus(), int(DownloadTask::Checking));
    QTRY_VERIFY(task.IsFinished());
    QCOMPARE(events.log, texts({"totalSize 14", "report 2 result 0", "md5Started", "md5Stoped", "finish"}));
    QCOMPARE(readFile(destination()), kContent);
}

void tst_DownloadTask::md5UsesTheSalt()
{
    QVERIFY(writeFile(temporary(), kContent));
    DownloadTaskModel described = model(md5Of(md5Of(kContent).toLatin1() + "salt"));
    described.md5Salt = QStringLiteral("salt");
    DownloadTask task(described);
    QVERIFY(task.Init());
    QVERIFY(task.Start());
    QTRY_VERIFY(task.IsFinished());
}

void tst_DownloadTask::md5MismatchDeletesTheFile()
{
    QVERIFY(writeFile(temporary(), kContent));
    DownloadTask task(model(md5Of("other")));
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    QVERIFY(task.Start());
    QTRY_COMPARE(events.errors.size(), 1);
    QCOMPARE(events.withoutFlush(),
             texts({"totalSize 14", "report 2 result 0", "md5Started", "md5Stoped", "error 3007 -1 -1"}));
    QCOMPARE(events.errors.first().GetErrorString(),
             QStringLiteral("file.bin md5 not match, md5: %1, filesize: 14").arg(md5Of(kContent)));
    QCOMPARE(events.errors.first().GetUrl(), QStringLiteral("http://127.0.0.1:9/dir/file.bin"));
    QVERIFY(!QFile::exists(temporary()));
    QVERIFY(!QFile::exists(destination()));
    QCOMPARE(task.GetStatus(), int(DownloadTask::Stopped));
}

void tst_DownloadTask::md5MismatchIsToldBeforeTheFileGoes()
{
    QVERIFY(writeFile(temporary(), kContent));
    DownloadTask task(model(md5Of("other")));
    QByteArray seen;
    connect(&task, &DownloadTask::error, this, [this, &seen] { seen = readFile(temporary()); });
    QVERIFY(task.Init());
    QVERIFY(task.Start());
    QTRY_VERIFY(!seen.isEmpty());
    QCOMPARE(seen, kContent);
    QVERIFY(!QFile::exists(temporary()));
}

// The file that has failed is not taken for a complete one, and what comes after it is not deleted.
void tst_DownloadTask::md5MismatchMayBeStartedAnewAtOnce()
{
    QVERIFY(writeFile(temporary(), kContent));
    TestTask task(model(md5Of("other")));
    const TaskEvents events(&task);
    connect(&task, &DownloadTask::error, this, [this, &task, &events] {
        // Nobody serves what is started anew, so that fails in turn.
        if (events.errors.size() > 1)
            return;
        QVERIFY(task.Init());
        QVERIFY(task.Start());
        QCOMPARE(task.GetStatus(), int(DownloadTask::Downloading));
        QCOMPARE(readFile(temporary()), QByteArray());
        QVERIFY(writeFile(temporary(), "new"));
    });
    QVERIFY(task.Init());
    QVERIFY(task.Start());
    QTRY_VERIFY(!events.errors.isEmpty());
    QCOMPARE(events.errors.first().GetErrorCode(), 3007);
    QCOMPARE(readFile(temporary()), QByteArray("new"));
}

void tst_DownloadTask::md5MismatchMayBeGivenUpAtOnce_data()
{
    QTest::addColumn<bool>("deletes");
    QTest::newRow("released") << false;
    QTest::newRow("deleted") << true;
}

void tst_DownloadTask::md5MismatchMayBeGivenUpAtOnce()
{
    QFETCH(bool, deletes);
    QVERIFY(writeFile(temporary(), kContent));
    auto task = std::make_unique<DownloadTask>(model(md5Of("other")));
    bool told = false;
    connect(task.get(), &DownloadTask::error, this, [&] {
        told = true;
        if (deletes)
            task.reset();
        else
            task->Release();
        // Somebody else may take the name from here on.
        QVERIFY(!QFile::exists(temporary()));
        QVERIFY(writeFile(temporary(), "new"));
    });
    QVERIFY(task->Init());
    QVERIFY(task->Start());
    QTRY_VERIFY(told);
    task.reset();
    QCOMPARE(readFile(temporary()), QByteArray("new"));
}

void tst_DownloadTask::md5MismatchDeletesADestinationThatAppeared()
{
    QVERIFY(writeFile(temporary(), kContent));
    DownloadTask task(model(md5Of("other")));
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    QVERIFY(task.Start());
    QVERIFY(writeFile(destination(), "appeared"));
    // The destination goes, the transfer starts again, is complete, and fails its check like any other.
    QTRY_COMPARE(events.errors.size(), 1);
    QCOMPARE(events.withoutFlush(), texts({"totalSize 14", "report 2 result 0", "md5Started", "md5Stoped",
                                           "report 2 result 0", "md5Started", "md5Stoped", "error 3007 -1 -1"}));
    QVERIFY(!QFile::exists(destination()));
}

void tst_DownloadTask::md5MatchKeepsADestinationThatAppeared()
{
    QVERIFY(writeFile(temporary(), kContent));
    DownloadTask task(model(md5Of(kContent)));
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    QVERIFY(task.Start());
    QVERIFY(writeFile(destination(), "appeared"));
    QTRY_VERIFY(task.IsFinished());
    QCOMPARE(events.log.mid(2), texts({"md5Started", "md5Stoped", "finish"}));
    QCOMPARE(readFile(destination()), QByteArray("appeared"));
}

void tst_DownloadTask::md5DestinationThatCannotBeDeletedEnds()
{
    QVERIFY(writeFile(temporary(), kContent));
    DownloadTask task(model(md5Of("other")));
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    QVERIFY(task.Start());
    QVERIFY(QDir().mkpath(destination() + QStringLiteral("/occupied")));
    QTRY_COMPARE(events.errors.size(), 1);
    QCOMPARE(events.log.mid(2), texts({"md5Started", "md5Stoped", "error 2004 -1 -1"}));
    QCOMPARE(task.GetStatus(), int(DownloadTask::Failed));
}

void tst_DownloadTask::md5RunsOnAThreadOfItsOwn()
{
    QVERIFY(writeFile(temporary(), QByteArray()));
    QVERIFY(QFile::resize(temporary(), kHugeBytes));
    DownloadTask task(model(md5Of("other"), 1));
    QVERIFY(task.Init());
    QElapsedTimer timer;
    timer.start();
    QVERIFY(task.Start());
    QVERIFY(timer.elapsed() < kAtOnceMs);
    QCOMPARE(task.GetStatus(), int(DownloadTask::Checking));
}

void tst_DownloadTask::stopDuringTheCheckReturnsAtOnce()
{
    QVERIFY(writeFile(temporary(), QByteArray()));
    QVERIFY(QFile::resize(temporary(), kHugeBytes));
    DownloadTask task(model(md5Of("other"), 1));
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    // Several times, so that the stop meets the thread in different moments of its beginning.
    for (int i = 0; i < 20; ++i) {
        QVERIFY(task.Start());
        QCOMPARE(task.GetStatus(), int(DownloadTask::Checking));
        QElapsedTimer timer;
        timer.start();
        task.Stop();
        QVERIFY(timer.elapsed() < kAtOnceMs);
        QCOMPARE(task.GetStatus(), int(DownloadTask::Stopped));
    }
    QCoreApplication::processEvents();
    QVERIFY(!events.log.contains(QStringLiteral("md5Stoped")));
    QVERIFY(events.errors.isEmpty());
    QVERIFY(QFile::exists(temporary()));
}

void tst_DownloadTask::releaseDuringTheCheckIsSilent()
{
    QVERIFY(writeFile(temporary(), QByteArray()));
    QVERIFY(QFile::resize(temporary(), kHugeBytes));
    DownloadTask task(model(md5Of("other"), 1));
    QVERIFY(task.Init());
    QVERIFY(task.Start());
    const TaskEvents events(&task);
    QElapsedTimer timer;
    timer.start();
    task.Release();
    QVERIFY(timer.elapsed() < kAtOnceMs);
    QCoreApplication::processEvents();
    QCOMPARE(events.log, QStringList());
    QVERIFY(QFile::exists(temporary()));
}

void tst_DownloadTask::deletingDuringTheCheckReturnsAtOnce()
{
    QVERIFY(writeFile(temporary(), QByteArray()));
    QVERIFY(QFile::resize(temporary(), kHugeBytes));
    for (int i = 0; i < 10; ++i) {
        auto task = std::make_unique<DownloadTask>(model(md5Of("other"), 1));
        QVERIFY(task->Init());
        QVERIFY(task->Start());
        QElapsedTimer timer;
        timer.start();
        task.reset();
        QVERIFY(timer.elapsed() < kAtOnceMs);
    }
    QVERIFY(QFile::exists(temporary()));
}

void tst_DownloadTask::digestOfAStoppedCheckIsDropped()
{
    QVERIFY(writeFile(temporary(), kContent));
    DownloadTask task(model(md5Of("other")));
    QVERIFY(task.Init());
    LogCapture log;
    for (int i = 0; i < 50; ++i) {
        QVERIFY(task.Start());
        QCOMPARE(task.GetStatus(), int(DownloadTask::Checking));
        // So small a file is hashed at once: the digest waits in the queue when the check is stopped.
        QThread::msleep(i % 3 == 0 ? 2 : 0);
        const TaskEvents events(&task);
        task.Stop();
        QCoreApplication::processEvents();
        QVERIFY(!events.log.contains(QStringLiteral("md5Stoped")));
        QVERIFY(events.errors.isEmpty());
        QCOMPARE(readFile(temporary()), kContent);
    }
}

void tst_DownloadTask::renameReplacesAnOldFile()
{
    QVERIFY(writeFile(leftOver(), kContent));
    DownloadTask task(model());
    const TaskEvents events(&task);
    // Appears between the look for it and the end.
    connect(&task, &DownloadTask::downloadReport, this, [this] { writeFile(destination(), "old"); });
    QVERIFY(QFile::rename(leftOver(), temporary()));
    QVERIFY(task.Init());
    QVERIFY(task.Start());
    QCOMPARE(events.log.last(), QStringLiteral("finish"));
    QCOMPARE(readFile(destination()), kContent);
}

void tst_DownloadTask::renameFailsOnAFolder()
{
    QVERIFY(QDir().mkpath(destination() + QStringLiteral("/occupied")));
    QVERIFY(writeFile(temporary(), kContent));
    DownloadTask task(model());
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    QVERIFY(task.Start());
    QCOMPARE(events.log, texts({"totalSize 14", "report 2 result 0", "error 2004 -1 -1"}));
    QCOMPARE(events.errors.first().GetErrorString(), QStringLiteral("message_error_download_delete_old_file"));
    QCOMPARE(task.GetStatus(), int(DownloadTask::Failed));
    // Nothing is lost, and a later start succeeds.
    QVERIFY(QDir(destination()).removeRecursively());
    QVERIFY(task.Init());
    QVERIFY(task.Start());
    QCOMPARE(readFile(destination()), kContent);
}

void tst_DownloadTask::renameFailsWhenTheTemporaryFileIsGone()
{
    DownloadTask task(model());
    const TaskEvents events(&task);
    task.onGetFileMD5(QStringLiteral("any: there is none to compare with"));
    QCOMPARE(events.log, texts({"md5Stoped", "error 2004 -1 -1"}));
    QCOMPARE(task.GetStatus(), int(DownloadTask::Failed));
}

void tst_DownloadTask::messagesAreTranslated()
{
    Brackets translator;
    QCoreApplication::installTranslator(&translator);
    QVERIFY(QDir().mkpath(destination() + QStringLiteral("/occupied")));
    QVERIFY(writeFile(temporary(), kContent));
    DownloadTask task(model());
    const TaskEvents events(&task);
    QVERIFY(task.Init());
    QVERIFY(task.Start());
    QVERIFY(QDir(destination()).removeRecursively());
    QVERIFY(QFile::remove(temporary()));
    task.SetRetryTimes(5);
    task.onTimeOut();
    QCoreApplication::removeTranslator(&translator);
    QCOMPARE(events.errors.size(), 2);
    QCOMPARE(events.errors.at(0).GetErrorString(), QStringLiteral("<message_error_download_delete_old_file>"));
    QCOMPARE(events.errors.at(1).GetErrorString(), QStringLiteral("<message_request_time_out>"));
}

void tst_DownloadTask::stopDeletesAnEmptyTemporaryFile()
{
    DownloadTask task(model());
    QVERIFY(task.Init());
    QVERIFY(QFile::exists(temporary()));
    const TaskEvents events(&task);
    task.Stop();
    QVERIFY(!QFile::exists(temporary()));
    QCOMPARE(events.log, texts({"report 3 start", "report 3 finish"}));
    task.Stop();
    QCOMPARE(events.log.size(), 2);
}

void tst_DownloadTask::stopKeepsAPartialFile()
{
    QVERIFY(writeFile(temporary(), "part"));
    DownloadTask task(model());
    QVERIFY(task.Init());
    task.Stop();
    QCOMPARE(readFile(temporary()), QByteArray("part"));
}

void tst_DownloadTask::stopReportsTheFlush_data()
{
    QTest::addColumn<int>("strategy");
    QTest::addColumn<bool>("works");
    QTest::addColumn<int>("flushes");
    QTest::addColumn<QString>("result");
    QTest::newRow("strategy 1") << 1 << false << 0 << QStringLiteral("success");
    QTest::newRow("strategy 2") << 2 << true << 1 << QStringLiteral("success");
    QTest::newRow("strategy 2, flush fails") << 2 << false << 1 << QStringLiteral("fail");
    QTest::newRow("strategy 3") << 3 << false << 0 << QStringLiteral("success");
}

void tst_DownloadTask::stopReportsTheFlush()
{
    QFETCH(int, strategy);
    QFETCH(bool, works);
    NetlibControl::Instance()->SetFlushOrGzipStrategy(strategy);
    TestTask task(model());
    int flushes = 0;
    task.flush = [&flushes, works] {
        ++flushes;
        return works;
    };
    QVERIFY(task.Init());
    const TaskEvents events(&task);
    task.Stop();
    QTEST(flushes, "flushes");
    QCOMPARE(events.reports.size(), 2);
    const QMap<QString, QVariant> start{{QStringLiteral("status"), QStringLiteral("start")},
                                        {QStringLiteral("flush_time"), QStringLiteral("0")},
                                        {QStringLiteral("result"), QStringLiteral("success")}};
    QCOMPARE(events.reports.at(0).GetReportMap(), start);
    const QMap<QString, QVariant> finish = events.reports.at(1).GetReportMap();
    QCOMPARE(finish.keys(), texts({"flush_time", "result", "status"}));
    QCOMPARE(finish.value(QStringLiteral("status")).toString(), QStringLiteral("finish"));
    QTEST(finish.value(QStringLiteral("result")).toString(), "result");
    bool isNumber = false;
    QVERIFY(finish.value(QStringLiteral("flush_time")).toString().toLongLong(&isNumber) < 1000);
    QVERIFY(isNumber);
}

void tst_DownloadTask::pauseHoldsOnlyARunningTransfer()
{
    DownloadTask task(model());
    task.SetPause(true);
    QCOMPARE(task.GetStatus(), int(DownloadTask::Stopped));
    QVERIFY(task.Init());
    QVERIFY(task.Start());
    QCOMPARE(task.GetStatus(), int(DownloadTask::Downloading));
    task.SetPause(false);
    QCOMPARE(task.GetStatus(), int(DownloadTask::Downloading));
    task.SetPause(true);
    QCOMPARE(task.GetStatus(), int(DownloadTask::Paused));
    task.SetPause(true);
    QCOMPARE(task.GetStatus(), int(DownloadTask::Paused));
    task.SetPause(false);
    QCOMPARE(task.GetStatus(), int(DownloadTask::Downloading));
}

void tst_DownloadTask::retryReportsAndStarts()
{
    DownloadTask task(model());
    QVERIFY(task.Init());
    const TaskEvents events(&task);
    connect(&task, &DownloadTask::taskRestart, this, [](const QString& json) {
        QCOMPARE(json.toUtf8(), QJsonDocument::fromJson(json.toUtf8()).toJson(QJsonDocument::Compact));
    });
    task.EmitRetry(3010, QStringLiteral("text"), QStringLiteral("http://x/y"), 500, 8, QStringLiteral("1.2.3.4"),
                   QStringLiteral("unused"));
    QCOMPARE(events.restarts.size(), 1);
    const QJsonObject expected{{QStringLiteral("error_code"), 3010},
                               {QStringLiteral("error_string"), QStringLiteral("text")},
                               {QStringLiteral("url"), QStringLiteral("http://x/y")},
                               {QStringLiteral("status_code"), 500},
                               {QStringLiteral("net_error_code"), 8},
                               {QStringLiteral("ip"), QStringLiteral("1.2.3.4")}};
    QCOMPARE(events.restarts.first(), expected);
    QCOMPARE(task.GetStatus(), int(DownloadTask::Downloading));
}

void tst_DownloadTask::stopInsideTheRetryReportWins()
{
    DownloadTask task(model());
    QVERIFY(task.Init());
    connect(&task, &DownloadTask::taskRestart, this, [&task] { task.Stop(); });
    task.EmitRetry(3010, QString(), QString(), 0, 0, QString(), QString());
    QCOMPARE(task.GetStatus(), int(DownloadTask::Stopped));
}

void tst_DownloadTask::sizeFrom416_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<qint64>("size");
    QTest::addColumn<int>("lines");
    QTest::newRow("usual") << QByteArray("Content-Range") << QByteArray("bytes */5000") << qint64(5000) << 0;
    QTest::newRow("large") << QByteArray("Content-Range") << QByteArray("bytes */50000000000") << qint64(50000000000)
                           << 0;
    QTest::newRow("lower case") << QByteArray("content-range") << QByteArray("bytes */5000") << qint64(0) << 1;
    QTest::newRow("empty") << QByteArray("Content-Range") << QByteArray() << qint64(0) << 1;
    QTest::newRow("missing") << QByteArray("Other") << QByteArray("bytes */5000") << qint64(0) << 1;
    QTest::newRow("no slash") << QByteArray("Content-Range") << QByteArray("bytes 5000") << qint64(0) << 0;
    QTest::newRow("nothing after the slash") << QByteArray("Content-Range") << QByteArray("bytes */") << qint64(0) << 0;
    QTest::newRow("empty parts are dropped")
        << QByteArray("Content-Range") << QByteArray("bytes *//5000") << qint64(5000) << 0;
    QTest::newRow("not a number") << QByteArray("Content-Range") << QByteArray("bytes */many") << qint64(0) << 0;
    QTest::newRow("zero") << QByteArray("Content-Range") << QByteArray("bytes */0") << qint64(0) << 0;
    QTest::newRow("negative") << QByteArray("Content-Range") << QByteArray("bytes */-5") << qint64(0) << 0;
}

void tst_DownloadTask::sizeFrom416()
{
    QFETCH(QByteArray, name);
    QFETCH(QByteArray, value);
    LogCapture log;
    DownloadTask task(model());
    QTEST(task.GetRangeFrom416Response({{"Server", "x"}, {name, value}}), "size");
    QTEST(log.count(0, QStringLiteral(" 416 header pair is empty")), "lines");
}

void tst_DownloadTask::timeOutRetries()
{
    DownloadTask task(model());
    QVERIFY(task.Init());
    const TaskEvents events(&task);
    for (int i = 0; i < 4; ++i) {
        task.onTimeOut();
        QCOMPARE(task.GetStatus(), int(DownloadTask::Downloading));
    }
    QCOMPARE(events.restarts.size(), 4);
    const QJsonObject expected{{QStringLiteral("error_code"), 3013},
                               {QStringLiteral("error_string"), QStringLiteral("message_request_time_out")},
                               {QStringLiteral("url"), QStringLiteral("http://127.0.0.1:9/dir/file.bin")},
                               {QStringLiteral("status_code"), -1},
                               {QStringLiteral("net_error_code"), 4},
                               {QStringLiteral("ip"), QString()}};
    QCOMPARE(events.restarts.first(), expected);
    task.onTimeOut();
    QCOMPARE(events.restarts.size(), 4);
    QCOMPARE(events.log.last(), QStringLiteral("error 3013 -1 4"));
    QCOMPARE(task.GetStatus(), int(DownloadTask::Stopped));
}

void tst_DownloadTask::timeOutOnTheFifthAttemptFails()
{
    DownloadTask task(model());
    task.SetRetryTimes(5);
    const TaskEvents events(&task);
    task.onTimeOut();
    QCOMPARE(events.log, texts({"error 3013 -1 4"}));
    QCOMPARE(events.errors.first().GetErrorString(), QStringLiteral("message_request_time_out"));
    QCOMPARE(events.errors.first().GetUrl(), QStringLiteral("http://127.0.0.1:9/dir/file.bin"));
}

QTEST_GUILESS_MAIN(tst_DownloadTask)

#include "tst_DownloadTask.moc"

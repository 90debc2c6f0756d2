// SPDX-License-Identifier: MIT
// The worker with a program of the tests' own in the place of 7z.exe, which prints and does what a script says.
#include "LogCapture.h"
#include "MetaMethods.h"
#include "ProcessLife.h"
#include "Setup/Process7zWorker.h"
#include "Setup/SevenZipOutput.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QPointer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTextCodec>
#include <QThread>
#include <QtTest>

#include <functional>
#include <limits>
#include <memory>

#ifdef Q_OS_LINUX
#include <atomic>
#include <csignal>
#include <sys/syscall.h>
#include <unistd.h>

namespace {
std::atomic<bool> isKillHeld{false};
}

// Taken instead of the system's function of that name, by Qt as well. While it is held back, a program lives on after
// it was killed, as one does that waits for a disk.
extern "C" Q_DECL_EXPORT int kill(pid_t process, int signal) noexcept
{
    if (isKillHeld && signal == SIGKILL)
        return 0;
    return static_cast<int>(::syscall(SYS_kill, process, signal));
}
#endif

namespace {

constexpr int kPatienceMs = 20000;
constexpr qint64 kMax = std::numeric_limits<qint64>::max();
constexpr qint64 kMin = std::numeric_limits<qint64>::min();

const QString kPhrase = QStringLiteral("Can not set length for output file");

#ifdef Q_OS_WIN
constexpr int kKilledCode = 0xf291; // what Qt ends a process with there
constexpr int kCrashedCode = static_cast<int>(0xC0000005U);
#else
constexpr int kKilledCode = 9;
constexpr int kCrashedCode = 6;
#endif

// The language's own way to a private member: an explicit instantiation may name it.
using TotalSizeQuery = qint64 (Process7zWorker::*)() const;
TotalSizeQuery totalSizeQuery();
template<TotalSizeQuery member>
struct Opened
{
    friend TotalSizeQuery totalSizeQuery() { return member; }
};
template struct Opened<&Process7zWorker::getTotalSize>;

QString out(const QByteArray& bytes)
{
    return QStringLiteral("out ") + QString::fromLatin1(bytes.toHex());
}

QString err(const QByteArray& bytes)
{
    return QStringLiteral("err ") + QString::fromLatin1(bytes.toHex());
}

QString exitWith(int code)
{
    return QStringLiteral("exit %1").arg(code);
}

/// \brief The worker's signals as texts, in order.
class Events
{
public:
    explicit Events(Process7zWorker* worker)
    {
        QObject::connect(worker, &Process7zWorker::unzipProgress, &m_context, [this](int percent, qint64 bytes) {
            add(QStringLiteral("progress %1 %2").arg(percent).arg(bytes));
        });
        QObject::connect(worker, &Process7zWorker::unzipFinished, &m_context,
                         [this](int code) { add(QStringLiteral("finished %1").arg(code)); });
        QObject::connect(worker, &Process7zWorker::unzipError, &m_context, [this](int code, const QString& text) {
            add(QStringLiteral("error %1 %2").arg(code).arg(text));
        });
    }

    QStringList list;
    /// Called after each event with its text.
    std::function<void(const QString&)> handler;

private:
    void add(const QString& text)
    {
        list << text;
        if (handler)
            handler(text);
    }

    QObject m_context;
};

QString finished(int code)
{
    return QStringLiteral("finished %1").arg(code);
}

} // namespace

class tst_Process7zWorker : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void registersTheExitStatus();
    void declaresSignalsAndSlots();
    void takesAnEndThroughAQueue();
    void startsWithNothing();
    void stopWithoutAChildOnlyLogs();
    void passesTheArgumentsInOrder();
    void opensTheProgramForReadingAndWriting();
    void convertsSeparators();
    void logsARun();
    void logsWithoutATag();
    void takesItsOwnLogTag();
    void refusesAMissingArchive_data();
    void refusesAMissingArchive();
    void choosesTheProgram_data();
    void choosesTheProgram();
    void reportsAProgramThatDoesNotStart();
    void startsAfterAProgramThatDidNot();
    void turnsPercentagesIntoProgress_data();
    void turnsPercentagesIntoProgress();
    void onlyTheFirstPercentageOfAChunkCounts();
    void readsChunksThatCutACharacter();
    void calculatesShares_data();
    void calculatesShares();
    void reportsTheEnd_data();
    void reportsTheEnd();
    void reportsACrash();
    void reportsStandardError_data();
    void reportsStandardError();
    void reportsEachChunkOfStandardError();
    void readsStandardErrorInTheLocalCodePage();
    void readsOnlyProgressAsUtf8();
    void closesStandardInput();
    void stopKills();
    void stopReportsWhatWasWritten();
    void startsAfreshAfterAStop();
    void startsAgainAfterTheEnd();
    void secondStartDoesNotDisturbTheFirst();
    void mayBeDeletedInAHandler_data();
    void mayBeDeletedInAHandler();
    void mayBeDeletedWhileItStops();
    void mayBeStoppedInAHandler_data();
    void mayBeStoppedInAHandler();
    void mayBeStartedAgainInAHandler();
    void mayBeStartedAgainWhileItStops();
    void mayBeStoppedAndStartedAgainInAHandler();
    void dyingTakesTheProgramAlong();
    void waitsUntilTheEnd();
    void waitsForNothing();
    void waitNoticesAStop();
    void runsOnAnotherThread();
    void queriesAskTheSearchPathAlone();
    void tellsTheVersion_data();
    void tellsTheVersion();
    void tellsNoVersionWithoutTheProgram();
    void tellsTheTotalSize_data();
    void tellsTheTotalSize();
    void tellsNoTotalSizeWithoutTheProgram();

private:
    void script(const QStringList& lines);
    QStringList report() const;
    qint64 reportedProcess() const { return report().value(1).toLongLong(); }
    QString path(const QString& name) const { return m_folder->filePath(name); }
    QString wait(const QString& name) const { return QStringLiteral("wait ") + path(name); }
    QString mark(const QString& name) const { return QStringLiteral("mark ") + path(name); }
    void go(const QString& name) const { QFile(path(name)).open(QIODevice::WriteOnly); }
    QString archive() const { return path(QStringLiteral("an archive \u4e2d.7z")); }
    QString target() const { return path(QStringLiteral("target \u00e9")); }
    bool start() { return m_worker->Start(archive(), target()); }
    bool waitFor(const QString& event);
    static void setSearchPath(const QString& folder);
    static QString beside(const QString& name) { return QCoreApplication::applicationDirPath() + name; }

    QByteArray m_systemPath;
    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<Process7zWorker> m_worker;
    std::unique_ptr<Events> m_events;

#ifdef Q_OS_LINUX
private Q_SLOTS:
    void reportsAnEndThatComesLate();
    void forgetsAnEndThatComesAfterIt();
#endif
};

void tst_Process7zWorker::initTestCase()
{
    m_systemPath = qgetenv("PATH");
}

void tst_Process7zWorker::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
    go(QStringLiteral("an archive \u4e2d.7z"));
    qputenv("FAKE_7Z_REPORT", path(QStringLiteral("report")).toUtf8());
    qputenv("FAKE_7Z_SCRIPT", path(QStringLiteral("script")).toUtf8());
    setSearchPath(QFileInfo(QStringLiteral(FAKE_7Z)).absolutePath());
    for (const QString& name : {beside(QStringLiteral("/7z.exe")), beside(QStringLiteral("/7z.dll"))}) {
        QDir().rmdir(name);
        QFile::remove(name);
        QVERIFY(!QFileInfo::exists(name));
    }
    m_worker = std::make_unique<Process7zWorker>();
    m_events = std::make_unique<Events>(m_worker.get());
}

void tst_Process7zWorker::cleanup()
{
    m_worker.reset();
    m_events.reset();
    qputenv("PATH", m_systemPath);
}

// On Windows the system's folders must stay on it.
void tst_Process7zWorker::setSearchPath(const QString& folder)
{
#ifdef Q_OS_WIN
    static const QByteArray before = qgetenv("PATH");
    qputenv("PATH", QDir::toNativeSeparators(folder).toLocal8Bit() + ';' + before);
#else
    qputenv("PATH", folder.toLocal8Bit());
#endif
}

void tst_Process7zWorker::script(const QStringList& lines)
{
    QFile file(path(QStringLiteral("script")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(lines.join(QLatin1Char('\n')).toUtf8());
}

QStringList tst_Process7zWorker::report() const
{
    QFile file(path(QStringLiteral("report")));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
}

bool tst_Process7zWorker::waitFor(const QString& event)
{
    return QTest::qWaitFor([&] { return m_events->list.contains(event); }, kPatienceMs);
}

// The first test, because a registered name stays.
void tst_Process7zWorker::registersTheExitStatus()
{
    const Process7zWorker worker;
    const int type = QMetaType::type("QProcess::ExitStatus");
    QVERIFY(type != QMetaType::UnknownType);
    QCOMPARE(type, qMetaTypeId<QProcess::ExitStatus>());
}

void tst_Process7zWorker::declaresSignalsAndSlots()
{
    const QMetaObject& meta = Process7zWorker::staticMetaObject;
    QCOMPARE(declaredSignals(meta), (QStringList{QStringLiteral("unzipProgress(int percent, qint64 processBytes)"),
                                                 QStringLiteral("unzipFinished(int exitCode)"),
                                                 QStringLiteral("unzipError(int error, QString msg)")}));
    QCOMPARE(declaredSlots(meta),
             (QStringList{QStringLiteral("onProcessFinished(int exitCode, QProcess::ExitStatus exitStatus)"),
                          QStringLiteral("onProcessOutput()"), QStringLiteral("onProcessError()")}));
    for (const char* slot : {"onProcessFinished(int,QProcess::ExitStatus)", "onProcessOutput()", "onProcessError()"}) {
        const int index = meta.indexOfSlot(slot);
        QVERIFY2(index >= 0, slot);
        QCOMPARE(meta.method(index).access(), QMetaMethod::Private);
    }
}

// What the registered name is for.
void tst_Process7zWorker::takesAnEndThroughAQueue()
{
    m_worker->SetSize(1000);
    QVERIFY(QMetaObject::invokeMethod(m_worker.get(), "onProcessFinished", Qt::QueuedConnection, Q_ARG(int, 0),
                                      Q_ARG(QProcess::ExitStatus, QProcess::NormalExit)));
    QVERIFY(m_events->list.isEmpty());
    QCoreApplication::processEvents();
    QCOMPARE(m_events->list, (QStringList{QStringLiteral("progress 100 1000"), finished(0)}));
}

void tst_Process7zWorker::startsWithNothing()
{
    QObject parent;
    auto* const worker = new Process7zWorker(&parent);
    QCOMPARE(worker->parent(), &parent);
    QVERIFY(worker->children().isEmpty());
}

void tst_Process7zWorker::stopWithoutAChildOnlyLogs()
{
    LogCapture log;
    m_worker->SetLogTag("[a]");
    m_worker->Stop();
    QCOMPARE(log.texts(), QStringList(QStringLiteral("[a]unzip stop:  => ")));
    QCOMPARE(log.records().at(0).level, 0);
    QVERIFY(m_events->list.isEmpty());
}

void tst_Process7zWorker::passesTheArgumentsInOrder()
{
    script({});
    QVERIFY(start());
    QVERIFY(waitFor(finished(0)));
    QCOMPARE(report().mid(2), (QStringList{QStringLiteral("x"), QDir::toNativeSeparators(archive()),
                                           QStringLiteral("-o") + QDir::toNativeSeparators(target()),
                                           QStringLiteral("-aoa"), QStringLiteral("-bsp1")}));
}

void tst_Process7zWorker::opensTheProgramForReadingAndWriting()
{
    script({});
    QVERIFY(start());
    const auto children = m_worker->findChildren<QProcess*>();
    QCOMPARE(children.size(), 1);
    QCOMPARE(children.constFirst()->openMode(), QIODevice::OpenMode(QIODevice::ReadWrite));
    QVERIFY(waitFor(finished(0)));
}

void tst_Process7zWorker::convertsSeparators()
{
    script({exitWith(2)});
    LogCapture log;
    const QString folder = m_folder->path() + QStringLiteral("/sub/folder");
    QVERIFY(m_worker->Start(archive(), folder));
    QVERIFY(waitFor(finished(2)));
    QCOMPARE(report().value(4), QStringLiteral("-o") + QDir::toNativeSeparators(folder));
    log.clear();
    m_worker->Stop();
    // The paths are logged as they were given at the start, and as they were handed on at the end.
    QCOMPARE(log.texts(), QStringList(QStringLiteral("unzip stop: %1 => %2")
                                          .arg(QDir::toNativeSeparators(archive()), QDir::toNativeSeparators(folder))));
}

void tst_Process7zWorker::logsARun()
{
    script({err(" trouble \n"), exitWith(0)});
    LogCapture log;
    m_worker->SetLogTag("[tag] ");
    QVERIFY(start());
    QVERIFY(waitFor(finished(0)));
    const QString paths = archive() + QStringLiteral(" => ") + target();
    QStringList lines;
    for (const auto& record : log.records())
        lines << QStringLiteral("%1 %2").arg(record.level).arg(QString::fromStdString(record.text));
    QCOMPARE(lines,
             (QStringList{
                 QStringLiteral("0 [tag] unzip start: ") + paths, QStringLiteral("3 [tag] 7z.exe is not exists"),
                 QStringLiteral("2 [tag] 7z.exe process started"), QStringLiteral("0 [tag] unzip started: ") + paths,
                 QStringLiteral("4 [tag]  Process7zWorker error: trouble"),
                 QStringLiteral("2 [tag] 7z.exe process finished, result exit code: 0, exitStatus: 0")}));
}

void tst_Process7zWorker::logsWithoutATag()
{
    script({QStringLiteral("crash")});
    LogCapture log;
    QVERIFY(start());
    QVERIFY(waitFor(finished(kCrashedCode)));
    QCOMPARE(log.count(2, QStringLiteral("7z.exe process started")), 1);
    QCOMPARE(log.texts().mid(log.texts().size() - 2),
             (QStringList{
                 QStringLiteral("unzip %1 => %2 failed: 1")
                     .arg(QDir::toNativeSeparators(archive()), QDir::toNativeSeparators(target())),
                 QStringLiteral("7z.exe process finished, result exit code: %1, exitStatus: 1").arg(kCrashedCode)}));
    QCOMPARE(log.records().at(log.records().size() - 2).level, 4);
    QCOMPARE(log.records().back().level, 2);
}

void tst_Process7zWorker::takesItsOwnLogTag()
{
    LogCapture log;
    std::string tag = "[one]";
    m_worker->SetLogTag(tag);
    tag = "[two]"; // it has a copy
    m_worker->Stop();
    m_worker->SetLogTag("");
    m_worker->Stop();
    QCOMPARE(log.texts(), (QStringList{QStringLiteral("[one]unzip stop:  => "), QStringLiteral("unzip stop:  => ")}));
}

void tst_Process7zWorker::refusesAMissingArchive_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("missing") << QStringLiteral("missing.7z");
    QTest::newRow("a folder") << QStringLiteral(".");
}

void tst_Process7zWorker::refusesAMissingArchive()
{
    QFETCH(QString, name);
    script({});
    LogCapture log;
    m_worker->SetLogTag("[t]");
    QVERIFY(!m_worker->Start(path(name), target()));
    QCOMPARE(m_events->list, QStringList(QStringLiteral("error 2000 unzip src path is not exists")));
    QStringList lines;
    for (const auto& record : log.records())
        lines << QStringLiteral("%1 %2").arg(record.level).arg(QString::fromStdString(record.text));
    QCOMPARE(lines, (QStringList{QStringLiteral("0 [t]unzip start: %1 => %2").arg(path(name), target()),
                                 QStringLiteral("3 [t]7z.exe is not exists"),
                                 QStringLiteral("4 [t]unzip src path is not exists")}));
    QVERIFY(m_worker->children().isEmpty());
    // The paths of a run that was refused are not taken over.
    log.clear();
    m_worker->Stop();
    QCOMPARE(log.texts(), QStringList(QStringLiteral("[t]unzip stop:  => ")));
}

void tst_Process7zWorker::choosesTheProgram_data()
{
    QTest::addColumn<bool>("hasProgram");
    QTest::addColumn<QString>("library"); // empty: none; "/": a folder of that name
    QTest::addColumn<bool>("isChosen");
    QTest::newRow("both") << true << QStringLiteral("file") << true;
    QTest::newRow("none") << false << QString() << false;
    QTest::newRow("only the program") << true << QString() << false;
    QTest::newRow("only the library") << false << QStringLiteral("file") << false;
    QTest::newRow("the library is a folder") << true << QStringLiteral("/") << false;
}

void tst_Process7zWorker::choosesTheProgram()
{
    QFETCH(bool, hasProgram);
    QFETCH(QString, library);
    QFETCH(bool, isChosen);
    if (hasProgram)
        QVERIFY(QFile::copy(QStringLiteral(FAKE_7Z), beside(QStringLiteral("/7z.exe"))));
    if (library == QLatin1String("/"))
        QVERIFY(QDir().mkdir(beside(QStringLiteral("/7z.dll"))));
    else if (!library.isEmpty())
        QVERIFY(QFile::copy(archive(), beside(QStringLiteral("/7z.dll"))));
    script({});
    LogCapture log;
    m_worker->SetLogTag("[t]");
    QVERIFY(start());
    QVERIFY(waitFor(finished(0)));
    QCOMPARE(log.count(3, QStringLiteral("[t]7z.exe is not exists")), isChosen ? 0 : 1);
    QString folder = QFileInfo(QStringLiteral(FAKE_7Z)).canonicalPath();
#ifdef Q_OS_WIN
    // The system itself looks into the application's folder first.
    isChosen = isChosen || hasProgram;
#endif
    if (isChosen)
        folder = QFileInfo(QCoreApplication::applicationDirPath()).canonicalFilePath();
    QCOMPARE(QFileInfo(report().constFirst()).canonicalPath(), folder);
}

void tst_Process7zWorker::reportsAProgramThatDoesNotStart()
{
    setSearchPath(m_folder->path());
    LogCapture log;
    m_worker->SetLogTag("[t]");
    QVERIFY(!start());
    QCOMPARE(m_events->list, QStringList(QStringLiteral("error 2008 7z.exe process not started")));
    QCOMPARE(log.count(4, QStringLiteral("[t]7z.exe process not started")), 1);
    QCOMPARE(log.count(4, QStringLiteral("[t]unzip %1 => %2 failed: 0")
                              .arg(QDir::toNativeSeparators(archive()), QDir::toNativeSeparators(target()))),
             1);
    QCOMPARE(log.texts(0).size(), 1); // "unzip start" alone
    QCOMPARE(m_worker->findChildren<QProcess*>().size(), 1);
}

void tst_Process7zWorker::startsAfterAProgramThatDidNot()
{
    setSearchPath(m_folder->path());
    QVERIFY(!start());
    const QProcess* const kept = m_worker->findChild<QProcess*>();
    setSearchPath(QFileInfo(QStringLiteral(FAKE_7Z)).absolutePath());
    script({});
    QVERIFY(start());
    QCOMPARE(m_worker->findChild<QProcess*>(), kept);
    QVERIFY(waitFor(finished(0)));
    QCOMPARE(m_events->list.count(finished(0)), 1);
}

void tst_Process7zWorker::turnsPercentagesIntoProgress_data()
{
    QTest::addColumn<QByteArray>("chunk");
    QTest::addColumn<qint64>("size");
    QTest::addColumn<QString>("event");
    const auto row = [](const char* name, const QByteArray& chunk, qint64 size, const char* event) {
        QTest::newRow(name) << chunk << size << QString::fromLatin1(event);
    };
    row("as the program prints it", " 45% 3 - name.txt", 1000, "progress 45 450");
    row("with a file name of another language", QByteArray(" 45% 3 - \xe4\xb8\xad"), 1000, "progress 45 450");
    row("two characters", "5%", 1000, "progress 5 50");
    row("three characters", "12%", 1000, "progress 12 120");
    row("right-aligned", "  5%", 1000, "progress 5 50");
    row("complete", "100%", 1000, "progress 100 1000");
    row("more digits than three", "1234%", 100, "progress 234 234");
    row("only the sign", "%", 1000, "progress 0 0");
    row("no number", "abc%", 1000, "progress 0 0");
    row("number with rubbish", "x7%", 1000, "progress 0 0");
    row("negative", " -5%", 1000, "progress -5 -50");
    row("after backspaces", "\b\b\b\b    \b\b\b\b 46%", 1000, "progress 46 460");
    row("backspace among the three", "\b6%", 1000, "progress 0 0");
    row("no size", " 45%", 0, "progress 45 0");
    row("rounded toward zero", " 33%", 10, "progress 33 3");
    row("negative size", " 33%", -10, "progress 33 -3");
    row("huge size", " 50%", kMax, "progress 50 4611686018427387903");
    row("all of a huge size", "100%", kMax, "progress 100 9223372036854775807");
    row("after a no-break space of UTF-8", "\xc2\xa0\x37%", 1000, "progress 7 70");
    row("no sign", "Everything is Ok", 1000, "");
    row("nothing but blanks", " \r\n", 1000, "");
    row("full-width sign", QByteArray(" 45\xef\xbc\x85"), 1000, "");
}

void tst_Process7zWorker::turnsPercentagesIntoProgress()
{
    QFETCH(QByteArray, chunk);
    QFETCH(qint64, size);
    QFETCH(QString, event);
    m_worker->SetSize(size);
    script({out(chunk), exitWith(2)});
    QVERIFY(start());
    QVERIFY(waitFor(finished(2)));
    QStringList expected(finished(2));
    if (!event.isEmpty())
        expected.prepend(event);
    QCOMPARE(m_events->list, expected);
}

void tst_Process7zWorker::onlyTheFirstPercentageOfAChunkCounts()
{
    m_worker->SetSize(200);
    script({out("  1% a\b\b\b\b  2% b"), wait(QStringLiteral("next")), out("  3%  4%"), exitWith(2)});
    QVERIFY(start());
    QVERIFY(waitFor(QStringLiteral("progress 1 2")));
    go(QStringLiteral("next"));
    QVERIFY(waitFor(finished(2)));
    QCOMPARE(m_events->list,
             (QStringList{QStringLiteral("progress 1 2"), QStringLiteral("progress 3 6"), finished(2)}));
}

void tst_Process7zWorker::readsChunksThatCutACharacter()
{
    m_worker->SetSize(100);
    script({out(" 10% \xe4\xb8"), wait(QStringLiteral("next")), out("\xad 11%"), exitWith(2)});
    QVERIFY(start());
    QVERIFY(waitFor(QStringLiteral("progress 10 10")));
    go(QStringLiteral("next"));
    QVERIFY(waitFor(finished(2)));
    QCOMPARE(m_events->list,
             (QStringList{QStringLiteral("progress 10 10"), QStringLiteral("progress 11 11"), finished(2)}));
}

void tst_Process7zWorker::calculatesShares_data()
{
    QTest::addColumn<int>("percent");
    QTest::addColumn<qint64>("bytes");
    QTest::addColumn<qint64>("share");
    QTest::newRow("zero") << 0 << kMax << qint64(0);
    QTest::newRow("one percent of 199") << 1 << qint64(199) << qint64(1);
    QTest::newRow("99 of 199") << 99 << qint64(199) << qint64(197);
    QTest::newRow("negative") << -99 << qint64(199) << qint64(-197);
    QTest::newRow("negative size") << 99 << qint64(-199) << qint64(-197);
    QTest::newRow("both negative") << -99 << qint64(-199) << qint64(197);
    QTest::newRow("all of the largest") << 100 << kMax << kMax;
    QTest::newRow("all of the smallest") << 100 << kMin << kMin;
    QTest::newRow("99 of the largest") << 99 << kMax << qint64(9131138316486228048);
    QTest::newRow("one hundred and one of the largest") << 101 << kMax << kMax;
    QTest::newRow("999 of the largest") << 999 << kMax << kMax;
    QTest::newRow("999 of the smallest") << 999 << kMin << kMin;
    QTest::newRow("-99 of the smallest") << -99 << kMin << qint64(9131138316486228049);
    QTest::newRow("-100 of the smallest") << -100 << kMin << kMax;
    QTest::newRow("999 that just fit") << 999 << qint64(923260464143620100) << qint64(9223372036794764799);
}

void tst_Process7zWorker::calculatesShares()
{
    QFETCH(int, percent);
    QFETCH(qint64, bytes);
    QFETCH(qint64, share);
    QCOMPARE(SevenZipOutput::Share(percent, bytes), share);
}

void tst_Process7zWorker::reportsTheEnd_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QStringList>("events");
    QTest::newRow("success") << 0 << QStringList{QStringLiteral("progress 100 1000"), finished(0)};
    for (const int code : {1, 2, 7, 8, 255})
        QTest::addRow("%d", code) << code << QStringList{finished(code)};
}

void tst_Process7zWorker::reportsTheEnd()
{
    QFETCH(int, code);
    QFETCH(QStringList, events);
    m_worker->SetSize(1000);
    script({exitWith(code)});
    QVERIFY(start());
    QVERIFY(waitFor(finished(code)));
    QCOMPARE(m_events->list, events);
}

void tst_Process7zWorker::reportsACrash()
{
    script({out(" 10%"), QStringLiteral("crash")});
    QVERIFY(start());
    QVERIFY(waitFor(finished(kCrashedCode)));
    QCOMPARE(m_events->list, (QStringList{QStringLiteral("progress 10 0"), finished(kCrashedCode)}));
}

void tst_Process7zWorker::reportsStandardError_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("event");
    const auto row = [](const char* name, const QString& text, const QString& event) {
        QTest::newRow(name) << text << event;
    };
    row("any text", QStringLiteral("\r\n ERROR: Data Error \r\n"), QStringLiteral("error 2002 ERROR: Data Error"));
    row("the phrase", kPhrase, QStringLiteral("error 3004 ") + kPhrase);
    row("the phrase among others", QStringLiteral("ERROR: %1 : a\n").arg(kPhrase),
        QStringLiteral("error 3004 ERROR: %1 : a").arg(kPhrase));
    row("in lower case", kPhrase.toLower(), QStringLiteral("error 3004 ") + kPhrase.toLower());
    row("in upper case", kPhrase.toUpper(), QStringLiteral("error 3004 ") + kPhrase.toUpper());
    row("nearly the phrase", kPhrase.chopped(1), QStringLiteral("error 2002 ") + kPhrase.chopped(1));
    row("with a percentage", QStringLiteral("at 45%"), QStringLiteral("error 2002 at 45%"));
    row("only blanks", QStringLiteral(" \n"), QStringLiteral("error 2002 "));
}

void tst_Process7zWorker::reportsStandardError()
{
    QFETCH(QString, text);
    QFETCH(QString, event);
    script({err(text.toLatin1()), exitWith(2)});
    LogCapture log;
    m_worker->SetLogTag("[t]");
    QVERIFY(start());
    QVERIFY(waitFor(finished(2)));
    QCOMPARE(m_events->list, (QStringList{event, finished(2)}));
    QCOMPARE(log.count(4, QStringLiteral("[t] Process7zWorker error: ") + text.trimmed()), 1);
}

void tst_Process7zWorker::reportsEachChunkOfStandardError()
{
    script({err("one"), wait(QStringLiteral("next")), err("two"), wait(QStringLiteral("end")), out(" 50%")});
    m_worker->SetSize(10);
    QVERIFY(start());
    QVERIFY(waitFor(QStringLiteral("error 2002 one")));
    go(QStringLiteral("next"));
    QVERIFY(waitFor(QStringLiteral("error 2002 two")));
    // The program goes on.
    QVERIFY(isProcessRunning(reportedProcess()));
    go(QStringLiteral("end"));
    QVERIFY(waitFor(finished(0)));
    QCOMPARE(m_events->list,
             (QStringList{QStringLiteral("error 2002 one"), QStringLiteral("error 2002 two"),
                          QStringLiteral("progress 50 5"), QStringLiteral("progress 100 10"), finished(0)}));
}

void tst_Process7zWorker::readsStandardErrorInTheLocalCodePage()
{
    const QString text = QStringLiteral("caf\u00e9");
    script({err(text.toLocal8Bit()), exitWith(2)});
    QVERIFY(start());
    QVERIFY(waitFor(finished(2)));
    QCOMPARE(m_events->list.constFirst(), QStringLiteral("error 2002 ") + QString::fromLocal8Bit(text.toLocal8Bit()));
}

// On a system whose code page is another than UTF-8.
void tst_Process7zWorker::readsOnlyProgressAsUtf8()
{
    script({out("\xc2\xa0\x37%"), err("caf\xe9"), exitWith(2)});
    QVERIFY(start());
    QTextCodec* const before = QTextCodec::codecForLocale();
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("ISO-8859-1"));
    const bool isAtEnd = waitFor(finished(2));
    script({out("7-Zip \xe9\r\n")});
    const QString version = Process7zWorker::version();
    script({out("\xc2\xa0 x 3\r\n")}); // one word more than there would be without the first
    const qint64 size = (m_worker.get()->*totalSizeQuery())();
    QTextCodec::setCodecForLocale(before);
    QVERIFY(isAtEnd);
    m_events->list.sort();
    QCOMPARE(m_events->list,
             (QStringList{QStringLiteral("error 2002 caf\u00e9"), finished(2), QStringLiteral("progress 7 0")}));
    QCOMPARE(version, QStringLiteral("\u00e9"));
    QCOMPARE(size, qint64(3));
}

void tst_Process7zWorker::closesStandardInput()
{
    script({QStringLiteral("drain"), exitWith(2)});
    QVERIFY(start());
    QVERIFY(waitFor(finished(2)));
}

void tst_Process7zWorker::stopKills()
{
    script({out(" 10%"), wait(QStringLiteral("never"))});
    QVERIFY(start());
    QVERIFY(waitFor(QStringLiteral("progress 10 0")));
    const qint64 child = reportedProcess();
    QVERIFY(isProcessRunning(child));
    LogCapture log;
    m_worker->SetLogTag("[t]");
    m_worker->Stop();
    QVERIFY(!isProcessRunning(child));
    // Reported once, inside the call, and nothing afterwards.
    const QStringList expected{QStringLiteral("progress 10 0"), finished(kKilledCode)};
    QCOMPARE(m_events->list, expected);
    const QString paths =
        QDir::toNativeSeparators(archive()) + QStringLiteral(" => ") + QDir::toNativeSeparators(target());
    QCOMPARE(log.texts(),
             (QStringList{
                 QStringLiteral("[t]unzip stop: ") + paths, QStringLiteral("[t]unzip %1 failed: 1").arg(paths),
                 QStringLiteral("[t]7z.exe process finished, result exit code: %1, exitStatus: 1").arg(kKilledCode)}));
    QVERIFY(m_worker->children().isEmpty());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();
    QCOMPARE(m_events->list, expected);
}

void tst_Process7zWorker::stopReportsWhatWasWritten()
{
    script({out(" 10%"), mark(QStringLiteral("written")), wait(QStringLiteral("never"))});
    m_worker->SetSize(100);
    QVERIFY(start());
    // Without an event loop nothing has been read by now.
    QElapsedTimer clock;
    clock.start();
    while (!QFile::exists(path(QStringLiteral("written"))) && clock.elapsed() < kPatienceMs)
        QThread::yieldCurrentThread();
    QVERIFY(m_events->list.isEmpty());
    m_worker->Stop();
    QCOMPARE(m_events->list, (QStringList{QStringLiteral("progress 10 10"), finished(kKilledCode)}));
}

void tst_Process7zWorker::startsAfreshAfterAStop()
{
    script({wait(QStringLiteral("never"))});
    QVERIFY(start());
    QTRY_VERIFY_WITH_TIMEOUT(reportedProcess() != 0, kPatienceMs);
    const qint64 first = reportedProcess();
    m_worker->Stop();
    m_events->list.clear();
    script({out(" 50%"), exitWith(0)});
    m_worker->SetSize(4);
    QVERIFY(start());
    QCOMPARE(m_worker->findChildren<QProcess*>().size(), 1);
    QVERIFY(waitFor(finished(0)));
    QVERIFY(reportedProcess() != first);
    QCOMPARE(m_events->list,
             (QStringList{QStringLiteral("progress 50 2"), QStringLiteral("progress 100 4"), finished(0)}));
}

void tst_Process7zWorker::startsAgainAfterTheEnd()
{
    script({out(" 50%"), exitWith(2)});
    QVERIFY(start());
    QVERIFY(waitFor(finished(2)));
    const QProcess* const first = m_worker->findChild<QProcess*>();
    script({out(" 60%"), exitWith(3)});
    QVERIFY(start());
    QVERIFY(waitFor(finished(3)));
    QCOMPARE(m_worker->findChild<QProcess*>(), first);
    QCOMPARE(m_events->list,
             (QStringList{QStringLiteral("progress 50 0"), finished(2), QStringLiteral("progress 60 0"), finished(3)}));
}

void tst_Process7zWorker::secondStartDoesNotDisturbTheFirst()
{
    script({wait(QStringLiteral("end")), exitWith(2)});
    QVERIFY(start());
    QTRY_VERIFY_WITH_TIMEOUT(reportedProcess() != 0, kPatienceMs);
    const qint64 first = reportedProcess();
    QTest::ignoreMessage(QtWarningMsg, "QProcess::start: Process is already running");
    QVERIFY(m_worker->Start(archive(), path(QStringLiteral("elsewhere"))));
    go(QStringLiteral("end"));
    QVERIFY(waitFor(finished(2)));
    QCOMPARE(reportedProcess(), first);
    QCOMPARE(m_events->list, QStringList(finished(2)));
}

void tst_Process7zWorker::mayBeDeletedInAHandler_data()
{
    QTest::addColumn<QString>("event");
    QTest::newRow("progress") << QStringLiteral("progress 10 1");
    QTest::newRow("error") << QStringLiteral("error 2002 trouble");
    QTest::newRow("progress at the end") << QStringLiteral("progress 20 2");
    QTest::newRow("last progress") << QStringLiteral("progress 100 10");
    QTest::newRow("finished") << finished(0);
}

void tst_Process7zWorker::mayBeDeletedInAHandler()
{
    QFETCH(QString, event);
    script({out(" 10%"), wait(QStringLiteral("next")), err("trouble"), wait(QStringLiteral("end")), out(" 20%")});
    m_worker->SetSize(10);
    m_events->handler = [&](const QString& text) {
        if (text == event)
            m_worker.reset();
        go(text.startsWith(QLatin1String("error")) ? QStringLiteral("end") : QStringLiteral("next"));
    };
    QVERIFY(start());
    QVERIFY(waitFor(event));
    QCOMPARE(m_events->list.constLast(), event);
    QVERIFY(!m_worker);
    QTRY_VERIFY_WITH_TIMEOUT(!isProcessRunning(reportedProcess()), kPatienceMs);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(m_events->list.constLast(), event);
}

void tst_Process7zWorker::mayBeDeletedWhileItStops()
{
    script({wait(QStringLiteral("never"))});
    QVERIFY(start());
    m_events->handler = [&](const QString&) { delete m_worker.release(); };
    m_worker->Stop();
    QVERIFY(!m_worker);
    QCOMPARE(m_events->list, QStringList(finished(kKilledCode)));
}

void tst_Process7zWorker::mayBeStoppedInAHandler_data()
{
    mayBeDeletedInAHandler_data();
}

void tst_Process7zWorker::mayBeStoppedInAHandler()
{
    QFETCH(QString, event);
    script({out(" 10%"), wait(QStringLiteral("next")), err("trouble"), wait(QStringLiteral("end")), out(" 20%")});
    m_worker->SetSize(10);
    m_events->handler = [&](const QString& text) {
        if (text == event)
            m_worker->Stop();
        go(text.startsWith(QLatin1String("error")) ? QStringLiteral("end") : QStringLiteral("next"));
    };
    QVERIFY(start());
    const auto ends = [this] { return m_events->list.filter(QStringLiteral("finished")).size(); };
    QVERIFY(QTest::qWaitFor([&] { return ends() > 0; }, kPatienceMs));
    QVERIFY(m_worker->children().isEmpty());
    QTRY_VERIFY_WITH_TIMEOUT(!isProcessRunning(reportedProcess()), kPatienceMs);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(ends(), 1);
    QVERIFY(m_events->list.constLast().startsWith(QLatin1String("finished")));

    m_events->handler = nullptr;
    script({exitWith(5)});
    QVERIFY(start());
    QVERIFY(waitFor(finished(5)));
}

void tst_Process7zWorker::mayBeStartedAgainInAHandler()
{
    script({exitWith(2)});
    m_events->handler = [&](const QString& text) {
        if (text != finished(2))
            return;
        script({exitWith(3)});
        QVERIFY(start());
    };
    QVERIFY(start());
    QVERIFY(waitFor(finished(3)));
    QCOMPARE(m_events->list, (QStringList{finished(2), finished(3)}));
}

void tst_Process7zWorker::mayBeStartedAgainWhileItStops()
{
    script({wait(QStringLiteral("never"))});
    QVERIFY(start());
    m_events->handler = [&](const QString& text) {
        if (text != finished(kKilledCode))
            return;
        script({out(" 50%"), exitWith(3)});
        QVERIFY(start());
    };
    m_worker->Stop();
    QVERIFY(waitFor(finished(3)));
    QCOMPARE(m_events->list, (QStringList{finished(kKilledCode), QStringLiteral("progress 50 0"), finished(3)}));
}

void tst_Process7zWorker::mayBeStoppedAndStartedAgainInAHandler()
{
    script({out(" 10%"), wait(QStringLiteral("never"))});
    m_events->handler = [&](const QString& text) {
        if (text != QLatin1String("progress 10 0"))
            return;
        m_worker->Stop();
        script({exitWith(3)});
        QVERIFY(start());
    };
    QVERIFY(start());
    QVERIFY(waitFor(finished(3)));
    QVERIFY(waitFor(finished(kKilledCode)));
    QCOMPARE(m_events->list.size(), 3);
}

void tst_Process7zWorker::dyingTakesTheProgramAlong()
{
    script({out(" 10%"), mark(QStringLiteral("written")), wait(QStringLiteral("never"))});
    QVERIFY(start());
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(path(QStringLiteral("written"))), kPatienceMs);
    const QStringList before = m_events->list;
    const qint64 child = reportedProcess();
    QVERIFY(isProcessRunning(child));
    QElapsedTimer clock;
    clock.start();
    m_worker.reset();
    QVERIFY2(clock.elapsed() < 5000, qPrintable(QString::number(clock.elapsed())));
    QVERIFY(!isProcessRunning(child));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();
    QCOMPARE(m_events->list, before);
}

void tst_Process7zWorker::waitsUntilTheEnd()
{
    script({out(" 10%"), exitWith(0)});
    m_worker->SetSize(100);
    QVERIFY(start());
    m_worker->Wait();
    QCOMPARE(m_events->list,
             (QStringList{QStringLiteral("progress 10 10"), QStringLiteral("progress 100 100"), finished(0)}));
}

void tst_Process7zWorker::waitsForNothing()
{
    QElapsedTimer clock;
    clock.start();
    m_worker->Wait(); // no child
    script({exitWith(2)});
    QVERIFY(start());
    QVERIFY(waitFor(finished(2)));
    m_worker->Wait(); // one that has ended
    QVERIFY(clock.elapsed() < kPatienceMs);
    QCOMPARE(m_events->list, QStringList(finished(2)));
}

void tst_Process7zWorker::waitNoticesAStop()
{
    script({out(" 10%"), wait(QStringLiteral("never"))});
    m_events->handler = [&](const QString& text) {
        if (text.startsWith(QLatin1String("progress")))
            m_worker->Stop();
    };
    QVERIFY(start());
    QElapsedTimer clock;
    clock.start();
    m_worker->Wait();
    QVERIFY2(clock.elapsed() < kPatienceMs, qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(m_events->list, (QStringList{QStringLiteral("progress 10 0"), finished(kKilledCode)}));
}

void tst_Process7zWorker::runsOnAnotherThread()
{
    script({out(" 10%"), exitWith(0)});
    QThread thread;
    m_worker->moveToThread(&thread);
    QThread* signalThread = nullptr;
    connect(m_worker.get(), &Process7zWorker::unzipProgress, m_worker.get(),
            [&](int, qint64) { signalThread = QThread::currentThread(); });
    connect(&thread, &QThread::started, m_worker.get(), [this] { start(); });
    connect(
        &thread, &QThread::finished, m_worker.get(), [this] { m_worker.reset(); }, Qt::DirectConnection);
    thread.start();
    QVERIFY(waitFor(finished(0))); // the events are collected here
    thread.quit();
    QVERIFY(thread.wait(kPatienceMs));
    QCOMPARE(signalThread, &thread);
    QCOMPARE(m_events->list,
             (QStringList{QStringLiteral("progress 10 0"), QStringLiteral("progress 100 0"), finished(0)}));
}

void tst_Process7zWorker::queriesAskTheSearchPathAlone()
{
    QVERIFY(QFile::copy(QStringLiteral(FAKE_7Z), beside(QStringLiteral("/7z.exe"))));
    QVERIFY(QFile::copy(archive(), beside(QStringLiteral("/7z.dll"))));
    const QString besideFolder = QFileInfo(QCoreApplication::applicationDirPath()).canonicalFilePath();
#ifdef Q_OS_WIN
    // The system itself looks into the application's folder first.
    const QString folder = besideFolder;
#else
    const QString folder = QFileInfo(QStringLiteral(FAKE_7Z)).canonicalPath();
#endif
    const auto askedFolder = [this] { return QFileInfo(report().value(0)).canonicalPath(); };
    script({});
    // An extraction runs the program beside the application.
    QVERIFY(start());
    QVERIFY(waitFor(finished(0)));
    QCOMPARE(askedFolder(), besideFolder);
    Process7zWorker::version();
    QCOMPARE(askedFolder(), folder);
    QVERIFY(QFile::remove(path(QStringLiteral("report"))));
    (m_worker.get()->*totalSizeQuery())();
    QCOMPARE(askedFolder(), folder);
}

void tst_Process7zWorker::tellsTheVersion_data()
{
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<QString>("version");
    const QString none;
    const QString empty = QLatin1String("");
    QTest::newRow("as the program prints it")
        << QByteArray("\r\n7-Zip 26.00 (x64) : Copyright\r\n\r\nUsage: 7z\r\n") << QStringLiteral("26.00");
    QTest::newRow("blanks around") << QByteArray("  7-Zip   9.20  \r\n") << QStringLiteral("9.20");
    QTest::newRow("one word") << QByteArray("7-Zip\r\nmore words\r\n") << empty;
    QTest::newRow("blanks") << QByteArray("   \r\n") << empty;
    QTest::newRow("nothing") << QByteArray() << none;
    QTest::newRow("empty lines") << QByteArray("\r\n\r\n") << none;
    QTest::newRow("bare line feeds do not end a line") << QByteArray("7-Zip\n26 x\n") << QStringLiteral("x");
}

void tst_Process7zWorker::tellsTheVersion()
{
    QFETCH(QByteArray, output);
    QFETCH(QString, version);
    script({out(output), exitWith(7)});
    const QString result = Process7zWorker::version();
    QCOMPARE(result, version);
    QCOMPARE(result.isNull(), version.isNull());
    QCOMPARE(report().size(), 2); // no arguments
}

void tst_Process7zWorker::tellsNoVersionWithoutTheProgram()
{
    setSearchPath(m_folder->path());
    QVERIFY(Process7zWorker::version().isNull());
}

void tst_Process7zWorker::tellsTheTotalSize_data()
{
    QTest::addColumn<QByteArray>("listing");
    QTest::addColumn<qint64>("size");
    QTest::newRow("as the program prints it")
        << QByteArray("a\r\n------\r\n2024-01-01 10:00:00           5000000000       123  2 files\r\n\r\n")
        << qint64(5000000000);
    QTest::newRow("third word of the last line") << QByteArray("1 2 3\r\n  4 5   6 7\r\n") << qint64(6);
    QTest::newRow("three words") << QByteArray("1 2 3") << qint64(3);
    QTest::newRow("two words") << QByteArray("1 2\r\n") << qint64(0);
    QTest::newRow("no number") << QByteArray("a b c d\r\n") << qint64(0);
    QTest::newRow("nothing") << QByteArray() << qint64(0);
    QTest::newRow("empty lines") << QByteArray("\r\n\r\n") << qint64(0);
}

void tst_Process7zWorker::tellsTheTotalSize()
{
    QFETCH(QByteArray, listing);
    QFETCH(qint64, size);
    script({exitWith(0)});
    QVERIFY(start());
    QVERIFY(waitFor(finished(0)));
    script({out(listing), exitWith(0)});
    QCOMPARE((m_worker.get()->*totalSizeQuery())(), size);
    QCOMPARE(report().mid(2), (QStringList{QStringLiteral("l"), QDir::toNativeSeparators(archive())}));
}

void tst_Process7zWorker::tellsNoTotalSizeWithoutTheProgram()
{
    setSearchPath(m_folder->path());
    QCOMPARE((m_worker.get()->*totalSizeQuery())(), qint64(0));
}

#ifdef Q_OS_LINUX
void tst_Process7zWorker::reportsAnEndThatComesLate()
{
    script({out(" 10%"), wait(QStringLiteral("never"))});
    QVERIFY(start());
    QVERIFY(waitFor(QStringLiteral("progress 10 0")));
    const auto child = static_cast<pid_t>(reportedProcess());
    const QPointer<QProcess> process(m_worker->findChild<QProcess*>());
    isKillHeld = true;
    m_worker->Stop();
    isKillHeld = false;
    QVERIFY(isProcessRunning(child));
    QVERIFY(m_worker->children().isEmpty());
    QCOMPARE(m_events->list, QStringList(QStringLiteral("progress 10 0")));
    // Meanwhile the worker may do other work.
    script({out(" 50%"), exitWith(3)});
    QVERIFY(start());
    QVERIFY(waitFor(finished(3)));
    QCOMPARE(::kill(child, SIGKILL), 0);
    QVERIFY(waitFor(finished(kKilledCode)));
    QCOMPARE(m_events->list, (QStringList{QStringLiteral("progress 10 0"), QStringLiteral("progress 50 0"), finished(3),
                                          finished(kKilledCode)}));
    QTRY_VERIFY_WITH_TIMEOUT(!process, kPatienceMs);
}

void tst_Process7zWorker::forgetsAnEndThatComesAfterIt()
{
    script({wait(QStringLiteral("end"))});
    QVERIFY(start());
    QTRY_VERIFY_WITH_TIMEOUT(reportedProcess() != 0, kPatienceMs);
    const QPointer<QProcess> process(m_worker->findChild<QProcess*>());
    isKillHeld = true;
    m_worker.reset();
    isKillHeld = false;
    QVERIFY(isProcessRunning(reportedProcess()));
    go(QStringLiteral("end"));
    QTRY_VERIFY_WITH_TIMEOUT(!process, kPatienceMs);
    QVERIFY(m_events->list.isEmpty());
}
#endif

QTEST_GUILESS_MAIN(tst_Process7zWorker)

#include "tst_Process7zWorker.moc"

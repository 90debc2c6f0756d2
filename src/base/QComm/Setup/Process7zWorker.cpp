// SPDX-License-Identifier: MIT
#include "Setup/Process7zWorker.h"

#include "QCommLog.h"
#include "Setup/SevenZipOutput.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFileInfo>
#include <QPointer>
#include <QVariant>

#include <algorithm>

namespace {

constexpr int kStartTimeoutMs = 30000;
constexpr int kFinishTimeoutMs = 30000;
constexpr int kStopWaitMs = 1;
// A killed process is gone within milliseconds, unless the system itself holds it up.
constexpr int kKillWaitMs = 1000;
// How late Wait() notices that a signal handler has stopped the run.
constexpr int kWaitSliceMs = 100;

constexpr int kSourceMissing = 2000;
constexpr int kStandardError = 2002;
constexpr int kNotStarted = 2008;
constexpr int kCannotSetLength = 3004;

const QLatin1String kProgram("7z.exe");
const QLatin1String kProgramLibrary("7z.dll");
const QLatin1String kSourceMissingText("unzip src path is not exists");
const QLatin1String kNotStartedText("7z.exe process not started");
const QLatin1String kCannotSetLengthText("Can not set length for output file");

// How many handlers of what a process has written are running, as a property of the process: it outlives the worker.
constexpr char kReportingProperty[] = "reporting";

int reportingCount(const QProcess* process)
{
    return process->property(kReportingProperty).toInt();
}

/// Marks a process for the time in which a handler deals with what it has written.
class Reporting
{
public:
    explicit Reporting(QProcess* process) : m_process(process) { add(1); }
    ~Reporting()
    {
        if (m_process)
            add(-1);
    }
    Reporting(const Reporting&) = delete;
    Reporting& operator=(const Reporting&) = delete;

private:
    void add(int count) { m_process->setProperty(kReportingProperty, reportingCount(m_process) + count); }

    const QPointer<QProcess> m_process;
};

// Whether the process is known to have ended. The destructor of a process waits for its end, too, but only when the
// event loop gets to it. That wait is done here, so that as a rule the report comes before the next run begins.
bool waitForEnd(QProcess* process)
{
    if (process->state() == QProcess::NotRunning)
        return true;
    // Qt is reading then, and would find its own reader gone when it notices the end inside of that.
    if (reportingCount(process) > 0)
        return false;
    return process->waitForFinished(kStopWaitMs) || process->state() == QProcess::NotRunning ||
           process->waitForFinished(kKillWaitMs);
}

// Kills a process that the worker has let go of. Signals of the process arrive here, as far as it is still connected.
void endProcess(QProcess* process)
{
    process->kill();
    if (waitForEnd(process)) {
        // Later, because this may be a handler of one of the process's own signals.
        process->deleteLater();
        return;
    }
    // Still connected: its end is reported, however late it comes.
    QObject::connect(process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), process,
                     &QObject::deleteLater);
}

// What the program prints. Always that of the search path: the queries do not look into the application's folder.
QString outputOf(const QStringList& arguments)
{
    QProcess process;
    process.start(kProgram, arguments);
    if (process.waitForStarted(kStartTimeoutMs))
        process.closeWriteChannel(); // it cannot wait for a password
    process.waitForFinished(kFinishTimeoutMs);
    const QString text = QString::fromLocal8Bit(process.readAllStandardOutput());
    process.kill();
    process.waitForFinished(kKillWaitMs);
    return text;
}

} // namespace

Process7zWorker::Process7zWorker(QObject* parent) : QObject(parent)
{
    // Under this name it can travel through queued connections.
    qRegisterMetaType<QProcess::ExitStatus>("QProcess::ExitStatus");
}

Process7zWorker::~Process7zWorker()
{
    QProcess* const process = takeProcess();
    if (!process)
        return;
    process->disconnect(this);
    endProcess(process);
}

void Process7zWorker::SetLogTag(const std::string& tag)
{
    if (&tag != &m_logTag)
        m_logTag = tag;
}

void Process7zWorker::SetSize(qint64 size)
{
    m_size = size;
}

bool Process7zWorker::Start(const QString& srcPath, const QString& dstPath)
{
    QCOMM_LOG(LogLevel::Trace, "Process7zWorker::Start") << m_logTag << "unzip start: " << srcPath << " => " << dstPath;
    const QString program = findProgram();
    if (!QFileInfo(srcPath).isFile())
        return fail(kSourceMissing, kSourceMissingText);

    m_srcPath = QDir::toNativeSeparators(srcPath);
    m_dstPath = QDir::toNativeSeparators(dstPath);
    if (!m_process)
        createProcess();
    m_process->start(program,
                     {QStringLiteral("x"), m_srcPath, QStringLiteral("-o") + m_dstPath, QStringLiteral("-aoa"),
                      QStringLiteral("-bsp1")},
                     QIODevice::ReadWrite);
    if (!m_process->waitForStarted(kStartTimeoutMs))
        return fail(kNotStarted, kNotStartedText);

    // Nobody answers its questions: at the end of its input it gives up instead of waiting for ever.
    m_process->closeWriteChannel();
    QCOMM_LOG(LogLevel::Trace, "Process7zWorker::Start")
        << m_logTag << "unzip started: " << srcPath << " => " << dstPath;
    return true;
}

void Process7zWorker::Stop()
{
    QCOMM_LOG(LogLevel::Trace, "Process7zWorker::Stop")
        << m_logTag << "unzip stop: " << m_srcPath << " => " << m_dstPath;
    // Let go of first: a handler of what is reported meanwhile may start the next run, or delete the worker.
    if (QProcess* const process = takeProcess())
        endProcess(process);
}

void Process7zWorker::Wait()
{
    const QPointer<QProcess> process(m_process);
    if (!process)
        return;
    process->waitForStarted(kStartTimeoutMs);
    // In slices, because one long wait would not notice that a handler has stopped the run. Nothing of the worker is
    // touched: a handler may have deleted it.
    const QDeadlineTimer deadline(kFinishTimeoutMs);
    while (process && process->state() != QProcess::NotRunning && !deadline.hasExpired()) {
        const auto slice = std::min<qint64>(deadline.remainingTime(), kWaitSliceMs);
        if (process->waitForFinished(static_cast<int>(slice)))
            return;
    }
}

QString Process7zWorker::version()
{
    return SevenZipOutput::Version(outputOf({}));
}

qint64 Process7zWorker::getTotalSize() const
{
    return SevenZipOutput::TotalSize(outputOf({QStringLiteral("l"), m_srcPath}));
}

QString Process7zWorker::findProgram() const
{
    const QString folder = QCoreApplication::applicationDirPath() + QLatin1Char('/');
    if (QFileInfo(folder + kProgram).isFile() && QFileInfo(folder + kProgramLibrary).isFile())
        return folder + kProgram;
    QCOMM_LOG(LogLevel::Warning, "Process7zWorker::Start") << m_logTag << "7z.exe is not exists";
    return kProgram;
}

void Process7zWorker::createProcess()
{
    m_process = new QProcess(this);
    connect(m_process, &QProcess::started, this, &Process7zWorker::onProcessStarted);
    connect(m_process, &QProcess::readyReadStandardOutput, this, &Process7zWorker::onProcessOutput);
    connect(m_process, &QProcess::readyReadStandardError, this, &Process7zWorker::onProcessError);
    connect(m_process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this,
            &Process7zWorker::onProcessFinished);
    connect(m_process, &QProcess::errorOccurred, this, &Process7zWorker::onProcessFailed);
}

void Process7zWorker::onProcessStarted()
{
    QCOMM_LOG(LogLevel::Info, "Process7zWorker::onProcessStarted") << m_logTag << "7z.exe process started";
}

void Process7zWorker::onProcessFailed(QProcess::ProcessError error)
{
    QCOMM_LOG(LogLevel::Error, "Process7zWorker::onProcessFailed")
        << m_logTag << "unzip " << m_srcPath << " => " << m_dstPath << " failed: " << static_cast<int>(error);
}

void Process7zWorker::onProcessFinished(int exitCode, QProcess::ExitStatus exitStatus)
{
    QCOMM_LOG(LogLevel::Info, "Process7zWorker::onProcessFinished")
        << m_logTag << "7z.exe process finished, result exit code: " << exitCode
        << ", exitStatus: " << static_cast<int>(exitStatus);
    const QPointer<Process7zWorker> self(this);
    if (exitCode == 0)
        Q_EMIT unzipProgress(100, m_size);
    if (self)
        Q_EMIT unzipFinished(exitCode);
}

void Process7zWorker::onProcessOutput()
{
    QProcess* const process = reportingProcess();
    if (!process)
        return;
    const Reporting reporting(process);
    const QString text = QString::fromUtf8(process->readAllStandardOutput());
    if (const auto percent = SevenZipOutput::FirstPercent(text))
        Q_EMIT unzipProgress(*percent, SevenZipOutput::Share(*percent, m_size));
}

void Process7zWorker::onProcessError()
{
    QProcess* const process = reportingProcess();
    if (!process)
        return;
    const Reporting reporting(process);
    const QString text = QString::fromLocal8Bit(process->readAllStandardError()).trimmed();
    QCOMM_LOG(LogLevel::Error, "Process7zWorker::onProcessError") << m_logTag << " Process7zWorker error: " << text;
    const bool isLength = text.contains(kCannotSetLengthText, Qt::CaseInsensitive);
    Q_EMIT unzipError(isLength ? kCannotSetLength : kStandardError, text);
}

bool Process7zWorker::fail(int code, const QString& message)
{
    QCOMM_LOG(LogLevel::Error, "Process7zWorker::Start") << m_logTag << message;
    Q_EMIT unzipError(code, message);
    return false;
}

// The process whose signal is being handled: Stop() has let go of it when its last output arrives.
QProcess* Process7zWorker::reportingProcess() const
{
    auto* const process = qobject_cast<QProcess*>(sender());
    return process ? process : m_process;
}

// Makes the process independent of the worker, so that it outlives it where that is deleted in a handler.
QProcess* Process7zWorker::takeProcess()
{
    QProcess* const process = m_process;
    m_process = nullptr;
    if (process)
        process->setParent(nullptr);
    return process;
}

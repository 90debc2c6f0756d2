// SPDX-License-Identifier: MIT
#include "UnpackCommand.h"

#include "ExitCode.h"
#include "Interrupt.h"
#include "Language.h"
#include "LogFile.h"
#include "OptionValues.h"
#include "ProgressDisplay.h"
#include "Setup/Process7zWorker.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>

namespace {

// As the worker counts.
constexpr int kNotStarted = 2008;
constexpr int kAllPercent = 100;
constexpr double kMsPerSecond = 1000.0;

const QString kSize = QStringLiteral("size");
const QString kLog = QStringLiteral("log");
const QString kLang = QStringLiteral("lang");

const QLatin1String kHelp(
    R"(Usage: launcher unpack [OPTIONS] ARCHIVE FOLDER

Extracts an archive (7z, zip, tar and what else 7-Zip knows) into a folder. Existing
files are overwritten. Needs 7z.exe: beside this program, together with 7z.dll, or on
the system's search path.

Options:
  --size BYTES        the unpacked size, to show the progress in bytes as well
  --log FILE          append the library's log to a file
  --lang LANGUAGE     of the progress display: en-us or zh-cn (default: the
                      system's)
  -h, --help          this text

Exit codes:
  0    everything is unpacked
  1    7z.exe reported an error; "error:" lines say which
  2    wrong arguments, or an archive or log file that cannot be used
  3    7z.exe was not found or did not start
  130  stopped with Ctrl-C; what was unpacked until then stays
)");

struct Options
{
    QString archive;
    QString folder;
    QString logPath;
    QString language;
    qint64 size = 0; // 0: unknown
};

/// \return a text for the user; empty when everything is right
QString read(const QCommandLineParser& parser, Options* options)
{
    const QStringList paths = parser.positionalArguments();
    if (paths.size() != 2)
        return QStringLiteral("an archive and a folder are wanted");
    options->archive = paths.at(0);
    options->folder = paths.at(1);
    options->logPath = parser.value(kLog);
    const QString error = OptionValues::readLanguage(parser, kLang, &options->language);
    if (!error.isEmpty())
        return error;
    bool isNumber = true;
    if (parser.isSet(kSize))
        options->size = parser.value(kSize).toLongLong(&isNumber);
    if (!isNumber || options->size < 0)
        return QStringLiteral("--size wants a number of bytes");
    if (!QFileInfo(options->archive).isFile())
        return QStringLiteral("there is no archive %1").arg(options->archive);
    return QString();
}

/// \brief One run of the worker, from its start to the exit code.
class Unpacking
{
public:
    explicit Unpacking(const Options& options) : m_options(options)
    {
        m_worker.SetLogTag("[launcher]");
        m_worker.SetSize(options.size);
        QObject::connect(&m_worker, &Process7zWorker::unzipProgress, &m_display,
                         [this](int percent, qint64 bytes) { showProgress(percent, bytes); });
        QObject::connect(&m_worker, &Process7zWorker::unzipError, &m_display,
                         [this](int code, const QString& text) { showError(code, text); });
        QObject::connect(&m_worker, &Process7zWorker::unzipFinished, &m_display, [this](int code) { end(code); });
        QObject::connect(&m_interrupt, &Interrupt::requested, &m_display, [this] { interrupt(); });
    }

    int run()
    {
        m_clock.start();
        return m_worker.Start(m_options.archive, m_options.folder) ? QCoreApplication::exec() : ExitCode::kNoUnpacker;
    }

private:
    void showProgress(int percent, qint64 bytes)
    {
        ProgressState state;
        state.phase = ProgressState::Phase::Working;
        state.isInBytes = m_options.size > 0;
        state.doneBytes = state.isInBytes ? bytes : percent;
        state.totalBytes = state.isInBytes ? m_options.size : kAllPercent;
        m_display.show(state);
    }

    void showError(int code, const QString& text)
    {
        const QString line = text.split(QLatin1Char('\n'), Qt::SkipEmptyParts).join(QLatin1String(" / "));
        m_display.error(QStringLiteral("error: code %1: %2").arg(code).arg(line));
        if (code == kNotStarted)
            m_display.error(QStringLiteral("Put 7z.exe and 7z.dll beside the launcher, or 7z.exe on the search path."));
    }

    void interrupt()
    {
        m_isInterrupted = true;
        m_worker.Stop(); // reports the end
    }

    void end(int code)
    {
        m_display.clear();
        if (m_isInterrupted) {
            m_display.note(QStringLiteral("Stopped. What was unpacked until then stays."));
            QCoreApplication::exit(ExitCode::kInterrupted);
        } else if (code == 0) {
            const double seconds = static_cast<double>(m_clock.elapsed()) / kMsPerSecond;
            m_display.note(QStringLiteral("Finished: unpacked in %1 s").arg(seconds, 0, 'f', 1));
            QCoreApplication::exit(ExitCode::kAllFinished);
        } else {
            m_display.error(QStringLiteral("error: 7z.exe ended with code %1").arg(code));
            QCoreApplication::exit(ExitCode::kFilesFailed);
        }
    }

    const Options m_options;
    ProgressDisplay m_display;
    const Interrupt m_interrupt;
    Process7zWorker m_worker;
    QElapsedTimer m_clock;
    bool m_isInterrupted = false;
};

} // namespace

UnpackCommand::UnpackCommand()
    : Command(QStringLiteral("unpack"), QStringLiteral("extract an archive into a folder with 7-Zip"), kHelp)
{
}

void UnpackCommand::addOptions(QCommandLineParser* parser) const
{
    OptionValues::add({kSize, kLog, kLang}, parser);
}

int UnpackCommand::execute(const QCommandLineParser& parser)
{
    Options options;
    const QString error = read(parser, &options);
    if (!error.isEmpty())
        return refuse(error);
    const LogFile log(options.logPath);
    if (!log.isUsable())
        return refuse(QStringLiteral("cannot write the log %1: %2").arg(options.logPath, log.errorText()));
    Language::use(options.language);
    return Unpacking(options).run();
}

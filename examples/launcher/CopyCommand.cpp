// SPDX-License-Identifier: MIT
#include "CopyCommand.h"

#include "ExitCode.h"
#include "Interrupt.h"
#include "OptionValues.h"
#include "ProgressDisplay.h"
#include "ProgressText.h"
#include "Tool/FileOperator.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QThread>

namespace {

constexpr double kMsPerSecond = 1000.0;

const QString kChanged = QStringLiteral("changed");

const QLatin1String kHelp(
    R"(Usage: launcher copy [OPTIONS] SOURCE FOLDER

Copies what the folder SOURCE holds into another folder, which is made when it does
not exist. Files that are there already with the same content are left alone; others
of the same name are replaced. Hidden files are not copied.

Options:
  --changed DIR       keep a copy of every file that replaces a different one, at the
                      same place below this folder
  -h, --help          this text

Exit codes:
  0    every file is in place
  1    a file or folder could not be copied; an "error:" line says which
  2    wrong arguments, or a source that is not a folder
  130  stopped with Ctrl-C; what was copied until then stays
)");

struct Options
{
    QString source;
    QString folder;
    QString changed; // empty: not wanted
};

/// \return a text for the user; empty when everything is right
QString read(const QCommandLineParser& parser, Options* options)
{
    const QStringList paths = parser.positionalArguments();
    if (paths.size() != 2 || paths.contains(QString()))
        return QStringLiteral("a source folder and a folder are wanted");
    options->source = OptionValues::absolutePath(paths.at(0));
    options->folder = OptionValues::absolutePath(paths.at(1));
    options->changed = OptionValues::absolutePath(parser.value(kChanged));
    if (parser.isSet(kChanged) && options->changed.isEmpty())
        return QStringLiteral("--changed wants a folder");
    if (!QFileInfo(options->source).isDir())
        return QStringLiteral("%1 is not a folder").arg(paths.at(0));
    return QString();
}

/// \brief One run of the operator on a thread of its own, from its start to the exit code.
class Copying
{
public:
    explicit Copying(const Options& options) : m_options(options)
    {
        m_operator.SetCopyDirParam(options.source, options.folder, !options.changed.isEmpty(), options.changed);
        m_operator.moveToThread(&m_thread);
        QObject::connect(&m_thread, &QThread::started, &m_operator, &FileOperator::onCopyDirFiles);
        QObject::connect(&m_operator, &FileOperator::copyProgress, &m_display,
                         [this](int copied, int total) { showProgress(copied, total); });
        QObject::connect(&m_operator, &FileOperator::copyFinish, &m_display, [this] { finish(); });
        QObject::connect(&m_operator, &FileOperator::copyError, &m_display,
                         [this](const QString& path) { fail(path); });
        QObject::connect(&m_interrupt, &Interrupt::requested, &m_display, [this] { interrupt(); });
    }
    ~Copying()
    {
        m_operator.Close();
        m_thread.quit();
        m_thread.wait();
    }
    Copying(const Copying&) = delete;
    Copying& operator=(const Copying&) = delete;

    int run()
    {
        m_clock.start();
        m_thread.start();
        return QCoreApplication::exec();
    }

private:
    void showProgress(int copied, int total)
    {
        ProgressState state;
        state.phase = ProgressState::Phase::Working;
        state.doneBytes = copied;
        state.totalBytes = total;
        state.isInBytes = false;
        state.amountText = QStringLiteral("%1 / %2 files").arg(copied).arg(total);
        m_copied = copied;
        m_display.show(state);
    }

    void interrupt()
    {
        m_isInterrupted = true;
        m_operator.Close();
    }

    void finish()
    {
        m_display.clear();
        const double seconds = static_cast<double>(m_clock.elapsed()) / kMsPerSecond;
        m_display.note(
            QStringLiteral("Finished: %1 in place in %2 s").arg(ProgressText::files(m_copied)).arg(seconds, 0, 'f', 1));
        QCoreApplication::exit(ExitCode::kAllFinished);
    }

    void fail(const QString& path)
    {
        m_display.clear();
        if (m_isInterrupted) {
            m_display.note(QStringLiteral("Stopped. The same command goes on where this one stopped."));
            QCoreApplication::exit(ExitCode::kInterrupted);
            return;
        }
        // Without a path it was a folder of the destination.
        m_display.error(
            path.isEmpty()
                ? QStringLiteral("error: cannot make a folder in %1").arg(QDir::toNativeSeparators(m_options.folder))
                : QStringLiteral("error: cannot copy %1").arg(QDir::toNativeSeparators(path)));
        QCoreApplication::exit(ExitCode::kFilesFailed);
    }

    const Options m_options;
    ProgressDisplay m_display;
    const Interrupt m_interrupt;
    QThread m_thread;
    FileOperator m_operator; // lives on m_thread
    QElapsedTimer m_clock;
    int m_copied = 0;
    bool m_isInterrupted = false;
};

} // namespace

CopyCommand::CopyCommand()
    : Command(QStringLiteral("copy"), QStringLiteral("copy a folder tree, without what is there already"), kHelp)
{
}

void CopyCommand::addOptions(QCommandLineParser* parser) const
{
    OptionValues::add({kChanged}, parser);
}

int CopyCommand::execute(const QCommandLineParser& parser)
{
    Options options;
    const QString error = read(parser, &options);
    return error.isEmpty() ? Copying(options).run() : refuse(error);
}

// SPDX-License-Identifier: MIT
#include "Md5Command.h"

#include "ExitCode.h"
#include "Interrupt.h"
#include "OptionValues.h"
#include "Terminal.h"
#include "Tool/MD5CheckWorker.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QThread>
#include <QTimer>

namespace {

constexpr int kStopIntervalMs = 10;

const QString kSalt = QStringLiteral("salt");

const QLatin1String kHelp(
    R"(Usage: launcher md5 [OPTIONS] FILE...

Prints the MD5 of each file in hexadecimal, two blanks and the name of the file.

Options:
  --salt TEXT         the MD5 of the digits and this text instead
  -h, --help          this text

Exit codes:
  0    every file has been read
  1    at least one file could not be read; "error:" lines say which
  2    wrong arguments
  130  stopped with Ctrl-C
)");

/// \brief The files one after the other, on a thread of their own, until the exit code.
class Checking
{
public:
    Checking(const QStringList& files, const QString& salt) : m_files(files)
    {
        m_worker.SetMD5Salt(salt);
        m_worker.moveToThread(&m_thread);
        QObject::connect(&m_worker, &MD5CheckWorker::md5Checkfinished, &m_context,
                         [this](const QString& md5) { report(md5); });
        // Asked again and again: a computation that is just about to begin does not hear the first request.
        QObject::connect(&m_interrupt, &Interrupt::requested, &m_stop, [this] { m_stop.start(kStopIntervalMs); });
        QObject::connect(&m_stop, &QTimer::timeout, &m_stop, [this] { m_worker.SetRunning(false); });
    }
    ~Checking()
    {
        m_thread.quit();
        m_thread.wait();
    }
    Checking(const Checking&) = delete;
    Checking& operator=(const Checking&) = delete;

    int run()
    {
        m_thread.start();
        next();
        return QCoreApplication::exec();
    }

private:
    void next()
    {
        const QString file = m_files.at(m_index);
        QMetaObject::invokeMethod(
            &m_worker,
            [this, file] {
                m_worker.SetFilePath(file);
                m_worker.onStartMD5();
            },
            Qt::QueuedConnection);
    }

    void report(const QString& md5)
    {
        if (m_stop.isActive()) { // then it may be that of a part
            QCoreApplication::exit(ExitCode::kInterrupted);
            return;
        }
        const QString& file = m_files.at(m_index);
        if (md5.isEmpty()) {
            m_exitCode = ExitCode::kFilesFailed;
            Terminal::write(Terminal::Stream::Error, QStringLiteral("error: cannot read %1\n").arg(file));
        } else {
            Terminal::write(Terminal::Stream::Output, QStringLiteral("%1  %2\n").arg(md5, file));
        }
        if (++m_index < m_files.size())
            next();
        else
            QCoreApplication::exit(m_exitCode);
    }

    const QStringList m_files;
    QObject m_context;
    QTimer m_stop;
    const Interrupt m_interrupt;
    QThread m_thread;
    MD5CheckWorker m_worker; // lives on m_thread
    int m_index = 0;
    int m_exitCode = ExitCode::kAllFinished;
};

} // namespace

Md5Command::Md5Command() : Command(QStringLiteral("md5"), QStringLiteral("print the MD5 of files"), kHelp)
{
}

void Md5Command::addOptions(QCommandLineParser* parser) const
{
    OptionValues::add({kSalt}, parser);
}

int Md5Command::execute(const QCommandLineParser& parser)
{
    const QStringList files = parser.positionalArguments();
    return files.isEmpty() ? refuse(QStringLiteral("no file given")) : Checking(files, parser.value(kSalt)).run();
}

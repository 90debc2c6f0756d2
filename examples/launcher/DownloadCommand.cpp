// SPDX-License-Identifier: MIT
#include "DownloadCommand.h"

#include "DownloadHttpSession.h"
#include "DownloadOptions.h"
#include "DownloadSession.h"
#include "EngineHint.h"
#include "ExitCode.h"
#include "Interrupt.h"
#include "Language.h"
#include "LogFile.h"
#include "ProgressDisplay.h"
#include "Terminal.h"
#include "vantor/VantorExporter.h"

#include <QCoreApplication>
#include <QDir>
#include <QEvent>
#include <QStandardPaths>

#include <memory>

namespace {

// As the engine counts: routine information, to its log handler only, never to the screen.
constexpr int kEngineLogLevel = 2;
constexpr int kEngineLogDestination = 0;

int refuse(const QString& reason)
{
    Terminal::write(Terminal::Stream::Error, QStringLiteral("error: %1\n").arg(reason));
    return ExitCode::kWrongUse;
}

bool startEngine()
{
    const QString folder =
        QDir(QStandardPaths::writableLocation(QStandardPaths::CacheLocation)).filePath(QStringLiteral("engine"));
    QDir().mkpath(folder);
    return VantorExporter::Instance()->Init(folder, QStringLiteral("{}"), kEngineLogLevel, kEngineLogDestination);
}

int refuseForEngine()
{
    Terminal::write(
        Terminal::Stream::Error,
        QStringLiteral("error: the download engine was not found, or lacks a function.\n%1\n").arg(engineHint()));
    return ExitCode::kNoEngine;
}

std::unique_ptr<DownloadRun> makeRun(const DownloadOptions& options, ProgressDisplay* display)
{
    if (options.backend == DownloadOptions::Backend::Http)
        return std::make_unique<DownloadHttpSession>(options, display);
    return std::make_unique<DownloadSession>(options, display);
}

} // namespace

QString DownloadCommand::name() const
{
    return QStringLiteral("download");
}

QString DownloadCommand::summary() const
{
    return QStringLiteral("download files into a folder, verified and resumable");
}

int DownloadCommand::run(const QStringList& arguments)
{
    DownloadOptions options;
    const QString error = DownloadOptions::parse(arguments, &options);
    if (!error.isEmpty())
        return refuse(error + QStringLiteral(" (see launcher download --help)"));
    if (options.wantsHelp) {
        Terminal::write(Terminal::Stream::Output, DownloadOptions::help());
        return ExitCode::kAllFinished;
    }
    return download(options);
}

int DownloadCommand::download(const DownloadOptions& options)
{
    // Outlives everything that logs.
    const LogFile log(options.logPath);
    if (!log.isUsable())
        return refuse(QStringLiteral("cannot write the log %1: %2").arg(options.logPath, log.errorText()));
    // The folder must exist before the start: free space is only watched on a volume that can be found.
    if (!QDir().mkpath(options.folder))
        return refuse(QStringLiteral("cannot make the folder %1").arg(QDir::toNativeSeparators(options.folder)));
    Language::use(options.language);
    if (options.backend == DownloadOptions::Backend::Engine && !startEngine())
        return refuseForEngine();

    const int exitCode = runSession(options);
    // The controller leaves its back-end to the event loop, which has ended.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return exitCode;
}

int DownloadCommand::runSession(const DownloadOptions& options)
{
    ProgressDisplay display;
    const std::unique_ptr<DownloadRun> session = makeRun(options, &display);
    const Interrupt interrupt;
    QObject::connect(&interrupt, &Interrupt::requested, session.get(), &DownloadRun::interrupt);
    QObject::connect(session.get(), &DownloadRun::ended, QCoreApplication::instance(), &QCoreApplication::exit,
                     Qt::QueuedConnection);
    session->start();
    return QCoreApplication::exec();
}

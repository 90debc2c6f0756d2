// SPDX-License-Identifier: MIT
#include "DownloadCommand.h"

#include "DownloadHttpSession.h"
#include "DownloadOptions.h"
#include "DownloadSession.h"
#include "EngineStart.h"
#include "Language.h"
#include "LogFile.h"
#include "ProgressDisplay.h"

#include <QCoreApplication>
#include <QDir>
#include <QEvent>

#include <memory>

namespace {

std::unique_ptr<DownloadRun> makeRun(const DownloadOptions& options, ProgressDisplay* display)
{
    if (options.backend == DownloadOptions::Backend::Http)
        return std::make_unique<DownloadHttpSession>(options, display);
    return std::make_unique<DownloadSession>(options, display);
}

} // namespace

DownloadCommand::DownloadCommand()
    : Command(QStringLiteral("download"), QStringLiteral("download files into a folder, verified and resumable"),
              DownloadOptions::help())
{
}

void DownloadCommand::addOptions(QCommandLineParser* parser) const
{
    DownloadOptions::addTo(parser);
}

int DownloadCommand::execute(const QCommandLineParser& parser)
{
    DownloadOptions options;
    const QString error = DownloadOptions::read(parser, &options);
    if (!error.isEmpty())
        return refuse(error);
    return download(options);
}

int DownloadCommand::download(const DownloadOptions& options)
{
    // Outlives everything that logs.
    const LogFile log(options.logPath);
    if (!log.isUsable())
        return fail(QStringLiteral("cannot write the log %1: %2").arg(options.logPath, log.errorText()),
                    ExitCode::kWrongUse);
    // The folder must exist before the start: free space is only watched on a volume that can be found.
    if (!QDir().mkpath(options.folder))
        return fail(QStringLiteral("cannot make the folder %1").arg(QDir::toNativeSeparators(options.folder)),
                    ExitCode::kWrongUse);
    Language::use(options.language);
    if (options.backend == DownloadOptions::Backend::Engine) {
        const QString error = startEngine(QStringLiteral("{}"));
        if (!error.isEmpty())
            return fail(error, ExitCode::kNoEngine);
    }

    ProgressDisplay display;
    const int exitCode = makeRun(options, &display)->run();
    // The controller leaves its back-end to the event loop, which has ended.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return exitCode;
}

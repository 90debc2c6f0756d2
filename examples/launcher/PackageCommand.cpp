// SPDX-License-Identifier: MIT
#include "PackageCommand.h"

#include "EngineStart.h"
#include "Language.h"
#include "LogFile.h"
#include "PackageOptions.h"
#include "PackageSession.h"
#include "ProgressDisplay.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

constexpr qint64 kBytesPerKilobyte = 1024;

/// \brief The engine learns at its start where packages come from.
QString engineConfig(const PackageOptions& options)
{
    QJsonObject config{{QStringLiteral("package_base_url"), options.server.toString(QUrl::FullyEncoded)}};
    if (options.limitKilobytes) {
        config.insert(QStringLiteral("download_policy"),
                      QJsonObject{{QStringLiteral("download_bandwidth"), *options.limitKilobytes * kBytesPerKilobyte}});
    }
    return QString::fromUtf8(QJsonDocument(config).toJson(QJsonDocument::Compact));
}

bool writes(const PackageOptions& options)
{
    return options.action == VantorChunkActionNormalDownload || options.action == VantorChunkActionRepairDownload;
}

} // namespace

PackageCommand::PackageCommand()
    : Command(QStringLiteral("package"), QStringLiteral("install, update, repair or remove a package made of chunks"),
              PackageOptions::help())
{
}

void PackageCommand::addOptions(QCommandLineParser* parser) const
{
    PackageOptions::addTo(parser);
}

int PackageCommand::execute(const QCommandLineParser& parser)
{
    PackageOptions options;
    const QString error = PackageOptions::read(parser, &options);
    if (!error.isEmpty())
        return refuse(error);
    return work(options);
}

int PackageCommand::work(const PackageOptions& options)
{
    // Outlives everything that logs.
    const LogFile log(options.logPath);
    if (!log.isUsable())
        return fail(QStringLiteral("cannot write the log %1: %2").arg(options.logPath, log.errorText()),
                    ExitCode::kWrongUse);
    // The folder must exist before the start: free space is only watched on a volume that can be found.
    if (writes(options) && !QDir().mkpath(options.folder))
        return fail(QStringLiteral("cannot make the folder %1").arg(QDir::toNativeSeparators(options.folder)),
                    ExitCode::kWrongUse);
    Language::use(options.language);
    const QString error = startEngine(engineConfig(options));
    if (!error.isEmpty())
        return fail(error, ExitCode::kNoEngine);
    ProgressDisplay display;
    return PackageSession(options, &display).run();
}

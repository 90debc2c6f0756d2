// SPDX-License-Identifier: MIT
// A launcher without a window: what a launcher program does with the library, on the command line.
#include "ApiCommand.h"
#include "CopyCommand.h"
#include "DiskCommand.h"
#include "DownloadCommand.h"
#include "ExitCode.h"
#include "LanguageCommand.h"
#include "MachineCommand.h"
#include "Md5Command.h"
#include "PackageCommand.h"
#include "ProcessCommand.h"
#include "ProtocolCommand.h"
#include "QCommGlobal.h"
#include "Terminal.h"
#include "UnpackCommand.h"

#include <QCoreApplication>

#include <memory>
#include <vector>

namespace {

using Commands = std::vector<std::unique_ptr<Command>>;

Commands allCommands()
{
    Commands commands;
    commands.push_back(std::make_unique<DownloadCommand>());
    commands.push_back(std::make_unique<PackageCommand>());
    commands.push_back(std::make_unique<UnpackCommand>());
    commands.push_back(std::make_unique<CopyCommand>());
    commands.push_back(std::make_unique<Md5Command>());
    commands.push_back(std::make_unique<ApiCommand>());
    commands.push_back(std::make_unique<MachineCommand>());
    commands.push_back(std::make_unique<DiskCommand>());
    commands.push_back(std::make_unique<ProcessCommand>());
    commands.push_back(std::make_unique<ProtocolCommand>());
    commands.push_back(std::make_unique<LanguageCommand>());
    return commands;
}

QString help(const Commands& commands)
{
    QString text = QStringLiteral("Usage: launcher COMMAND [OPTIONS] ...\n\nCommands:\n");
    for (const auto& command : commands)
        text += QStringLiteral("  %1 %2\n").arg(command->name(), -10).arg(command->summary());
    text += QStringLiteral("\nOptions:\n"
                           "  -h, --help     this text; after a command, that command's\n"
                           "  -v, --version  the library's version\n");
    return text;
}

int refuse(const QString& reason)
{
    Terminal::write(Terminal::Stream::Error, QStringLiteral("error: %1 (see launcher --help)\n").arg(reason));
    return ExitCode::kWrongUse;
}

int answer(const QString& text)
{
    Terminal::write(Terminal::Stream::Output, text);
    return ExitCode::kAllFinished;
}

int dispatch(const QStringList& arguments)
{
    const Commands commands = allCommands();
    if (arguments.isEmpty())
        return refuse(QStringLiteral("no command given"));

    const QString& first = arguments.constFirst();
    if (first == QLatin1String("--help") || first == QLatin1String("-h") || first == QLatin1String("help"))
        return answer(help(commands));
    if (first == QLatin1String("--version") || first == QLatin1String("-v"))
        return answer(QStringLiteral("launcher " QCOMM_VERSION_STRING "\n"));
    for (const auto& command : commands) {
        if (command->name() == first)
            return command->run(arguments.mid(1));
    }
    return refuse(QStringLiteral("unknown command \"%1\"").arg(first));
}

} // namespace

int main(int argc, char* argv[])
{
    Terminal::useUtf8();
    const QCoreApplication application(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Orvel"));
    QCoreApplication::setApplicationName(QStringLiteral("launcher"));
    QCoreApplication::setApplicationVersion(QStringLiteral(QCOMM_VERSION_STRING));
    return dispatch(QCoreApplication::arguments().mid(1));
}

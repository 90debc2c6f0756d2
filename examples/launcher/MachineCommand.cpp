// SPDX-License-Identifier: MIT
#include "MachineCommand.h"

#include "ExitCode.h"
#include "Tool/PcInfo.h"

#include <QCommandLineParser>
#include <QDir>

namespace {

const QLatin1String kHelp(
    R"(Usage: launcher machine

Prints a table of what the library knows about this machine. "not known" is what
the system does not tell; the screens, for one, only a program with windows gets
to know.

Options:
  -h, --help  this text

Exit codes:
  0  printed
  2  wrong arguments
)");

} // namespace

MachineCommand::MachineCommand()
    : ToolCommand(QStringLiteral("machine"), QStringLiteral("describe this machine"), kHelp)
{
}

int MachineCommand::execute(const QCommandLineParser& parser)
{
    if (!parser.positionalArguments().isEmpty())
        return refuse(QStringLiteral("no arguments are wanted"));
    const QString folder = QDir::currentPath();
    print({
        {QStringLiteral("Name"), PcInfo::localmachineName()},
        {QStringLiteral("System"), QStringLiteral("%1 %2").arg(PcInfo::osType(), PcInfo::osVersion())},
        {QStringLiteral("Kernel"), PcInfo::osBuild()},
        {QStringLiteral("Architecture"), PcInfo::osArch()},
        {QStringLiteral("Processor"), PcInfo::cpuType()},
        {QStringLiteral("Memory"), PcInfo::memory()},
        {QStringLiteral("Graphics"), PcInfo::dCard()},
        {QStringLiteral("Screens"), PcInfo::screen()},
        {QStringLiteral("Notebook"), PcInfo::IsNoteBookPc() ? QStringLiteral("yes") : QStringLiteral("no")},
        {QStringLiteral("IP address"), PcInfo::ipAddress()},
        {QStringLiteral("Network card"), PcInfo::mac()},
        {QStringLiteral("Disk, free"), sizeText(PcInfo::GetDiskMemory(folder, true))},
        {QStringLiteral("Disk, total"), sizeText(PcInfo::GetDiskMemory(folder, false))},
    });
    return ExitCode::kAllFinished;
}

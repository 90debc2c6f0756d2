// SPDX-License-Identifier: MIT
#include "DiskCommand.h"

#include "ExitCode.h"
#include "Tool/PcInfo.h"

#include <QCommandLineParser>

namespace {

const QLatin1String kHelp(
    R"(Usage: launcher disk DRIVE    (Windows)
       launcher disk PATH     (elsewhere)

Prints how much space a disk has and how much of it is free. On Windows also what
kind of disk it is: a hard disk (HDD), an SSD or storage-class memory (SCM).
DRIVE is a letter, with or without a colon.

Options:
  -h, --help  this text

Exit codes:
  0  printed
  1  there is no such disk
  2  wrong arguments
)");

} // namespace

DiskCommand::DiskCommand()
    : ToolCommand(QStringLiteral("disk"), QStringLiteral("tell the space and the kind of a disk"), kHelp)
{
}

int DiskCommand::execute(const QCommandLineParser& parser)
{
    const QStringList arguments = parser.positionalArguments();
    if (arguments.size() != 1)
        return refuse(QStringLiteral("exactly one disk is wanted"));
    const QString place = placeOf(arguments.constFirst());
    if (place.isEmpty())
        return refuse(QStringLiteral("\"%1\" names no disk").arg(arguments.constFirst()));
    const qint64 total = PcInfo::GetDiskMemory(place, false);
    if (total <= 0)
        return fail(QStringLiteral("there is no disk at %1").arg(place));
    print(Rows{{QStringLiteral("Disk"), place}} + kindOf(place) +
          Rows{{QStringLiteral("Free"), sizeText(PcInfo::GetDiskMemory(place, true))},
               {QStringLiteral("Total"), sizeText(total)}});
    return ExitCode::kAllFinished;
}

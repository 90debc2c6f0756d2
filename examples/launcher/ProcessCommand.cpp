// SPDX-License-Identifier: MIT
#include "ProcessCommand.h"

#include "OptionValues.h"

#include <QCommandLineParser>

namespace {

const QLatin1String kHelp(
    R"(Usage: launcher process [--kill] NAME
       launcher process [--kill] --pid PID

Lists the running processes of a program by its file name, such as game.exe, in
any letter case: their ids and where the program is. Windows only.

Options:
  --pid PID   the one process with this id
  --kill      end them by force instead
  -h, --help  this text

Exit codes:
  0  found, or ended
  1  none is running, or it could not be ended
  2  wrong arguments
)");

const QString kPid = QStringLiteral("pid");
const QString kKill = QStringLiteral("kill");

} // namespace

ProcessCommand::ProcessCommand()
    : ToolCommand(QStringLiteral("process"), QStringLiteral("find and end processes (Windows)"), kHelp)
{
}

void ProcessCommand::addOptions(QCommandLineParser* parser) const
{
    OptionValues::add({kPid}, parser);
    parser->addOption(QCommandLineOption(kKill));
}

int ProcessCommand::execute(const QCommandLineParser& parser)
{
    const QStringList names = parser.positionalArguments();
    const bool kill = parser.isSet(kKill);
    if (parser.isSet(kPid)) {
        bool isNumber = false;
        const int pid = parser.value(kPid).toInt(&isNumber);
        if (!isNumber || pid <= 0)
            return refuse(QStringLiteral("--pid wants the number of a process"));
        if (!names.isEmpty())
            return refuse(QStringLiteral("give a name or --pid, not both"));
        return kill ? endId(pid) : showId(pid);
    }
    if (names.size() != 1 || names.constFirst().isEmpty())
        return refuse(QStringLiteral("exactly one name is wanted"));
    if (names.constFirst().contains(QLatin1Char('/')) || names.constFirst().contains(QLatin1Char('\\')))
        return refuse(QStringLiteral("\"%1\" is a path; the bare file name is wanted").arg(names.constFirst()));
    return kill ? end(names.constFirst()) : show(names.constFirst());
}

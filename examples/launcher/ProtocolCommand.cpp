// SPDX-License-Identifier: MIT
#include "ProtocolCommand.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFileInfo>
#include <QRegularExpression>

namespace {

const QLatin1String kHelp(
    R"(Usage: launcher protocol register SCHEME [PROGRAM]
       launcher protocol unregister SCHEME

Makes a program (this one, when none is given) the handler of a URL scheme such
as pelorhub for the current user, or takes the handler of the scheme away. The
program is started with --url= and the whole URL. Windows only.

Options:
  -h, --help  this text

Exit codes:
  0  done
  1  it cannot be done here
  2  wrong arguments
)");

bool isScheme(const QString& text)
{
    static const QRegularExpression kScheme(QStringLiteral("^[A-Za-z][A-Za-z0-9+.-]*$"));
    return kScheme.match(text).hasMatch();
}

} // namespace

ProtocolCommand::ProtocolCommand()
    : ToolCommand(QStringLiteral("protocol"), QStringLiteral("register the handler of a URL scheme (Windows)"), kHelp)
{
}

int ProtocolCommand::execute(const QCommandLineParser& parser)
{
    const QStringList arguments = parser.positionalArguments();
    const bool isAdding = arguments.value(0) == QLatin1String("register");
    if (!isAdding && arguments.value(0) != QLatin1String("unregister"))
        return refuse(QStringLiteral("register or unregister is wanted"));
    if (arguments.size() < 2 || arguments.size() > (isAdding ? 3 : 2))
        return refuse(isAdding ? QStringLiteral("a scheme and at most one program are wanted")
                               : QStringLiteral("exactly one scheme is wanted"));
    const QString& scheme = arguments.at(1);
    if (!isScheme(scheme))
        return refuse(QStringLiteral("\"%1\" is no name of a URL scheme").arg(scheme));
    if (!isAdding)
        return remove(scheme);
    const QString program = arguments.value(2, QCoreApplication::applicationFilePath());
    if (!QFileInfo(program).isFile())
        return refuse(QStringLiteral("there is no program %1").arg(program));
    return add(scheme, QFileInfo(program).absoluteFilePath());
}

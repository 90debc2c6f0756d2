// SPDX-License-Identifier: MIT
#include "Command.h"

#include "LogFile.h"
#include "Terminal.h"

#include <QCommandLineParser>

Command::Command(const QString& name, const QString& summary, const QString& help)
    : m_name(name), m_summary(summary), m_help(help)
{
}

int Command::run(const QStringList& arguments)
{
    // What the library has to say about its steps is not for the screen. A command may still send it to a file.
    const LogFile noLog{QString()};
    QCommandLineParser parser;
    const QCommandLineOption helpOption(QStringList{QStringLiteral("h"), QStringLiteral("help")});
    parser.addOption(helpOption);
    addOptions(&parser);
    // The parser takes the first argument for the program's name.
    if (!parser.parse(QStringList(QString()) + arguments))
        return refuse(parser.errorText());
    if (parser.isSet(helpOption)) {
        Terminal::write(Terminal::Stream::Output, m_help);
        return ExitCode::kAllFinished;
    }
    return execute(parser);
}

void Command::addOptions(QCommandLineParser*) const
{
}

int Command::refuse(const QString& reason) const
{
    return fail(QStringLiteral("%1 (see launcher %2 --help)").arg(reason, m_name), ExitCode::kWrongUse);
}

int Command::fail(const QString& reason, int exitCode)
{
    Terminal::write(Terminal::Stream::Error, QStringLiteral("error: %1\n").arg(reason));
    return exitCode;
}

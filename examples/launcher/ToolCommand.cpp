// SPDX-License-Identifier: MIT
#include "ToolCommand.h"

#include "ExitCode.h"
#include "Language.h"
#include "LogFile.h"
#include "Terminal.h"
#include "Tool/BytesUnitOperator.h"

#include <QCommandLineParser>

#include <algorithm>

int ToolCommand::run(const QStringList& arguments)
{
    // What the library has to say about its steps is not for this screen.
    const LogFile noLog{QString()};
    Language::use(QStringLiteral("en-us"));
    QCommandLineParser parser;
    const QCommandLineOption helpOption(QStringList{QStringLiteral("h"), QStringLiteral("help")});
    parser.addOption(helpOption);
    addOptions(&parser);
    // The parser takes the first argument for the program's name.
    if (!parser.parse(QStringList(QString()) + arguments))
        return refuse(parser.errorText());
    if (parser.isSet(helpOption)) {
        Terminal::write(Terminal::Stream::Output, help());
        return ExitCode::kAllFinished;
    }
    return execute(parser);
}

void ToolCommand::addOptions(QCommandLineParser*) const
{
}

void ToolCommand::print(const Rows& rows)
{
    int width = 0;
    for (const auto& row : rows)
        width = std::max(width, row.first.size());
    QString text;
    for (const auto& row : rows) {
        const QString value = row.second.isEmpty() ? QStringLiteral("not known") : row.second;
        text += QStringLiteral("%1  %2\n").arg(row.first.leftJustified(width), value);
    }
    Terminal::write(Terminal::Stream::Output, text);
}

int ToolCommand::refuse(const QString& reason) const
{
    Terminal::write(Terminal::Stream::Error,
                    QStringLiteral("error: %1 (see launcher %2 --help)\n").arg(reason, name()));
    return ExitCode::kWrongUse;
}

int ToolCommand::fail(const QString& reason)
{
    Terminal::write(Terminal::Stream::Error, QStringLiteral("error: %1\n").arg(reason));
    return ExitCode::kNotDone;
}

QString ToolCommand::sizeText(qint64 bytes)
{
    constexpr int kDecimals = 2;
    return bytes < 0 ? QString() : BytesUnitOperator::GetBytesString(bytes, QStringLiteral("Adaptive"), kDecimals);
}

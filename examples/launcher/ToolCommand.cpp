// SPDX-License-Identifier: MIT
#include "ToolCommand.h"

#include "Language.h"
#include "Terminal.h"
#include "Tool/BytesUnitOperator.h"

#include <algorithm>

int ToolCommand::run(const QStringList& arguments)
{
    Language::use(QStringLiteral("en-us"));
    return Command::run(arguments);
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

QString ToolCommand::sizeText(qint64 bytes)
{
    constexpr int kDecimals = 2;
    return bytes < 0 ? QString() : BytesUnitOperator::GetBytesString(bytes, QStringLiteral("Adaptive"), kDecimals);
}

// SPDX-License-Identifier: MIT
#pragma once

#include "Command.h"

#include <QPair>
#include <QVector>

/// \brief What the commands have in common that ask the library for one thing and print the answer, in English.
///
/// They end with 0 when they could do what they were asked for, 1 when not, and 2 after wrong arguments
/// (see ExitCode.h).
class ToolCommand : public Command
{
public:
    int run(const QStringList& arguments) final;

protected:
    using Command::Command;
    using Rows = QVector<QPair<QString, QString>>; ///< label and value, in order

    /// \brief Prints a table with a line for each row. An empty value is "not known".
    static void print(const Rows& rows);
    /// \brief A size for the reader, such as "1.50GB"; empty for a negative one, which is not known.
    static QString sizeText(qint64 bytes);
};

// SPDX-License-Identifier: MIT
#pragma once

#include "Command.h"

#include <QPair>
#include <QVector>

class QCommandLineParser;

/// \brief What the commands have in common that ask the library for one thing and print the answer.
///
/// They know --help, refuse wrong arguments with an error that names it, and end with 0 when they could do what
/// they were asked for, 1 when not, and 2 after wrong arguments (see ExitCode.h).
class ToolCommand : public Command
{
public:
    int run(const QStringList& arguments) final;

protected:
    using Rows = QVector<QPair<QString, QString>>; ///< label and value, in order

    /// \brief The text of "launcher COMMAND --help".
    virtual QString help() const = 0;
    /// \brief Adds options beyond --help.
    virtual void addOptions(QCommandLineParser* parser) const;
    /// \brief Does the work with arguments that could be parsed.
    virtual int execute(const QCommandLineParser& parser) = 0;

    /// \brief Prints a table with a line for each row. An empty value is "not known".
    static void print(const Rows& rows);
    /// \brief Says what is wrong with the arguments. \return the exit code for that
    int refuse(const QString& reason) const;
    /// \brief Says why it could not be done. \return the exit code for that
    static int fail(const QString& reason);
    /// \brief A size for the reader, such as "1.50GB"; empty for a negative one, which is not known.
    static QString sizeText(qint64 bytes);
};

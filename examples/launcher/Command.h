// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>

/// \brief One subcommand of the launcher. main() creates them, picks one by its name and runs it.
class Command
{
public:
    virtual ~Command() = default;

    /// \brief What the user types after "launcher".
    virtual QString name() const = 0;
    /// \brief One line for the list of commands.
    virtual QString summary() const = 0;
    /// \brief Does the work, with an event loop of its own where it needs one.
    /// \param arguments what follows the command's name
    /// \return the exit code of the program, see ExitCode.h
    virtual int run(const QStringList& arguments) = 0;
};

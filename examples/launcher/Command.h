// SPDX-License-Identifier: MIT
#pragma once

#include "ExitCode.h"

#include <QString>
#include <QStringList>

class QCommandLineParser;

/// \brief One subcommand of the launcher. main() creates them, picks one by its name and runs it.
///
/// Every command knows --help, and refuses wrong arguments with an error that names its help.
class Command
{
public:
    virtual ~Command() = default;
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    /// \brief What the user types after "launcher".
    QString name() const { return m_name; }
    /// \brief One line for the list of commands.
    QString summary() const { return m_summary; }
    /// \brief Parses the arguments and does what they ask for.
    /// \param arguments what follows the command's name
    /// \return the exit code of the program, see ExitCode.h
    virtual int run(const QStringList& arguments);

protected:
    /// \param help the text of "launcher COMMAND --help"
    Command(const QString& name, const QString& summary, const QString& help);

    /// \brief Adds options beyond --help.
    virtual void addOptions(QCommandLineParser* parser) const;
    /// \brief Does the work, with an event loop of its own where it needs one.
    /// \param parser has parsed the arguments; --help is not among them
    /// \return the exit code of the program, see ExitCode.h
    virtual int execute(const QCommandLineParser& parser) = 0;

    /// \brief Says what is wrong with the arguments. \return the exit code for that
    int refuse(const QString& reason) const;
    /// \brief Says why it could not be done. \return `exitCode`
    static int fail(const QString& reason, int exitCode = ExitCode::kNotDone);

private:
    const QString m_name;
    const QString m_summary;
    const QString m_help;
};

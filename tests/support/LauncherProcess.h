// SPDX-License-Identifier: MIT
#pragma once

#include "ChildProcess.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

/// \brief What a run of the launcher came to. Lines end with a bare line feed.
struct LauncherResult
{
    int code = -1; ///< -1 also for one that did not end in time, or crashed
    QString out;
    QString err;

    QStringList outLines() const;
    QStringList errLines() const;
};

/// \brief The launcher as a child of the test, in the test's environment with what is added to it.
class LauncherProcess : public ChildProcess
{
public:
    /// \brief How long an output or the end is waited for.
    static constexpr int kRunLimitMs = 60000;

    LauncherProcess();

    void setVariable(const QString& name, const QString& value);
    /// \brief Puts a folder first among those in which the launcher finds programs.
    void addProgramFolder(const QString& folder);
    /// \brief Puts a folder first among those in which the launcher finds an engine.
    void addEngineFolder(const QString& folder);

    /// \brief Starts it, with nothing to read.
    void launch(const QStringList& arguments);
    bool waitForOutput(const QByteArray& text);
    /// \brief All that waitForOutput() has seen.
    QByteArray outputSoFar() const { return m_out; }
    /// \brief Waits for the end.
    LauncherResult result();

    static LauncherResult run(const QStringList& arguments);

private:
    void prepend(const QString& variable, const QString& folder);

    QByteArray m_out;
};

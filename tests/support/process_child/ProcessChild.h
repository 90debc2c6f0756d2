// SPDX-License-Identifier: MIT
#pragma once

#include "ChildProcess.h"

#include <QCoreApplication>

/// \brief The program of this folder, running from the beginning, until its object or the test goes.
class ProcessChild : public ChildProcess
{
public:
    /// \param path the program, or a copy of it
    explicit ProcessChild(const QString& path)
    {
        setProgram(path);
        setArguments({QString::number(QCoreApplication::applicationPid())});
        start();
        waitForStarted();
    }
};

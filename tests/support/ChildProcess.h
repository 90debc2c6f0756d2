// SPDX-License-Identifier: MIT
#pragma once

#include <QProcess>

/// \brief A program that a test runs, killed with its object when it still runs.
class ChildProcess : public QProcess
{
public:
    ~ChildProcess() override
    {
        if (state() == NotRunning)
            return;
        kill();
        waitForFinished();
    }
};

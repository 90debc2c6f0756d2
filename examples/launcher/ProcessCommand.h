// SPDX-License-Identifier: MIT
#pragma once

#include "ToolCommand.h"

/// \brief "launcher process": finds and ends processes. Windows only.
class ProcessCommand : public ToolCommand
{
public:
    ProcessCommand();

protected:
    void addOptions(QCommandLineParser* parser) const override;
    int execute(const QCommandLineParser& parser) override;

private:
    // One for each platform.
    static int show(const QString& exeName);
    static int showId(int pid);
    static int end(const QString& exeName);
    static int endId(int pid);
};

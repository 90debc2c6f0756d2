// SPDX-License-Identifier: MIT
#pragma once

#include "ToolCommand.h"

/// \brief "launcher machine": a table of what PcInfo knows.
class MachineCommand : public ToolCommand
{
public:
    MachineCommand();

protected:
    int execute(const QCommandLineParser& parser) override;
};

// SPDX-License-Identifier: MIT
#pragma once

#include "ToolCommand.h"

/// \brief "launcher machine": a table of what PcInfo knows.
class MachineCommand : public ToolCommand
{
public:
    QString name() const override;
    QString summary() const override;

protected:
    QString help() const override;
    int execute(const QCommandLineParser& parser) override;
};

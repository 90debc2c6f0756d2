// SPDX-License-Identifier: MIT
#pragma once

#include "Command.h"

/// \brief "launcher copy": a folder tree into another folder, through FileOperator.
class CopyCommand : public Command
{
public:
    CopyCommand();

protected:
    void addOptions(QCommandLineParser* parser) const override;
    int execute(const QCommandLineParser& parser) override;
};

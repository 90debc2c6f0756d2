// SPDX-License-Identifier: MIT
#pragma once

#include "Command.h"

/// \brief "launcher copy": a folder tree into another folder, through FileOperator.
class CopyCommand : public Command
{
public:
    QString name() const override;
    QString summary() const override;
    int run(const QStringList& arguments) override;
};

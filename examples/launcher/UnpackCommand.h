// SPDX-License-Identifier: MIT
#pragma once

#include "Command.h"

/// \brief "launcher unpack": one archive into a folder, through Process7zWorker.
class UnpackCommand : public Command
{
public:
    UnpackCommand();

protected:
    void addOptions(QCommandLineParser* parser) const override;
    int execute(const QCommandLineParser& parser) override;
};

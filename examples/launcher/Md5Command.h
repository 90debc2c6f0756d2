// SPDX-License-Identifier: MIT
#pragma once

#include "Command.h"

/// \brief "launcher md5": the MD5 of files, through MD5CheckWorker.
class Md5Command : public Command
{
public:
    Md5Command();

protected:
    void addOptions(QCommandLineParser* parser) const override;
    int execute(const QCommandLineParser& parser) override;
};

// SPDX-License-Identifier: MIT
#pragma once

#include "Command.h"

/// \brief "launcher md5": the MD5 of files, through MD5CheckWorker.
class Md5Command : public Command
{
public:
    QString name() const override;
    QString summary() const override;

protected:
    QString help() const override;
    void addOptions(QCommandLineParser* parser) const override;
    int execute(const QCommandLineParser& parser) override;
};

// SPDX-License-Identifier: MIT
#pragma once

#include "Command.h"

struct PackageOptions;

/// \brief "launcher package": one chunk task on one package, until its end.
class PackageCommand : public Command
{
public:
    PackageCommand();

protected:
    void addOptions(QCommandLineParser* parser) const override;
    int execute(const QCommandLineParser& parser) override;

private:
    int work(const PackageOptions& options);
};

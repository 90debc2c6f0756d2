// SPDX-License-Identifier: MIT
#pragma once

#include "Command.h"

struct ApiOptions;

/// \brief "launcher api": one call of a web API, and its answer on the screen.
class ApiCommand : public Command
{
public:
    ApiCommand();

protected:
    void addOptions(QCommandLineParser* parser) const override;
    int execute(const QCommandLineParser& parser) override;

private:
    int call(const ApiOptions& options);
};

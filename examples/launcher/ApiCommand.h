// SPDX-License-Identifier: MIT
#pragma once

#include "Command.h"

struct ApiOptions;

/// \brief "launcher api": one call of a web API, and its answer on the screen.
class ApiCommand : public Command
{
public:
    QString name() const override;
    QString summary() const override;
    int run(const QStringList& arguments) override;

private:
    int call(const ApiOptions& options);
};

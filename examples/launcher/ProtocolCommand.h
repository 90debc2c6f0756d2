// SPDX-License-Identifier: MIT
#pragma once

#include "ToolCommand.h"

/// \brief "launcher protocol": who handles the URLs of a scheme. Windows only.
class ProtocolCommand : public ToolCommand
{
public:
    ProtocolCommand();

protected:
    int execute(const QCommandLineParser& parser) override;

private:
    // One for each platform.
    static int add(const QString& scheme, const QString& program);
    static int remove(const QString& scheme);
};

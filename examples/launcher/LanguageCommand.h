// SPDX-License-Identifier: MIT
#pragma once

#include "ToolCommand.h"

/// \brief "launcher language": what LanguageOperator chooses for this system, or for a language given.
class LanguageCommand : public ToolCommand
{
public:
    LanguageCommand();

protected:
    int execute(const QCommandLineParser& parser) override;
};

// SPDX-License-Identifier: MIT
#include "ProtocolCommand.h"

#include "ExitCode.h"
#include "Tool/ProtoRegistry.h"
#include "Tool/WinMessageOperator.h"

int ProtocolCommand::add(const QString& scheme, const QString& program)
{
    ProtoRegistry().Register({program, scheme});
    WinMessageOperator::refreshIconCache();
    return ExitCode::kAllFinished;
}

int ProtocolCommand::remove(const QString& scheme)
{
    ProtoRegistry().UnRegister({QString(), scheme});
    WinMessageOperator::refreshIconCache();
    return ExitCode::kAllFinished;
}

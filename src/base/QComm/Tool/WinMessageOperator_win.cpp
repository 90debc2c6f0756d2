// SPDX-License-Identifier: MIT
#include "Tool/WinMessageOperator.h"

#include "Tool/ShellRefresh_win.h"

void WinMessageOperator::refreshIconCache()
{
    ShellRefresh::Run();
}

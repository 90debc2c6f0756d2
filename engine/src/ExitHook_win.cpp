// SPDX-License-Identifier: MIT
#include "ExitHook.h"

namespace VantorEngine {

void callAtExit(void (*)())
{
}

} // namespace VantorEngine

// SPDX-License-Identifier: MIT
#include "ExitHook.h"

#include <cstdlib>

namespace VantorEngine {

void callAtExit(void (*stop)())
{
    std::atexit(stop);
}

void keepModuleLoaded()
{
}

} // namespace VantorEngine

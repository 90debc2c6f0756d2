// SPDX-License-Identifier: MIT
#include "ExitHook.h"

#include <windows.h>

namespace VantorEngine {

void callAtExit(void (*)())
{
    // Runs nothing: when a DLL is told of the end, the other threads have been killed.
}

void keepModuleLoaded()
{
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                       reinterpret_cast<LPCWSTR>(&keepModuleLoaded), &module);
}

} // namespace VantorEngine

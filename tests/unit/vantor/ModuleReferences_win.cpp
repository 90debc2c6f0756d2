// SPDX-License-Identifier: MIT
#include "ModuleReferences.h"

#include <windows.h>

namespace ModuleReferences {

bool IsLoaded(const char* name)
{
    return GetModuleHandleA(name) != nullptr;
}

void Release(const char* name)
{
    FreeLibrary(GetModuleHandleA(name));
}

} // namespace ModuleReferences

// SPDX-License-Identifier: MIT
#include "vantor/ProcApi.h"

#include <windows.h>

namespace vantor {

void* LoadModule(const char* name)
{
    return LoadLibraryA(name);
}

void* FindSymbol(void* module, const char* symbol)
{
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(module), symbol));
}

} // namespace vantor

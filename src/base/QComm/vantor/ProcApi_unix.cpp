// SPDX-License-Identifier: MIT
#include "vantor/ProcApi.h"

#include <dlfcn.h>

#include <string>

namespace vantor {

void* LoadModule(const char* name)
{
    return dlopen(("lib" + std::string(name) + ".so").c_str(), RTLD_NOW | RTLD_LOCAL);
}

void* FindSymbol(void* module, const char* symbol)
{
    return dlsym(module, symbol);
}

} // namespace vantor

// SPDX-License-Identifier: MIT
#include "ModuleReferences.h"

#include <dlfcn.h>

#include <string>

namespace ModuleReferences {

namespace {

/// \brief One more reference on a module that is loaded; null for others.
void* reference(const char* name)
{
    return dlopen(("lib" + std::string(name) + ".so").c_str(), RTLD_LAZY | RTLD_NOLOAD);
}

} // namespace

bool IsLoaded(const char* name)
{
    void* const module = reference(name);
    if (module)
        dlclose(module);
    return module != nullptr;
}

void Release(const char* name)
{
    void* const module = reference(name);
    dlclose(module); // the one just taken
    dlclose(module);
}

} // namespace ModuleReferences

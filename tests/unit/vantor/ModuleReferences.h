// SPDX-License-Identifier: MIT
#pragma once

/// \brief Looks at the references that a process holds on a module, given by its bare name.
namespace ModuleReferences {

bool IsLoaded(const char* name);
/// \brief Gives back one reference.
void Release(const char* name);

} // namespace ModuleReferences

// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <objbase.h>
#include <shlobj.h>

/// \file
/// What refreshing the shell consists of. Internal: not installed.

namespace ShellRefresh {

/// \brief What is asked of Windows, so that tests can watch.
struct Api
{
    decltype(&::SHGetFolderLocation) getFolderLocation = &::SHGetFolderLocation;
    decltype(&::SHChangeNotify) changeNotify = &::SHChangeNotify;
    decltype(&::CoTaskMemFree) taskMemFree = &::CoTaskMemFree;
    decltype(&::PostMessageW) postMessage = &::PostMessageW;
};

void Run(const Api& api = Api());

} // namespace ShellRefresh

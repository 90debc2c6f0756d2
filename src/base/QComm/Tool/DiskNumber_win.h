// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <windows.h>

/// \file
/// From a drive letter to the number of its physical disk. Internal: not installed.

namespace DiskNumber {

/// \brief What is asked of Windows, so that tests can answer.
struct Api
{
    decltype(&::GetLogicalDrives) getLogicalDrives = &::GetLogicalDrives;
    decltype(&::CreateFileA) createFile = &::CreateFileA;
    decltype(&::DeviceIoControl) deviceIoControl = &::DeviceIoControl;
    decltype(&::CloseHandle) closeHandle = &::CloseHandle;
};

constexpr int kNone = -1;

/// \brief Number of the physical disk that holds a drive, one upper-case letter; kNone when there is none.
///
/// Writes a debug line for each drive on the way.
int Of(const QString& drive, const Api& api = Api());

} // namespace DiskNumber

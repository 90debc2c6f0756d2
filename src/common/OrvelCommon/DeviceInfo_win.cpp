// SPDX-License-Identifier: MIT
#include "OrvelCommon/Probe.h"

#include <windows.h>

namespace Orvel::Common::Detail {

namespace {

std::wstring toWide(const std::string& utf8)
{
    const int bytes = static_cast<int>(utf8.size());
    const int length = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), bytes, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(length), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), bytes, wide.data(), length);
    return wide;
}

} // namespace

DiskSpace ReadDiskSpace(const std::string& path)
{
    // An empty path would silently mean the current volume.
    if (path.empty())
        return {0, 0};
    ULARGE_INTEGER freeBytes = {};
    ULARGE_INTEGER totalBytes = {};
    if (!GetDiskFreeSpaceExW(toWide(path).c_str(), &freeBytes, &totalBytes, nullptr))
        return {0, 0};
    return {freeBytes.QuadPart, totalBytes.QuadPart};
}

} // namespace Orvel::Common::Detail

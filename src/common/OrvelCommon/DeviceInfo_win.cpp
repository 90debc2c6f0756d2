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

/// \brief The absolute path in the form that has no length limit; empty when it is none.
std::wstring extendedPath(const std::wstring& path)
{
    std::wstring full(GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
    full.resize(GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr));
    if (full.empty() || full.compare(0, 4, L"\\\\?\\") == 0 || full.compare(0, 4, L"\\\\.\\") == 0)
        return full;
    return full.compare(0, 2, L"\\\\") == 0 ? L"\\\\?\\UNC\\" + full.substr(2) : L"\\\\?\\" + full;
}

/// \brief The folder to ask about: the path itself, or the root of the volume for the path of a file, because the
/// system answers for folders alone. Empty when there is nothing at the path.
std::wstring folderFor(const std::wstring& path)
{
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return {};
    if (attributes & FILE_ATTRIBUTE_DIRECTORY)
        return path.back() == L'\\' ? path : path + L'\\'; // shares want it
    std::wstring root(path.size() + MAX_PATH, L'\0');
    if (!GetVolumePathNameW(path.c_str(), root.data(), static_cast<DWORD>(root.size())))
        return {};
    return root.c_str();
}

} // namespace

DiskSpace ReadDiskSpace(const std::string& path)
{
    // An empty path would silently mean the current volume.
    if (path.empty())
        return {0, 0};
    const std::wstring folder = folderFor(extendedPath(toWide(path)));
    if (folder.empty())
        return {0, 0};
    ULARGE_INTEGER freeBytes = {};
    ULARGE_INTEGER totalBytes = {};
    if (!GetDiskFreeSpaceExW(folder.c_str(), &freeBytes, &totalBytes, nullptr))
        return {0, 0};
    return {freeBytes.QuadPart, totalBytes.QuadPart};
}

} // namespace Orvel::Common::Detail

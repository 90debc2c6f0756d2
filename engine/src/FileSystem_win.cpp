// SPDX-License-Identifier: MIT
#include "FileSystem.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <string>
#include <vector>

#include <io.h>

#include <windows.h>
#include <winioctl.h>

namespace VantorEngine {

namespace {

/// The absolute path in the form that has no length limit.
std::wstring extendedPath(const QString& path)
{
    const QString native = QDir::toNativeSeparators(QFileInfo(path).absoluteFilePath());
    if (native.startsWith(QLatin1String("\\\\?\\"))) {
        return native.toStdWString();
    }
    if (native.startsWith(QLatin1String("\\\\"))) {
        return (QStringLiteral("\\\\?\\UNC\\") + native.mid(2)).toStdWString();
    }
    return (QStringLiteral("\\\\?\\") + native).toStdWString();
}

} // namespace

bool replaceFile(const QString& from, const QString& to, ReplaceProblem& problem)
{
    if (MoveFileExW(extendedPath(from).c_str(), extendedPath(to).c_str(), MOVEFILE_REPLACE_EXISTING) != 0) {
        return true;
    }
    problem.systemError = static_cast<int>(GetLastError());
    problem.message = qt_error_string(problem.systemError);
    // A program that has the destination open without sharing it for deletion shows as "access denied".
    problem.busy = problem.systemError == ERROR_SHARING_VIOLATION || problem.systemError == ERROR_LOCK_VIOLATION ||
                   (problem.systemError == ERROR_ACCESS_DENIED && !QFileInfo(to).isDir());
    return false;
}

/// Without it the system fills every hole that a write leaves behind with zeros, before the write returns.
void setSparse(QFile& file)
{
    const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(file.handle()));
    DWORD returned = 0;
    if (handle != INVALID_HANDLE_VALUE) {
        DeviceIoControl(handle, FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &returned, nullptr);
    }
}

Volume volumeOf(const QString& folder)
{
    const std::wstring path = extendedPath(folder);
    std::vector<wchar_t> root(path.size() + MAX_PATH);
    ULARGE_INTEGER available = {};
    if (GetVolumePathNameW(path.c_str(), root.data(), static_cast<DWORD>(root.size())) == 0 ||
        GetDiskFreeSpaceExW(root.data(), &available, nullptr, nullptr) == 0) {
        return {};
    }
    return {QString::fromWCharArray(root.data()).toCaseFolded().toUtf8(), static_cast<qint64>(available.QuadPart)};
}

void clearSystemError()
{
    SetLastError(ERROR_SUCCESS);
}

bool diskWasFull()
{
    const DWORD error = GetLastError();
    return error == ERROR_DISK_FULL || error == ERROR_HANDLE_DISK_FULL;
}

} // namespace VantorEngine

// SPDX-License-Identifier: MIT
#include "FileSystem.h"

#include <QDir>
#include <QFileInfo>

#include <string>

#include <windows.h>

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
    return false;
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

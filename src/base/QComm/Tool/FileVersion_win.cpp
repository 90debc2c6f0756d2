// SPDX-License-Identifier: MIT
#include "Tool/FileVersion.h"

#include <QDir>
#include <QFileInfo>

#include <windows.h>

#include <string>
#include <vector>

QString FileVersion::GetFileVersion(const QString& path)
{
    if (path.isEmpty() || !QFileInfo::exists(path))
        return QString();
    const std::wstring name = QDir::toNativeSeparators(path).toStdWString();
    const DWORD size = GetFileVersionInfoSizeW(name.c_str(), nullptr);
    if (size == 0)
        return QString();
    std::vector<unsigned char> information(size, 0);
    if (!GetFileVersionInfoW(name.c_str(), 0, size, information.data()))
        return QString();

    void* root = nullptr;
    UINT rootSize = 0;
    if (!VerQueryValueW(information.data(), L"\\", &root, &rootSize) || rootSize < sizeof(VS_FIXEDFILEINFO))
        return QString();
    const auto* const fixed = static_cast<const VS_FIXEDFILEINFO*>(root);
    // A damaged resource may be handed out as it is.
    if (fixed->dwSignature != VS_FFI_SIGNATURE)
        return QString();
    return QStringLiteral("%1.%2.%3.%4")
        .arg(HIWORD(fixed->dwFileVersionMS))
        .arg(LOWORD(fixed->dwFileVersionMS))
        .arg(HIWORD(fixed->dwFileVersionLS))
        .arg(LOWORD(fixed->dwFileVersionLS));
}

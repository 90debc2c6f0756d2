// SPDX-License-Identifier: MIT
#pragma once

#include "QCommGlobal.h"

#include <QString>

/// \brief The version that a program or library carries in its version resource. Windows only.
///
/// No state; any thread.
class QCOMM_EXPORT FileVersion
{
public:
    /// \brief The file's version number, such as "1.2.30.4": four numbers up to 65535, without padding.
    ///
    /// It is the fixed, language-independent number, not the text that translations of the resource may have.
    /// \param path the file, with either kind of separator
    /// \return empty for an empty path, a missing file, and a file without a (sound) version
    /// resource
    static QString GetFileVersion(const QString& path);
};

// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// \file
/// Copying one file. Internal: not installed.

namespace FileCopy {

/// \brief Copies a file's content and permissions, on Windows its times and attributes as well.
///
/// In small blocks. Not forced to the disk at once: that would take longer than the copying.
/// \return false when `to` exists, or when anything fails; nothing is left of the copy then
bool Copy(const QString& from, const QString& to);

} // namespace FileCopy

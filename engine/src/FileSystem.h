// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

namespace VantorEngine {

/// Why a file could not be renamed, in the system's words and numbers.
struct ReplaceProblem
{
    QString message;
    int systemError = 0;
};

/// Renames a file in one step, over an existing one: at every moment the destination is the old or the new file.
/// \param problem set on failure.
bool replaceFile(const QString& from, const QString& to, ReplaceProblem& problem);

/// Forgets the calling thread's last system error.
void clearSystemError();
/// True when the calling thread's last system error says that the disk, or the user's share of it, is full.
bool diskWasFull();

} // namespace VantorEngine

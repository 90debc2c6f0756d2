// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

class QFile;

namespace VantorEngine {

/// Why a file could not be renamed, in the system's words and numbers.
struct ReplaceProblem
{
    QString message;
    int systemError = 0;
    bool busy = false; ///< another program holds one of the two files
};

/// Renames a file in one step, over an existing one: at every moment the destination is the old or the new file.
/// \param problem set on failure.
bool replaceFile(const QString& from, const QString& to, ReplaceProblem& problem);

/// How often that is tried, and how far apart, while another program holds a file: two seconds in all.
constexpr int kReplaceAttempts = 20;
constexpr int kReplaceRetryMs = 100;

/// Lets an open file have holes that take no space and no time to skip, where the system must be told so.
void setSparse(QFile& file);

/// A volume, by a name that only it has, and what a user may still write to it.
struct Volume
{
    QByteArray id; ///< empty: not found out
    qint64 freeBytes = 0;
};

/// The volume of a folder that exists.
Volume volumeOf(const QString& folder);

/// Forgets the calling thread's last system error.
void clearSystemError();
/// True when the calling thread's last system error says that the disk, or the user's share of it, is full.
bool diskWasFull();

} // namespace VantorEngine

// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// \brief Takes the log of the library and Qt's own messages away from the screen, into a file or nowhere.
///
/// Works from construction until the process ends: after the object's destruction everything is dropped,
/// because the library still logs while the process is taken down. Lines may come from any thread.
class LogFile
{
public:
    /// \param path file to append to; empty to drop everything
    explicit LogFile(const QString& path);
    ~LogFile();
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    /// \brief Whether the file could be opened; true without a file.
    bool isUsable() const;
    /// \brief Why it could not.
    QString errorText() const;
};

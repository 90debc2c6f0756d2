// SPDX-License-Identifier: MIT
#pragma once

#include "QCommGlobal.h"

#include <QList>
#include <QString>

/// \brief Finds, counts and ends processes by executable name or process id. Windows only.
///
/// Only static functions, each of which looks at the machine anew; they may be called on any thread. An
/// executable name is a bare file name such as "game.exe", without a folder, and its letter case does not
/// matter.
class QCOMM_EXPORT ProcessOperator
{
public:
    /// \brief What a query about a process found.
    enum ProcessStatus : qint32 {
        StatusError = -1, ///< the query could not be made
        NotRunning = 0,   ///< no such process
        Running = 1,      ///< at least one such process
    };

    /// \brief How many running processes have this executable name.
    /// \return -1 for an empty name, or when the processes cannot be listed
    static int CheckProcessExistCount(const QString& exeName);
    /// \brief Whether at least one process with this executable name runs.
    /// \return StatusError for an empty name, or when the processes cannot be listed
    static ProcessStatus CheckProcessStatus(const QString& exeName);
    /// \brief Whether the process with this id runs under this executable name.
    /// \return never StatusError: NotRunning also when the processes cannot be listed
    static ProcessStatus CheckProcessStatus(const QString& exeName, int pid);
    /// \brief Ids of all processes with this executable name, in the order in which the system lists them.
    /// \return an empty list for an empty name, or when the processes cannot be listed
    static QList<int> GetProcessId(const QString& exeName);
    /// \brief Full path of the program that a process runs, with backslashes; a path of 260 characters or more
    /// is cut.
    /// \return empty when there is no such process, or this user may not query it
    static QString GetPathByProcessId(int pid);

    /// \brief Ends every process with this executable name by force, through the system's `taskkill`. Blocks
    /// until that has ended.
    /// \param exeName may hold blanks, with or without quotes around it
    /// \return the exit code of `taskkill`, 0 when it ended them; -2 when it cannot be started, -1 when it
    /// crashed
    static int killProcess(const QString& exeName);
    /// \brief The same for the process with this id.
    static int killProcess(int pid);
};

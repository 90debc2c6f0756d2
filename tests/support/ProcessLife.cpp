// SPDX-License-Identifier: MIT
#include "ProcessLife.h"

#ifdef Q_OS_WIN

#include <windows.h>

bool isProcessRunning(qint64 processId)
{
    const HANDLE process = OpenProcess(SYNCHRONIZE, FALSE, static_cast<DWORD>(processId));
    if (!process)
        return false;
    const bool isRunning = WaitForSingleObject(process, 0) == WAIT_TIMEOUT;
    CloseHandle(process);
    return isRunning;
}

#else

#include <QFile>

bool isProcessRunning(qint64 processId)
{
    QFile status(QStringLiteral("/proc/%1/stat").arg(processId));
    if (!status.open(QIODevice::ReadOnly))
        return false;
    // The state stands behind the name, which is in parentheses.
    const QByteArray text = status.readAll();
    const QByteArray state = text.mid(text.lastIndexOf(')') + 2, 1);
    return !state.isEmpty() && state != "Z" && state != "X";
}

#endif

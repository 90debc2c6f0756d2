// SPDX-License-Identifier: MIT
#include "ProcessCommand.h"

#include "ExitCode.h"
#include "Tool/ProcessOperator.h"

int ProcessCommand::show(const QString& exeName)
{
    const QList<int> ids = ProcessOperator::GetProcessId(exeName);
    if (ids.isEmpty())
        return fail(QStringLiteral("no %1 is running").arg(exeName));
    Rows rows;
    for (const int id : ids)
        rows.append({QString::number(id), ProcessOperator::GetPathByProcessId(id)});
    print(rows);
    return ExitCode::kAllFinished;
}

int ProcessCommand::showId(int pid)
{
    const QString path = ProcessOperator::GetPathByProcessId(pid);
    if (path.isEmpty())
        return fail(QStringLiteral("there is no process %1, or it may not be looked at").arg(pid));
    print({{QString::number(pid), path}});
    return ExitCode::kAllFinished;
}

int ProcessCommand::end(const QString& exeName)
{
    const int code = ProcessOperator::killProcess(exeName);
    return code == 0 ? ExitCode::kAllFinished
                     : fail(QStringLiteral("%1 was not ended (taskkill: %2)").arg(exeName, QString::number(code)));
}

int ProcessCommand::endId(int pid)
{
    const int code = ProcessOperator::killProcess(pid);
    return code == 0 ? ExitCode::kAllFinished
                     : fail(QStringLiteral("process %1 was not ended (taskkill: %2)").arg(pid).arg(code));
}

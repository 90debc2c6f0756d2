// SPDX-License-Identifier: MIT
#include "Tool/ProcessOperator.h"

#include "Tool/ProcessQuery_win.h"

#include <QProcess>
#include <QStringList>

namespace {

int taskkill(const QStringList& arguments)
{
    return QProcess::execute(QStringLiteral("taskkill"), arguments);
}

} // namespace

int ProcessOperator::CheckProcessExistCount(const QString& exeName)
{
    return ProcessQuery::Count(exeName);
}

ProcessOperator::ProcessStatus ProcessOperator::CheckProcessStatus(const QString& exeName)
{
    return ProcessQuery::Status(exeName);
}

ProcessOperator::ProcessStatus ProcessOperator::CheckProcessStatus(const QString& exeName, int pid)
{
    return GetProcessId(exeName).contains(pid) ? Running : NotRunning;
}

QList<int> ProcessOperator::GetProcessId(const QString& exeName)
{
    return ProcessQuery::Ids(exeName);
}

QString ProcessOperator::GetPathByProcessId(int pid)
{
    return ProcessQuery::PathOf(pid);
}

int ProcessOperator::killProcess(const QString& exeName)
{
    // The command line "taskkill /im NAME /f". As a list, so that a name with blanks arrives in quotes, as one
    // argument. Quotes that the caller has put around it are the same quotes: no file name holds any.
    const QString name = QString(exeName).remove(QLatin1Char('"'));
    return taskkill({QStringLiteral("/im"), name, QStringLiteral("/f")});
}

int ProcessOperator::killProcess(int pid)
{
    return taskkill({QStringLiteral("/F"), QStringLiteral("/PID"), QString::number(pid)});
}

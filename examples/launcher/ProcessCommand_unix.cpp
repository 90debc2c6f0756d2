// SPDX-License-Identifier: MIT
#include "ProcessCommand.h"

namespace {

QString windowsOnly()
{
    return QStringLiteral("the library looks after processes on Windows only");
}

} // namespace

int ProcessCommand::show(const QString&)
{
    return fail(windowsOnly());
}

int ProcessCommand::showId(int)
{
    return fail(windowsOnly());
}

int ProcessCommand::end(const QString&)
{
    return fail(windowsOnly());
}

int ProcessCommand::endId(int)
{
    return fail(windowsOnly());
}

// SPDX-License-Identifier: MIT
#include "ProtocolCommand.h"

namespace {

QString windowsOnly()
{
    return QStringLiteral("the library registers URL schemes on Windows only");
}

} // namespace

int ProtocolCommand::add(const QString&, const QString&)
{
    return fail(windowsOnly());
}

int ProtocolCommand::remove(const QString&)
{
    return fail(windowsOnly());
}

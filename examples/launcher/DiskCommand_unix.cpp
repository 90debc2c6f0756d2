// SPDX-License-Identifier: MIT
#include "DiskCommand.h"

#include <QFileInfo>

QString DiskCommand::placeOf(const QString& argument)
{
    return QFileInfo::exists(argument) ? QFileInfo(argument).absoluteFilePath() : QString();
}

// The library tells the kind of a disk on Windows only.
ToolCommand::Rows DiskCommand::kindOf(const QString&)
{
    return {};
}

// SPDX-License-Identifier: MIT
#pragma once

#include "ToolCommand.h"

/// \brief "launcher disk": the space of a disk and, on Windows, what kind of disk it is.
class DiskCommand : public ToolCommand
{
public:
    DiskCommand();

protected:
    int execute(const QCommandLineParser& parser) override;

private:
    // One for each platform: the disk's place as PcInfo takes it, empty for an argument that names none; and the
    // rows that only this platform has.
    static QString placeOf(const QString& argument);
    static Rows kindOf(const QString& place);
};

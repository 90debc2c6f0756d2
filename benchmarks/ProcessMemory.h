// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QFile>
#include <QList>

#include <cstddef>

#include <malloc.h>

/// \brief Memory that the program holds, without what the allocator keeps for later, in KiB.
inline std::size_t heldKiB()
{
    const struct mallinfo2 heap = mallinfo2();
    return (heap.uordblks + heap.hblkhd) / 1024;
}

/// \brief Memory of the process in KiB, as the kernel counts it; 0 when it cannot be read.
inline long residentKiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> lines = status.readAll().split('\n');
    for (const QByteArray& line : lines) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toLong();
    }
    return 0;
}

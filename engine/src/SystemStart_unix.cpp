// SPDX-License-Identifier: MIT
#include "SystemStart.h"

#include <QFile>

namespace VantorEngine {

/// The kernel draws a random identifier at each start.
QByteArray systemStart()
{
    QFile file(QStringLiteral("/proc/sys/kernel/random/boot_id"));
    return file.open(QIODevice::ReadOnly) ? file.readAll().trimmed() : QByteArray();
}

bool isPresentSystemStart(const QByteArray& start)
{
    return !start.isEmpty() && start == systemStart();
}

} // namespace VantorEngine

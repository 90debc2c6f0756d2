// SPDX-License-Identifier: MIT
#include "SystemStart.h"

#include <QDateTime>

#include <windows.h>

namespace VantorEngine {

namespace {

/// The two clocks drift apart by seconds a day. Another start cannot be nearer: it takes longer itself.
constexpr qint64 kToleranceMs = 15000;

} // namespace

/// The moment of the start, in milliseconds since 1970. A clock that was set since then makes it another one, which
/// only costs fetching something again.
QByteArray systemStart()
{
    const auto running = static_cast<qint64>(GetTickCount64());
    return QByteArray::number(QDateTime::currentMSecsSinceEpoch() - running);
}

bool isPresentSystemStart(const QByteArray& start)
{
    bool numeric = false;
    const qint64 noted = start.toLongLong(&numeric);
    return numeric && qAbs(noted - systemStart().toLongLong()) <= kToleranceMs;
}

} // namespace VantorEngine

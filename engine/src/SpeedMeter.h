// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

namespace VantorEngine {

/// Bytes per second over windows of about a second. Times are milliseconds of a monotonic clock.
class SpeedMeter
{
public:
    void start(qint64 nowMs);
    void add(qint64 bytes) { m_bytes += bytes; }
    /// The rate of the last whole window; before there is one, that of the window so far.
    qint64 bytesPerSecond(qint64 nowMs);

    static constexpr qint64 kWindowMs = 1000;

private:
    qint64 m_windowStartMs = 0;
    qint64 m_bytes = 0;
    qint64 m_lastRate = -1;
};

} // namespace VantorEngine

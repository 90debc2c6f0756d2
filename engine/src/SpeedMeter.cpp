// SPDX-License-Identifier: MIT
#include "SpeedMeter.h"

namespace VantorEngine {

void SpeedMeter::start(qint64 nowMs)
{
    m_windowStartMs = nowMs;
    m_bytes = 0;
    m_lastRate = -1;
}

qint64 SpeedMeter::bytesPerSecond(qint64 nowMs)
{
    const qint64 elapsedMs = nowMs - m_windowStartMs;
    if (elapsedMs >= kWindowMs) {
        m_lastRate = m_bytes * 1000 / elapsedMs;
        m_windowStartMs = nowMs;
        m_bytes = 0;
    }
    if (m_lastRate >= 0) {
        return m_lastRate;
    }
    return elapsedMs > 0 ? m_bytes * 1000 / elapsedMs : 0;
}

} // namespace VantorEngine

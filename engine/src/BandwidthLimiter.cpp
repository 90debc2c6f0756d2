// SPDX-License-Identifier: MIT
#include "BandwidthLimiter.h"

#include <algorithm>
#include <chrono>

namespace VantorEngine {

namespace {

constexpr double kNsPerSecond = 1e9;

qint64 monotonicNs()
{
    using namespace std::chrono;
    return duration_cast<nanoseconds>(steady_clock::now().time_since_epoch()).count();
}

} // namespace

BandwidthLimiter::BandwidthLimiter() : BandwidthLimiter(monotonicNs)
{
}

BandwidthLimiter::BandwidthLimiter(Clock clock) : m_clock(std::move(clock)), m_refilledNs(m_clock())
{
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    m_timer.setInterval(kServeIntervalMs);
    connect(&m_timer, &QTimer::timeout, this, &BandwidthLimiter::serve);
}

void BandwidthLimiter::setLimit(qint64 bytesPerSecond)
{
    m_limit = std::max<qint64>(0, bytesPerSecond);
    m_tokens = 0;
    m_refilledNs = m_clock();
    if (!m_waiting.isEmpty()) {
        m_timer.start();
    }
}

double BandwidthLimiter::smallestGrant() const
{
    return std::max(1.0, static_cast<double>(m_limit) * kSmallestGrantSeconds);
}

bool BandwidthLimiter::canGrant() const
{
    return m_limit == 0 || m_tokens >= smallestGrant();
}

void BandwidthLimiter::refill()
{
    const qint64 now = m_clock();
    const double elapsed = static_cast<double>(now - m_refilledNs) / kNsPerSecond;
    const auto rate = static_cast<double>(m_limit);
    m_tokens = std::min(m_tokens + elapsed * rate, std::max(1.0, rate * kBurstSeconds));
    m_refilledNs = now;
}

qint64 BandwidthLimiter::take(qint64 wanted)
{
    if (m_limit == 0) {
        return wanted;
    }
    if (m_share == 0 && !m_waiting.isEmpty()) {
        return 0; // nobody passes those who wait
    }
    refill();
    if (m_tokens < std::min(smallestGrant(), static_cast<double>(wanted))) {
        return 0;
    }
    qint64 granted = std::min(wanted, static_cast<qint64>(m_tokens));
    if (m_share > 0) {
        granted = std::min(granted, m_share);
    }
    m_tokens -= static_cast<double>(granted);
    return granted;
}

void BandwidthLimiter::wait(BandwidthClient* client)
{
    if (!m_waiting.contains(client)) {
        m_waiting.append(client);
    }
    if (!m_timer.isActive()) {
        m_timer.start();
    }
}

void BandwidthLimiter::forget(BandwidthClient* client)
{
    m_waiting.removeAll(client);
}

void BandwidthLimiter::serve()
{
    const int count = m_waiting.size();
    if (m_limit > 0 && count > 0) {
        refill();
        m_share = std::max<qint64>(1, static_cast<qint64>(std::max(m_tokens / count, smallestGrant())));
    }
    // Clients may wait again, or be forgotten, while others are called: each is taken off the list first. Who comes
    // away empty stays at its head.
    for (int i = 0; i < count && !m_waiting.isEmpty() && canGrant(); ++i) {
        m_waiting.takeFirst()->bandwidthAvailable();
    }
    if (!m_waiting.isEmpty()) {
        m_timer.start();
    }
    m_share = 0;
}

} // namespace VantorEngine

// SPDX-License-Identifier: MIT
#include "RetryPolicy.h"

#include "Settings.h"

#include <QNetworkReply>
#include <QRandomGenerator>

#include <algorithm>
#include <utility>

namespace VantorEngine {

namespace {

constexpr int kMostDoublings = 20;

} // namespace

bool isTransientStatus(int status)
{
    switch (status) {
    case 408:
    case 425:
    case 429:
        return true;
    case 501:
    case 505:
        return false;
    default:
        return status >= 500;
    }
}

bool isTransientNetworkError(int error)
{
    switch (error) {
    case QNetworkReply::TooManyRedirectsError:
    case QNetworkReply::InsecureRedirectError:
    case QNetworkReply::ProxyAuthenticationRequiredError:
    case QNetworkReply::ProtocolUnknownError:
    case QNetworkReply::ProtocolInvalidOperationError:
        return false;
    default:
        return true;
    }
}

RetryPolicy::RetryPolicy(const Settings& settings)
    : RetryPolicy(settings, [] { return QRandomGenerator::global()->generateDouble(); })
{
}

RetryPolicy::RetryPolicy(const Settings& settings, Random random) : m_settings(settings), m_random(std::move(random))
{
}

int RetryPolicy::nextDelay(qint64 bytesOnDisk, qint64 retryAfterMs)
{
    if (bytesOnDisk >= m_mostBytes + kProgressBytes) {
        m_mostBytes = bytesOnDisk;
        m_failuresInRow = 0;
    }
    if (m_failuresInRow >= m_settings.retryLimit) {
        return -1;
    }
    const int doublings = std::min(m_failuresInRow, kMostDoublings);
    ++m_failuresInRow;
    const qint64 cap = m_settings.retryDelayCapMs;
    const qint64 delay = std::min(static_cast<qint64>(m_settings.retryDelayMs) << doublings, cap);
    const qint64 chance = delay / 2;
    const qint64 jittered = delay - chance + static_cast<qint64>(m_random() * static_cast<double>(chance));
    return static_cast<int>(std::max(jittered, std::min(retryAfterMs, cap)));
}

} // namespace VantorEngine

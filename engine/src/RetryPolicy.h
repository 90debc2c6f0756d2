// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

#include <functional>

namespace VantorEngine {

struct Settings;

/// HTTP statuses that may be better later: 408, 425, 429 and the server errors except 501 and 505.
bool isTransientStatus(int status);

/// Network errors (QNetworkReply::NetworkError values) that may be better later.
bool isTransientNetworkError(int error);

/// Counts the failed attempts of one file. Attempts that brought the file on by kProgressBytes start the counting
/// anew, so that a large file over a poor line is finished, and a server that gives nothing is given up.
class RetryPolicy
{
public:
    using Random = std::function<double()>; ///< 0 to 1

    explicit RetryPolicy(const Settings& settings);
    RetryPolicy(const Settings& settings, Random random);

    /// Notes a failed attempt that left \a bytesOnDisk.
    /// The delay doubles from attempt to attempt up to the cap, and half of it is left to chance, so that files that
    /// failed together do not come back together. A server that asks for a longer wait gets it, up to the cap.
    /// \param retryAfterMs what the server asked for, 0: nothing.
    /// \return milliseconds until the next attempt, -1: no more.
    int nextDelay(qint64 bytesOnDisk, qint64 retryAfterMs = 0);

    static constexpr qint64 kProgressBytes = qint64(64) * 1024;

private:
    const Settings& m_settings;
    Random m_random;
    int m_failuresInRow = 0;
    qint64 m_mostBytes = 0;
};

} // namespace VantorEngine

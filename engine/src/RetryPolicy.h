// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

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
    explicit RetryPolicy(const Settings& settings);

    /// Notes a failed attempt that left \a bytesOnDisk.
    /// \return milliseconds until the next attempt, -1: no more.
    int nextDelay(qint64 bytesOnDisk);

    static constexpr qint64 kProgressBytes = qint64(64) * 1024;

private:
    const Settings& m_settings;
    int m_failuresInRow = 0;
    qint64 m_mostBytes = 0;
};

} // namespace VantorEngine

// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

#include <algorithm>

namespace VantorEngine {

/// When the next group callback of a running group is due.
///
/// A group callback lists every file, so with many files the configured interval would keep the engine and the host
/// busy with texts alone. The interval therefore grows until making and delivering them takes a fifth of the time
/// at most, and by kHostMicrosecondsPerFile for the host's own parsing, which happens on another thread.
class CallbackPacer
{
public:
    static constexpr int kIdleShare = 4; ///< idle time per time spent: 4 to 1 is 20 %
    static constexpr qint64 kHostMicrosecondsPerFile = 100;

    /// \return milliseconds to wait.
    static int interval(int configuredMs, qint64 lastCostUs, qint64 files)
    {
        const qint64 owed = std::max(lastCostUs * kIdleShare, files * kHostMicrosecondsPerFile);
        return static_cast<int>(std::max<qint64>(configuredMs, owed / 1000));
    }
};

} // namespace VantorEngine

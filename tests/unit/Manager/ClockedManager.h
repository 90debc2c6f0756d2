// SPDX-License-Identifier: MIT
#pragma once

#include "Manager/VantorDownloadManager.h"
#include "Tool/IntervalOperator.h"

#include <memory>

/// \brief The throttle of the speed reports, on a clock that the test moves.
class HandInterval : public IntervalOperator
{
public:
    /// \param nowMs the time, in milliseconds since the epoch; outlives this object
    explicit HandInterval(const qint64& nowMs) : now(nowMs) {}

protected:
    qint64 CurrentTimeMs() const override { return now; }

private:
    const qint64& now;
};

/// \brief A manager named "net" whose speed reports follow a clock that the test moves.
class ClockedManager : public VantorDownloadManager
{
public:
    /// \param nowMs as for HandInterval
    explicit ClockedManager(const qint64& nowMs) : VantorDownloadManager(nullptr, QStringLiteral("net"))
    {
        SetSpeedInterval(std::make_unique<HandInterval>(nowMs));
    }
};

// SPDX-License-Identifier: MIT
#pragma once

#include "BandwidthLimiter.h"
#include "CallbackOutbox.h"
#include "CallbackTable.h"
#include "Hasher.h"
#include "HostNames.h"
#include "Log.h"
#include "NetworkPool.h"
#include "PathRegistry.h"
#include "Settings.h"

#include <QElapsedTimer>
#include <QSslConfiguration>

#include <functional>
#include <memory>

namespace VantorEngine {

/// What groups and files share. Lives on the engine's thread.
struct EngineServices
{
    EngineServices(CallbackTable& callbackTable, Log& engineLog, Settings& engineSettings)
        : callbacks(callbackTable), log(engineLog), settings(engineSettings), outbox(callbackTable)
    {
        clock.start();
    }

    CallbackTable& callbacks;
    Log& log;
    Settings& settings;
    QElapsedTimer clock;
    NetworkPool network;
    std::unique_ptr<QSslConfiguration> tls;               ///< null: the default one
    std::function<void(const QString& scheme)> bodyBegun; ///< told of each body that begins to arrive
    BandwidthLimiter limiter;
    Hasher hasher;
    HostNames hostNames;
    PathRegistry paths;
    CallbackOutbox outbox;
};

} // namespace VantorEngine

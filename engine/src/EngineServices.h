// SPDX-License-Identifier: MIT
#pragma once

#include "BandwidthLimiter.h"
#include "CallbackOutbox.h"
#include "CallbackTable.h"
#include "DiskSpace.h"
#include "Hasher.h"
#include "HostNames.h"
#include "Log.h"
#include "NetworkPool.h"
#include "PathRegistry.h"
#include "Proxies.h"
#include "Settings.h"
#include "WorkerPool.h"

#include <QElapsedTimer>
#include <QSslConfiguration>
#include <QSslSocket>

#include <functional>
#include <memory>

namespace VantorEngine {

/// What groups and files share. Lives on the engine's thread.
struct EngineServices
{
    EngineServices(CallbackTable& callbackTable, Log& engineLog, Settings& engineSettings)
        : callbacks(callbackTable),
          log(engineLog),
          settings(engineSettings),
          proxies(engineSettings),
          network(proxies),
          outbox(callbackTable)
    {
        clock.start();
    }

    CallbackTable& callbacks;
    Log& log;
    Settings& settings;
    QElapsedTimer clock;
    Proxies proxies;
    NetworkPool network;
    std::unique_ptr<QSslConfiguration> tls;              ///< null: the default one
    std::function<void(const QString& use)> networkUsed; ///< told of each request, and of each body by its scheme
    std::function<bool()> tlsAvailable = QSslSocket::supportsSsl;
    BandwidthLimiter limiter;
    DiskSpace disk;
    Hasher hasher;
    WorkerPool workers;
    HostNames hostNames;
    PathRegistry paths;
    CallbackOutbox outbox;
};

} // namespace VantorEngine

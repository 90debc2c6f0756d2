// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

namespace VantorEngine {

/// Values of Settings::proxy beside an address.
constexpr char kSystemProxy[] = "system";
constexpr char kNoProxy[] = "none";

/// Everything the host can set. Used on the engine's thread only.
struct Settings
{
    int maxParallelFiles = 6;      ///< connections that transfer at once, over all files and groups; 1 to 64
    int retryLimit = 5;            ///< failed attempts in a row without progress before a file fails; 0 to 100
    int retryDelayMs = 500;        ///< wait before the first retry, doubled for each further one
    int retryDelayCapMs = 8000;    ///< longest wait before a retry
    int responseTimeoutMs = 30000; ///< an attempt fails when no answer began for so long
    int stallTimeoutMs = 30000;    ///< an attempt fails when nothing more of an answer was received for so long
    int maxParallelChunks = 8;     ///< chunks fetched at once by one chunk task; 1 to 64
    QString packageBaseUrl;        ///< where packages are published; empty: chunk tasks that need it fail
    QString proxy = QStringLiteral("system"); ///< kSystemProxy, kNoProxy or "http://HOST:PORT"
    QString caFile;                           ///< PEM file of further certificate authorities; empty: the system's only
    qint64 bandwidthLimit = 0;                ///< bytes per second over all files; 0: none
    int progressIntervalMs = 100;             ///< between two group callbacks of a running group
};

/// Reads the start-up configuration. Missing or malformed members keep their value; text that is no JSON object
/// changes nothing. A "download_policy" member is applied as by applyPolicy.
/// \return false when the text is neither empty nor a JSON object.
bool applyStartup(Settings& settings, const QByteArray& json);

/// Reads "download_policy": "download_bandwidth" and "progress_callback_interval". Same rules.
bool applyPolicy(Settings& settings, const QByteArray& json);

} // namespace VantorEngine

// SPDX-License-Identifier: MIT
#include "Settings.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QUrl>

#include <algorithm>

namespace VantorEngine {

namespace {

constexpr int kParallelLimit = 64;
constexpr int kRetriesLimit = 100;
constexpr int kLongestMs = 3600 * 1000;
constexpr int kDefaultProgressIntervalMs = 100;
constexpr int kShortestProgressIntervalMs = 10;
constexpr double kHighestBandwidth = 1e15;

void readInt(const QJsonObject& object, const QString& key, int lowest, int highest, int& value)
{
    const QJsonValue member = object.value(key);
    if (!member.isDouble()) {
        return;
    }
    value = static_cast<int>(std::clamp(member.toDouble(), static_cast<double>(lowest), static_cast<double>(highest)));
}

bool isProxy(const QString& text)
{
    if (text == QLatin1String(kSystemProxy) || text == QLatin1String(kNoProxy)) {
        return true;
    }
    const QUrl url(text);
    return url.isValid() && url.scheme() == QLatin1String("http") && !url.host().isEmpty() && url.port() > 0;
}

void readPolicy(Settings& settings, const QJsonObject& policy)
{
    const QJsonValue bandwidth = policy.value(QStringLiteral("download_bandwidth"));
    if (bandwidth.isDouble()) {
        settings.bandwidthLimit = static_cast<qint64>(std::clamp(bandwidth.toDouble(), 0.0, kHighestBandwidth));
    }
    const QJsonValue interval = policy.value(QStringLiteral("progress_callback_interval"));
    if (interval.isDouble() && interval.toDouble() <= 0) {
        settings.progressIntervalMs = kDefaultProgressIntervalMs;
        return;
    }
    readInt(policy, QStringLiteral("progress_callback_interval"), kShortestProgressIntervalMs, kLongestMs,
            settings.progressIntervalMs);
}

bool parse(const QByteArray& json, QJsonObject& object)
{
    const QJsonDocument document = QJsonDocument::fromJson(json);
    object = document.object();
    return document.isObject() || json.trimmed().isEmpty();
}

} // namespace

bool applyStartup(Settings& settings, const QByteArray& json)
{
    QJsonObject object;
    const bool readable = parse(json, object);
    readInt(object, QStringLiteral("max_parallel_files"), 1, kParallelLimit, settings.maxParallelFiles);
    readInt(object, QStringLiteral("max_parallel_chunks"), 1, kParallelLimit, settings.maxParallelChunks);
    readInt(object, QStringLiteral("retry_limit"), 0, kRetriesLimit, settings.retryLimit);
    readInt(object, QStringLiteral("retry_delay_ms"), 0, kLongestMs, settings.retryDelayMs);
    readInt(object, QStringLiteral("retry_delay_cap_ms"), 0, kLongestMs, settings.retryDelayCapMs);
    readInt(object, QStringLiteral("response_timeout_ms"), 1, kLongestMs, settings.responseTimeoutMs);
    readInt(object, QStringLiteral("stall_timeout_ms"), 1, kLongestMs, settings.stallTimeoutMs);
    const QJsonValue caFile = object.value(QStringLiteral("ca_file"));
    if (caFile.isString()) {
        settings.caFile = caFile.toString();
    }
    const QJsonValue packageBaseUrl = object.value(QStringLiteral("package_base_url"));
    if (packageBaseUrl.isString()) {
        settings.packageBaseUrl = packageBaseUrl.toString();
    }
    const QString proxy = object.value(QStringLiteral("proxy")).toString();
    if (isProxy(proxy)) {
        settings.proxy = proxy;
    }
    readPolicy(settings, object.value(QStringLiteral("download_policy")).toObject());
    return readable;
}

bool applyPolicy(Settings& settings, const QByteArray& json)
{
    QJsonObject object;
    const bool readable = parse(json, object);
    readPolicy(settings, object.value(QStringLiteral("download_policy")).toObject());
    return readable;
}

} // namespace VantorEngine

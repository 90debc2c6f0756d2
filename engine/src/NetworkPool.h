// SPDX-License-Identifier: MIT
#pragma once

#include <QNetworkAccessManager>

#include <memory>
#include <vector>

namespace VantorEngine {

class Proxies;

/// The network managers of the engine. One serves all transfers with kept-alive connections, as long as they are not
/// more than it would run at once: Qt queues further requests to the same host, and a queued request looks stalled.
class NetworkPool
{
public:
    explicit NetworkPool(Proxies& proxies) : m_proxies(proxies) {}

    Proxies& proxies() const { return m_proxies; }
    QNetworkAccessManager& acquire();
    void release(QNetworkAccessManager& manager);
    /// Uses new managers, and new connections, for requests from now on: Qt keeps the TLS configuration of a host's
    /// first request.
    void renew();

    static constexpr int kRequestsPerManager = 6;

private:
    struct Entry
    {
        std::unique_ptr<QNetworkAccessManager> manager;
        int requests = 0;
        bool retired = false; ///< goes with its last request
    };

    void removeIdleRetired();

    Proxies& m_proxies;
    std::vector<Entry> m_entries;
};

} // namespace VantorEngine

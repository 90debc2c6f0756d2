// SPDX-License-Identifier: MIT
#include "NetworkPool.h"

#include "Proxies.h"

#include <algorithm>

namespace VantorEngine {

namespace {

/// What a manager asks for each request, redirects included. Goes with it.
class ProxyFactory : public QNetworkProxyFactory
{
public:
    explicit ProxyFactory(Proxies& proxies) : m_proxies(proxies) {}
    QList<QNetworkProxy> queryProxy(const QNetworkProxyQuery& query) override
    {
        return m_proxies.proxiesFor(query.url());
    }

private:
    Proxies& m_proxies;
};

} // namespace

QNetworkAccessManager& NetworkPool::acquire()
{
    auto entry = std::find_if(m_entries.begin(), m_entries.end(),
                              [](const Entry& each) { return !each.retired && each.requests < kRequestsPerManager; });
    if (entry == m_entries.end()) {
        m_entries.push_back({std::make_unique<QNetworkAccessManager>(), 0, false});
        entry = std::prev(m_entries.end());
        entry->manager->setProxyFactory(new ProxyFactory(m_proxies));
    }
    ++entry->requests;
    return *entry->manager;
}

void NetworkPool::release(QNetworkAccessManager& manager)
{
    const auto entry = std::find_if(m_entries.begin(), m_entries.end(),
                                    [&manager](const Entry& each) { return each.manager.get() == &manager; });
    if (entry != m_entries.end()) {
        --entry->requests;
        removeIdleRetired();
    }
}

void NetworkPool::renew()
{
    for (Entry& entry : m_entries) {
        entry.retired = true;
    }
    removeIdleRetired();
}

void NetworkPool::removeIdleRetired()
{
    const auto idle = [](Entry& entry) {
        if (!entry.retired || entry.requests > 0) {
            return false;
        }
        // A reply of it may be the one that is calling.
        entry.manager.release()->deleteLater();
        return true;
    };
    m_entries.erase(std::remove_if(m_entries.begin(), m_entries.end(), idle), m_entries.end());
}

} // namespace VantorEngine

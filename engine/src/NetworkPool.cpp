// SPDX-License-Identifier: MIT
#include "NetworkPool.h"

#include <algorithm>

namespace VantorEngine {

QNetworkAccessManager& NetworkPool::acquire()
{
    auto entry = std::find_if(m_entries.begin(), m_entries.end(),
                              [](const Entry& each) { return !each.retired && each.requests < kRequestsPerManager; });
    if (entry == m_entries.end()) {
        m_entries.push_back({std::make_unique<QNetworkAccessManager>(), 0, false});
        entry = std::prev(m_entries.end());
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

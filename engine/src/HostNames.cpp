// SPDX-License-Identifier: MIT
#include "HostNames.h"

#include <QHostAddress>

namespace VantorEngine {

QString HostNames::addressOf(const QString& host)
{
    const auto known = m_addresses.constFind(host);
    if (known != m_addresses.constEnd()) {
        return *known;
    }
    if (!QHostAddress(host).isNull()) {
        m_addresses.insert(host, host);
        return host;
    }
    m_addresses.insert(host, {});
    // By the slot's name: Qt does not free a functor whose answer comes too late.
    m_hosts.insert(QHostInfo::lookupHost(host, this, SLOT(onLookedUp(QHostInfo))), host);
    return {};
}

void HostNames::onLookedUp(const QHostInfo& info)
{
    const QString host = m_hosts.take(info.lookupId());
    if (!info.addresses().isEmpty()) {
        m_addresses.insert(host, info.addresses().constFirst().toString());
    }
}

} // namespace VantorEngine

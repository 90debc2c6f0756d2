// SPDX-License-Identifier: MIT
#include "HostNames.h"

#include <QHostAddress>
#include <QHostInfo>

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
    QHostInfo::lookupHost(host, this, [this, host](const QHostInfo& info) {
        if (!info.addresses().isEmpty()) {
            m_addresses.insert(host, info.addresses().constFirst().toString());
        }
    });
    return {};
}

} // namespace VantorEngine

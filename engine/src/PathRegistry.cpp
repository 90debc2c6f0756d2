// SPDX-License-Identifier: MIT
#include "PathRegistry.h"

namespace VantorEngine {

bool PathRegistry::claim(const QString& key)
{
    if (m_claimed.contains(key)) {
        return false;
    }
    m_claimed.insert(key);
    return true;
}

void PathRegistry::release(const QString& key)
{
    if (m_claimed.remove(key)) {
        QMetaObject::invokeMethod(
            this, [this, key] { emit released(key); }, Qt::QueuedConnection);
    }
}

} // namespace VantorEngine

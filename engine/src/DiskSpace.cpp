// SPDX-License-Identifier: MIT
#include "DiskSpace.h"

#include <QDir>
#include <QFileInfo>

#include <utility>

namespace VantorEngine {

namespace {

QString existingFolder(QString folder)
{
    while (!QFileInfo::exists(folder)) {
        const QString above = QFileInfo(folder).path();
        if (above == folder) {
            break;
        }
        folder = above;
    }
    return folder;
}

} // namespace

DiskSpace::DiskSpace() : DiskSpace(VantorEngine::volumeOf)
{
}

DiskSpace::DiskSpace(Probe probe) : m_probe(std::move(probe))
{
}

bool DiskSpace::reserve(const QString& folder, qint64 bytes)
{
    if (bytes <= 0) {
        return true;
    }
    const Volume volume = volumeOf(folder);
    if (volume.id.isEmpty()) {
        return true;
    }
    qint64& setAside = m_setAside[volume.id];
    if (volume.freeBytes - setAside < bytes) {
        return false;
    }
    setAside += bytes;
    m_volumes.insert(folder, volume.id);
    return true;
}

void DiskSpace::release(const QString& folder, qint64 bytes)
{
    const auto setAside = m_setAside.find(m_volumes.value(folder));
    if (setAside == m_setAside.end()) {
        return;
    }
    *setAside = qMax<qint64>(0, *setAside - bytes);
    if (*setAside == 0) {
        m_setAside.erase(setAside);
    }
    if (m_setAside.isEmpty()) {
        m_volumes.clear();
        m_existing.clear();
    }
}

bool DiskSpace::hasFree(const QString& folder, qint64 bytes)
{
    const Volume volume = volumeOf(folder);
    return volume.id.isEmpty() || volume.freeBytes >= bytes;
}

Volume DiskSpace::volumeOf(const QString& folder)
{
    auto existing = m_existing.find(folder);
    if (existing == m_existing.end()) {
        existing = m_existing.insert(folder, existingFolder(folder));
    }
    return m_probe(*existing);
}

} // namespace VantorEngine

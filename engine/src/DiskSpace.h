// SPDX-License-Identifier: MIT
#pragma once

#include "FileSystem.h"

#include <QHash>
#include <QString>

#include <functional>

namespace VantorEngine {

/// Free space on volumes, and how much of it is spoken for by files that are still to be written, of all groups.
class DiskSpace
{
public:
    using Probe = std::function<Volume(const QString& folder)>;

    DiskSpace();
    explicit DiskSpace(Probe probe);

    /// Sets \a bytes aside on the folder's volume, which need not exist yet.
    /// \return false, with nothing set aside, when there is not so much free beside what others have set aside. A
    /// volume that cannot be asked takes everything.
    bool reserve(const QString& folder, qint64 bytes);
    /// Gives back what was set aside: it was written, or is not needed.
    void release(const QString& folder, qint64 bytes);
    /// Whether the volume has \a bytes free now, whatever is set aside.
    bool hasFree(const QString& folder, qint64 bytes);

private:
    Volume volumeOf(const QString& folder);

    Probe m_probe;
    QHash<QString, QString> m_existing;   ///< by folder: it, or the folder above it that exists
    QHash<QString, QByteArray> m_volumes; ///< by folder, while something is set aside
    QHash<QByteArray, qint64> m_setAside; ///< by volume
};

} // namespace VantorEngine

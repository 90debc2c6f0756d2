// SPDX-License-Identifier: MIT
#pragma once

#include "package/PackageManifest.h"

#include <QFileInfo>

namespace VantorEngine {

/// What the engine knows about one package in an installation folder: its database.
struct InstallRecord
{
    QByteArray build;         ///< digest of the manifest's text; empty: nothing is installed
    QByteArray text;          ///< the manifest as it was published
    PackageManifest manifest; ///< the text, read
    QVector<qint64> times;    ///< when each file was last modified, milliseconds since 1970

    bool isEmpty() const { return build.isEmpty(); }
    /// True when the file on disk has the size and time it had when it was installed.
    bool isUntouched(int file, const QFileInfo& onDisk) const;
};

/// "<install>/.vantor/<package>.json".
QString recordPath(const QString& installDir, const QString& package);
/// An empty record when there is none, or one that is not whole.
InstallRecord loadRecord(const QString& installDir, const QString& package);
/// Replaces the record in one step. \return why it could not be written; empty when it was.
QString saveRecord(const QString& installDir, const InstallRecord& record);
/// Forgets the package, and the engine's folder when nothing else is in it. The package's files stay.
bool removeRecord(const QString& installDir, const QString& package);

/// When a file was last modified, as the record has it.
qint64 modificationTime(const QFileInfo& file);

} // namespace VantorEngine

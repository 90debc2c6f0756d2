// SPDX-License-Identifier: MIT
#pragma once

#include <QHash>
#include <QString>

namespace VantorEngine {

/// The folder inside an installation that belongs to the engine. No package may have a file in it.
extern const char* const kEngineFolder;

/// Why a relative path from a manifest must not be used below an installation folder; empty when it may.
///
/// A package installs on every system, so the strictest rules hold everywhere: names separated by single slashes, none
/// of them empty, "." or "..", with a separator, colon, control character or one of <>"|?*, a device name, or ending
/// in a dot or blank; nothing inside the engine's own folder. A path that passes cannot leave the folder.
QString packagePathProblem(const QString& path);

/// Why a package id or branch, which become part of URLs and file names, must not be used; empty when it may.
QString packageNameProblem(const QString& name);

/// The paths of one package. Finds those that would meet on a system that does not tell cases apart.
class PackagePathSet
{
public:
    /// Adds a file. \return why it does not go with the paths added before; empty when it does.
    QString addFile(const QString& path);
    /// Adds a folder that holds no file.
    QString addFolder(const QString& path);

private:
    QString addParents(const QString& path);
    QString add(const QString& path, bool folder);

    struct Entry
    {
        QString spelling;
        bool folder = false;
    };
    QHash<QString, Entry> m_entries; ///< by what a system without cases sees
};

} // namespace VantorEngine

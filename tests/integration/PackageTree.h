// SPDX-License-Identifier: MIT
#pragma once

#include "ScriptedHttpServer.h"
#include "package/PackagePublisher.h"

#include <QByteArray>
#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QMap>
#include <QString>

/// \file
/// Trees of files: made, published, served and looked at.

namespace PackageTree {

/// \brief Path below the folder to content; a path that ends in a slash is an empty folder.
using Tree = QMap<QString, QByteArray>;

/// \brief Small chunks, so that small files have many.
constexpr VantorEngine::ChunkLimits kSmallChunks{2 * 1024, 16 * 1024, 12};

/// \brief Bytes that look like data: no two blocks alike, and not to be compressed.
inline QByteArray content(int bytes, int seed = 1)
{
    QByteArray data;
    data.reserve(bytes + 32);
    for (int block = 0; data.size() < bytes; ++block)
        data += QCryptographicHash::hash(QByteArray::number(seed * 1000003 + block), QCryptographicHash::Sha256);
    data.truncate(bytes);
    return data;
}

inline bool writeFile(const QString& path, const QByteArray& data)
{
    QFile file(path);
    return QDir().mkpath(QFileInfo(path).absolutePath()) && file.open(QIODevice::WriteOnly) &&
           file.write(data) == data.size();
}

inline bool write(const QString& folder, const Tree& tree)
{
    bool well = QDir().mkpath(folder);
    for (auto it = tree.cbegin(); it != tree.cend(); ++it) {
        const QString path = folder + QLatin1Char('/') + it.key();
        well = well && (it.key().endsWith(QLatin1Char('/')) ? QDir().mkpath(path) : writeFile(path, it.value()));
    }
    return well;
}

/// \brief What a folder holds, without what belongs to the engine.
inline Tree read(const QString& folder)
{
    Tree tree;
    QDirIterator it(folder, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = QDir(folder).relativeFilePath(it.next());
        if (path == QLatin1String(".vantor") || path.startsWith(QLatin1String(".vantor/")))
            continue;
        if (it.fileInfo().isDir()) {
            if (QDir(it.filePath()).isEmpty())
                tree.insert(path + QLatin1Char('/'), QByteArray());
            continue;
        }
        QFile file(it.filePath());
        tree.insert(path, file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(unreadable)"));
    }
    return tree;
}

/// \brief The paths of two trees that differ, for messages.
inline QStringList differences(const Tree& a, const Tree& b)
{
    QStringList paths;
    for (const Tree& tree : {a, b}) {
        for (auto it = tree.cbegin(); it != tree.cend(); ++it) {
            const bool same = a.contains(it.key()) && b.contains(it.key()) && a.value(it.key()) == b.value(it.key());
            if (!same && !paths.contains(it.key()))
                paths.append(it.key());
        }
    }
    return paths;
}

/// \brief Serves every file below a folder under its path.
inline void serve(ScriptedHttpServer& server, const QString& folder)
{
    QDirIterator it(folder, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        QFile file(it.next());
        const QByteArray path = '/' + QDir(folder).relativeFilePath(file.fileName()).toUtf8();
        if (file.open(QIODevice::ReadOnly))
            server.serve(path, file.readAll());
    }
}

} // namespace PackageTree

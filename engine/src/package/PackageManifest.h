// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVector>

namespace VantorEngine {

/// A piece of content, as it is published.
struct ChunkSpec
{
    QByteArray digest; ///< SHA-256 of the content, 64 lower-case hexadecimal digits; the name of the published file
    qint64 size = 0;   ///< bytes of the content, 1 to kMostChunkBytes
    qint64 stored = 0; ///< bytes of the published file: less than size when compressed, otherwise equal to it
};

/// A file of a package.
struct PackageFile
{
    QString path; ///< below the installation folder, slashes between the names
    qint64 size = 0;
    bool executable = false;
    QVector<int> chunks; ///< indices into PackageManifest::chunks, in order of content; empty for an empty file
};

/// One version of a package: what there is to install.
struct PackageManifest
{
    QString package;
    QString branch;
    QString version;
    QVector<ChunkSpec> chunks; ///< each content once
    QVector<PackageFile> files;
    QStringList folders; ///< those that hold no file
};

/// Which version a branch has now.
struct BranchPointer
{
    QString version;
    QByteArray manifest;     ///< digest of the manifest's bytes: its name, and the build's id
    qint64 manifestSize = 0; ///< bytes
};

constexpr qint64 kMostChunkBytes = qint64(16) * 1024 * 1024;
constexpr qint64 kMostManifestBytes = qint64(512) * 1024 * 1024;
constexpr qint64 kMostPointerBytes = qint64(64) * 1024;

/// True for 64 lower-case hexadecimal digits.
bool isDigest(const QByteArray& text);
/// SHA-256 as 64 lower-case hexadecimal digits.
QByteArray digestOf(const QByteArray& content);

QByteArray manifestText(const PackageManifest& manifest);
/// Reads a manifest and checks all that can be checked without its chunks: numbers, indices, sums, paths.
/// \return why it cannot be used; empty when \a manifest was filled.
QString parseManifest(const QByteArray& json, PackageManifest& manifest);

QByteArray pointerText(const PackageManifest& manifest, const QByteArray& manifestDigest, qint64 manifestSize);
/// \return why it cannot be used; empty when \a pointer was filled.
QString parsePointer(const QByteArray& json, BranchPointer& pointer);

/// Where things lie below a server's base address and in a publishing folder.
QString pointerPath(const QString& package, const QString& branch);
QString manifestPath(const QString& package, const QByteArray& digest);
QString chunkPath(const QString& package, const QByteArray& digest);

} // namespace VantorEngine

// SPDX-License-Identifier: MIT
#include "package/PackageManifest.h"

#include "Json.h"
#include "package/PackagePaths.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

#include <algorithm>

namespace VantorEngine {

namespace {

constexpr int kFormat = 1;
constexpr int kDigestDigits = 64;
constexpr int kChunkMembers = 3;

const QString kNotThisFormat = QStringLiteral("not a JSON object of format 1");

/// A whole number of 0 or more; -1 for anything else.
qint64 number(const QJsonValue& value)
{
    if (!value.isDouble()) {
        return -1;
    }
    const QVariant variant = value.toVariant();
    return variant.type() == QVariant::LongLong ? std::max<qint64>(variant.toLongLong(), -1)
                                                : static_cast<qint64>(value.toInt(-1));
}

QString text(const QJsonObject& object, const char* key)
{
    return object.value(QLatin1String(key)).toString();
}

bool isThisFormat(const QJsonObject& object)
{
    return number(object.value(QLatin1String("format"))) == kFormat;
}

QString readChunks(const QJsonArray& array, PackageManifest& manifest)
{
    QSet<QByteArray> known;
    manifest.chunks.reserve(array.size());
    for (const QJsonValue& value : array) {
        const QJsonArray members = value.toArray();
        ChunkSpec chunk;
        chunk.digest = members.at(0).toString().toLatin1();
        chunk.size = number(members.at(1));
        chunk.stored = number(members.at(2));
        if (members.size() != kChunkMembers || !isDigest(chunk.digest) || chunk.size < 1 ||
            chunk.size > kMostChunkBytes || chunk.stored < 1 || chunk.stored > chunk.size) {
            return QStringLiteral("chunk %1 is malformed").arg(manifest.chunks.size());
        }
        if (known.contains(chunk.digest)) {
            return QStringLiteral("chunk %1 is listed twice").arg(QString::fromLatin1(chunk.digest));
        }
        known.insert(chunk.digest);
        manifest.chunks.append(chunk);
    }
    return {};
}

QString readFile(const QJsonObject& object, const PackageManifest& manifest, PackageFile& file)
{
    file.path = text(object, "path");
    file.size = number(object.value(QLatin1String("size")));
    file.executable = object.value(QLatin1String("executable")).toBool();
    const QString problem = packagePathProblem(file.path);
    if (!problem.isEmpty()) {
        return QStringLiteral("%1: %2").arg(file.path, problem);
    }
    qint64 sum = 0;
    const QJsonArray chunks = object.value(QLatin1String("chunks")).toArray();
    for (const QJsonValue& value : chunks) {
        const qint64 index = number(value);
        if (index < 0 || index >= manifest.chunks.size()) {
            return QStringLiteral("%1: no such chunk").arg(file.path);
        }
        file.chunks.append(static_cast<int>(index));
        sum += manifest.chunks.at(file.chunks.constLast()).size;
    }
    return sum == file.size ? QString() : QStringLiteral("%1: its chunks have another size").arg(file.path);
}

QString readFiles(const QJsonArray& array, PackageManifest& manifest, PackagePathSet& paths)
{
    manifest.files.reserve(array.size());
    for (const QJsonValue& value : array) {
        PackageFile file;
        QString problem = readFile(value.toObject(), manifest, file);
        if (problem.isEmpty()) {
            problem = paths.addFile(file.path);
        }
        if (!problem.isEmpty()) {
            return problem;
        }
        manifest.files.append(file);
    }
    return {};
}

QString readFolders(const QJsonArray& array, PackageManifest& manifest, PackagePathSet& paths)
{
    for (const QJsonValue& value : array) {
        const QString folder = value.toString();
        QString problem = packagePathProblem(folder);
        if (problem.isEmpty()) {
            problem = paths.addFolder(folder);
        }
        if (!problem.isEmpty()) {
            return QStringLiteral("%1: %2").arg(folder, problem);
        }
        manifest.folders.append(folder);
    }
    return {};
}

void appendChunk(QByteArray& out, const ChunkSpec& chunk)
{
    out.append("[\"").append(chunk.digest).append("\",").append(QByteArray::number(chunk.size));
    out.append(',').append(QByteArray::number(chunk.stored)).append(']');
}

void appendFile(QByteArray& out, const PackageFile& file)
{
    out.append('{');
    appendJsonMember(out, "path", file.path);
    appendJsonMember(out, "size", file.size);
    if (file.executable) {
        appendJsonMember(out, "executable", true);
    }
    appendJsonKey(out, "chunks");
    out.append('[');
    for (int i = 0; i < file.chunks.size(); ++i) {
        if (i > 0) {
            out.append(',');
        }
        out.append(QByteArray::number(file.chunks.at(i)));
    }
    out.append("]}");
}

template<typename List, typename Append>
void appendArray(QByteArray& out, const char* key, const List& list, Append append)
{
    appendJsonKey(out, key);
    out.append('[');
    bool first = true;
    for (const auto& element : list) {
        if (!first) {
            out.append(",\n");
        }
        first = false;
        append(out, element);
    }
    out.append(']');
}

void appendHead(QByteArray& out, const PackageManifest& manifest)
{
    out.append('{');
    appendJsonMember(out, "format", qint64(kFormat));
    appendJsonMember(out, "package", manifest.package);
    appendJsonMember(out, "branch", manifest.branch);
    appendJsonMember(out, "version", manifest.version);
}

} // namespace

bool isDigest(const QByteArray& text)
{
    const auto isHexDigit = [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); };
    return text.size() == kDigestDigits && std::all_of(text.cbegin(), text.cend(), isHexDigit);
}

QByteArray digestOf(const QByteArray& content)
{
    return QCryptographicHash::hash(content, QCryptographicHash::Sha256).toHex();
}

QByteArray manifestText(const PackageManifest& manifest)
{
    QByteArray out;
    appendHead(out, manifest);
    appendArray(out, "chunks", manifest.chunks, appendChunk);
    appendArray(out, "files", manifest.files, appendFile);
    appendArray(out, "folders", manifest.folders, appendJsonString);
    return out.append("}\n");
}

QString parseManifest(const QByteArray& json, PackageManifest& manifest)
{
    const QJsonObject object = QJsonDocument::fromJson(json).object();
    if (!isThisFormat(object)) {
        return kNotThisFormat;
    }
    PackageManifest read;
    read.package = text(object, "package");
    read.branch = text(object, "branch");
    read.version = text(object, "version");
    if (read.version.isEmpty()) {
        return QStringLiteral("the version is missing");
    }
    PackagePathSet paths;
    QString problem = readChunks(object.value(QLatin1String("chunks")).toArray(), read);
    if (problem.isEmpty()) {
        problem = readFiles(object.value(QLatin1String("files")).toArray(), read, paths);
    }
    if (problem.isEmpty()) {
        problem = readFolders(object.value(QLatin1String("folders")).toArray(), read, paths);
    }
    if (problem.isEmpty()) {
        manifest = read;
    }
    return problem;
}

QByteArray pointerText(const PackageManifest& manifest, const QByteArray& manifestDigest, qint64 manifestSize)
{
    QByteArray out;
    appendHead(out, manifest);
    appendJsonMember(out, "manifest", manifestDigest.constData());
    appendJsonMember(out, "manifest_size", manifestSize);
    return out.append("}\n");
}

QString parsePointer(const QByteArray& json, BranchPointer& pointer)
{
    const QJsonObject object = QJsonDocument::fromJson(json).object();
    if (!isThisFormat(object)) {
        return kNotThisFormat;
    }
    BranchPointer read;
    read.version = text(object, "version");
    read.manifest = text(object, "manifest").toLatin1();
    read.manifestSize = number(object.value(QLatin1String("manifest_size")));
    if (read.version.isEmpty() || !isDigest(read.manifest)) {
        return QStringLiteral("the version or its manifest is missing");
    }
    if (read.manifestSize < 1 || read.manifestSize > kMostManifestBytes) {
        return QStringLiteral("the manifest's size is missing or out of range");
    }
    pointer = read;
    return {};
}

QString pointerPath(const QString& package, const QString& branch)
{
    return QStringLiteral("%1/branches/%2.json").arg(package, branch);
}

QString manifestPath(const QString& package, const QByteArray& digest)
{
    return QStringLiteral("%1/manifests/%2.json").arg(package, QString::fromLatin1(digest));
}

QString chunkPath(const QString& package, const QByteArray& digest)
{
    const QString name = QString::fromLatin1(digest);
    return QStringLiteral("%1/chunks/%2/%3").arg(package, name.left(2), name);
}

} // namespace VantorEngine

// SPDX-License-Identifier: MIT
#include "package/InstallRecord.h"

#include "Json.h"
#include "package/PackagePaths.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

namespace VantorEngine {

namespace {

QString engineFolder(const QString& installDir)
{
    return QDir(installDir).filePath(QLatin1String(kEngineFolder));
}

QByteArray recordText(const InstallRecord& record)
{
    QByteArray out("{");
    appendJsonMember(out, "format", qint64(1));
    appendJsonMember(out, "build_id", record.build.constData());
    appendJsonMember(out, "manifest", QString::fromUtf8(record.text));
    appendJsonKey(out, "times");
    out.append('[');
    for (int i = 0; i < record.times.size(); ++i) {
        if (i > 0) {
            out.append(',');
        }
        out.append(QByteArray::number(record.times.at(i)));
    }
    return out.append("]}\n");
}

} // namespace

bool InstallRecord::isUntouched(int file, const QFileInfo& onDisk) const
{
    return onDisk.isFile() && onDisk.size() == manifest.files.at(file).size &&
           modificationTime(onDisk) == times.at(file);
}

QString recordPath(const QString& installDir, const QString& package)
{
    return QDir(engineFolder(installDir)).filePath(package + QLatin1String(".json"));
}

InstallRecord loadRecord(const QString& installDir, const QString& package)
{
    QFile file(recordPath(installDir, package));
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    const QJsonObject object = QJsonDocument::fromJson(file.readAll()).object();
    InstallRecord record;
    record.build = object.value(QLatin1String("build_id")).toString().toLatin1();
    record.text = object.value(QLatin1String("manifest")).toString().toUtf8();
    const QJsonArray times = object.value(QLatin1String("times")).toArray();
    for (const QJsonValue& time : times) {
        record.times.append(time.toVariant().toLongLong());
    }
    const bool whole = digestOf(record.text) == record.build && parseManifest(record.text, record.manifest).isEmpty() &&
                       record.manifest.package == package && record.times.size() == record.manifest.files.size();
    return whole ? record : InstallRecord();
}

QString saveRecord(const QString& installDir, const InstallRecord& record)
{
    const QString path = recordPath(installDir, record.manifest.package);
    QSaveFile file(path);
    const QByteArray text = recordText(record);
    if (!QDir().mkpath(engineFolder(installDir)) || !file.open(QIODevice::WriteOnly) ||
        file.write(text) != text.size() || !file.commit()) {
        return QStringLiteral("cannot write %1: %2").arg(path, file.errorString());
    }
    return {};
}

bool removeRecord(const QString& installDir, const QString& package)
{
    QFile file(recordPath(installDir, package));
    const bool gone = !file.exists() || file.remove();
    QDir().rmdir(engineFolder(installDir));
    return gone;
}

qint64 modificationTime(const QFileInfo& file)
{
    return file.lastModified().toMSecsSinceEpoch();
}

} // namespace VantorEngine

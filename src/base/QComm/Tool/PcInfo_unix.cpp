// SPDX-License-Identifier: MIT
#include "Tool/PcInfo.h"

#include "Tool/PcInfoTexts.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringList>

namespace {

constexpr double kBytesPerKilobyte = 1024.0;
constexpr int kDriveLength = 2; // a letter and the colon

QByteArray readSmallFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Whether a path is one of Windows. Its drive is no folder here as a rule, and then no disk: the working folder, below
// which the path would lie otherwise, has nothing to do with it.
bool startsWithDrive(const QString& path)
{
    if (path.size() < kDriveLength || path.at(1) != QLatin1Char(':'))
        return false;
    const char16_t letter = path.at(0).toLower().unicode();
    return letter >= u'a' && letter <= u'z';
}

// "vendor:device" in hexadecimal: the kernel knows no display name.
QString adapterName(const QString& deviceFolder)
{
    const QString vendor = QString::fromLatin1(readSmallFile(deviceFolder + QStringLiteral("/vendor")).trimmed());
    const QString device = QString::fromLatin1(readSmallFile(deviceFolder + QStringLiteral("/device")).trimmed());
    return vendor.isEmpty() ? QString() : vendor + QLatin1Char(':') + device;
}

} // namespace

QString PcInfo::ReadCpuType()
{
    return PcInfoTexts::FieldOf(readSmallFile(QStringLiteral("/proc/cpuinfo")), "model name");
}

QString PcInfo::ReadGraphicsAdapters()
{
    const QDir cards(QStringLiteral("/sys/class/drm"));
    const QStringList entries =
        cards.entryList({QStringLiteral("card?"), QStringLiteral("card??")}, QDir::AllEntries, QDir::Name);
    QStringList names;
    for (const QString& entry : entries) {
        const QString name = adapterName(cards.filePath(entry) + QStringLiteral("/device"));
        if (!name.isEmpty())
            names << name;
    }
    return names.join(QLatin1Char(','));
}

void PcInfo::ReadMemory(double* availableBytes, double* totalBytes)
{
    const QByteArray text = readSmallFile(QStringLiteral("/proc/meminfo"));
    *availableBytes = PcInfoTexts::KilobytesOf(text, "MemAvailable") * kBytesPerKilobyte;
    *totalBytes = PcInfoTexts::KilobytesOf(text, "MemTotal") * kBytesPerKilobyte;
}

bool PcInfo::IsNoteBookPc()
{
    const QDir supplies(QStringLiteral("/sys/class/power_supply"));
    const QStringList entries = supplies.entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    for (const QString& entry : entries) {
        const QString supply = supplies.filePath(entry);
        const bool ofDevice = readSmallFile(supply + QStringLiteral("/scope")).trimmed() == "Device";
        if (!ofDevice && readSmallFile(supply + QStringLiteral("/type")).trimmed() == "Battery")
            return true;
    }
    return false;
}

QString PcInfo::StorageRoot(const QString& path)
{
    if (startsWithDrive(path))
        return path.left(kDriveLength);
    // The nearest folder that exists: a download asks before it has created its own.
    QString folder = QFileInfo(path).absoluteFilePath();
    while (!QFileInfo::exists(folder)) {
        const QString parent = QFileInfo(folder).path();
        if (parent == folder)
            break;
        folder = parent;
    }
    return folder;
}

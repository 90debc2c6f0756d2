// SPDX-License-Identifier: MIT
#include "Tool/PcInfo.h"

#include <QApplication>
#include <QDesktopWidget>
#include <QHostAddress>
#include <QHostInfo>
#include <QNetworkInterface>
#include <QPair>
#include <QStorageInfo>
#include <QStringList>
#include <QSysInfo>

#include <algorithm>

QString PcInfo::m_cpuDescribe;
QString PcInfo::m_dCardDescribe;
QString PcInfo::m_memoryDescribe;
QString PcInfo::m_screenDescribe;
QString PcInfo::m_osDescirbe;

namespace {

constexpr double kBytesPerGigabyte = 1024.0 * 1024.0 * 1024.0;

QVector<QSize> screenSizes()
{
    QVector<QSize> sizes;
    // The desktop object exists only with a widget application; asking without one would end the process.
    if (!qobject_cast<QApplication*>(QCoreApplication::instance()))
        return sizes;
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    const QDesktopWidget* desktop = QApplication::desktop();
    const int count = desktop->numScreens();
    for (int i = 0; i < count; ++i)
        sizes.append(desktop->screenGeometry(i).size());
    QT_WARNING_POP
    return sizes;
}

bool isUpAndRunning(const QNetworkInterface& networkInterface)
{
    const QNetworkInterface::InterfaceFlags flags = networkInterface.flags();
    return flags.testFlag(QNetworkInterface::IsUp) && flags.testFlag(QNetworkInterface::IsRunning);
}

} // namespace

PcInfo::PcInfo(QObject* parent) : QObject(parent)
{
}

PcInfo::~PcInfo() = default;

const QString& PcInfo::cpuType()
{
    if (m_cpuDescribe.isEmpty())
        m_cpuDescribe = ReadCpuType();
    return m_cpuDescribe;
}

const QString& PcInfo::dCard()
{
    if (m_dCardDescribe.isEmpty())
        m_dCardDescribe = ReadGraphicsAdapters();
    return m_dCardDescribe;
}

const QString& PcInfo::memory()
{
    double availableBytes = 0;
    double totalBytes = 0;
    ReadMemory(&availableBytes, &totalBytes);
    m_memoryDescribe = MemoryText(availableBytes, totalBytes);
    return m_memoryDescribe;
}

const QString& PcInfo::screen()
{
    m_screenDescribe = ScreenText(screenSizes());
    return m_screenDescribe;
}

const QString PcInfo::ipAddress()
{
    const QList<QHostAddress> addresses = QNetworkInterface::allAddresses();
    const auto found = std::find_if(addresses.cbegin(), addresses.cend(), [](const QHostAddress& address) {
        return address.protocol() == QAbstractSocket::IPv4Protocol && address != QHostAddress(QHostAddress::LocalHost);
    });
    return found == addresses.cend() ? QString() : found->toString();
}

const QString PcInfo::mac()
{
    // Intended: loopback interfaces count too; only these two flags are looked at.
    const QList<QNetworkInterface> interfaces = QNetworkInterface::allInterfaces();
    const auto found = std::find_if(interfaces.cbegin(), interfaces.cend(), isUpAndRunning);
    return found == interfaces.cend() ? QString() : found->hardwareAddress();
}

const QString PcInfo::localmachineName()
{
    return QHostInfo::localHostName();
}

QString PcInfo::osType()
{
    return QSysInfo::productType();
}

QString PcInfo::osVersion()
{
    return QSysInfo::productVersion();
}

QString PcInfo::osBuild()
{
    return QSysInfo::kernelVersion();
}

QString PcInfo::osArch()
{
    return QSysInfo::currentCpuArchitecture();
}

qint64 PcInfo::GetDiskMemory(QString path, bool available)
{
    const QStorageInfo storage(StorageRoot(path));
    return available ? storage.bytesAvailable() : storage.bytesTotal();
}

QString PcInfo::MemoryText(double availableBytes, double totalBytes)
{
    return QStringLiteral("(%1 GB / %2 GB)")
        .arg(QString::number(availableBytes / kBytesPerGigabyte, 'f', 2),
             QString::number(totalBytes / kBytesPerGigabyte, 'f', 2));
}

QString PcInfo::ScreenText(const QVector<QSize>& screens)
{
    QVector<QPair<QSize, int>> groups; // a size and how many screens have it, in the order first seen
    for (const QSize& size : screens) {
        const auto known = std::find_if(groups.begin(), groups.end(),
                                        [&size](const QPair<QSize, int>& group) { return group.first == size; });
        if (known == groups.end())
            groups.append(qMakePair(size, 1));
        else
            ++known->second;
    }
    QStringList texts;
    for (const QPair<QSize, int>& group : qAsConst(groups)) {
        texts << QStringLiteral("(%1 x %2) x %3\u4e2a")
                     .arg(QString::number(group.first.width()), QString::number(group.first.height()),
                          QString::number(group.second));
    }
    return texts.join(QStringLiteral("\u3001 "));
}

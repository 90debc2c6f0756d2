// SPDX-License-Identifier: MIT
#include "Tool/PcInfo.h"

#include "Tool/ComPointer.h"
#include "Tool/PcInfoTexts.h"

#include <QSettings>
#include <QStringList>

#include <windows.h>

#include <dxgi.h>

QString PcInfo::ReadCpuType()
{
    const QSettings processor(QStringLiteral("HKEY_LOCAL_MACHINE\\HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0"),
                              QSettings::NativeFormat);
    return processor.value(QStringLiteral("ProcessorNameString")).toString();
}

QString PcInfo::ReadGraphicsAdapters()
{
    ComPointer<IDXGIFactory> factory;
    if (FAILED(CreateDXGIFactory(IID_IDXGIFactory, reinterpret_cast<void**>(factory.receive()))))
        return QString();
    QStringList names;
    for (UINT index = 0;; ++index) {
        ComPointer<IDXGIAdapter> adapter;
        // DXGI_ERROR_NOT_FOUND is the regular end; with any other failure there is no adapter to ask either.
        if (FAILED(factory->EnumAdapters(index, adapter.receive())))
            break;
        DXGI_ADAPTER_DESC description = {};
        if (SUCCEEDED(adapter->GetDesc(&description)))
            names << QString::fromWCharArray(description.Description);
    }
    return names.join(QLatin1Char(','));
}

void PcInfo::ReadMemory(double* availableBytes, double* totalBytes)
{
    MEMORYSTATUSEX status = {};
    status.dwLength = sizeof(status);
    if (!GlobalMemoryStatusEx(&status))
        return;
    *availableBytes = static_cast<double>(status.ullAvailPhys);
    *totalBytes = static_cast<double>(status.ullTotalPhys);
}

bool PcInfo::IsNoteBookPc()
{
    SYSTEM_POWER_STATUS status = {};
    if (!GetSystemPowerStatus(&status))
        return false;
    return PcInfoTexts::IsNoteBookFlag(status.BatteryFlag);
}

// The drive, such as "D:". A path without one gives the empty text.
QString PcInfo::StorageRoot(const QString& path)
{
    return path.left(path.indexOf(QLatin1Char(':')) + 1);
}

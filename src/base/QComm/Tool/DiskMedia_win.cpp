// SPDX-License-Identifier: MIT
#include "Tool/DiskMedia_win.h"

#include "Tool/ComPointer.h"
#include "Tool/DiskNumber_win.h"

#include <QDebug>
#include <QString>

#include <cstdlib>

namespace {

class Text
{
public:
    explicit Text(const wchar_t* text) : m_text(SysAllocString(text)) {}
    ~Text() { SysFreeString(m_text); }
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;

    BSTR get() const { return m_text; }

private:
    const BSTR m_text;
};

class Property
{
public:
    Property(IWbemClassObject* row, const wchar_t* name)
    {
        VariantInit(&m_value);
        if (FAILED(row->Get(name, 0, &m_value, nullptr, nullptr)))
            VariantClear(&m_value);
    }
    ~Property() { VariantClear(&m_value); }
    Property(const Property&) = delete;
    Property& operator=(const Property&) = delete;

    std::string text() const
    {
        if (V_VT(&m_value) != VT_BSTR)
            return std::string();
        const int length = static_cast<int>(SysStringLen(V_BSTR(&m_value)));
        return QString::fromWCharArray(V_BSTR(&m_value), length).toLocal8Bit().toStdString();
    }

    // WMI hands small unsigned numbers over in whatever variant type holds them.
    qint32 number()
    {
        return SUCCEEDED(VariantChangeType(&m_value, &m_value, 0, VT_I4)) ? static_cast<qint32>(V_I4(&m_value)) : 0;
    }

private:
    VARIANT m_value;
};

bool failed(const char* what, HRESULT code)
{
    if (SUCCEEDED(code))
        return false;
    qDebug().noquote().nospace() << what << QString::number(static_cast<quint32>(code), 16);
    return true;
}

bool secured(const DiskMedia::Api& api)
{
    const HRESULT code = api.initializeSecurity(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_DEFAULT,
                                                RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE, nullptr);
    // Security belongs to the process: what the launcher has set before stays.
    return code == RPC_E_TOO_LATE || !failed("Failed to initialize security. Error code = 0x", code);
}

bool connectedTo(ComPointer<IWbemServices>& services, const DiskMedia::Api& api)
{
    ComPointer<IWbemLocator> locator;
    if (failed("Failed to create IWbemLocator object. Err code = 0x",
               api.createInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER, IID_IWbemLocator,
                                  reinterpret_cast<void**>(locator.receive()))))
        return false;
    const Text storage(L"ROOT\\microsoft\\windows\\storage");
    if (failed("Could not connect. Error code = 0x", locator->ConnectServer(storage.get(), nullptr, nullptr, nullptr, 0,
                                                                            nullptr, nullptr, services.receive())))
        return false;
    return !failed("Could not set proxy blanket. Error code = 0x",
                   api.setProxyBlanket(services.get(), RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr,
                                       RPC_C_AUTHN_LEVEL_CALL, RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE));
}

int typeWithinCom(int number, const DiskMedia::Api& api)
{
    ComPointer<IWbemServices> services;
    if (!secured(api) || !connectedTo(services, api))
        return DiskMedia::kUnspecified;
    const Text language(L"WQL");
    const Text query(L"SELECT * FROM MSFT_PhysicalDisk");
    ComPointer<IEnumWbemClassObject> rows;
    if (failed("Query for MSFT_PhysicalDisk. Error code = 0x",
               services->ExecQuery(language.get(), query.get(), WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY,
                                   nullptr, rows.receive())))
        return DiskMedia::kUnspecified;
    return DiskMedia::TypeAmong(rows.get(), number);
}

} // namespace

DiskMedia::Disk DiskMedia::Read(IWbemClassObject* row)
{
    Disk disk;
    disk.deviceId = Property(row, L"DeviceId").text();
    disk.busType = Property(row, L"BusType").number();
    disk.healthStatus = Property(row, L"HealthStatus").number();
    disk.spindleSpeed = Property(row, L"SpindleSpeed").number();
    disk.mediaType = Property(row, L"MediaType").number();
    return disk;
}

bool DiskMedia::Matches(const Disk& disk, int number)
{
    return !disk.deviceId.empty() && std::atoi(disk.deviceId.c_str()) == number;
}

int DiskMedia::TypeAmong(IEnumWbemClassObject* rows, int number)
{
    int type = kUnspecified;
    while (true) {
        ComPointer<IWbemClassObject> row;
        ULONG count = 0;
        if (FAILED(rows->Next(static_cast<LONG>(WBEM_INFINITE), 1, row.receive(), &count)) || count == 0)
            return type;
        const Disk disk = Read(row.get());
        qDebug().nospace() << "DeviceId:" << std::atoi(disk.deviceId.c_str()) << ", MediaType:" << disk.mediaType;
        if (Matches(disk, number))
            type = disk.mediaType;
    }
}

int DiskMedia::TypeOf(int number, const Api& api)
{
    if (number == DiskNumber::kNone)
        return kUnspecified;
    if (failed("Failed to initialize COM library. Error code = 0x", api.initialize(nullptr, COINIT_MULTITHREADED)))
        return kUnspecified;
    const int type = typeWithinCom(number, api);
    api.uninitialize();
    return type;
}

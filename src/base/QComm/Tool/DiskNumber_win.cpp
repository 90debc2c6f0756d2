// SPDX-License-Identifier: MIT
#include "Tool/DiskNumber_win.h"

#include <QDebug>

#include <winioctl.h>

#include <optional>

namespace {

// Intended: one position more than there are letters, as launchers have always walked.
constexpr int kPositions = 27;

class Device
{
public:
    Device(char letter, const DiskNumber::Api& api) : m_api(api)
    {
        const QByteArray path = QByteArray("\\\\.\\") + letter + ':';
        m_handle = m_api.createFile(path.constData(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
    }
    ~Device()
    {
        if (isOpen())
            m_api.closeHandle(m_handle);
    }
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    bool isOpen() const { return m_handle != INVALID_HANDLE_VALUE; }

    std::optional<int> number() const
    {
        STORAGE_DEVICE_NUMBER reply = {};
        static_assert(sizeof(reply) == 12, "device type, device number, partition number");
        DWORD bytes = 0;
        if (!m_api.deviceIoControl(m_handle, IOCTL_STORAGE_GET_DEVICE_NUMBER, nullptr, 0, &reply, sizeof(reply), &bytes,
                                   nullptr))
            return std::nullopt;
        return static_cast<int>(reply.DeviceNumber);
    }

private:
    const DiskNumber::Api& m_api;
    HANDLE m_handle = INVALID_HANDLE_VALUE;
};

std::optional<int> numberOfLetter(char letter, const DiskNumber::Api& api)
{
    const Device device(letter, api);
    if (!device.isOpen())
        return std::nullopt;
    const std::optional<int> number = device.number();
    if (number)
        qDebug().nospace() << "Drive :" << letter << ", is physical drive " << *number;
    return number;
}

} // namespace

int DiskNumber::Of(const QString& drive, const Api& api)
{
    const DWORD present = api.getLogicalDrives();
    for (int position = 0; position < kPositions; ++position) {
        if ((present & (DWORD(1) << position)) == 0)
            continue;
        const char letter = static_cast<char>('A' + position);
        const std::optional<int> number = numberOfLetter(letter, api);
        if (number && drive.size() == 1 && drive.at(0) == QLatin1Char(letter))
            return *number;
    }
    return kNone;
}

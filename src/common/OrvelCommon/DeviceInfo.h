// SPDX-License-Identifier: MIT
#pragma once

#include "OrvelCommon/OrvelCommonExport.h"

#include <cstdint>
#include <string>
#include <utility>

namespace Orvel::Common {

/// \brief Facts about the machine's devices.
class ORVELCOMMON_EXPORT DeviceInfo
{
public:
    /// \brief Free and total space of the volume that holds a path.
    /// \param path an existing file or folder, UTF-8, native or forward slashes
    /// \return {free, total} in bytes; free is what the current user may still write. {0, 0} when the volume cannot
    /// be read, for instance because the path does not exist. May be called on any thread.
    static std::pair<std::uint64_t, std::uint64_t> GetDiskSpaceInfo(const std::string& path);
};

} // namespace Orvel::Common

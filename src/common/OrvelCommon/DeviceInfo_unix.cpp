// SPDX-License-Identifier: MIT
#include "OrvelCommon/Probe.h"

#include <sys/statvfs.h>

namespace Orvel::Common::Detail {

DiskSpace ReadDiskSpace(const std::string& path)
{
    struct statvfs volume = {};
    if (statvfs(path.c_str(), &volume) != 0)
        return {0, 0};
    const std::uint64_t blockBytes = volume.f_frsize;
    return {volume.f_bavail * blockBytes, volume.f_blocks * blockBytes};
}

} // namespace Orvel::Common::Detail

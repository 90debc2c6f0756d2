// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace Orvel::Common::Detail {

/// \brief {free, total} in bytes.
using DiskSpace = std::pair<std::uint64_t, std::uint64_t>;

/// \brief The answer of the probe that a test has set; nothing when there is none.
std::optional<DiskSpace> AskDiskSpaceProbe(const std::string& path);

/// \brief The answer of the operating system; {0, 0} when it has none. One per platform.
DiskSpace ReadDiskSpace(const std::string& path);

} // namespace Orvel::Common::Detail

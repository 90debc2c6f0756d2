// SPDX-License-Identifier: MIT
#pragma once

#include "OrvelCommon/OrvelCommonExport.h"

#include <cstdint>
#include <functional>
#include <string>
#include <utility>

/// \file
/// Hooks of the stand-in for tests and example programs. The maker's common library does not have them, so
/// nothing that ships may use them.

namespace Orvel::Common {

/// \brief One finished log line.
struct LogRecord
{
    std::string file;     ///< source path, as given to the Logger
    int line = 0;         ///< line number
    std::string function; ///< function name, as given to the Logger
    int level = 0;        ///< 0 routine trace, 1 detail, 2 information, 3 warning, 4 error
    std::string text;     ///< UTF-8, without a line end
};

/// \brief Sends every record to `sink` instead of the default, which writes levels 3 and 4 to standard error.
///
/// An empty function restores the default. The sink runs on the thread that logs, one record at a time; once
/// SetLogSink returns, the former sink is neither running on another thread nor called again. May be called
/// on any thread, from inside a sink too.
ORVELCOMMON_EXPORT void SetLogSink(std::function<void(const LogRecord&)> sink);

/// \brief Answers DeviceInfo::GetDiskSpaceInfo from `probe` ({free, total} in bytes for a UTF-8 path).
///
/// An empty function restores the real answer. Threads and replacement as for SetLogSink.
ORVELCOMMON_EXPORT void
SetDiskSpaceProbe(std::function<std::pair<std::uint64_t, std::uint64_t>(const std::string&)> probe);

} // namespace Orvel::Common

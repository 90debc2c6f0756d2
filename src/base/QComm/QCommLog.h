// SPDX-License-Identifier: MIT
#pragma once

#include "OrvelCommon/Logger.h"

#include <QString>

/// \file
/// How this library writes to the common log. Internal: not installed.

/// \brief Severity of a log line, as the common logger counts it.
enum class LogLevel : int {
    Trace = 0,
    Detail = 1,
    Info = 2,
    Warning = 3,
    Error = 4,
};

/// \brief The common logger takes UTF-8; this is the one place where a QString becomes that.
inline Orvel::Common::LogStream& operator<<(Orvel::Common::LogStream& stream, const QString& text)
{
    return stream << text.toStdString();
}

/// \brief Begins a log line: `QCOMM_LOG(LogLevel::Info, "Class::Method") << "text" << value;`
#define QCOMM_LOG(level, function)                                                                                     \
    Orvel::Common::Logger(__FILE__, __LINE__, (function), static_cast<int>(level)).stream()

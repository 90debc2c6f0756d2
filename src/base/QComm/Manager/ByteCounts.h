// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

#include <algorithm>
#include <limits>

/// \file
/// Byte counts on their way into the records, which keep them signed. Internal: not installed.

/// \brief The count, or the largest that can be told.
inline qint64 ToSignedBytes(quint64 bytes)
{
    return static_cast<qint64>(std::min<quint64>(bytes, std::numeric_limits<qint64>::max()));
}

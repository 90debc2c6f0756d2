// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// \file
/// Which names from a server's URL may become local file names. Internal: not installed.

namespace LocalFileName {

/// \brief Why a file of this name must not be written; empty when it may.
///
/// A URL's last segment is decoded before it becomes a name, so it can hold anything. A name that would leave
/// its folder on Windows is refused on every platform. An empty name is not judged here.
QString WhyUnsafe(const QString& name);

} // namespace LocalFileName

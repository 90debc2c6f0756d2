// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

namespace VantorEngine {

/// Names the present run of the operating system, from its start to its end: what was handed to the system in it is
/// there for as long as the name stays the same. Empty when it cannot be found out.
QByteArray systemStart();

/// Whether \a start, noted at any time before, names the present run. In doubt it does not.
bool isPresentSystemStart(const QByteArray& start);

} // namespace VantorEngine

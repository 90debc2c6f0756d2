// SPDX-License-Identifier: MIT
#pragma once

namespace VantorEngine {

/// Has \a stop called when the process ends by exit(), before the globals that exist so far are destroyed.
/// Calling it again puts \a stop in front of the globals made since. Does nothing on Windows, where the other
/// threads are gone by then.
void callAtExit(void (*stop)());

} // namespace VantorEngine

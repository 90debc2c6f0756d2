// SPDX-License-Identifier: MIT
#pragma once

namespace VantorEngine {

/// Has \a stop called when the process ends by exit(), before the globals that exist so far are destroyed.
/// Calling it again puts \a stop in front of the globals made since. Does nothing on Windows, where the other
/// threads are gone by then.
void callAtExit(void (*stop)());

/// Keeps the module in the process whatever its host does: its thread may be running. On Unix the linker sees to it.
void keepModuleLoaded();

} // namespace VantorEngine

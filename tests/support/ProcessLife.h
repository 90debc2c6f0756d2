// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

/// \brief Whether a process of this id runs. One that has ended and is not yet collected does not.
bool isProcessRunning(qint64 processId);

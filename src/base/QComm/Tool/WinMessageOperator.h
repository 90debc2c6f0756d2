// SPDX-License-Identifier: MIT
#pragma once

#include "QCommGlobal.h"

/// \brief Tells the Windows shell what has changed after an installation. Windows only.
class QCOMM_EXPORT WinMessageOperator
{
public:
    /// \brief Makes the shell read the Start menus, icons and file associations again, and tells all top-level
    /// windows that the environment has changed.
    ///
    /// Does not wait for the windows, and reports nothing. Any thread.
    static void refreshIconCache();
};

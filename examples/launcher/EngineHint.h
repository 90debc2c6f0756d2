// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// \brief Tells the user where the system looks for the engine, and so where to put it.
QString engineHint();

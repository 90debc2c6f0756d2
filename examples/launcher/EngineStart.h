// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// \brief Starts the engine for this process, with a folder in the user's cache for what it keeps.
/// \param config as VantorExporter::Init() takes it
/// \return a text for the user; empty when it runs
QString startEngine(const QString& config);

// SPDX-License-Identifier: MIT
#pragma once

#include <QLoggingCategory>

/// \brief Qt's debug channel for the engine's callback texts. On by default; a launcher turns it off with
/// `QLoggingCategory::setFilterRules("orvel.qcomm.engine.debug=false")`, which also saves the formatting.
Q_DECLARE_LOGGING_CATEGORY(lcVantorEngine)

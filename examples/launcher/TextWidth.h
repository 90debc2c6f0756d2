// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// \brief How many columns of a terminal texts take.
namespace TextWidth {

/// \brief Columns of `text`: 2 for a wide character (East Asian, emoji), 0 for a combining one, else 1.
int columnsOf(const QString& text);

/// \brief The longest beginning of `text` that takes at most `columns`; never half a character.
QString cutTo(const QString& text, int columns);

} // namespace TextWidth

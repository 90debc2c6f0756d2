// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// \brief The program's two output streams, which may be a terminal, a file or a pipe.
namespace Terminal {

enum class Stream { Output, Error };

/// \brief Makes file names and texts of every language possible. To be called before QCoreApplication exists.
void useUtf8();

/// \brief Whether the stream ends on a screen where a line can be drawn over.
bool isTerminal(Stream stream);

/// \brief Columns of the screen behind the output stream; 80 when that is not known.
int columns();

/// \brief Writes the text at once. A stream that is closed or full is not reported.
void write(Stream stream, const QString& text);

} // namespace Terminal

// SPDX-License-Identifier: MIT
#include "Tool/FileCopy.h"

#include <QFile>

// The system's own copying.
bool FileCopy::Copy(const QString& from, const QString& to)
{
    return QFile::copy(from, to);
}

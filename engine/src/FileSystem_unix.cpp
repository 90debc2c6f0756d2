// SPDX-License-Identifier: MIT
#include "FileSystem.h"

#include <QFile>

#include <cerrno>
#include <cstdio>

namespace VantorEngine {

bool replaceFile(const QString& from, const QString& to, ReplaceProblem& problem)
{
    if (std::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0) {
        return true;
    }
    problem.systemError = errno;
    problem.message = qt_error_string(problem.systemError);
    return false;
}

void clearSystemError()
{
    errno = 0;
}

bool diskWasFull()
{
    return errno == ENOSPC || errno == EDQUOT;
}

} // namespace VantorEngine

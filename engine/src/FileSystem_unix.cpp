// SPDX-License-Identifier: MIT
#include "FileSystem.h"

#include <QFile>

#include <cerrno>
#include <cstdio>

#include <sys/stat.h>
#include <sys/statvfs.h>

namespace VantorEngine {

bool replaceFile(const QString& from, const QString& to, ReplaceProblem& problem)
{
    if (std::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0) {
        return true;
    }
    problem.systemError = errno;
    problem.message = qt_error_string(problem.systemError);
    problem.busy = problem.systemError == EBUSY || problem.systemError == ETXTBSY;
    return false;
}

void setSparse(QFile&)
{
}

Volume volumeOf(const QString& folder)
{
    const QByteArray path = QFile::encodeName(folder);
    struct stat status = {};
    struct statvfs space = {};
    if (stat(path.constData(), &status) != 0 || statvfs(path.constData(), &space) != 0) {
        return {};
    }
    return {QByteArray::number(static_cast<qulonglong>(status.st_dev)),
            static_cast<qint64>(space.f_bavail) * static_cast<qint64>(space.f_frsize)};
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

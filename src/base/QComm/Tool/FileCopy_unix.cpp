// SPDX-License-Identifier: MIT
#include "Tool/FileCopy.h"

#include <QFile>

#include <memory>

#include <sys/stat.h>

namespace {

constexpr qint64 kBlockBytes = qint64(128) * 1024;
constexpr mode_t kPermissionBits = 0777;

bool copyPermissions(const QFile& from, const QFile& to)
{
    struct stat status = {};
    return ::fstat(from.handle(), &status) == 0 && ::fchmod(to.handle(), status.st_mode & kPermissionBits) == 0;
}

bool copyContent(QFile* from, QFile* to)
{
    const auto block = std::make_unique<char[]>(kBlockBytes);
    for (;;) {
        const qint64 count = from->read(block.get(), kBlockBytes);
        if (count <= 0)
            return count == 0;
        if (to->write(block.get(), count) != count)
            return false;
    }
}

} // namespace

// Not QFile::copy, which waits for the disk after every file.
bool FileCopy::Copy(const QString& from, const QString& to)
{
    QFile source(from);
    if (!source.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return false;
    QFile target(to);
    if (!target.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered))
        return false;
    if (copyContent(&source, &target) && copyPermissions(source, target)) {
        target.close(); // where some file systems notice that they are full
        if (target.error() == QFileDevice::NoError)
            return true;
    }
    target.remove();
    return false;
}

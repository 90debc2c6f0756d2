// SPDX-License-Identifier: MIT
#include "PartialFile.h"

#include "FileSystem.h"

#include <QFileInfo>

namespace VantorEngine {

namespace {

constexpr char kSuffix[] = "_tmp";

} // namespace

PartialFile::PartialFile(const QString& destination) : m_file(destination + QLatin1String(kSuffix))
{
}

qint64 PartialFile::size() const
{
    const QFileInfo onDisk(m_file.fileName());
    return onDisk.isFile() ? onDisk.size() : 0;
}

bool PartialFile::open(qint64 keep)
{
    close();
    if (!m_file.open(QIODevice::ReadWrite | QIODevice::Unbuffered)) {
        return fail(kOpenFailed);
    }
    setSparse(m_file);
    return m_file.size() <= keep || m_file.resize(keep) || fail(kWriteFailed);
}

bool PartialFile::write(qint64 at, const char* data, qint64 length)
{
    clearSystemError();
    if ((m_file.pos() == at || m_file.seek(at)) && m_file.write(data, length) == length) {
        return true;
    }
    return fail(diskWasFull() ? kDiskFull : kWriteFailed);
}

bool PartialFile::close()
{
    if (!m_file.isOpen()) {
        return true;
    }
    clearSystemError();
    const bool flushed = m_file.flush() && m_file.error() == QFileDevice::NoError;
    if (!flushed) {
        fail(diskWasFull() ? kDiskFull : kWriteFailed);
    }
    m_file.close();
    return flushed;
}

void PartialFile::remove()
{
    m_file.close();
    m_file.remove();
}

bool PartialFile::moveInto(const QString& destination, bool& busy)
{
    ReplaceProblem problem;
    if (replaceFile(m_file.fileName(), destination, problem)) {
        return true;
    }
    busy = problem.busy;
    m_error = FileError::write(
        kRenameFailed,
        QStringLiteral("cannot rename %1 to %2: %3").arg(m_file.fileName(), destination, problem.message),
        problem.systemError);
    return false;
}

bool PartialFile::fail(WriteErrorCode code)
{
    m_error = FileError::write(code, QStringLiteral("cannot write %1: %2").arg(m_file.fileName(), m_file.errorString()),
                               m_file.error());
    return false;
}

} // namespace VantorEngine

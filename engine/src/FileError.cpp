// SPDX-License-Identifier: MIT
#include "FileError.h"

namespace VantorEngine {

FileError FileError::net(int code, const QString& message, bool transient, int internalCode)
{
    return {Kind::Net, code, internalCode, message, transient, 0};
}

FileError FileError::write(WriteErrorCode code, const QString& message, int internalCode)
{
    return {Kind::Write, code, internalCode, message, false, 0};
}

FileError FileError::checksum(const QString& message)
{
    return {Kind::Checksum, kChecksumMismatch, 0, message, false, 0};
}

const char* errorKey(FileError::Kind kind)
{
    switch (kind) {
    case FileError::Kind::Net:
        return "url_net_error";
    case FileError::Kind::Write:
        return "file_write_error";
    case FileError::Kind::Checksum:
        return "checksum_check_error";
    case FileError::Kind::None:
        break;
    }
    return nullptr;
}

} // namespace VantorEngine

// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

namespace VantorEngine {

/// Codes of "url_net_error" beside Qt's network errors (below 400) and HTTP statuses (400 to 599).
enum NetErrorCode {
    kWrongLength = 900,    ///< the response announces or carries another size than the list
    kShortBody = 901,      ///< the transfer ended before the whole size had arrived
    kWrongRange = 902,     ///< partial content that does not start where it was asked to
    kStalled = 903,        ///< nothing received for the stall time-out
    kBadUrl = 904,         ///< no URL, or a scheme other than http and https
    kUnusableStatus = 905, ///< an HTTP status below 400 that brings no content
    kNoResponse = 906,     ///< no connection, or no answer, for the response time-out
    kTlsMissing = 907,     ///< https, and the system has no TLS library that Qt can use
    kFileChanged = 908     ///< the server's file is not the one that the partial file is of
};

/// Codes of "file_write_error".
enum WriteErrorCode {
    kNameRefused = 1,
    kFolderFailed = 2,
    kOpenFailed = 3,
    kWriteFailed = 4,
    kDiskFull = 5,
    kRenameFailed = 6,
    kReadFailed = 7
};

/// Code of "checksum_check_error".
enum ChecksumErrorCode { kChecksumMismatch = 1 };

/// What went wrong with a file.
struct FileError
{
    enum class Kind { None, Net, Write, Checksum };

    Kind kind = Kind::None;
    int code = 0;
    int internalCode = 0;    ///< the Qt error number behind it, 0 when there is none
    QString message;         ///< English, for logs
    bool transient = false;  ///< worth another attempt
    qint64 retryAfterMs = 0; ///< what the server asked to wait before it, 0: it did not

    static FileError net(int code, const QString& message, bool transient, int internalCode = 0);
    static FileError write(WriteErrorCode code, const QString& message, int internalCode = 0);
    static FileError checksum(const QString& message);
};

/// The member of a file object that carries such an error; null for none.
const char* errorKey(FileError::Kind kind);

} // namespace VantorEngine

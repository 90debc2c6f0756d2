// SPDX-License-Identifier: MIT
#pragma once

#include "FileError.h"
#include "States.h"

#include <QByteArray>
#include <QString>

namespace VantorEngine {

/// The last response of a file's server.
struct ResponseInfo
{
    int status = 0;         ///< 0: there was none
    QByteArray headersJson; ///< a JSON object of header names and values
};

/// What the callbacks tell about a file.
struct FileState
{
    QString guid;
    QString groupGuid;
    QString url;
    ItemStatus status = ItemStatus::Pending;
    bool completed = false;
    qint64 size = 0;          ///< bytes, 0 while unknown
    qint64 existing = 0;      ///< bytes on disk from before this run
    qint64 written = 0;       ///< bytes written in this run
    qint64 verified = 0;      ///< bytes hashed
    qint64 verifiedSpeed = 0; ///< bytes per second
    qint64 bandwidth = 0;     ///< bytes per second
    int retries = 0;
    QString hostName;
    QString remoteAddress;
    ResponseInfo response;
    FileError error;

    QByteArray fixedPart; ///< the members that never change, already written
};

/// How much of a file goes into a text.
enum class Detail {
    Full, ///< a single-task callback: with the last response, if any
    Brief ///< an item of a group callback: the response only beside an error
};

/// Appends the file object.
void appendFileObject(QByteArray& out, FileState& state, Detail detail);

/// The text of a single-task callback.
QByteArray singleTaskText(FileState& state);

} // namespace VantorEngine

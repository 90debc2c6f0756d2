// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QString>
#include <QThread>

#include <functional>

class MD5CheckWorker;

/// \brief One run of an MD5CheckWorker on a thread of its own. Internal: not installed.
///
/// The thread runs while the object lives. Deleting the object ends a check within one read of the file, and
/// no result is delivered after that.
class Md5Check
{
public:
    /// \brief Starts the check.
    /// \param owner   receives the result on its own thread, through a queued connection
    /// \param deliver called there, at most once, with the digest
    Md5Check(const QString& path, const QString& salt, QObject* owner,
             const std::function<void(const QString&)>& deliver);
    ~Md5Check();
    Md5Check(const Md5Check&) = delete;
    Md5Check& operator=(const Md5Check&) = delete;

private:
    QThread md5Thread;
    MD5CheckWorker* md5Worker; // lives on md5Thread; deleted by the destructor when that has ended
};

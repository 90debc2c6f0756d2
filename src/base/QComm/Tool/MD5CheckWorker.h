// SPDX-License-Identifier: MIT
#pragma once

#include "QCommGlobal.h"

#include <QObject>
#include <QString>

#include <atomic>

/// \brief Computes the MD5 digest of a file, optionally salted, and can be stopped on the way.
///
/// A worker object: give it a path (and a salt), move it to a thread, invoke onStartMD5() there and wait for
/// md5Checkfinished(). GetMd5() does the same as a blocking call.
///
/// \code
///   idle ──GetMd5 / onStartMD5──> computing ──end of file, read error or SetRunning(false)──> idle
/// \endcode
///
/// The file is streamed through one small buffer: memory does not grow with its size. Path and salt belong to
/// the thread that runs the computation; SetRunning() may be called on any thread.
class QCOMM_EXPORT MD5CheckWorker : public QObject
{
    Q_OBJECT

public:
    explicit MD5CheckWorker(QObject* parent = nullptr);
    ~MD5CheckWorker() override;

    /// \brief The file to read; empty at first.
    QString GetFilePath() const { return filePath; }
    void SetFilePath(const QString& path) { filePath = path; }

    /// \brief Text hashed together with the digest; empty (the initial value) for none. Latin-1.
    QString GetMD5Salt() const { return md5Salt; }
    void SetMD5Salt(const QString& salt) { md5Salt = salt; }

    /// \brief Asks a computation to stop, with false: it ends before its next read.
    ///
    /// Any thread. A computation that has not begun is not affected, because it sets the flag itself.
    void SetRunning(bool value) { running.store(value, std::memory_order_relaxed); }

    /// \brief The MD5 of a file as 32 lower-case hexadecimal digits. Blocks.
    ///
    /// With a salt it is the MD5 of those 32 characters followed by the salt.
    /// \param path the file; becomes GetFilePath()
    /// \return empty when the file cannot be opened. A stopped computation, or one that met a read error,
    /// returns the digest of what was read until then: only the caller knows whether it asked for a stop.
    QString GetMd5(const QString& path);

public Q_SLOTS:
    /// \brief GetMd5() of the path that was set, then md5Checkfinished().
    void onStartMD5();

Q_SIGNALS:
    /// The result of onStartMD5(), also when it is empty or partial.
    void md5Checkfinished(QString md5String);

private:
    QString filePath;
    QString md5Salt;
    std::atomic<bool> running{false};
};

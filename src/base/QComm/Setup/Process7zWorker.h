// SPDX-License-Identifier: MIT
#pragma once

#include "QCommGlobal.h"

#include <QObject>
#include <QProcess>
#include <QString>

#include <string>

/// \brief Extracts one archive into a folder by running the 7-Zip command-line program, and reports how far it is.
///
/// The launcher creates the worker, tells it the expected unpacked size, connects to its three signals and calls
/// Start(). The program is `7z.exe` of the application's folder, when `7z.dll` lies beside it; otherwise the
/// system looks for `7z.exe` (a warning is logged). It is run as
///
///     7z.exe x <archive> -o<folder> -aoa -bsp1
///
/// with native path separators: full paths, existing files overwritten without a question, percentages on standard
/// output.
///
/// \code
///                 ┌──────────────── Start ─────────────────┐
///                 v                                        │
///   no child ──Start──> running ──the child ends──> ended (unzipFinished)
///      ^  │                │                               │
///      │  └─ error 2000,   │                               │
///      │     error 2008    │                               │
///      └────────────────── Stop ───────────────────────────┘
/// \endcode
///
/// Signals of one run, in order: unzipProgress and unzipError any number of times, a last unzipProgress of 100 %
/// when the exit code is 0, then unzipFinished once. Standard error does not end a run. A run that could not be
/// started has one unzipError and no unzipFinished.
///
/// | code | when | message |
/// |---|---|---|
/// | 2000 | the archive is not an existing file | unzip src path is not exists |
/// | 2008 | the program did not start within 30 seconds | 7z.exe process not started |
/// | 2002 | the program wrote to standard error | that text, trimmed |
/// | 3004 | the same, and the text contains "Can not set length for output file", in any case: the disk is full, as a
/// rule | that text, trimmed |
///
/// A crash and an exit code other than 0 are reported by unzipFinished alone. 7-Zip's own codes: 1 warnings, 2 a
/// fatal error (also a damaged or encrypted archive), 7 a wrong command line, 8 no memory, 255 a break.
///
/// The worker belongs to one thread, which needs an event loop (or Wait()) for the signals to arrive. Start() and
/// Stop() may be called, and the worker may be deleted, inside handlers of its signals. Deleting it while the
/// program runs kills the program and reports nothing.
///
/// The program's standard input is closed as soon as it runs: it cannot wait for a password, an encrypted archive
/// ends with an error instead.
class QCOMM_EXPORT Process7zWorker : public QObject
{
    Q_OBJECT

public:
    explicit Process7zWorker(QObject* parent = nullptr);
    ~Process7zWorker() override;

    /// \brief Text that every log line of this worker begins with, UTF-8; empty at first.
    void SetLogTag(const std::string& tag);
    /// \brief The expected unpacked size in bytes, 0 at first. Only turns percentages into byte counts.
    void SetSize(qint64 size);

    /// \brief Starts an extraction.
    ///
    /// Blocks until the program runs, which takes some milliseconds as a rule and 30 seconds at most. While a
    /// run is going on, a second call does not start another one, but answers true; so call Stop() before.
    /// \param srcPath the archive
    /// \param dstPath the folder to extract into; made by the program when it does not exist
    /// \return false after unzipError 2000 or 2008
    bool Start(const QString& srcPath, const QString& dstPath);

    /// \brief Kills the program and lets go of it; the next Start() begins afresh.
    ///
    /// The end of a killed program is reported as any other: what it had still written, and unzipFinished with
    /// the code that the system gives (9 on Linux, 62097 on Windows), all inside this call, and nothing of that
    /// run comes afterwards. Called inside a handler of unzipProgress or unzipError, the end is reported as soon
    /// as that handler has returned. A program that the system does not end within a second, because a disk hangs
    /// for instance, is reported when it does end, maybe amid the next run. Without a child the call only logs.
    void Stop();

    /// \brief Blocks until the program has started (30 seconds at most) and ended (another 30 at most).
    ///
    /// Signals are emitted meanwhile. Returns at once without a child.
    void Wait();

    /// \brief The version that `7z.exe` on the system's search path tells about itself, such as "26.00". Blocks,
    /// up to 60 seconds.
    ///
    /// It is the second word of the first line; lines end with CR LF, as on Windows.
    /// \return null when the program does not start or prints nothing; empty when its first line is one word
    static QString version();

Q_SIGNALS:
    /// \brief A percentage that the program printed, and that share of the size, rounded toward zero.
    ///
    /// Of each chunk of output only the first "%" counts, wherever it stands: an archive with that character in its
    /// name adds a meaningless one when the program names it.
    void unzipProgress(int percent, qint64 processBytes);
    /// The program has ended, whatever the reason; 0 is success.
    void unzipFinished(int exitCode);
    /// See the table of codes. One for each chunk of standard error.
    void unzipError(int error, const QString& msg);

private Q_SLOTS:
    void onProcessFinished(int exitCode, QProcess::ExitStatus exitStatus);
    void onProcessOutput();
    void onProcessError();

private:
    qint64 getTotalSize() const;

    QString findProgram() const;
    void createProcess();
    void onProcessStarted();
    void onProcessFailed(QProcess::ProcessError error);
    bool fail(int code, const QString& message);
    QProcess* reportingProcess() const;
    QProcess* takeProcess();

    std::string m_logTag;
    QString m_srcPath;
    QString m_dstPath;
    qint64 m_size = 0;
    QProcess* m_process = nullptr; // child of the worker until takeProcess()
};

// SPDX-License-Identifier: MIT
#pragma once

#include "QCommGlobal.h"

#include <QObject>
#include <QString>

#include <atomic>

class QFileInfo;

/// \brief Copies a folder tree into another folder, skips what is there already, and can be stopped between files.
///
/// A worker object: give it the folders, move it to a thread, invoke onCopyDirFiles() there and listen to its
/// signals. Only Open() and Close() may be called from other threads. The object must not be deleted inside a
/// directly connected handler of its signals, because the run goes on after them; use deleteLater().
///
/// Signals of a run: copyProgress once for every file of the source tree, identical files included, then exactly
/// one of copyFinish and copyError. There is no roll-back: what was copied before an error stays.
///
/// What a tree consists of: the files and folders that QDir lists by default, in QDir's own order, sub-folders
/// before files. Hidden files and folders are left out (a leading dot on Linux, the attribute on Windows), and so
/// are pipes, sockets and broken links. Links to files and folders are followed, so that their targets are copied;
/// only a link that leads back to a folder on the way down to it is passed over, since its tree has no end. A
/// destination inside the source is not copied into itself. An empty path names no folder.
///
/// Files are compared and copied in small blocks: memory does not grow with their size. Each source file is read
/// at most twice.
class QCOMM_EXPORT FileOperator : public QObject
{
    Q_OBJECT

public:
    explicit FileOperator(QObject* parent = nullptr);
    ~FileOperator() override;

    /// \brief What the next run copies. Not during a run.
    /// \param srcDir      root of the tree to copy; a missing one is a tree without files
    /// \param dstDir      root of the destination; made when missing
    /// \param saveChanged whether a file that replaces a different one is also copied into changedDir
    /// \param changedDir  root of that second tree: a folder in it is the destination's folder with every
    /// occurrence of dstDir replaced by changedDir. Files that exist there are kept.
    void SetCopyDirParam(QString srcDir, QString dstDir, bool saveChanged, QString changedDir);

    /// \brief Takes a stop request back. Any thread. Needed before the next run after a Close().
    void Open() { m_closed.store(false, std::memory_order_relaxed); }
    /// \brief Asks a run to stop: it ends before its next file or folder, with copyError. Any thread.
    void Close() { m_closed.store(true, std::memory_order_relaxed); }

    /// \brief How many files a tree has; 0 for a missing folder. Blocks.
    static int GetDirFileCount(const QString& dir);
    /// \brief The sum of their sizes in bytes. Blocks.
    static quint64 GetDirFileSize(const QString& dir);
    /// \brief The MD5 of a file as 32 lower-case hexadecimal digits. Blocks.
    /// \return empty when the file cannot be opened
    static QString GetFileMd5(QString path);

public Q_SLOTS:
    /// \brief Copies the tree. Blocks the thread until the end.
    ///
    /// A destination file with the MD5 of its source file is left alone; a different one is deleted and replaced. One
    /// that cannot be deleted, on Windows a read-only one or one in use, ends the run with copyError. Copies are as
    /// read-only as their sources.
    void onCopyDirFiles();

Q_SIGNALS:
    /// \brief Another file is in place.
    /// \param copied so many are by now
    /// \param total  files of the source when the run began: files that came later may make `copied` exceed it
    void copyProgress(int copied, int total);
    /// Every file is in place.
    void copyFinish();
    /// \brief The run has failed or was stopped.
    /// \param path the source file that could not be copied, or its folder when the changed-files folder could not
    /// be made. Empty, or that of an earlier failure, after a stop request and when a destination folder could
    /// not be made.
    void copyError(QString path);

private:
    bool doCopyDirFiles(const QString& src, const QString& dst);
    bool copySubFolders(const QString& src, const QString& dst);
    bool copyFile(const QFileInfo& source, const QString& dst);
    bool saveChangedFile(const QFileInfo& source, const QString& dst, QString* saved);
    bool isDestination(const QString& folder) const;
    bool isClosed() const { return m_closed.load(std::memory_order_relaxed); }

    QString m_srcDir;
    QString m_dstDir;
    QString m_changedDir;
    bool m_saveChanged = false;
    qint32 m_copiedCount = 0;
    qint32 m_totalCount = 0;
    std::atomic<bool> m_closed{false};
    QString m_errorPath; // never cleared: launchers may show the last one
};

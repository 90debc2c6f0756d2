// SPDX-License-Identifier: MIT
#pragma once

#include "QCommGlobal.h"

#include <QObject>
#include <QSize>
#include <QString>
#include <QVector>

/// \brief Short descriptive texts about the machine, for display and for reports, and the space of a disk.
///
/// Only static queries: an object of it knows nothing more than the class. They are meant for the GUI thread.
/// What is costly to gather (processor, graphics adapters) is gathered once per process, everything else on
/// every call. A text is empty when the machine does not tell.
class QCOMM_EXPORT PcInfo : public QObject
{
    Q_OBJECT

public:
    explicit PcInfo(QObject* parent = nullptr);
    ~PcInfo() override;

    /// \brief Name of the processor, as its maker writes it. Gathered once.
    static const QString& cpuType();
    /// \brief Names of the graphics adapters, joined with ",". Gathered once it is not empty.
    static const QString& dCard();
    /// \brief Available and total physical memory, such as "(11.73 GB / 31.86 GB)". 1 GB is 2^30 bytes.
    static const QString& memory();
    /// \brief Sizes of the screens in pixels with the number of screens of each, such as
    /// "(1920 x 1080) x 2个、 (2560 x 1440) x 1个". Needs a QApplication; empty without one.
    static const QString& screen();

    /// \brief First IPv4 address of the machine that is not 127.0.0.1.
    static const QString ipAddress();
    /// \brief Hardware address, colon-separated hexadecimal, of the first network interface that is up and
    /// running. That may be a loopback interface.
    static const QString mac();
    /// \brief The machine's own name.
    static const QString localmachineName();

    /// \brief Kind of operating system, such as "windows".
    static QString osType();
    /// \brief Version of the operating system, such as "10".
    static QString osVersion();
    /// \brief Version of its kernel, such as "10.0.19045".
    static QString osBuild();
    /// \brief Architecture that the processor runs, such as "x86_64".
    static QString osArch();

    /// \brief Whether the machine has a battery. An unknown battery state counts as none.
    static bool IsNoteBookPc();

    /// \brief Space of the disk that holds a path, in bytes.
    /// \param path      Windows: a path with a drive ("D:/Games/x"); without one the answer is that of the
    /// empty path. Elsewhere: a path, which need not exist yet; one with a drive is that drive's there as well,
    /// and has no disk unless there is a folder of that name
    /// \param available true for the space that this user can still fill, false for the size of the disk
    /// \return -1 when the disk does not tell
    static qint64 GetDiskMemory(QString path, bool available);

protected:
    /// \brief The text of memory() for two amounts in bytes.
    static QString MemoryText(double availableBytes, double totalBytes);
    /// \brief The text of screen() for screens of these sizes in pixels.
    static QString ScreenText(const QVector<QSize>& screens);

private:
    // What differs between the platforms.
    static QString ReadCpuType();
    static QString ReadGraphicsAdapters();
    static void ReadMemory(double* availableBytes, double* totalBytes);
    static QString StorageRoot(const QString& path);

    static QString m_cpuDescribe;
    static QString m_dCardDescribe;
    static QString m_memoryDescribe;
    static QString m_screenDescribe;
    static QString m_osDescirbe; // misspelt from the start, and exported under this name
};

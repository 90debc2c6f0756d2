// SPDX-License-Identifier: MIT
#pragma once

#include "QCommGlobal.h"

#include <QObject>
#include <QString>

/// \brief Tells what kind of physical disk holds a drive letter, such as a hard disk or an SSD. Windows only.
///
/// A worker object: give it a letter, move it to a thread, invoke onStart() there and wait for mediaType(). A
/// query blocks its thread, without a time limit, until the storage management of Windows has answered, which
/// can take seconds. onStart() initialises COM for the multithreaded model on that thread and uninitialises it
/// again; on a thread that already uses COM in another model, such as the GUI thread, the query fails.
///
/// \code
///   idle ──onStart──> querying ──mediaType(int), always and once──> idle
/// \endcode
///
/// The caller creates and deletes it. The letter belongs to the thread that runs the query. What the query
/// meets on its way, failures included, is written to Qt's message handler as debug lines; nothing else is
/// reported.
class QCOMM_EXPORT DiskTypeEnumerator : public QObject
{
    Q_OBJECT

public:
    explicit DiskTypeEnumerator(QObject* parent = nullptr);
    ~DiskTypeEnumerator() override;

    /// \brief The drive letter to examine: one upper-case character such as "C", without a colon; empty at
    /// first. Any other text matches no drive and gives mediaType(0).
    void SetDiskDrive(const QString& drive) { m_drive = drive; }
    /// \brief The same as SetDiskDrive().
    void Setdrive(const QString& drive) { m_drive = drive; }
    /// \brief The drive letter, as it was set.
    QString Getdrive() const { return m_drive; }

public Q_SLOTS:
    /// \brief Looks for the disk and emits mediaType(). Blocks.
    void onStart();

Q_SIGNALS:
    /// The MediaType of the disk, as the class MSFT_PhysicalDisk of Windows counts it: 0 unspecified, 3 HDD,
    /// 4 SSD, 5 SCM. 0 also when no disk matches (a network share, an unmounted letter) or a step failed.
    void mediaType(int);

private:
    // Number of the physical disk that holds a drive; -1 when there is none.
    static int physicalNumber(const QString& drive);
    static int queryMediaType(int number);

    QString m_drive;
};

// SPDX-License-Identifier: MIT
#pragma once

#include "QCommGlobal.h"

#include <QMetaType>
#include <QString>

/// \brief A progress sample of one download group.
///
/// A plain value: copied freely, owned by whoever holds it.
class QCOMM_EXPORT ProgressInfo
{
public:
    ProgressInfo();

    /// \brief Bytes done in this phase.
    const qint64& GetProcessedBytes() const { return processedBytes; }
    void SetProcessedBytes(const qint64& value) { processedBytes = value; }

    /// \brief Bytes in all.
    const qint64& GetTotalBytes() const { return totalBytes; }
    void SetTotalBytes(const qint64& value) { totalBytes = value; }

    /// \brief Phase of the sample, set by the back-end: 0 download, 1 verification.
    const int& GetTag() const { return tag; }
    void SetTag(const int& value) { tag = value; }

    /// \brief Speed in bytes per second; download samples leave it 0 (the speed travels in `speed2`).
    const qint64& GetSpeed() const { return speed; }
    void SetSpeed(const qint64& value) { speed = value; }

    /// \brief Group that the sample belongs to; -1 when unknown.
    const int& GetGroupId() const { return groupId; }
    void SetGroupId(const int& value) { groupId = value; }

    /// \brief Whether peer-assisted delivery was in use at any time of the run.
    const bool& GetUsingPcdn() const { return usingPcdn; }
    void SetUsingPcdn(const bool& value) { usingPcdn = value; }

    /// \brief Names of the peer-assisted delivery providers seen in the run, joined with ","; empty when
    /// none.
    const QString& GetPcdnAlias() const { return pcdnAlias; }
    void SetPcdnAlias(const QString& value) { pcdnAlias = value; }

    /// \brief Bytes received over peer-assisted delivery in the run.
    const qint64& GetPcdnNetworkTraffic() const { return pcdnNetworkTraffic; }
    void SetPcdnNetworkTraffic(const qint64& value) { pcdnNetworkTraffic = value; }

    /// \brief Bytes received from the ordinary CDN in the run.
    const qint64& GetCdnNetworkTraffic() const { return cdnNetworkTraffic; }
    void SetCdnNetworkTraffic(const qint64& value) { cdnNetworkTraffic = value; }

private:
    qint64 processedBytes = 0;
    qint64 totalBytes = 0;
    int tag = 0;
    qint64 speed = 0;
    int groupId = -1;
    bool usingPcdn = false;
    QString pcdnAlias;
    qint64 pcdnNetworkTraffic = 0;
    qint64 cdnNetworkTraffic = 0;
};

Q_DECLARE_METATYPE(ProgressInfo)

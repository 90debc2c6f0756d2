// SPDX-License-Identifier: MIT
#pragma once

#include "PackageOptions.h"
#include "ProgressText.h"
#include "Session.h"
#include "vantor/VantorChunkTask.h"

#include <QElapsedTimer>

/// \brief One chunk task from its start to its end, whatever the end is.
///
/// \code
///   Idle ──start──> Running ──finished signal──> Ended (0, 1)
///                    │ └──"Duplicated"─────────> Ended (4)
///                    └──interrupt, silence──> Stopping ──finished signal or 5 s later──> Ended (130, 4)
/// \endcode
class PackageSession : public Session
{
    Q_OBJECT

public:
    /// \param display shows what happens; must outlive the session
    PackageSession(const PackageOptions& options, ProgressDisplay* display, QObject* parent = nullptr);

protected:
    /// \brief Hands the request to the engine, which must have been started.
    void start() override;
    void cancel() override;

private:
    void connectTask();
    std::unique_ptr<VantorChunkReq> request() const;
    void onProgress(const VantorChunkResp& resp);
    void onDownloadProgress(const VantorChunkNormalDownloadResp& resp);
    void onVersion(const VantorChunkVersionResp& resp);
    void onSize(const VantorChunkSizeResp& resp);
    void onDownloaded(const VantorChunkNormalDownloadResp& resp);
    void onRemoved(const VantorChunkDeleteDatabaseResp& resp);

    bool hasFailed(const VantorChunkResp& resp);
    bool removeFolder(const VantorChunkResp& resp);

    const PackageOptions m_options;
    const QSharedPointer<VantorChunkTask> m_task;
    ProgressState m_progress;
    QElapsedTimer m_clock;
};

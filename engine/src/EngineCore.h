// SPDX-License-Identifier: MIT
#pragma once

#include "EngineServices.h"
#include "package/PackageRequest.h"

#include <QByteArray>
#include <QObject>
#include <QSet>

#include <functional>
#include <memory>
#include <vector>

namespace VantorEngine {

class GroupJob;
class PackageTasks;

/// The engine proper: all groups and what they share. Created, used and destroyed on the engine's thread.
class EngineCore : public QObject
{
    Q_OBJECT
public:
    EngineCore(CallbackTable& callbacks, Log& log, Settings& settings);
    ~EngineCore() override;

    void applyStartup(const QByteArray& config);
    void applyPolicy(const QByteArray& config);
    /// Takes up the settings as they are: limits, intervals, certificate authorities.
    void useSettings();
    void addGroup(const QByteArray& guid, const QByteArray& downloadList);
    void cancel(const QByteArray& guid);
    /// Forgets a group or a chunk task without another callback; all of them when the guid is empty.
    void release(const QByteArray& guid);
    /// \param ended called once when the guid is free again.
    void addChunkTask(const QByteArray& guid, const PackageRequest& request, std::function<void()> ended);
    void cancelChunkTask(const QByteArray& guid);
    /// Tells the state callback that the engine runs, once per callback and \a startCount.
    void reportState(int startCount);

    static constexpr int kStartsPerPass = 64;

private:
    void loadAuthorities();
    bool isDuplicate(const GroupJob& group) const;
    void scheduleSoon();
    void schedule();
    bool startOne();
    bool widenOne();
    int slotsHeld() const;
    void remove(GroupJob* group);
    void onNetworkUsed(const QString& use);

    EngineServices m_services;
    std::vector<GroupJob*> m_groups; ///< in order of arrival; owned
    std::size_t m_nextGroup = 0;     ///< whose turn it is
    std::unique_ptr<PackageTasks> m_packages;
    bool m_scheduled = false;
    QString m_loadedCaFile;
    QSet<QString> m_usesSeen;
    VantorStateCallback m_stateReportedTo = nullptr;
    int m_stateReportedFor = 0;
};

} // namespace VantorEngine

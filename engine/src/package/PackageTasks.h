// SPDX-License-Identifier: MIT
#pragma once

#include "EngineServices.h"
#include "package/PackageRequest.h"

#include <QObject>

#include <functional>
#include <vector>

namespace VantorEngine {

class PackageTask;

/// All chunk tasks. One that does what another is doing already ends as "Duplicated"; one that meets another on the
/// same installation or staging folder, where at least one of the two changes it, waits for its turn.
class PackageTasks : public QObject
{
    Q_OBJECT
public:
    explicit PackageTasks(EngineServices& services);
    ~PackageTasks() override;

    /// \param ended called once when the guid is free again.
    void add(const QByteArray& guid, const PackageRequest& request, std::function<void()> ended);
    void cancel(const QByteArray& guid);
    /// Forgets a task without another callback; all tasks when the guid is empty.
    void release(const QByteArray& guid);
    void intervalChanged();

private:
    struct Entry
    {
        PackageTask* task = nullptr;
        std::function<void()> ended;
    };

    const PackageTask* runningTwin(const PackageTask& task) const;
    bool mustWait(std::size_t index) const;
    void startReady();
    void remove(PackageTask* task);

    EngineServices& m_services;
    std::vector<Entry> m_tasks; ///< in order of arrival; owned
};

} // namespace VantorEngine

// SPDX-License-Identifier: MIT
#include "EngineCore.h"

#include "DownloadList.h"
#include "EngineThread.h"
#include "ExitHook.h"
#include "GroupJob.h"
#include "package/PackageTasks.h"

#include <QCoreApplication>
#include <QEvent>
#include <QFile>
#include <QSslCertificate>

#include <algorithm>
#include <memory>
#include <utility>

namespace VantorEngine {

namespace {

constexpr char kRunningState[] = R"({"state":"Running"})";

} // namespace

EngineCore::EngineCore(CallbackTable& callbacks, Log& log, Settings& settings)
    : m_services(callbacks, log, settings), m_packages(std::make_unique<PackageTasks>(m_services))
{
    m_services.networkUsed = [this](const QString& use) { onNetworkUsed(use); };
    connect(&m_services.proxies, &Proxies::answered, this, [this] { onNetworkUsed(QStringLiteral("proxies")); });
    useSettings();
}

EngineCore::~EngineCore()
{
    qDeleteAll(m_groups);
    m_packages.reset();
    // Transfers and replies that were left to be deleted use the services: they go first.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void EngineCore::applyStartup(const QByteArray& config)
{
    if (!VantorEngine::applyStartup(m_services.settings, config)) {
        VANTOR_LOG(m_services.log, Warning, QStringLiteral("the start-up configuration is not a JSON object"));
    }
    useSettings();
}

void EngineCore::applyPolicy(const QByteArray& config)
{
    if (!VantorEngine::applyPolicy(m_services.settings, config)) {
        VANTOR_LOG(m_services.log, Warning, QStringLiteral("the configuration is not a JSON object"));
    }
    useSettings();
}

void EngineCore::useSettings()
{
    if (m_services.limiter.limit() != m_services.settings.bandwidthLimit) {
        m_services.limiter.setLimit(m_services.settings.bandwidthLimit);
    }
    loadAuthorities();
    for (GroupJob* group : m_groups) {
        group->intervalChanged();
    }
    m_packages->intervalChanged();
    scheduleSoon();
}

void EngineCore::loadAuthorities()
{
    const QString& caFile = m_services.settings.caFile;
    if (caFile == m_loadedCaFile) {
        return;
    }
    m_loadedCaFile = caFile;
    m_services.tls.reset();
    m_services.network.renew();
    if (caFile.isEmpty()) {
        return;
    }
    QFile file(caFile);
    if (!file.open(QIODevice::ReadOnly)) {
        VANTOR_LOG(m_services.log, Warning, QStringLiteral("cannot read %1: %2").arg(caFile, file.errorString()));
        return;
    }
    m_services.tls = std::make_unique<QSslConfiguration>(QSslConfiguration::defaultConfiguration());
    m_services.tls->addCaCertificates(QSslCertificate::fromData(file.readAll(), QSsl::Pem));
}

void EngineCore::addGroup(const QByteArray& guid, const QByteArray& downloadList)
{
    m_services.outbox.hold(guid);
    const DownloadList list = parseDownloadList(downloadList);
    auto group = std::make_unique<GroupJob>(guid, list, m_services);
    if (!list.problem.isEmpty()) {
        group->endBroken(list.problem);
        return;
    }
    if (isDuplicate(*group)) {
        group->endDuplicated();
        return;
    }
    GroupJob* const added = group.release();
    m_groups.push_back(added);
    connect(added, &GroupJob::workAvailable, this, &EngineCore::scheduleSoon);
    connect(added, &GroupJob::ended, this, [this, added] { remove(added); });
    added->open();
}

bool EngineCore::isDuplicate(const GroupJob& group) const
{
    return std::any_of(m_groups.cbegin(), m_groups.cend(),
                       [&group](const GroupJob* running) { return running->covers(group); });
}

void EngineCore::cancel(const QByteArray& guid)
{
    const auto group = std::find_if(m_groups.cbegin(), m_groups.cend(),
                                    [&guid](const GroupJob* each) { return each->guid() == guid; });
    if (group != m_groups.cend()) {
        (*group)->cancel();
    }
}

void EngineCore::release(const QByteArray& guid)
{
    const std::vector<GroupJob*> groups = m_groups;
    for (GroupJob* group : groups) {
        if (guid.isEmpty() || group->guid() == guid) {
            group->abandon();
            remove(group);
        }
    }
    m_packages->release(guid);
    m_services.outbox.drop(guid);
}

void EngineCore::addChunkTask(const QByteArray& guid, const PackageRequest& request, std::function<void()> ended)
{
    m_packages->add(guid, request, std::move(ended));
}

void EngineCore::cancelChunkTask(const QByteArray& guid)
{
    m_packages->cancel(guid);
}

void EngineCore::reportState(int startCount)
{
    const VantorStateCallback callback = m_services.callbacks.stateCallback();
    if (callback == m_stateReportedTo && startCount == m_stateReportedFor) {
        return;
    }
    m_stateReportedTo = callback;
    m_stateReportedFor = startCount;
    m_services.callbacks.callState(kRunningState);
}

void EngineCore::remove(GroupJob* group)
{
    m_groups.erase(std::remove(m_groups.begin(), m_groups.end(), group), m_groups.end());
    group->deleteLater();
    scheduleSoon();
}

/// Files end inside the calls that start them, so starting is never nested.
void EngineCore::scheduleSoon()
{
    if (m_scheduled) {
        return;
    }
    m_scheduled = true;
    QMetaObject::invokeMethod(this, &EngineCore::schedule, Qt::QueuedConnection);
}

void EngineCore::schedule()
{
    m_scheduled = false;
    for (int starts = 0; slotsHeld() < m_services.settings.maxParallelFiles; ++starts) {
        if (starts == kStartsPerPass) {
            // Files that are in place already end at once; calls and timers get their turn between them.
            scheduleSoon();
            return;
        }
        if (!startOne() && !widenOne()) {
            return;
        }
    }
}

/// Groups take turns, file by file.
bool EngineCore::startOne()
{
    const std::size_t count = m_groups.size();
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t turn = (m_nextGroup + i) % count;
        if (m_groups[turn]->startNext()) {
            m_nextGroup = turn + 1;
            return true;
        }
    }
    return false;
}

/// Connections that no file waits for go to large files that are being transferred.
bool EngineCore::widenOne()
{
    return std::any_of(m_groups.cbegin(), m_groups.cend(), [](GroupJob* group) { return group->widenNext(); });
}

int EngineCore::slotsHeld() const
{
    int held = 0;
    for (const GroupJob* group : m_groups) {
        held += group->slotsHeld();
    }
    return held;
}

/// The network library makes its globals on first use. A process that ends must stop the engine before they go.
void EngineCore::onNetworkUsed(const QString& use)
{
    if (!m_usesSeen.contains(use)) {
        m_usesSeen.insert(use);
        callAtExit(stopEngineThread);
    }
}

} // namespace VantorEngine

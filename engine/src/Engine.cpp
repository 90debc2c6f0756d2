// SPDX-License-Identifier: MIT
#include "Engine.h"

#include "EngineCore.h"
#include "package/PackageRequest.h"

#include <QUuid>

namespace VantorEngine {

Engine& Engine::instance()
{
    static Engine* const engine = new Engine;
    return *engine;
}

Engine::Engine() : m_log(m_callbacks), m_thread(m_callbacks, m_log, m_settings)
{
}

void Engine::initEnv(const QByteArray& path, const QByteArray& config, int logLevel, int logDestination)
{
    m_log.configure(logLevel, logDestination);
    ++m_startCount;
    m_thread.post([this, path, config](EngineCore& core) {
        VANTOR_LOG(m_log, Info, QStringLiteral("start, path: %1").arg(QString::fromUtf8(path)));
        core.applyStartup(config);
    });
    reportState();
    m_thread.start();
}

void Engine::setConfig(const QByteArray& config)
{
    m_thread.post([config](EngineCore& core) { core.applyPolicy(config); });
}

const char* Engine::setDownloadList(const QByteArray& downloadList)
{
    const QByteArray guid = QUuid::createUuid().toString(QUuid::WithoutBraces).toUtf8();
    const char* const kept = keep(guid);
    m_thread.post([guid, downloadList](EngineCore& core) { core.addGroup(guid, downloadList); });
    m_thread.start();
    return kept;
}

void Engine::release(const QByteArray& groupGuid)
{
    m_thread.postIfRunning([groupGuid](EngineCore& core) { core.release(groupGuid); });
}

void Engine::cancel(const QByteArray& groupGuid)
{
    m_thread.postIfRunning([groupGuid](EngineCore& core) { core.cancel(groupGuid); });
}

const char* Engine::startChunkTask(const QByteArray& request)
{
    const PackageRequest wanted = parsePackageRequest(request);
    const QByteArray guid = claimChunkGuid(wanted.guid.toUtf8());
    const char* const kept = keep(guid);
    m_thread.post([this, guid, wanted](EngineCore& core) {
        core.addChunkTask(guid, wanted, [this, guid] { freeChunkGuid(guid); });
    });
    m_thread.start();
    return kept;
}

void Engine::cancelChunkTask(const QByteArray& guid)
{
    m_thread.postIfRunning([guid](EngineCore& core) { core.cancelChunkTask(guid); });
}

void Engine::stop()
{
    m_thread.stop();
    const std::lock_guard<std::mutex> lock(m_guidMutex);
    m_chunkGuids.clear();
}

/// Two tasks of one guid could not be told apart by their callbacks.
QByteArray Engine::claimChunkGuid(const QByteArray& wanted)
{
    const std::lock_guard<std::mutex> lock(m_guidMutex);
    const bool usable = !wanted.isEmpty() && m_chunkGuids.count(wanted) == 0;
    const QByteArray guid = usable ? wanted : QUuid::createUuid().toString(QUuid::WithoutBraces).toUtf8();
    m_chunkGuids.insert(guid);
    return guid;
}

void Engine::freeChunkGuid(const QByteArray& guid)
{
    const std::lock_guard<std::mutex> lock(m_guidMutex);
    m_chunkGuids.erase(guid);
}

void Engine::setStateCallback(VantorStateCallback callback)
{
    m_callbacks.setState(callback);
    if (callback != nullptr) {
        reportState();
    }
}

/// A host may install the callback before or after it starts the engine; it is told in both cases, once per start.
void Engine::reportState()
{
    const int startCount = m_startCount;
    if (startCount > 0) {
        m_thread.post([startCount](EngineCore& core) { core.reportState(startCount); });
    }
}

/// A guid is 36 bytes and lasts for the process: the host may copy it whenever it likes.
const char* Engine::keep(const QByteArray& guid)
{
    const std::lock_guard<std::mutex> lock(m_guidMutex);
    m_guids.push_back(guid);
    return m_guids.back().constData();
}

} // namespace VantorEngine

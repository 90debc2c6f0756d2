// SPDX-License-Identifier: MIT
#include "EngineThread.h"

#include "Engine.h"
#include "EngineCore.h"
#include "ExitHook.h"
#include "Waker.h"

#include <QCoreApplication>
#include <QHostInfo>
#include <QMetaType>
#include <QNetworkProxy>
#include <QSharedPointer>

#include <utility>

namespace VantorEngine {

namespace {

/// Qt delivers no events in a process without an application object. A host that is no Qt program has none.
void ensureApplication()
{
    static int argumentCount = 1;
    static char name[] = "vantor";
    static char* arguments[] = {name, nullptr};
    if (QCoreApplication::instance() == nullptr) {
        new QCoreApplication(argumentCount, arguments); // stays until the process is gone
    }
}

/// Qt makes globals on first use: for types that travel in queued signals, for proxies, for host names. They must be
/// there before the exit hook, so that they go after the thread has been stopped: the process may end while the first
/// connection is being made, or the first response, which travels so, is on its way.
void makeGlobals()
{
    qRegisterMetaType<QSharedPointer<char>>("QSharedPointer<char>");
    QNetworkProxy::applicationProxy();
    QHostInfo::abortHostLookup(-1); // there is none: it makes what keeps them
}

} // namespace

EngineThread::EngineThread(CallbackTable& callbacks, Log& log, Settings& settings)
    : m_callbacks(callbacks), m_log(log), m_settings(settings)
{
}

void EngineThread::start()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_worker != nullptr) {
        return;
    }
    keepModuleLoaded();
    m_worker = new Worker(*this);
    m_worker->setObjectName(QStringLiteral("vantor"));
    m_worker->start();
}

void EngineThread::post(Task task)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_tasks.push_back(std::move(task));
    wake();
}

void EngineThread::postIfRunning(Task task)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_worker != nullptr) {
        m_tasks.push_back(std::move(task));
        wake();
    }
}

void EngineThread::wake()
{
    if (m_waker != nullptr && !m_awake) {
        m_awake = true;
        m_waker->wake();
    }
}

void EngineThread::runTasks(EngineCore& core, const Waker& waker)
{
    std::deque<Task> tasks;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_waker != &waker) {
            return; // stopped: they are for the next thread
        }
        m_awake = false;
        tasks.swap(m_tasks);
    }
    for (const Task& task : tasks) {
        task(core);
    }
}

void EngineThread::attach(Waker& waker)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_waker = &waker;
    m_awake = false;
    if (!m_tasks.empty()) {
        wake();
    }
}

/// The next thread may have been started already.
void EngineThread::detach(const Waker& waker)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_waker == &waker) {
        m_waker = nullptr;
    }
}

void EngineThread::Worker::run()
{
    ensureApplication();
    makeGlobals();
    EngineCore core(m_owner.m_callbacks, m_owner.m_log, m_owner.m_settings);
    Waker waker([this, &core, &waker] { m_owner.runTasks(core, waker); });
    qAddPostRoutine(stopEngineThread);
    callAtExit(stopEngineThread);
    m_owner.attach(waker);
    exec();
    m_owner.detach(waker);
}

void EngineThread::stop()
{
    Worker* worker = nullptr;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        worker = std::exchange(m_worker, nullptr);
        m_tasks.clear();
        m_waker = nullptr;
    }
    if (worker == nullptr) {
        return;
    }
    worker->quit();
    // A host may end the process from inside a callback, where the thread cannot be waited for.
    if (QThread::currentThread() != worker && worker->wait(kStopTimeoutMs)) {
        delete worker;
    }
}

void stopEngineThread()
{
    Engine::instance().stop();
}

} // namespace VantorEngine

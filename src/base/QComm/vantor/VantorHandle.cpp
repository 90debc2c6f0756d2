// SPDX-License-Identifier: MIT
#include "vantor/VantorHandle.h"

#include "vantor/EngineLog.h"
#include "vantor/VantorExporter.h"

#include <QDeadlineTimer>
#include <QThread>

#include <atomic>

Q_LOGGING_CATEGORY(lcVantorEngine, "orvel.qcomm.engine")

namespace {

constexpr char kEngineModule[] = "vantor";

// How long the end of an exporter waits for callbacks under way. They only post events, so this is never
// reached while threads run; it matters when the process ends and the system has already killed a thread
// inside a callback.
constexpr int kCallbackDrainMs = 2000;

// Both are read on engine threads up to the very end of the process, so neither may have a destructor.
std::atomic<VantorExporter*> exporterTarget{nullptr};
std::atomic<int> callbacksUnderWay{0};

/// \brief The exporter to forward one callback to; while this lives, the exporter's destructor waits.
class Forward
{
public:
    Forward()
    {
        ++callbacksUnderWay;
        m_exporter = exporterTarget.load();
    }
    ~Forward() { --callbacksUnderWay; }
    Forward(const Forward&) = delete;
    Forward& operator=(const Forward&) = delete;

    explicit operator bool() const { return m_exporter != nullptr; }
    VantorExporter* operator->() const { return m_exporter; }

private:
    VantorExporter* m_exporter;
};

void onState(const char* data)
{
    if (const Forward exporter; exporter)
        exporter->StateCallback(QString::fromUtf8(data));
}

void onSingleTask(const char* groupGuid, const char* taskGuid, const char* data)
{
    const Forward exporter;
    if (!exporter)
        return;
    const QString text = QString::fromUtf8(data);
    qCDebug(lcVantorEngine).noquote().nospace() << "VantorHandle::onSingleTaskCallback: " << text;
    exporter->SingleTaskCallback(QString::fromUtf8(groupGuid), QString::fromUtf8(taskGuid), text);
}

void onGroupTask(const char* guid, const char* data)
{
    const Forward exporter;
    if (!exporter)
        return;
    const QString text = QString::fromUtf8(data);
    qCDebug(lcVantorEngine).noquote().nospace() << "VantorHandle::onGroupTaskCallback: " << text;
    exporter->GroupTaskCallback(QString::fromUtf8(guid), text);
}

void onChunkTask(const char* guid, const char* data)
{
    if (const Forward exporter; exporter)
        exporter->ChunkTaskCallback(QString::fromUtf8(guid), QString::fromUtf8(data));
}

// Complete, so that installing it is one line, but deliberately never handed to the engine: it keeps its own
// log.
[[maybe_unused]] void onLog(int severity, const char* file, int line, int messageStart, const char* message)
{
    if (const Forward exporter; exporter) {
        exporter->LogCallback(severity, QString::fromUtf8(file), line, messageStart, QString::fromUtf8(message));
    }
}

} // namespace

VantorHandle::VantorHandle(QObject* parent)
    : QObject(parent),
      initEnv(kEngineModule, "Vantor_InitEnv"),
      setConfig(kEngineModule, "Vantor_SetConfig"),
      setDownloadList(kEngineModule, "Vantor_SetDownloadList"),
      release(kEngineModule, "Vantor_Release"),
      cancel(kEngineModule, "Vantor_Cancel"),
      removeCallback(kEngineModule, "Vantor_RemoveCallback"),
      startChunkTask(kEngineModule, "Vantor_StartChunkTask"),
      cancelChunkTask(kEngineModule, "Vantor_CancelChunkTask"),
      setEngineStateCallback(kEngineModule, "Vantor_SetEngineStateCallback"),
      setSingleTaskCallback(kEngineModule, "Vantor_SetSingleTaskCallback"),
      setGroupTaskCallback(kEngineModule, "Vantor_SetGroupTaskCallback"),
      setLogHandler(kEngineModule, "Vantor_SetLogHandler"),
      setChunkTaskCallback(kEngineModule, "Vantor_SetChunkTaskCallback")
{
    exporterTarget = dynamic_cast<VantorExporter*>(parent);
}

VantorHandle::~VantorHandle()
{
    RemoveCallbacks();
}

bool VantorHandle::IsValid() const
{
    return initEnv.IsValid() && setConfig.IsValid() && setDownloadList.IsValid() && release.IsValid() &&
           cancel.IsValid() && removeCallback.IsValid() && startChunkTask.IsValid() && cancelChunkTask.IsValid() &&
           setEngineStateCallback.IsValid() && setSingleTaskCallback.IsValid() && setGroupTaskCallback.IsValid() &&
           setLogHandler.IsValid() && setChunkTaskCallback.IsValid();
}

void VantorHandle::RegisterCallbacks()
{
    if (!IsValid())
        return;
    setEngineStateCallback(onState);
    setSingleTaskCallback(onSingleTask);
    setGroupTaskCallback(onGroupTask);
    setChunkTaskCallback(onChunkTask);
    callbackRegistered = true;
}

void VantorHandle::RemoveCallbacks()
{
    if (!callbackRegistered)
        return;
    removeCallback();
    callbackRegistered = false;
}

void VantorHandle::DetachExporter(const QObject* exporter)
{
    if (exporterTarget.load() == exporter)
        exporterTarget = nullptr;
    const QDeadlineTimer deadline(kCallbackDrainMs);
    while (callbacksUnderWay.load() > 0 && !deadline.hasExpired())
        QThread::yieldCurrentThread();
}

// SPDX-License-Identifier: MIT
#include "EngineDouble.h"

#include "vantor/ProcApi.h"

#include <cstddef>
#include <utility>

namespace {

using EngineDouble::Function;

EngineDouble::Control* findControl()
{
    const ProcApi<EngineDouble::Control*()> entry("vantor", EngineDouble::kControlEntry);
    return entry.IsValid() ? entry() : nullptr;
}

void runAction(void* context, const char* guid)
{
    const auto& action = *static_cast<const std::function<void(const QString&)>*>(context);
    action(QString::fromUtf8(guid));
}

std::size_t threadNumber(int thread)
{
    return static_cast<std::size_t>(thread);
}

QString line(const EngineCall& call)
{
    switch (call.function) {
    case EngineDouble::InitEnv:
        return QStringLiteral("InitEnv(%1, %2, %3, %4)")
            .arg(call.text1, call.text2)
            .arg(call.number1)
            .arg(call.number2);
    case EngineDouble::SetConfig:
        return QStringLiteral("SetConfig(%1)").arg(call.text1);
    case EngineDouble::SetDownloadList:
        return QStringLiteral("SetDownloadList(%1, %2)").arg(call.text1, call.text2);
    case EngineDouble::Release:
        return QStringLiteral("Release(%1)").arg(call.text1);
    case EngineDouble::Cancel:
        return QStringLiteral("Cancel(%1)").arg(call.text1);
    case EngineDouble::RemoveCallback:
        return QStringLiteral("RemoveCallback()");
    case EngineDouble::StartChunkTask:
        return QStringLiteral("StartChunkTask(%1, %2)").arg(call.text1, call.text2);
    case EngineDouble::CancelChunkTask:
        return QStringLiteral("CancelChunkTask(%1)").arg(call.text1);
    case EngineDouble::SetEngineStateCallback:
        return QStringLiteral("SetEngineStateCallback(%1)").arg(call.number1);
    case EngineDouble::SetSingleTaskCallback:
        return QStringLiteral("SetSingleTaskCallback(%1)").arg(call.number1);
    case EngineDouble::SetGroupTaskCallback:
        return QStringLiteral("SetGroupTaskCallback(%1)").arg(call.number1);
    case EngineDouble::SetLogHandler:
        return QStringLiteral("SetLogHandler(%1)").arg(call.number1);
    case EngineDouble::SetChunkTaskCallback:
        return QStringLiteral("SetChunkTaskCallback(%1)").arg(call.number1);
    }
    return QString();
}

} // namespace

EngineDoubleClient::EngineDoubleClient() : m_control(findControl())
{
    if (m_control)
        m_control->Reset();
}

QList<EngineCall> EngineDoubleClient::TakeCalls()
{
    QList<EngineCall> calls;
    const auto visit = [](void* context, const EngineDouble::CallRecord& call) {
        static_cast<QList<EngineCall>*>(context)->append({call.function, QString::fromUtf8(call.text1),
                                                          QString::fromUtf8(call.text2), call.number1, call.number2,
                                                          call.thread});
    };
    m_control->TakeCalls(visit, &calls);
    return calls;
}

QStringList EngineDoubleClient::TakeCallLines()
{
    QStringList lines;
    const QList<EngineCall> calls = TakeCalls();
    for (const EngineCall& call : calls)
        lines.append(line(call));
    return lines;
}

quint64 EngineDoubleClient::CurrentThread() const
{
    return m_control->CurrentThread();
}

void EngineDoubleClient::NextGroupGuid(const QString& guid)
{
    m_control->ScriptGuid(EngineDouble::SetDownloadList, guid.toUtf8().constData());
}

void EngineDoubleClient::NextChunkGuid(const QString& guid)
{
    m_control->ScriptGuid(EngineDouble::StartChunkTask, guid.toUtf8().constData());
}

void EngineDoubleClient::NextGroupGuidIsNull()
{
    m_control->ScriptGuid(EngineDouble::SetDownloadList, nullptr);
}

void EngineDoubleClient::NextChunkGuidIsNull()
{
    m_control->ScriptGuid(EngineDouble::StartChunkTask, nullptr);
}

void EngineDoubleClient::DuringSetDownloadList(std::function<void(const QString& guid)> action)
{
    m_duringSetDownloadList = std::move(action);
    m_control->ScriptAction(EngineDouble::SetDownloadList, runAction, &m_duringSetDownloadList);
}

void EngineDoubleClient::DuringStartChunkTask(std::function<void(const QString& guid)> action)
{
    m_duringStartChunkTask = std::move(action);
    m_control->ScriptAction(EngineDouble::StartChunkTask, runAction, &m_duringStartChunkTask);
}

void EngineDoubleClient::FireState(const QByteArray& data, int thread)
{
    m_control->Fire(threadNumber(thread), EngineDouble::StateCallback, data.constData(), nullptr, nullptr);
}

void EngineDoubleClient::FireSingle(const QString& groupGuid, const QString& fileGuid, const QByteArray& data,
                                    int thread)
{
    m_control->Fire(threadNumber(thread), EngineDouble::SingleTaskCallback, groupGuid.toUtf8().constData(),
                    fileGuid.toUtf8().constData(), data.constData());
}

void EngineDoubleClient::FireGroup(const QString& guid, const QByteArray& data, int thread)
{
    m_control->Fire(threadNumber(thread), EngineDouble::GroupTaskCallback, guid.toUtf8().constData(), data.constData(),
                    nullptr);
}

void EngineDoubleClient::FireChunk(const QString& guid, const QByteArray& data, int thread)
{
    m_control->Fire(threadNumber(thread), EngineDouble::ChunkTaskCallback, guid.toUtf8().constData(), data.constData(),
                    nullptr);
}

void EngineDoubleClient::FireNulls(EngineDouble::CallbackKind kind)
{
    m_control->Fire(0, kind, nullptr, nullptr, nullptr);
}

void EngineDoubleClient::FireHere(EngineDouble::CallbackKind kind, const QByteArray& text1, const QByteArray& text2,
                                  const QByteArray& text3)
{
    m_control->FireHere(kind, text1.constData(), text2.constData(), text3.constData());
}

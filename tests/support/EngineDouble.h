// SPDX-License-Identifier: MIT
#pragma once

#include "engine_double/EngineDoubleControl.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>

/// \brief One call that the engine double has received.
struct EngineCall
{
    EngineDouble::Function function;
    QString text1;
    QString text2;
    int number1 = 0;
    int number2 = 0;
    quint64 thread = 0;
};

/// \brief A test's hand on the engine double, when that is the module "vantor" on the search path.
///
/// The double is one per process; a client only reaches it. Constructing a client makes the double forget what
/// was recorded and scripted before.
class EngineDoubleClient
{
public:
    EngineDoubleClient();

    /// \brief Whether the module "vantor" is there and is the double.
    bool IsThere() const { return m_control != nullptr; }

    /// \brief The calls since the last take, in order.
    QList<EngineCall> TakeCalls();
    /// \brief The same as lines "Cancel(group-1)", "InitEnv(path, config, 1, 2)", "SetGroupTaskCallback(1)".
    QStringList TakeCallLines();
    /// \brief Identifies the calling thread, as EngineCall::thread does.
    quint64 CurrentThread() const;

    /// \brief What the next SetDownloadList returns.
    void NextGroupGuid(const QString& guid);
    /// \brief What the next StartChunkTask returns.
    void NextChunkGuid(const QString& guid);
    /// \brief The next SetDownloadList returns a null pointer.
    void NextGroupGuidIsNull();
    /// \brief The next StartChunkTask returns a null pointer.
    void NextChunkGuidIsNull();
    /// \brief Runs inside the next SetDownloadList, before it returns; the argument is the guid it will return.
    void DuringSetDownloadList(std::function<void(const QString& guid)> action);
    /// \brief Runs inside the next StartChunkTask, before it returns.
    void DuringStartChunkTask(std::function<void(const QString& guid)> action);
    /// \brief Overwrites the guids returned so far, as an engine that reuses its memory.
    void ScribbleReturnedTexts() { m_control->ScribbleReturnedTexts(); }

    // Each of these calls back soon, on a thread of the engine. The same thread calls in the order of firing.
    void FireState(const QByteArray& data, int thread = 0);
    void FireSingle(const QString& groupGuid, const QString& fileGuid, const QByteArray& data, int thread = 0);
    void FireGroup(const QString& guid, const QByteArray& data, int thread = 0);
    void FireChunk(const QString& guid, const QByteArray& data, int thread = 0);
    /// \brief Calls back with null pointers in place of every text, on a thread of the engine.
    void FireNulls(EngineDouble::CallbackKind kind);
    /// \brief Calls back at once, on the caller's thread.
    void FireHere(EngineDouble::CallbackKind kind, const QByteArray& text1, const QByteArray& text2 = {},
                  const QByteArray& text3 = {});
    /// \brief Waits until every callback fired so far has returned. Queued signals may still be on their way.
    void Flush() { m_control->Flush(); }

    bool IsInstalled(EngineDouble::CallbackKind kind) const { return m_control->IsInstalled(kind); }
    /// \brief From now on callbacks are made even after their removal.
    void IgnoreRemoval(bool ignore) { m_control->IgnoreRemoval(ignore); }

private:
    EngineDouble::Control* m_control;
    std::function<void(const QString&)> m_duringSetDownloadList;
    std::function<void(const QString&)> m_duringStartChunkTask;
};

// SPDX-License-Identifier: MIT
#pragma once

#include "CallbackTable.h"

#include <QHash>
#include <QObject>
#include <QVector>

namespace VantorEngine {

/// Delivers callbacks on the engine's thread, those of a new guid not at once.
///
/// The host learns a guid from the return value of the call that made it and can only then expect callbacks for it.
/// The work begins immediately; what there is to tell in the first kHoldMs is kept back and delivered in order.
class CallbackOutbox : public QObject
{
    Q_OBJECT
public:
    explicit CallbackOutbox(CallbackTable& callbacks);

    /// Keeps callbacks of \a guid back from now on for \a holdMs. Does not prolong a hold.
    void hold(const QByteArray& guid, int holdMs = kHoldMs);
    /// Forgets what is kept back for \a guid; all guids when empty.
    void drop(const QByteArray& guid);

    void sendSingleTask(const QByteArray& groupGuid, const QByteArray& taskGuid, const QByteArray& data);
    void sendGroupTask(const QByteArray& guid, const QByteArray& data);
    void sendChunkTask(const QByteArray& guid, const QByteArray& data);

    static constexpr int kHoldMs = 30;

private:
    struct Message
    {
        enum class Kind { SingleTask, GroupTask, ChunkTask };
        Kind kind;
        QByteArray guid;
        QByteArray taskGuid;
        QByteArray data;
    };

    void send(const Message& message);
    void deliver(const Message& message);
    void flush(const QByteArray& guid);

    CallbackTable& m_callbacks;
    QHash<QByteArray, QVector<Message>> m_held;
};

} // namespace VantorEngine

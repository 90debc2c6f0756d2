// SPDX-License-Identifier: MIT
#include "CallbackOutbox.h"

#include <QTimer>

namespace VantorEngine {

CallbackOutbox::CallbackOutbox(CallbackTable& callbacks) : m_callbacks(callbacks)
{
}

void CallbackOutbox::hold(const QByteArray& guid, int holdMs)
{
    if (m_held.contains(guid)) {
        return;
    }
    m_held.insert(guid, {});
    QTimer::singleShot(holdMs, Qt::PreciseTimer, this, [this, guid] { flush(guid); });
}

void CallbackOutbox::drop(const QByteArray& guid)
{
    if (guid.isEmpty()) {
        m_held.clear();
    } else {
        m_held.remove(guid);
    }
}

void CallbackOutbox::sendSingleTask(const QByteArray& groupGuid, const QByteArray& taskGuid, const QByteArray& data)
{
    send({Message::Kind::SingleTask, groupGuid, taskGuid, data});
}

void CallbackOutbox::sendGroupTask(const QByteArray& guid, const QByteArray& data)
{
    send({Message::Kind::GroupTask, guid, {}, data});
}

void CallbackOutbox::sendChunkTask(const QByteArray& guid, const QByteArray& data)
{
    send({Message::Kind::ChunkTask, guid, {}, data});
}

void CallbackOutbox::send(const Message& message)
{
    const auto held = m_held.find(message.guid);
    if (held == m_held.end()) {
        deliver(message);
        return;
    }
    held->append(message);
}

void CallbackOutbox::deliver(const Message& message)
{
    switch (message.kind) {
    case Message::Kind::SingleTask:
        m_callbacks.callSingleTask(message.guid, message.taskGuid, message.data);
        break;
    case Message::Kind::GroupTask:
        m_callbacks.callGroupTask(message.guid, message.data);
        break;
    case Message::Kind::ChunkTask:
        m_callbacks.callChunkTask(message.guid, message.data);
        break;
    }
}

void CallbackOutbox::flush(const QByteArray& guid)
{
    const QVector<Message> messages = m_held.take(guid);
    for (const Message& message : messages) {
        deliver(message);
    }
}

} // namespace VantorEngine

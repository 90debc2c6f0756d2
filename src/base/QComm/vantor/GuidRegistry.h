// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QMap>
#include <QMutex>
#include <QMutexLocker>
#include <QSharedPointer>
#include <QString>

/// \file
/// Who listens to which guid of the engine. Internal: not installed.

/// \brief Maps the engine's guids to live tasks, and keeps callbacks that overtake their own registration.
///
/// A guid is known only once the engine has returned it, but the engine may call back on another thread
/// before that. While a registration is under way, callbacks for guids that nobody holds yet are therefore
/// put aside; the task gets them, in order, as soon as it is registered. At all other times such callbacks
/// are dropped.
///
/// All operations may be called on any thread; the mutex is never held outside this class.
template<typename Task, typename Callback>
class GuidRegistry
{
public:
    using TaskPointer = QSharedPointer<Task>;

    /// \brief Announces a registration, before the engine is called.
    void BeginRegistration()
    {
        const QMutexLocker locker(&m_mutex);
        ++m_registrations;
    }

    /// \brief Stores a task under the guid that the engine returned, replacing an earlier one.
    /// \return whether callbacks for it have been put aside: take them with TakeEarly()
    bool FinishRegistration(const QString& guid, const TaskPointer& task)
    {
        TaskPointer replaced; // dies after the mutex is free: it may be the last reference
        const QMutexLocker locker(&m_mutex);
        --m_registrations;
        replaced = m_tasks.take(guid);
        m_tasks.insert(guid, task);
        const bool early = m_early.contains(guid);
        if (m_registrations == 0)
            dropEarlyOfOthers();
        return early;
    }

    /// \brief The task under a guid; null when there is none.
    TaskPointer Find(const QString& guid) const
    {
        const QMutexLocker locker(&m_mutex);
        return m_tasks.value(guid);
    }

    /// \brief What a callback leads to: the task under its guid with all callbacks that it is due now, oldest
    /// first. No callbacks without a task.
    struct Delivery
    {
        TaskPointer task;
        QList<Callback> callbacks;
    };

    /// \brief Routes a callback. Without a task it is kept while a registration is under way, and dropped
    /// otherwise.
    Delivery Route(const QString& guid, const Callback& callback)
    {
        const QMutexLocker locker(&m_mutex);
        Delivery delivery{m_tasks.value(guid), {}};
        if (delivery.task)
            delivery.callbacks = m_early.take(guid) << callback;
        else if (m_registrations > 0)
            m_early[guid].append(callback);
        return delivery;
    }

    /// \brief The task under a guid with the callbacks put aside for it; they are handed out once.
    Delivery TakeEarly(const QString& guid)
    {
        const QMutexLocker locker(&m_mutex);
        // The task may have ended meanwhile, by a callback that came with the early ones. What was put aside after
        // that is late, not early.
        Delivery delivery{m_tasks.value(guid), m_early.take(guid)};
        if (!delivery.task)
            delivery.callbacks.clear();
        return delivery;
    }

    /// \brief Forgets a guid.
    void Remove(const QString& guid)
    {
        TaskPointer removed; // dies after the mutex is free: it may be the last reference
        const QMutexLocker locker(&m_mutex);
        removed = m_tasks.take(guid);
    }

    /// \brief Forgets a guid that still belongs to `task`; one that the engine has given to another task since
    /// then stays.
    void RemoveOf(const QString& guid, const TaskPointer& task)
    {
        const QMutexLocker locker(&m_mutex);
        const auto it = m_tasks.find(guid);
        if (it != m_tasks.end() && *it == task)
            m_tasks.erase(it); // not the last reference: the caller holds one
    }

private:
    void dropEarlyOfOthers()
    {
        for (auto it = m_early.begin(); it != m_early.end();) {
            if (m_tasks.contains(it.key()))
                ++it;
            else
                it = m_early.erase(it);
        }
    }

    mutable QMutex m_mutex;
    QMap<QString, TaskPointer> m_tasks;
    QMap<QString, QList<Callback>> m_early;
    int m_registrations = 0;
};

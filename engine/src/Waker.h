// SPDX-License-Identifier: MIT
#pragma once

#include <QCoreApplication>
#include <QEvent>
#include <QObject>

#include <functional>
#include <utility>

namespace VantorEngine {

/// Has a function called by the event loop of the thread it was made on. Nothing but the fact travels: what there is
/// to do lies in a queue of the owner's, under the owner's lock.
class Waker : public QObject
{
public:
    explicit Waker(std::function<void()> onWake) : m_onWake(std::move(onWake)) {}

    /// Any thread, while the object lives. Several calls may lead to as many calls of the function.
    void wake() { QCoreApplication::postEvent(this, new QEvent(QEvent::User)); }

protected:
    bool event(QEvent* event) override
    {
        if (event->type() != QEvent::User) {
            return QObject::event(event);
        }
        m_onWake();
        return true;
    }

private:
    const std::function<void()> m_onWake;
};

} // namespace VantorEngine

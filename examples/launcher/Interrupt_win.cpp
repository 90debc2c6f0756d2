// SPDX-License-Identifier: MIT
#include "Interrupt.h"

#include <QMutex>
#include <QMutexLocker>

#include <windows.h>

namespace {

QMutex mutex;
Interrupt* current = nullptr; // guarded by the mutex

// Called by the system on a thread of its own.
BOOL WINAPI onConsoleEvent(DWORD event)
{
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT)
        return FALSE;
    const QMutexLocker locker(&mutex);
    if (current)
        QMetaObject::invokeMethod(current, &Interrupt::requested, Qt::QueuedConnection);
    return TRUE;
}

} // namespace

Interrupt::Interrupt(QObject* parent) : QObject(parent)
{
    const QMutexLocker locker(&mutex);
    current = this;
    // Programs started with Ctrl-C switched off inherit that; this one wants to hear of it.
    SetConsoleCtrlHandler(nullptr, FALSE);
    SetConsoleCtrlHandler(onConsoleEvent, TRUE);
}

Interrupt::~Interrupt()
{
    SetConsoleCtrlHandler(onConsoleEvent, FALSE);
    const QMutexLocker locker(&mutex);
    current = nullptr;
}

void Interrupt::onWake()
{
    Q_EMIT requested();
}

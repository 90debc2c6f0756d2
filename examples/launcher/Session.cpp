// SPDX-License-Identifier: MIT
#include "Session.h"

#include "ExitCode.h"
#include "Interrupt.h"
#include "ProgressDisplay.h"

#include <QCoreApplication>

namespace {

constexpr int kMsPerSecond = 1000;

} // namespace

Session::Session(ProgressDisplay* display, QObject* parent) : QObject(parent), m_display(display)
{
}

int Session::run()
{
    const Interrupt interrupt;
    connect(&interrupt, &Interrupt::requested, this, &Session::interrupt);
    connect(this, &Session::ended, QCoreApplication::instance(), &QCoreApplication::exit, Qt::QueuedConnection);
    start();
    return QCoreApplication::exec();
}

void Session::end(int exitCode)
{
    if (m_state == State::Ended)
        return;
    m_state = State::Ended;
    m_display->clear();
    if (exitCode == ExitCode::kInterrupted)
        m_display->note(QStringLiteral("Stopped. The same command goes on where this one stopped."));
    Q_EMIT ended(exitCode);
}

QString Session::seconds(qint64 milliseconds)
{
    return QStringLiteral("%1 s").arg(static_cast<double>(milliseconds) / kMsPerSecond, 0, 'f', 1);
}

// SPDX-License-Identifier: MIT
#include "Session.h"

#include "ExitCode.h"
#include "Interrupt.h"
#include "ProgressDisplay.h"

#include <QCoreApplication>

namespace {

constexpr int kStopLimitMs = 5000;
constexpr int kMsPerSecond = 1000;

} // namespace

Session::Session(ProgressDisplay* display, QObject* parent)
    : QObject(parent), m_display(display), m_silence(this), m_stopLimit(this)
{
    m_silence.setSingleShot(true);
    m_stopLimit.setSingleShot(true);
    m_stopLimit.setTimerType(Qt::PreciseTimer); // the warning names the time
    m_stopLimit.setInterval(kStopLimitMs);
    connect(&m_silence, &QTimer::timeout, this, &Session::onSilence);
    connect(&m_stopLimit, &QTimer::timeout, this, &Session::onStopTimedOut);
}

int Session::run()
{
    const Interrupt interrupt;
    connect(&interrupt, &Interrupt::requested, this, &Session::interrupt);
    connect(this, &Session::ended, QCoreApplication::instance(), &QCoreApplication::exit, Qt::QueuedConnection);
    m_state = State::Running;
    start();
    return QCoreApplication::exec();
}

void Session::watchEngine(int patienceSeconds)
{
    m_watchesEngine = true;
    m_silence.start(patienceSeconds * kMsPerSecond);
}

void Session::noteSignOfLife()
{
    if (m_silence.isActive())
        m_silence.start();
}

void Session::interrupt()
{
    if (m_state == State::Running) {
        m_display->note(QStringLiteral("Stopping ..."));
        stop(ExitCode::kInterrupted);
    } else if (m_state == State::Stopping && m_watchesEngine) {
        end(ExitCode::kInterrupted);
    }
}

void Session::onSilence()
{
    if (m_state != State::Running)
        return;
    m_display->clear();
    m_display->error(
        QStringLiteral("error: the engine has reported nothing for %1").arg(seconds(m_silence.interval())));
    stop(ExitCode::kNoAnswer);
}

void Session::stop(int exitCode)
{
    m_state = State::Stopping;
    m_stopExitCode = exitCode;
    m_silence.stop();
    m_display->clear();
    if (m_watchesEngine)
        m_stopLimit.start();
    cancel();
}

void Session::onStopTimedOut()
{
    m_display->error(
        QStringLiteral("warning: the engine has not confirmed the stop within %1").arg(seconds(kStopLimitMs)));
    endStopped();
}

void Session::endStopped()
{
    end(m_stopExitCode);
}

void Session::end(int exitCode)
{
    if (m_state == State::Ended)
        return;
    m_state = State::Ended;
    m_silence.stop();
    m_stopLimit.stop();
    m_display->clear();
    if (exitCode == ExitCode::kInterrupted)
        m_display->note(QStringLiteral("Stopped. The same command goes on where this one stopped."));
    Q_EMIT ended(exitCode);
}

QString Session::seconds(qint64 milliseconds)
{
    return QStringLiteral("%1 s").arg(static_cast<double>(milliseconds) / kMsPerSecond, 0, 'f', 1);
}

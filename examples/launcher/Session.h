// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QString>
#include <QTimer>

class ProgressDisplay;

/// \brief One piece of work from its start to its end, whatever the end is.
///
/// \code
///   Idle ──start──> Running ──end──> Ended
///                      └──interrupt, silence──> Stopping ──end, second interrupt or 5 s later──> Ended
/// \endcode
///
/// The classes derived from it do the work, and say when it has ended. What is said here of silence, of a second
/// interrupt and of the 5 seconds is for an engine that is watched.
class Session : public QObject
{
    Q_OBJECT

public:
    /// \param display shows what happens; must outlive the session
    explicit Session(ProgressDisplay* display, QObject* parent = nullptr);

    /// \brief Starts, and waits in an event loop for the end. Ctrl-C interrupts.
    /// \return the exit code of the program, see ExitCode.h
    int run();

Q_SIGNALS:
    /// Emitted once; nothing is shown after it.
    void ended(int exitCode);

protected:
    enum class State { Idle, Running, Stopping, Ended };

    State state() const { return m_state; }
    ProgressDisplay& display() const { return *m_display; }

    /// \brief Begins with the work.
    virtual void start() = 0;
    /// \brief Asks whoever does the work to stop. May end the session at once.
    virtual void cancel() = 0;

    /// \brief From now on the session stops when the engine is silent for so long, and ends when the engine does not
    /// confirm a stop.
    void watchEngine(int patienceSeconds);
    /// \brief Takes down that the engine is not silent.
    void noteSignOfLife();

    /// \brief Ends the session after a stop, with the exit code that belongs to its reason.
    void endStopped();
    /// \brief Ends the session, unless that has happened.
    void end(int exitCode);
    static QString seconds(qint64 milliseconds);

private:
    void interrupt();
    void stop(int exitCode);
    void onSilence();
    void onStopTimedOut();

    ProgressDisplay* const m_display;
    State m_state = State::Idle;
    int m_stopExitCode = 0; // what a session that is stopping ends with
    bool m_watchesEngine = false;
    QTimer m_silence; // restarted by every sign of life of the engine
    QTimer m_stopLimit;
};

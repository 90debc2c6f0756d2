// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QString>

class ProgressDisplay;

/// \brief One piece of work from its start to its end, whatever the end is.
///
/// The classes derived from it say what leads from one state to the next. Ended is final.
class Session : public QObject
{
    Q_OBJECT

public:
    /// \param display shows what happens; must outlive the session
    explicit Session(ProgressDisplay* display, QObject* parent = nullptr);

    /// \brief Starts, and waits in an event loop for the end. Ctrl-C interrupts.
    /// \return the exit code of the program, see ExitCode.h
    int run();

    /// \brief Begins with the work.
    virtual void start() = 0;
    /// \brief Stops the work as the user wants it.
    virtual void interrupt() = 0;

Q_SIGNALS:
    /// Emitted once; nothing is shown after it.
    void ended(int exitCode);

protected:
    enum class State { Idle, Running, Stopping, Ended };

    State state() const { return m_state; }
    void setState(State state) { m_state = state; }
    ProgressDisplay& display() const { return *m_display; }

    /// \brief Ends the session, unless that has happened.
    void end(int exitCode);
    static QString seconds(qint64 milliseconds);

private:
    ProgressDisplay* const m_display;
    State m_state = State::Idle;
};

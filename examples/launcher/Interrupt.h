// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>

/// \brief Turns the user's wish to stop (Ctrl-C, or the system's request to end) into a signal.
///
/// Create one at a time, on the thread that runs the event loop. While it exists, Ctrl-C does not end the
/// process.
class Interrupt : public QObject
{
    Q_OBJECT

public:
    explicit Interrupt(QObject* parent = nullptr);
    /// \brief Gives Ctrl-C its ordinary meaning back.
    ~Interrupt() override;

Q_SIGNALS:
    /// The user wants to stop; emitted for every request.
    void requested();

private:
    void onWake();
};

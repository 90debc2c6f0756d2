// SPDX-License-Identifier: MIT
#pragma once

#include "ProgressText.h"

#include <QObject>
#include <QString>
#include <QTimer>

/// \brief Everything that a running command shows: one progress line and, above it, lines that stay.
///
/// On a terminal the progress line is drawn over in place, at most every 100 ms. Elsewhere it is a plain line,
/// at most once per second and only when it says something new.
class ProgressDisplay : public QObject
{
    Q_OBJECT

public:
    explicit ProgressDisplay(QObject* parent = nullptr);
    /// \brief Takes the progress line away.
    ~ProgressDisplay() override;

    /// \brief The newest state, shown when it is due.
    void show(const ProgressState& state);
    /// \brief Takes the progress line away until the next show(); a state that was not shown yet is dropped.
    void clear();
    /// \brief A line that stays, on the output stream.
    void note(const QString& text);
    /// \brief A line that stays, on the error stream.
    void error(const QString& text);

private:
    void onDue();
    void draw();
    void erase();

    const bool m_inPlace;
    QTimer m_pause; // runs while it is too early for the next drawing
    ProgressState m_state;
    bool m_pending = false; // m_state has not been drawn yet
    bool m_visible = false; // a progress line belongs on the screen
    int m_drawnColumns = 0; // of the line on the screen
    QString m_lastPlainLine;
};

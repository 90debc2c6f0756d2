// SPDX-License-Identifier: MIT
#pragma once

#include <QCoreApplication>
#include <QString>

/// \brief Where a download, or another long work, stands, as the progress line tells it.
struct ProgressState
{
    enum class Phase { Waiting, Downloading, Verifying, Working };

    Phase phase = Phase::Waiting;
    qint64 doneBytes = 0;  ///< of this phase
    qint64 totalBytes = 0; ///< 0 while unknown
    bool isInBytes = true; ///< otherwise the two only tell the share
    QString amountText;    ///< what is done of what, where that is not in bytes; may be empty
    QString speedText;     ///< with unit; empty while unknown
    QString timeText;      ///< remaining time, hh:mm:ss; empty while unknown
};

/// \brief The wording of the progress line, in the user's language.
class ProgressText
{
    Q_DECLARE_TR_FUNCTIONS(ProgressText)

public:
    /// \brief Everything there is to say.
    static QString full(const ProgressState& state);
    /// \brief The same in at most `columns` of a terminal: what matters least is left out first.
    static QString fitted(const ProgressState& state, int columns);
    /// \brief A speed in bytes per second with the translated units.
    static QString speed(qint64 bytesPerSecond);
    /// \brief A size with the translated units.
    static QString size(qint64 bytes);
    /// \brief A number of files for a summary, not translated: "1 file", "2 files".
    static QString files(int count);
};

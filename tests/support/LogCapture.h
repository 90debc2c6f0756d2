// SPDX-License-Identifier: MIT
#pragma once

#include "OrvelCommon/Testing.h"

#include <QString>
#include <QStringList>

#include <memory>
#include <mutex>
#include <vector>

/// \brief Collects the records of the common log while it lives. Any thread may log meanwhile.
class LogCapture
{
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// \brief The records so far, in order.
    std::vector<Orvel::Common::LogRecord> records() const;
    /// \brief Their texts; of one level when `level` is not negative.
    QStringList texts(int level = -1) const;
    /// \brief How many records of `level` have exactly this text.
    int count(int level, const QString& text) const;
    /// \brief Forgets what was collected.
    void clear();

private:
    struct State
    {
        mutable std::mutex mutex;
        std::vector<Orvel::Common::LogRecord> records;
    };
    std::shared_ptr<State> m_state;
};

// SPDX-License-Identifier: MIT
#pragma once

#include "QCommGlobal.h"

#include <QObject>

/// \brief A throttle: tells when enough time has passed for the next progress or speed report.
///
/// All times are milliseconds. Not thread-safe.
class QCOMM_EXPORT IntervalOperator : public QObject
{
    Q_OBJECT

public:
    /// \brief An interval of 100 ms whose first IsTimeout() is true.
    explicit IntervalOperator(QObject* parent = nullptr);
    ~IntervalOperator() override;

    /// \brief Sets the interval and starts it from now.
    void SetInterval(qint64 ms);
    /// \brief Starts the interval from now.
    void Reset();
    /// \brief Whether the interval has passed since it was last started; if so, it starts again.
    bool IsTimeout();

    /// \brief When the interval was last started, in milliseconds since the epoch; 0 before.
    qint64 GetLastTimeStamp() const { return m_lastTimeStamp; }
    /// \brief What the last IsTimeout() measured; 0 after SetInterval() and Reset().
    qint64 GetTimeCost() const { return m_timeCost; }

protected:
    /// \brief The clock: milliseconds since the epoch. Overridden by tests that have a clock of their own.
    virtual qint64 CurrentTimeMs() const;

private:
    qint64 m_interval = 100;
    qint64 m_lastTimeStamp = 0;
    qint64 m_timeCost = 0;
};

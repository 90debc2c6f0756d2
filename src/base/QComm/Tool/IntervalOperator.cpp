// SPDX-License-Identifier: MIT
#include "Tool/IntervalOperator.h"

#include <QDateTime>

IntervalOperator::IntervalOperator(QObject* parent) : QObject(parent)
{
}

IntervalOperator::~IntervalOperator() = default;

void IntervalOperator::SetInterval(qint64 ms)
{
    m_interval = ms;
    Reset();
}

void IntervalOperator::Reset()
{
    m_timeCost = 0;
    m_lastTimeStamp = CurrentTimeMs();
}

bool IntervalOperator::IsTimeout()
{
    m_timeCost = CurrentTimeMs() - m_lastTimeStamp;
    if (m_timeCost < m_interval)
        return false;
    m_lastTimeStamp = CurrentTimeMs();
    return true;
}

qint64 IntervalOperator::CurrentTimeMs() const
{
    return QDateTime::currentMSecsSinceEpoch();
}

// SPDX-License-Identifier: MIT
#include "LogCapture.h"

LogCapture::LogCapture() : m_state(std::make_shared<State>())
{
    Orvel::Common::SetLogSink([state = m_state](const Orvel::Common::LogRecord& record) {
        const std::lock_guard lock(state->mutex);
        state->records.push_back(record);
    });
}

LogCapture::~LogCapture()
{
    Orvel::Common::SetLogSink({});
}

std::vector<Orvel::Common::LogRecord> LogCapture::records() const
{
    const std::lock_guard lock(m_state->mutex);
    return m_state->records;
}

QStringList LogCapture::texts(int level) const
{
    QStringList texts;
    for (const auto& record : records()) {
        if (level < 0 || record.level == level)
            texts.append(QString::fromStdString(record.text));
    }
    return texts;
}

int LogCapture::count(int level, const QString& text) const
{
    return texts(level).count(text);
}

void LogCapture::clear()
{
    const std::lock_guard lock(m_state->mutex);
    m_state->records.clear();
}

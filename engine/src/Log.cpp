// SPDX-License-Identifier: MIT
#include "Log.h"

#include "CallbackTable.h"

#include <cstdio>

namespace VantorEngine {

namespace {

constexpr char kPrefix[] = "[vantor] ";
constexpr int kMessageStart = static_cast<int>(sizeof kPrefix) - 1;
constexpr int kStandardError = 1;

} // namespace

Log::Log(CallbackTable& callbacks) : m_callbacks(callbacks)
{
}

void Log::configure(int level, int destination)
{
    m_level = level;
    m_destination = destination;
}

void Log::write(Level level, const char* file, int line, const QString& message)
{
    if (level < m_level) {
        return;
    }
    const QByteArray text = kPrefix + message.toUtf8();
    if ((m_destination & kStandardError) != 0) {
        std::fprintf(stderr, "%s\n", text.constData());
    }
    m_callbacks.callLog(level, file, line, kMessageStart, text);
}

} // namespace VantorEngine

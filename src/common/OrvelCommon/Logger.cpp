// SPDX-License-Identifier: MIT
#include "OrvelCommon/Logger.h"

#include "OrvelCommon/Testing.h"

#include <cstdio>
#include <memory>
#include <mutex>
#include <sstream>

namespace Orvel::Common {

namespace {

constexpr int kLowestLevelOnStandardError = 3;

using Sink = std::function<void(const LogRecord&)>;

struct SinkState
{
    // Recursive, so that a sink may log or replace itself.
    std::recursive_mutex mutex;
    std::shared_ptr<const Sink> sink;
};

SinkState& sinkState()
{
    // Never destroyed: threads may still log while the process exits.
    static auto& state = *new SinkState;
    return state;
}

void writeToStandardError(const LogRecord& record)
{
    if (record.level >= kLowestLevelOnStandardError)
        std::fprintf(stderr, "%s\n", record.text.c_str());
}

void deliver(const LogRecord& record)
{
    SinkState& state = sinkState();
    const std::lock_guard lock(state.mutex);
    // The copy keeps the function alive when it replaces itself.
    const std::shared_ptr<const Sink> sink = state.sink;
    if (sink)
        (*sink)(record);
    else
        writeToStandardError(record);
}

} // namespace

void SetLogSink(Sink sink)
{
    SinkState& state = sinkState();
    const std::lock_guard lock(state.mutex);
    state.sink = sink ? std::make_shared<const Sink>(std::move(sink)) : nullptr;
}

LogStream& LogStream::operator<<(const char* text)
{
    if (text)
        m_text += text;
    return *this;
}

LogStream& LogStream::operator<<(const std::string& text)
{
    m_text += text;
    return *this;
}

LogStream& LogStream::operator<<(bool value)
{
    return *this << (value ? "true" : "false");
}

LogStream& LogStream::operator<<(char value)
{
    m_text += value;
    return *this;
}

LogStream& LogStream::operator<<(int value)
{
    return *this << std::to_string(value);
}

LogStream& LogStream::operator<<(unsigned int value)
{
    return *this << std::to_string(value);
}

LogStream& LogStream::operator<<(long value)
{
    return *this << std::to_string(value);
}

LogStream& LogStream::operator<<(unsigned long value)
{
    return *this << std::to_string(value);
}

LogStream& LogStream::operator<<(long long value)
{
    return *this << std::to_string(value);
}

LogStream& LogStream::operator<<(unsigned long long value)
{
    return *this << std::to_string(value);
}

LogStream& LogStream::operator<<(double value)
{
    std::ostringstream text;
    text << value;
    return *this << text.str();
}

LogStream& LogStream::operator<<(const void* value)
{
    std::ostringstream text;
    text << value;
    return *this << text.str();
}

Logger::Logger(const char* file, int line, const char* function, int level)
    : m_file(file), m_line(line), m_function(function), m_level(level)
{
}

Logger::~Logger()
{
    LogRecord record;
    record.file = m_file ? m_file : "";
    record.line = m_line;
    record.function = m_function ? m_function : "";
    record.level = m_level;
    record.text = m_stream.text();
    deliver(record);
}

} // namespace Orvel::Common

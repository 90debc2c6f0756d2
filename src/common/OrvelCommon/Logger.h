// SPDX-License-Identifier: MIT
#pragma once

#include "OrvelCommon/OrvelCommonExport.h"

#include <string>

namespace Orvel::Common {

/// \brief Collects the text of one log line.
///
/// Text is taken as UTF-8 and appended without separators; numbers are written in base 10, a bool as "true"
/// or "false", a pointer in hexadecimal. A null `const char*` adds nothing. Not thread-safe: a stream belongs
/// to the statement that writes the line.
class ORVELCOMMON_EXPORT LogStream
{
public:
    LogStream& operator<<(const char* text);         ///< UTF-8; null adds nothing
    LogStream& operator<<(const std::string& text);  ///< UTF-8
    LogStream& operator<<(bool value);               ///< "true" or "false"
    LogStream& operator<<(char value);               ///< the character itself
    LogStream& operator<<(int value);                ///< base 10
    LogStream& operator<<(unsigned int value);       ///< base 10
    LogStream& operator<<(long value);               ///< base 10
    LogStream& operator<<(unsigned long value);      ///< base 10
    LogStream& operator<<(long long value);          ///< base 10
    LogStream& operator<<(unsigned long long value); ///< base 10
    LogStream& operator<<(double value);             ///< as `%g` writes it
    LogStream& operator<<(const void* value);        ///< hexadecimal

    /// \brief The text collected so far.
    const std::string& text() const { return m_text; }

private:
    std::string m_text;
};

/// \brief One log line: text is streamed into it, and the record goes to the log when the object dies.
///
/// Levels rise with severity: 0 routine trace, 1 detail, 2 information, 3 warning, 4 error. A Logger may be
/// used on any thread; the log writes one record at a time.
class ORVELCOMMON_EXPORT Logger
{
public:
    /// \brief Begins a line.
    /// \param file     path of the source file, as text that outlives the object
    /// \param line     line number in that file, from 1
    /// \param function qualified function name such as "DownloadManager::SetTask", likewise
    /// \param level    0 to 4
    Logger(const char* file, int line, const char* function, int level);
    ~Logger();

    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    /// \brief Where the text of the line goes.
    LogStream& stream() { return m_stream; }

private:
    const char* m_file;
    int m_line;
    const char* m_function;
    int m_level;
    LogStream m_stream;
};

} // namespace Orvel::Common

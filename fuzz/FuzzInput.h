// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

/// \file
/// What the fuzz targets share: texts out of the fuzzer's bytes, and a check that ends the program.

/// \brief The bytes as UTF-8, one text for each line; what is missing is empty.
class FuzzInput
{
public:
    FuzzInput(const std::uint8_t* data, std::size_t size)
        : m_bytes(reinterpret_cast<const char*>(data), static_cast<int>(size))
    {
    }

    /// \brief The text up to the first line end, and what follows it.
    QString first() const { return QString::fromUtf8(m_bytes.left(lineEnd())); }
    QString rest() const { return QString::fromUtf8(m_bytes.mid(lineEnd() + 1)); }
    QString whole() const { return QString::fromUtf8(m_bytes); }

private:
    int lineEnd() const
    {
        const int end = m_bytes.indexOf('\n');
        return end < 0 ? m_bytes.size() : end;
    }

    const QByteArray m_bytes;
};

/// \brief Ends the program, so that the fuzzer keeps the input, when a promise does not hold.
inline void promise(bool holds, const char* what)
{
    if (holds)
        return;
    std::fprintf(stderr, "broken promise: %s\n", what);
    std::abort();
}

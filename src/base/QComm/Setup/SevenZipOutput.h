// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>

#include <cstdlib>
#include <limits>
#include <optional>

/// \file
/// What the texts of the 7-Zip program mean. Internal: not installed.

namespace SevenZipOutput {

/// \brief The first percentage in a chunk of output; nothing when there is no "%".
///
/// The number is looked for in the three characters before the sign; what is no number counts as 0. The program
/// right-aligns it in three columns, so nothing of another number gets in.
inline std::optional<int> FirstPercent(const QString& text)
{
    const int sign = text.indexOf(QLatin1Char('%'));
    if (sign < 0)
        return std::nullopt;
    // A negative position takes off the length: near the beginning it is fewer than three characters.
    return text.mid(sign - 3, 3).trimmed().toInt();
}

/// \brief `percent` of `bytes`, rounded toward zero; the nearest 64-bit number when it does not fit into one.
inline qint64 Share(int percent, qint64 bytes)
{
    using Limits = std::numeric_limits<qint64>;
    const bool isNegative = (percent < 0) != (bytes < 0);
    // Divided first, so that sizes beyond 80 PiB do not overflow. Both parts have the same sign, so their sum is
    // rounded as the whole would be.
    const qint64 hundredth = std::abs(bytes / 100);
    const qint64 factor = std::abs(qint64(percent));
    const qint64 rest = factor * std::abs(bytes % 100) / 100;
    if (factor != 0 && hundredth > (Limits::max() - rest) / factor)
        return isNegative ? Limits::min() : Limits::max();
    const qint64 share = factor * hundredth + rest;
    return isNegative ? -share : share;
}

/// \brief Lines as the program writes them on Windows, without empty ones.
inline QStringList Lines(const QString& text)
{
    return text.split(QStringLiteral("\r\n"), Qt::SkipEmptyParts);
}

inline QStringList Words(const QString& line)
{
    return line.trimmed().split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

/// \brief The version in what the program prints without arguments: the second word. Null without any output, empty
/// when the first line is one word.
inline QString Version(const QString& text)
{
    const QStringList lines = Lines(text);
    if (lines.isEmpty())
        return QString();
    const QStringList words = Words(lines.constFirst());
    return words.size() >= 2 ? words.at(1) : QLatin1String("");
}

/// \brief The unpacked size in a listing: the third word of its last line, the totals. 0 when there is none.
inline qint64 TotalSize(const QString& listing)
{
    const QStringList lines = Lines(listing);
    if (lines.isEmpty())
        return 0;
    const QStringList words = Words(lines.constLast());
    return words.size() >= 3 ? words.at(2).toLongLong() : 0;
}

} // namespace SevenZipOutput

// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

/// \file
/// How PcInfo reads what the operating system tells, apart from asking it. Internal: not installed.

namespace PcInfoTexts {

/// \brief Value of the first "name : value" line; empty when there is none.
inline QString FieldOf(const QByteArray& text, const char* name)
{
    const QList<QByteArray> lines = text.split('\n');
    for (const QByteArray& line : lines) {
        const int colon = line.indexOf(':');
        if (colon > 0 && line.left(colon).trimmed() == name)
            return QString::fromUtf8(line.mid(colon + 1).trimmed());
    }
    return QString();
}

/// \brief Number of a "name: 123 kB" line; 0 when there is none.
inline double KilobytesOf(const QByteArray& text, const char* name)
{
    return FieldOf(text, name).section(QLatin1Char(' '), 0, 0).toDouble();
}

/// \brief Whether a machine with this BatteryFlag of Windows' power status counts as a notebook.
///
/// 128 says that there is no battery. Intended: 255, an unknown state, counts as none as well.
inline bool IsNoteBookFlag(int batteryFlag)
{
    constexpr int kNoSystemBattery = 128;
    constexpr int kUnknown = 255;
    return batteryFlag != kNoSystemBattery && batteryFlag != kUnknown;
}

} // namespace PcInfoTexts

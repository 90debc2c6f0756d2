// SPDX-License-Identifier: MIT
#include "Network/LocalFileName.h"

#include <QStringList>

#include <algorithm>

namespace {

bool isSeparator(QChar c)
{
    return c == QLatin1Char('/') || c == QLatin1Char('\\');
}

bool isControl(QChar c)
{
    return c.unicode() < 0x20;
}

// Windows drops dots and blanks at the end of a name, so ".. " names the parent folder too.
bool isOnlyDotsAndBlanks(const QString& name)
{
    return std::all_of(name.cbegin(), name.cend(),
                       [](QChar c) { return c == QLatin1Char('.') || c == QLatin1Char(' '); });
}

// "COM1", "LPT9": the digit may also be a superscript 1, 2 or 3.
bool isNumberedDevice(const QString& stem)
{
    if (stem.size() != 4 || !(stem.startsWith(QLatin1String("COM")) || stem.startsWith(QLatin1String("LPT"))))
        return false;
    const ushort digit = stem.at(3).unicode();
    return (digit >= '0' && digit <= '9') || digit == 0xB9 || digit == 0xB2 || digit == 0xB3;
}

// A device keeps its meaning with any extension and with blanks before that: "nul.txt", "NUL .txt".
bool isDevice(const QString& name)
{
    static const QStringList devices{QStringLiteral("CON"),   QStringLiteral("PRN"),    QStringLiteral("AUX"),
                                     QStringLiteral("NUL"),   QStringLiteral("CONIN$"), QStringLiteral("CONOUT$"),
                                     QStringLiteral("CLOCK$")};
    const QString stem = name.section(QLatin1Char('.'), 0, 0).trimmed().toUpper();
    return devices.contains(stem) || isNumberedDevice(stem);
}

} // namespace

QString LocalFileName::WhyUnsafe(const QString& name)
{
    if (name.isEmpty())
        return QString();
    if (std::any_of(name.cbegin(), name.cend(), isSeparator))
        return QStringLiteral("it contains a folder separator");
    if (name.contains(QLatin1Char(':')))
        return QStringLiteral("it contains a colon");
    if (std::any_of(name.cbegin(), name.cend(), isControl))
        return QStringLiteral("it contains a control character");
    if (isOnlyDotsAndBlanks(name))
        return QStringLiteral("it names a folder");
    if (isDevice(name))
        return QStringLiteral("it names a device");
    return QString();
}

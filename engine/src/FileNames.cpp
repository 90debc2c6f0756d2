// SPDX-License-Identifier: MIT
#include "FileNames.h"

#include <QDir>

#include <algorithm>

namespace VantorEngine {

namespace {

bool isForbidden(QChar character)
{
    return character == QLatin1Char('/') || character == QLatin1Char('\\') || character == QLatin1Char(':') ||
           character.unicode() < 0x20;
}

/// COM and LPT take the digits 1 to 9 and their superscript forms.
bool isPortDigit(QChar digit)
{
    return (digit >= QLatin1Char('1') && digit <= QLatin1Char('9')) || digit == QChar(0xB9) || digit == QChar(0xB2) ||
           digit == QChar(0xB3);
}

bool isDeviceName(const QString& name)
{
    // The device is found by the text before the first dot, trailing blanks left out.
    QString base = name.section(QLatin1Char('.'), 0, 0).toUpper();
    while (base.endsWith(QLatin1Char(' '))) {
        base.chop(1);
    }
    for (const char* device : {"CON", "PRN", "AUX", "NUL", "CONIN$", "CONOUT$"}) {
        if (base == QLatin1String(device)) {
            return true;
        }
    }
    const bool port = base.startsWith(QLatin1String("COM")) || base.startsWith(QLatin1String("LPT"));
    return port && base.size() == 4 && isPortDigit(base.at(3));
}

} // namespace

QString nameProblem(const QString& name, NameRules rules, int suffix)
{
    if (name.isEmpty()) {
        return QStringLiteral("the file has no name");
    }
    if (name == QLatin1String(".") || name == QLatin1String("..") ||
        std::any_of(name.cbegin(), name.cend(), isForbidden)) {
        return QStringLiteral("the file name could leave its folder");
    }
    const int length = rules == NameRules::Portable ? name.toUtf8().size() : name.size();
    if (length > kLongestName - suffix) {
        return QStringLiteral("the file name is too long");
    }
    if (rules == NameRules::Portable) {
        return {};
    }
    if (name.endsWith(QLatin1Char('.')) || name.endsWith(QLatin1Char(' '))) {
        return QStringLiteral("the file name ends in a dot or a blank");
    }
    return isDeviceName(name) ? QStringLiteral("the file name is a device") : QString();
}

QString pathKey(const QString& absolutePath, NameRules rules)
{
    const QString clean = QDir::cleanPath(absolutePath);
    return rules == NameRules::Windows ? clean.toCaseFolded() : clean;
}

} // namespace VantorEngine

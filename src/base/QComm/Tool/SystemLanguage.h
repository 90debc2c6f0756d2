// SPDX-License-Identifier: MIT
#pragma once

#include "QCommGlobal.h"

#include <QLocale>

/// \file
/// The language of the user's system as Windows numbers languages, on every platform. Internal: not installed.

namespace SystemLanguage {

/// \brief Identifier of no known language.
constexpr quint16 kUnknown = 0;
/// \brief Chinese (Taiwan).
constexpr quint16 kTaiwan = 0x0404;
/// \brief The bits that hold the language, without its region.
constexpr quint16 kPrimaryMask = 0x03FF;

/// \brief A source of identifiers.
using Probe = quint16 (*)();

/// \brief The language identifier of the user interface.
quint16 Identifier();

/// \brief What Identifier() answers from now on; nullptr for the system's own answer again. For tests.
QCOMM_EXPORT void SetProbe(Probe probe);

/// \brief Asks the system. One for each platform.
quint16 ReadIdentifier();

/// \brief The identifier of a locale's language; kUnknown for languages that no launcher text is in. The region
/// is told for Chinese only, where it matters.
inline quint16 IdentifierOf(const QLocale& locale)
{
    switch (locale.language()) {
    case QLocale::Chinese:
        if (locale.country() == QLocale::Taiwan)
            return kTaiwan;
        if (locale.country() == QLocale::HongKong)
            return 0x0C04;
        if (locale.country() == QLocale::Macau)
            return 0x1404;
        return locale.country() == QLocale::Singapore ? 0x1004 : 0x0804;
    case QLocale::German:
        return 0x0407;
    case QLocale::English:
        return 0x0409;
    case QLocale::Spanish:
        return 0x040A;
    case QLocale::French:
        return 0x040C;
    case QLocale::Italian:
        return 0x0410;
    case QLocale::Japanese:
        return 0x0411;
    case QLocale::Korean:
        return 0x0412;
    case QLocale::Portuguese:
        return 0x0416;
    case QLocale::Russian:
        return 0x0419;
    case QLocale::Thai:
        return 0x041E;
    case QLocale::Turkish:
        return 0x041F;
    case QLocale::Indonesian:
        return 0x0421;
    case QLocale::Vietnamese:
        return 0x042A;
    default:
        return kUnknown;
    }
}

} // namespace SystemLanguage

// SPDX-License-Identifier: MIT
#include "Tool/SystemLanguage.h"

#include <QStringList>

quint16 SystemLanguage::ReadIdentifier()
{
    // The first language that the user wants to read, which need not be that of dates and numbers.
    return IdentifierOf(QLocale(QLocale::system().uiLanguages().value(0)));
}

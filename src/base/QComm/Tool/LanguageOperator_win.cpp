// SPDX-License-Identifier: MIT
#include "Tool/SystemLanguage.h"

#include <windows.h>

quint16 SystemLanguage::ReadIdentifier()
{
    return GetUserDefaultUILanguage();
}

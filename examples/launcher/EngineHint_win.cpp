// SPDX-License-Identifier: MIT
#include "EngineHint.h"

QString engineHint()
{
    return QStringLiteral("The engine is vantor.dll. Put it beside launcher.exe, or its folder on the path:\n"
                          "  set PATH=FOLDER;%PATH%");
}

// SPDX-License-Identifier: MIT
#include "EngineHint.h"

QString engineHint()
{
    return QStringLiteral("The engine is libvantor.so. Put its folder on the library search path:\n"
                          "  LD_LIBRARY_PATH=FOLDER launcher download ...");
}

// SPDX-License-Identifier: MIT
// Input: a path.
#include "FuzzInput.h"
#include "Tool/StringOperator.h"

#include <QFileInfo>

#include <algorithm>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QString path = FuzzInput(data, size).whole();
    const bool isValid = StringOperator::IsValidPath(path);
    if (path.isEmpty()) {
        promise(!isValid, "an empty path is not valid");
        return 0;
    }
    if (QFileInfo::exists(path)) {
        promise(isValid, "what exists is valid");
        return 0;
    }
    const int colon = path.indexOf(QLatin1Char(':'));
    promise(!isValid || colon >= 1, "a drive is needed");
    const QString forbidden = QStringLiteral("\uFF1F*><|:\"");
    promise(!isValid || std::none_of(path.cbegin() + colon + 1, path.cend(),
                                     [&forbidden](QChar character) { return forbidden.contains(character); }),
            "no forbidden character");
    return 0;
}

// SPDX-License-Identifier: MIT
// Input: a path and the fixed name, one a line.
#include "FuzzInput.h"
#include "Tool/StringOperator.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const FuzzInput input(data, size);
    const QString path = input.first();
    const QString name = input.rest();
    const QString result = StringOperator::AppendFixedPath(path, name);
    const QString bare = StringOperator::AppendFixedPath(path, QString());
    promise(!bare.contains(QLatin1Char('\\')), "no backslash survives");
    promise(result == bare || result == bare + QLatin1Char('/') + name, "nothing else is changed");
    promise(name.isEmpty() ? result == bare : result.endsWith(name, Qt::CaseInsensitive) || result == bare,
            "ends in the fixed name");
    const bool isFolderName = !name.contains(QLatin1Char('/')) && !name.contains(QLatin1Char('\\'));
    if (isFolderName && !name.isEmpty())
        promise(StringOperator::AppendFixedPath(result, name) == result, "is appended once only");
    return 0;
}

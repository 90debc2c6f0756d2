// SPDX-License-Identifier: MIT
// Input: two version numbers, one a line.
#include "FuzzInput.h"
#include "Tool/StringOperator.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const FuzzInput input(data, size);
    const QString a = input.first();
    const QString b = input.rest();
    const int result = StringOperator::VersionCompare(a, b);
    const int reversed = StringOperator::VersionCompare(b, a);
    promise(result >= -2 && result <= 2, "a known result");
    promise(StringOperator::VersionCompare(a, a) == 0, "a version is the same as itself");
    promise((result == 2) == (a.isEmpty() && !b.isEmpty()), "2 for an empty first version only");
    promise(a.isEmpty() || b.isEmpty() || (result == -2) == (reversed == -2), "no number either way round");
    promise(result == -2 || result == 2 || reversed == -result, "the other sign the other way round");
    return 0;
}

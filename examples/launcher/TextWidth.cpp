// SPDX-License-Identifier: MIT
#include "TextWidth.h"

#include <QChar>
#include <QVector>

#include <algorithm>
#include <array>

namespace {

struct Range
{
    uint first;
    uint last;
};

// The blocks of characters that terminals draw two columns wide.
constexpr std::array<Range, 14> kWideRanges{{
    {0x1100, 0x115F},   // Hangul initials
    {0x2E80, 0x303E},   // CJK radicals and punctuation
    {0x3041, 0x33FF},   // kana, CJK compatibility
    {0x3400, 0x4DBF},   // CJK extension A
    {0x4E00, 0x9FFF},   // CJK
    {0xA000, 0xA4CF},   // Yi
    {0xA960, 0xA97F},   // Hangul initials, extended
    {0xAC00, 0xD7A3},   // Hangul
    {0xF900, 0xFAFF},   // CJK compatibility
    {0xFE30, 0xFE6F},   // CJK compatibility forms
    {0xFF00, 0xFF60},   // full-width forms
    {0xFFE0, 0xFFE6},   // full-width signs
    {0x1F300, 0x1FAFF}, // pictographs
    {0x20000, 0x3FFFD}, // CJK, supplementary planes
}};

int widthOf(uint character)
{
    switch (QChar::category(character)) {
    case QChar::Mark_NonSpacing:
    case QChar::Mark_Enclosing:
    case QChar::Other_Format:
        return 0;
    default:
        break;
    }
    const bool wide = std::any_of(kWideRanges.cbegin(), kWideRanges.cend(), [character](const Range& range) {
        return character >= range.first && character <= range.last;
    });
    return wide ? 2 : 1;
}

} // namespace

int TextWidth::columnsOf(const QString& text)
{
    int columns = 0;
    const QVector<uint> characters = text.toUcs4();
    for (const uint character : characters)
        columns += widthOf(character);
    return columns;
}

QString TextWidth::cutTo(const QString& text, int columns)
{
    QString result;
    const QVector<uint> characters = text.toUcs4();
    for (const uint character : characters) {
        columns -= widthOf(character);
        if (columns < 0)
            break;
        result += QString::fromUcs4(&character, 1);
    }
    return result;
}

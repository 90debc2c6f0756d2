// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>
#include <QVector>
#include <QtTest>

#include <functional>
#include <limits>

/// \file
/// One table of JSON values, good and bad, and what a field of each kind reads from them.

namespace JsonRows {

/// \brief How a field reads its value.
enum class Kind {
    Text,
    Flag,
    Int32,   ///< signed 32-bit
    UInt64,  ///< unsigned 64-bit
    Counter, ///< signed 64-bit, from decimal text
};

/// \brief A JSON value and what is read from it.
struct Value
{
    const char* name;
    const char* json; ///< null: the key is missing
    QString text;
    bool flag;
    qint32 int32;
    quint64 uint64;
    qint64 counter;

    QVariant read(Kind kind) const
    {
        switch (kind) {
        case Kind::Text:
            return text;
        case Kind::Flag:
            return flag;
        case Kind::Int32:
            return int32;
        case Kind::UInt64:
            return uint64;
        case Kind::Counter:
            return counter;
        }
        return QVariant();
    }

    /// \brief An object with this value under the key.
    QByteArray object(const char* key) const { return "{" + member(key) + "}"; }
    /// \brief The member of an object; empty when it is missing.
    QByteArray member(const char* key) const { return json ? QByteArray("\"") + key + "\": " + json : QByteArray(); }
};

constexpr qint32 kMost32 = std::numeric_limits<qint32>::max();
constexpr qint32 kLeast32 = std::numeric_limits<qint32>::min();
constexpr qint64 kMost64 = std::numeric_limits<qint64>::max();
constexpr qint64 kLeast64 = std::numeric_limits<qint64>::min();
constexpr quint64 kMostUnsigned = std::numeric_limits<quint64>::max();

inline QVector<Value> values()
{
    const auto s = [](const char* text) { return QString::fromUtf8(text); };
    return {
        {"missing", nullptr, s(""), false, 0, 0, 0},
        {"null", "null", s(""), false, 0, 0, 0},
        {"text", "\"abc\"", s("abc"), true, 0, 0, 0},
        {"empty text", "\"\"", s(""), false, 0, 0, 0},
        {"text that is not ASCII", "\"\xE6\xB8\xB8 \\u00e4\"", s("\xE6\xB8\xB8 \xC3\xA4"), true, 0, 0, 0},
        {"text true", "\"true\"", s("true"), true, 0, 0, 0},
        {"text false", "\"false\"", s("false"), false, 0, 0, 0},
        {"text 0", "\"0\"", s("0"), false, 0, 0, 0},
        {"text 42", "\"42\"", s("42"), true, 42, 42, 42},
        {"text -7", "\"-7\"", s("-7"), true, -7, 0, -7},
        {"text 123456789012", "\"123456789012\"", s("123456789012"), true, kMost32, 123456789012, 123456789012},
        {"text 2^63 - 1", "\"9223372036854775807\"", s("9223372036854775807"), true, kMost32, quint64(kMost64),
         kMost64},
        {"text -2^63", "\"-9223372036854775808\"", s("-9223372036854775808"), true, kLeast32, 0, kLeast64},
        {"text 2^63", "\"9223372036854775808\"", s("9223372036854775808"), true, 0, 9223372036854775808ULL, 0},
        {"text 2^64", "\"18446744073709551616\"", s("18446744073709551616"), true, 0, 0, 0},
        {"text with a fraction", "\"1.5\"", s("1.5"), true, 0, 0, 0},
        {"text with an exponent", "\"1e3\"", s("1e3"), true, 0, 0, 0},
        {"text in hexadecimal", "\"0x10\"", s("0x10"), true, 0, 0, 0},
        {"text with more behind the digits", "\"12 MB\"", s("12 MB"), true, 0, 0, 0},
        {"true", "true", s("true"), true, 1, 1, 0},
        {"false", "false", s("false"), false, 0, 0, 0},
        {"0", "0", s("0"), false, 0, 0, 0},
        {"1", "1", s("1"), true, 1, 1, 1},
        {"-1", "-1", s("-1"), true, -1, 0, -1},
        {"fraction", "2.5", s("2.5"), true, 3, 3, 0},
        {"small fraction", "0.25", s("0.25"), true, 0, 0, 0},
        {"negative fraction", "-2.75", s("-2.75"), true, -3, 0, 0},
        {"2^31 - 1", "2147483647", s("2147483647"), true, kMost32, 2147483647, 2147483647},
        {"2^31 - 0.5", "2147483647.5", s("2147483647.5"), true, kMost32, 2147483648, 0},
        {"2^31", "2147483648", s("2147483648"), true, kMost32, 2147483648, 2147483648},
        {"-2^31", "-2147483648", s("-2147483648"), true, kLeast32, 0, kLeast32},
        {"-2^31 - 1", "-2147483649", s("-2147483649"), true, kLeast32, 0, -2147483649},
        {"-2^31 - 0.5", "-2147483648.5", s("-2147483648.5"), true, kLeast32, 0, 0},
        {"2^53 + 1", "9007199254740993", s("9007199254740993"), true, kMost32, 9007199254740993, 9007199254740993},
        {"2^63 - 1", "9223372036854775807", s("9223372036854775807"), true, kMost32, quint64(kMost64), kMost64},
        {"-2^63", "-9223372036854775808", s("-9223372036854775808"), true, kLeast32, 0, kLeast64},
        {"2^63", "9223372036854775808", s("9223372036854776000"), true, kMost32, 9223372036854775808ULL, 0},
        {"2^64", "18446744073709551616", s("18446744073709552000"), true, kMost32, kMostUnsigned, 0},
        {"1e300", "1e300", s("1e+300"), true, kMost32, kMostUnsigned, 0},
        {"-1e300", "-1e300", s("-1e+300"), true, kLeast32, 0, 0},
        {"array", "[1, \"two\"]", s(""), false, 0, 0, 0},
        {"empty array", "[]", s(""), false, 0, 0, 0},
        {"object", "{\"a\": 1}", s(""), false, 0, 0, 0},
        {"empty object", "{}", s(""), false, 0, 0, 0},
    };
}

/// \brief A field of a record: its JSON key and how it is read and what it holds.
template<typename Record>
struct Field
{
    const char* key;
    Kind kind;
    std::function<QVariant(const Record&)> get;
};

/// \brief Columns "field" and "value" (indices), a row for every field with every value.
template<typename Record>
void addRows(const QVector<Field<Record>>& fields)
{
    QTest::addColumn<int>("field");
    QTest::addColumn<int>("value");
    const QVector<Value> all = values();
    for (int field = 0; field < fields.size(); ++field) {
        for (int value = 0; value < all.size(); ++value)
            QTest::addRow("%s: %s", fields.at(field).key, all.at(value).name) << field << value;
    }
}

using NamedTexts = QVector<QPair<const char*, QByteArray>>;

/// \brief Column "text", a row for every text.
inline void addTexts(const NamedTexts& texts)
{
    QTest::addColumn<QByteArray>("text");
    for (const auto& text : texts)
        QTest::newRow(text.first) << text.second;
}

/// \brief Texts that are no JSON document.
inline NamedTexts notJson()
{
    return {
        {"empty", QByteArray()},
        {"blanks", QByteArray("  \n\t ")},
        {"a word", QByteArray("hello")},
        {"a number alone", QByteArray("42")},
        {"a text alone", QByteArray("\"status\"")},
        {"null alone", QByteArray("null")},
        {"truncated object", QByteArray("{\"status\": \"Success\", \"guid\": \"g")},
        {"truncated behind a comma", QByteArray("{\"status\": \"Success\",")},
        {"more behind the object", QByteArray("{\"status\": \"Success\"} x")},
        {"key without quotes", QByteArray("{status: \"Success\"}")},
        {"comma at the end", QByteArray("{\"status\": \"Success\",}")},
        {"text that is not UTF-8", QByteArray("{\"status\": \"\xC3\x28\"}")},
        {"NUL byte", QByteArray("{\0}", 3)},
        {"nested too deeply", QByteArray(100000, '[') + QByteArray(100000, ']')},
        {"50 MB of brackets", QByteArray(50 * 1024 * 1024, '[')},
        {"50 MB of zeros", QByteArray(50 * 1024 * 1024, '\0')},
        {"50 MB truncated", QByteArray("{\"status\": \"") + QByteArray(50 * 1024 * 1024, 'x')},
    };
}

/// \brief JSON documents that are no objects.
inline NamedTexts notObjects()
{
    return {
        {"empty array", QByteArray("[]")},
        {"array of an object", QByteArray("[{\"status\": \"Success\", \"guid\": \"g\", \"action\": \"fetch_size\"}]")},
        {"array of numbers", QByteArray("[1, 2]")},
    };
}

} // namespace JsonRows

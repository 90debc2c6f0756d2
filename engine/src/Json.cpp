// SPDX-License-Identifier: MIT
#include "Json.h"

namespace VantorEngine {

namespace {

constexpr char kHexDigits[] = "0123456789abcdef";

void appendEscaped(QByteArray& out, char character)
{
    const auto code = static_cast<unsigned char>(character);
    if (character == '"' || character == '\\') {
        out.append('\\').append(character);
    } else if (code < 0x20) {
        out.append("\\u00").append(kHexDigits[code >> 4]).append(kHexDigits[code & 15]);
    } else {
        out.append(character);
    }
}

} // namespace

void appendJsonString(QByteArray& out, const QString& text)
{
    out.append('"');
    const QByteArray utf8 = text.toUtf8();
    for (const char character : utf8) {
        appendEscaped(out, character);
    }
    out.append('"');
}

void appendJsonKey(QByteArray& out, const char* key)
{
    if (!out.isEmpty() && !out.endsWith('{') && !out.endsWith('[')) {
        out.append(',');
    }
    out.append('"').append(key).append("\":");
}

void appendJsonMember(QByteArray& out, const char* key, const QString& value)
{
    appendJsonKey(out, key);
    appendJsonString(out, value);
}

void appendJsonMember(QByteArray& out, const char* key, const char* value)
{
    appendJsonKey(out, key);
    out.append('"').append(value).append('"');
}

void appendJsonMember(QByteArray& out, const char* key, qint64 value)
{
    appendJsonKey(out, key);
    out.append(QByteArray::number(value));
}

void appendJsonMember(QByteArray& out, const char* key, bool value)
{
    appendJsonKey(out, key);
    out.append(value ? "true" : "false");
}

} // namespace VantorEngine

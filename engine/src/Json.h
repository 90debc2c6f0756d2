// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

namespace VantorEngine {

/// Appends text as a JSON string, quotes included.
/// The callback texts are written straight into one buffer: a group of 10,000 files is reported many times, and a
/// document tree per report would cost more than the download of small files.
void appendJsonString(QByteArray& out, const QString& text);

/// Appends `,"key":` (the comma only after another member).
void appendJsonKey(QByteArray& out, const char* key);

void appendJsonMember(QByteArray& out, const char* key, const QString& value);
void appendJsonMember(QByteArray& out, const char* key, const char* value);
void appendJsonMember(QByteArray& out, const char* key, qint64 value);
void appendJsonMember(QByteArray& out, const char* key, bool value);

} // namespace VantorEngine

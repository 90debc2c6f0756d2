// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QString>

/// \file
/// The engine's callback texts, as tests write them.

namespace EngineTexts {

/// \brief A file object with "guid", "status" and "url", and the members of `more` beside or in place of these.
QJsonObject File(const QString& guid, const QString& status, const QJsonObject& more = {});

/// \brief An error object: "error_code", "internal_error_code" and "message".
QJsonObject ErrorDetail(int code, int internalCode, const QString& message);

/// \brief The data of a group callback.
QByteArray Group(const QString& guid, const QString& status, const QList<QJsonObject>& files);

/// \brief An object as compact text.
QByteArray Text(const QJsonObject& object);

/// \brief A chunk response with "action", "status" and "completed", and the members of `more`.
QByteArray Chunk(const QString& action, const QString& status, bool completed, const QJsonObject& more = {});

} // namespace EngineTexts

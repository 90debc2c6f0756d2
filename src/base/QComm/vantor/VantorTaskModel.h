// SPDX-License-Identifier: MIT
#pragma once

#include "QCommGlobal.h"

#include <QByteArray>
#include <QJsonObject>
#include <QMetaType>
#include <QString>

/// \brief What every callback text of the chunk engine carries: a state and a guid.
///
/// A value class, used by one thread at a time. Reading is lenient: a missing key, or one of the wrong type,
/// leaves its field empty, false or 0, and an earlier value is never kept unless a field says so.
class QCOMM_EXPORT VantorTaskModel
{
public:
    VantorTaskModel();
    VantorTaskModel(const VantorTaskModel& other);
    VantorTaskModel(VantorTaskModel&& other) noexcept;
    VantorTaskModel& operator=(const VantorTaskModel& other);
    VantorTaskModel& operator=(VantorTaskModel&& other) noexcept;
    virtual ~VantorTaskModel();

    /// \brief Fills the fields from a callback text.
    /// \param json UTF-8 JSON object. Text that is not JSON changes nothing; any other JSON reads as an empty
    /// object.
    virtual void Parse(const QByteArray& json);

    QString status;     ///< state name as the engine spells it; key "status"
    QString guid;       ///< the engine's guid of the file or group; key "guid"
    bool valid = false; ///< true once a text was parsed as JSON
    QByteArray raw;     ///< the last parsed text, verbatim

protected:
    /// \brief Fills the fields of this class from an object whose text is `json`.
    void ReadTask(const QJsonObject& object, const QByteArray& json);
};

Q_DECLARE_METATYPE(VantorTaskModel)

// SPDX-License-Identifier: MIT
#pragma once

#include "vantor/SingleTaskErrorModel.h"

#include <QVector>

/// \brief One group with all its files, as the chunk engine reports it.
class QCOMM_EXPORT GroupTaskModel : public VantorTaskModel
{
public:
    GroupTaskModel();
    GroupTaskModel(const GroupTaskModel& other);
    GroupTaskModel(GroupTaskModel&& other) noexcept;
    GroupTaskModel& operator=(const GroupTaskModel& other);
    GroupTaskModel& operator=(GroupTaskModel&& other) noexcept;
    ~GroupTaskModel() override;

    /// \brief Fills the fields from a group object; bad input as VantorTaskModel::Parse().
    ///
    /// A text without files ("download_items" absent or empty) updates only the state and the guid: `items`,
    /// `finished` and `error` stay as they were.
    void Parse(const QByteArray& json) override;

    QVector<SingleTaskModel> items; ///< the files, in the order in which the engine lists them
    /// \brief Detail of the first file that is completed and failed, in a group that failed. Until then code
    /// 6099, "unknown error" and everything else empty: what a failed group reports when no file says why.
    SingleTaskErrorModel error;
    bool finished = false; ///< the group ended: "Failed", "Success", "Cancelled" or "Duplicated"
};

Q_DECLARE_METATYPE(GroupTaskModel)

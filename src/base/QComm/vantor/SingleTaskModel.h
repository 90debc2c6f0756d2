// SPDX-License-Identifier: MIT
#pragma once

#include "vantor/VantorTaskModel.h"

/// \brief One file of a group, as the chunk engine reports it.
///
/// Each field bears the name of its JSON key. Counts are bytes, speeds bytes per second.
class QCOMM_EXPORT SingleTaskModel : public VantorTaskModel
{
public:
    SingleTaskModel();
    SingleTaskModel(const SingleTaskModel& other);
    SingleTaskModel(SingleTaskModel&& other) noexcept;
    SingleTaskModel& operator=(const SingleTaskModel& other);
    SingleTaskModel& operator=(SingleTaskModel&& other) noexcept;
    ~SingleTaskModel() override;

    /// \brief Fills the fields from a file object; bad input as VantorTaskModel::Parse().
    void Parse(const QByteArray& json) override;

    QString remote_address; ///< address of the server used
    /// \brief Server name chain as "[one,two]", from the text elements of an array. Kept as it was when the
    /// key is absent or holds no text.
    QString canonical_name;
    QString url;                     ///< source URL
    bool completed = false;          ///< the file has reached an end state
    quint64 existing_byte_count = 0; ///< bytes already on disk before this run
    quint64 written_byte_count = 0;  ///< bytes written in this run
    quint64 size = 0;                ///< file size
    QString group_guid;              ///< guid of the owning group
    qint32 current_retry_times = 0;  ///< retries so far
    quint64 verified_byte_count = 0; ///< bytes verified
    quint64 verified_speed_byte = 0; ///< verification speed
    quint64 bandwidth_byte = 0;      ///< download speed
    QString pcdn_alias;              ///< name of the peer-assisted delivery node
    bool using_pcdn = false;         ///< peer-assisted delivery is in use

protected:
    /// \brief Fills the fields of this class and its base from a file object whose text is `json`.
    void ReadFile(const QJsonObject& object, const QByteArray& json);

    friend class GroupTaskModel;
};

Q_DECLARE_METATYPE(SingleTaskModel)

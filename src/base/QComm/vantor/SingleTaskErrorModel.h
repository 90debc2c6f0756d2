// SPDX-License-Identifier: MIT
#pragma once

#include "vantor/SingleTaskModel.h"

/// \brief One file of a group with the detail of its failure, if it has failed.
class QCOMM_EXPORT SingleTaskErrorModel : public SingleTaskModel
{
public:
    SingleTaskErrorModel();
    SingleTaskErrorModel(const SingleTaskErrorModel& other);
    SingleTaskErrorModel(SingleTaskErrorModel&& other) noexcept;
    SingleTaskErrorModel& operator=(const SingleTaskErrorModel& other);
    SingleTaskErrorModel& operator=(SingleTaskErrorModel&& other) noexcept;
    ~SingleTaskErrorModel() override;

    /// \brief Fills the fields from a file object; bad input as VantorTaskModel::Parse().
    ///
    /// The failure is the first present of "url_net_error", "file_write_error" and "checksum_check_error".
    /// Without any of them, or when it is empty, the code, the internal code and the message keep their
    /// values.
    void Parse(const QByteArray& json) override;

    qint32 http_status_code = 0;    ///< status of the last HTTP response; 0 when there was none
    qint32 error_code = 0;          ///< the engine's code; 0 when there is none
    qint32 internal_error_code = 0; ///< the engine's more detailed code
    QString message;                ///< the engine's message
    qint32 error_type = 0;          ///< 1 URL or network, 2 file write, 3 checksum, 0 none
    QString http_header; ///< headers of the last HTTP response as JSON object text; empty when there are none

protected:
    /// \brief Fills the fields of this class and its bases from a file object whose text is `json`.
    void ReadFileError(const QJsonObject& object, const QByteArray& json);

    friend class GroupTaskModel;
};

Q_DECLARE_METATYPE(SingleTaskErrorModel)

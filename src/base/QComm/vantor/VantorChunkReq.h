// SPDX-License-Identifier: MIT
#pragma once

#include "QCommGlobal.h"
#include "vantor/VantorChunkActionType.h"

#include <QSet>
#include <QString>

/// \brief One operation of the chunk engine on one package, as the caller asks for it.
///
/// A plain record; each field bears the name of its JSON key. `password` and `token` come from the caller and
/// go to the engine unchanged; the library keeps no value of them.
struct QCOMM_EXPORT VantorChunkReq
{
    QString guid;       ///< identifier asked for the task; also handed to the engine beside the text
    QString package_id; ///< the package
    QString branch;     ///< branch of the package
    QString password;   ///< passed to the engine unchanged
    VantorChunkActionType action_type = VantorChunkActionUnknown; ///< the action that ToJsonStr() writes
    QString action;                        ///< action name as FromJsonStr() read it; never written
    QString current_version;               ///< version installed now; empty for none
    QString install_dir;                   ///< installation folder; its volume is watched for free space
    QString staging_dir;                   ///< folder where files are assembled
    QString chunk_dir;                     ///< folder of downloaded chunks
    bool pre_download = false;             ///< the action concerns a pre-download
    QString pre_download_dir;              ///< folder of the pre-download
    bool pre_download_regularized = false; ///< passed to the engine unchanged
    QSet<QString> matching_field_list;     ///< field names passed to the engine; no order
    QString token;                         ///< passed to the engine unchanged

    /// \brief Fills the request from JSON text.
    ///
    /// Text that is not JSON changes nothing. Otherwise a key that is missing or of the wrong type empties
    /// its field (JSON that is not an object empties them all), except "matching_field_list", whose entries
    /// are added to those already there.
    void FromJsonStr(const QString& json);

    /// \brief The request as indented JSON text. Every field is written, except an empty
    /// `matching_field_list`.
    QString ToJsonStr() const;
};

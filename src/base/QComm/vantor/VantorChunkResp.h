// SPDX-License-Identifier: MIT
#pragma once

#include "QCommGlobal.h"
#include "vantor/VantorChunkActionType.h"

#include <QList>
#include <QMetaType>
#include <QString>

#include <memory>
#include <string>
#include <unordered_map>

class QJsonObject;

/// \file
/// The answers of the chunk engine to chunk tasks. Each field bears the name of its JSON key; byte counts and
/// numbers of files and chunks are signed 64-bit.
///
/// Reading is lenient: a key that is missing or of the wrong type leaves its field empty, false or 0.
/// Counters are read from a JSON number or from decimal text without losing digits.

/// \brief What every answer carries.
struct QCOMM_EXPORT VantorChunkResp
{
    /// \brief Makes the record that fits the text's "action".
    /// \return null for text that is not JSON, for an empty object, for JSON that is not an object and for an unknown
    /// or missing action
    static std::unique_ptr<VantorChunkResp> FromJsonStr(const QString& json);

    VantorChunkResp();
    VantorChunkResp(const VantorChunkResp& other);
    VantorChunkResp(VantorChunkResp&& other) noexcept;
    VantorChunkResp& operator=(const VantorChunkResp& other);
    VantorChunkResp& operator=(VantorChunkResp&& other) noexcept;
    virtual ~VantorChunkResp();

    /// \brief The whole text that the record was made from.
    const QString& GetRawJsonStr() const { return raw_json; }

    QString guid;            ///< the engine's guid of the task
    QString duplicated_guid; ///< guid of the task that does the same work already, when `status` is "Duplicated"
    QString package_id;      ///< the package
    QString branch;          ///< branch of the package
    QString action;          ///< name of the action
    VantorChunkActionType action_type = VantorChunkActionUnknown; ///< the action
    bool pre_download = false;                                    ///< the action concerns a pre-download
    QString status;         ///< state as the engine spells it: "Success", "Failed", "Duplicated", ...
    QString build_id;       ///< build of the server's version
    bool completed = false; ///< the task has ended; this is its last answer
    qint32 error_code = 0;  ///< 0 when there is none; 1: cancelled for lack of disk space
    QString error_msg;      ///< message of the failure
    QString local_version;  ///< version installed
    QString server_version; ///< version on the server
    std::unordered_map<std::string, std::string> depot_version_list;        ///< depot to installed version, UTF-8
    std::unordered_map<std::string, std::string> depot_server_version_list; ///< depot to server version, UTF-8
    QString raw_json;                                                       ///< see GetRawJsonStr()

protected:
    /// \brief Fills the fields of this class from an object; an empty object changes nothing.
    virtual void FromJsonObj(const QJsonObject& obj);
};

/// \brief Answer of "fetch_version".
struct QCOMM_EXPORT VantorChunkVersionResp : VantorChunkResp
{
};

/// \brief Answer of "delete_database".
struct QCOMM_EXPORT VantorChunkDeleteDatabaseResp : VantorChunkResp
{
};

/// \brief Answer of "fetch_size".
struct QCOMM_EXPORT VantorChunkSizeResp : VantorChunkVersionResp
{
    qint64 total_download_byte = 0;           ///< bytes to download, compressed
    qint64 total_uncompressed_byte = 0;       ///< the same, decompressed
    qint64 total_file_num = 0;                ///< files of the package
    qint64 total_to_process_file_num = 0;     ///< files to write
    qint64 total_to_preprocess_file_num = 0;  ///< files to examine first
    qint64 total_chunk_num = 0;               ///< chunks of the package
    qint64 total_to_process_chunk_num = 0;    ///< chunks to fetch
    qint64 total_to_preprocess_chunk_num = 0; ///< chunks to examine first
    qint64 total_added_byte = 0;              ///< by how much the installation grows

protected:
    void FromJsonObj(const QJsonObject& obj) override;
};

/// \brief State of one depot.
struct QCOMM_EXPORT VantorChunkDepotItem
{
    QString depot_guid;     ///< the engine's name of the depot
    QString status;         ///< the engine's word for its state
    bool completed = false; ///< the depot has reached an end state
    qint32 error_code = 0;  ///< the engine's code; 0 when there is none
};

/// \brief State of one depot of a download, with detail that the library does not interpret.
struct QCOMM_EXPORT VantorChunkDepotDownloadItem : VantorChunkDepotItem
{
    QString file_info;  ///< JSON object as compact text
    QString chunk_info; ///< JSON object as compact text
};

/// \brief Answer of "normal_download", sent again and again while it works.
struct QCOMM_EXPORT VantorChunkNormalDownloadResp : VantorChunkSizeResp
{
    qint64 bandwidth_byte = 0;               ///< download speed, bytes per second
    qint64 current_completed_file_num = 0;   ///< files done, well or badly
    qint64 current_successful_file_num = 0;  ///< files done well
    qint64 current_completed_chunk_num = 0;  ///< chunks done, well or badly
    qint64 current_successful_chunk_num = 0; ///< chunks done well
    qint64 current_download_byte = 0;        ///< bytes downloaded, compressed
    qint64 current_decompressed_byte = 0;    ///< bytes decompressed
    /// \brief The depots; an answer without any keeps those read earlier into the same record.
    QList<VantorChunkDepotDownloadItem> depot_list;

protected:
    void FromJsonObj(const QJsonObject& obj) override;
};

/// \brief Answer of "repair_download", sent again and again while it works.
struct QCOMM_EXPORT VantorChunkRepairDownloadResp : VantorChunkNormalDownloadResp
{
    // Intended: a pair of its own beside the like-named pair of VantorChunkSizeResp, with the same values.
    // Launchers read either.
    qint64 total_to_preprocess_file_num = 0;  ///< files to examine first
    qint64 total_to_preprocess_chunk_num = 0; ///< chunks to examine first
    /// \brief The depots' manifests; an answer without any keeps those read earlier into the same record.
    QList<VantorChunkDepotItem> depot_manifest_list;

protected:
    void FromJsonObj(const QJsonObject& obj) override;
};

Q_DECLARE_METATYPE(VantorChunkDeleteDatabaseResp)
Q_DECLARE_METATYPE(VantorChunkVersionResp)
Q_DECLARE_METATYPE(VantorChunkSizeResp)
Q_DECLARE_METATYPE(VantorChunkNormalDownloadResp)
Q_DECLARE_METATYPE(VantorChunkRepairDownloadResp)

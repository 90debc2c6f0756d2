// SPDX-License-Identifier: MIT
#pragma once

#include "QCommGlobal.h"

#include <QMetaType>
#include <QString>

/// \brief The state of one file of one download group, as task signals and errors carry it.
///
/// A plain value: copied freely, owned by whoever holds it. Back-ends fill what they know and leave the rest
/// at the defaults: signals that only announce a step set the URL alone.
class QCOMM_EXPORT TaskInfo
{
public:
    TaskInfo();

    /// \brief Error code of the library; 0 when there is none.
    ///
    /// HTTP back-end: 2004 and 3003 to 3013. Engine back-end: 6000 (URL or network), 7000 (file write) or
    /// 8000 (checksum) plus the engine's own code, 6099 (unknown), 3004 (disk full).
    const int& GetErrorCode() const { return errorCode; }
    int& GetErrorCode() { return errorCode; }
    void SetErrorCode(const int& value) { errorCode = value; }

    /// \brief Message text, or a translation key ("message_...") already passed through the translator.
    const QString& GetErrorString() const { return errorString; }
    QString& GetErrorString() { return errorString; }
    void SetErrorString(const QString& value) { errorString = value; }

    /// \brief The file's URL. It is the identity of the file in task signals.
    const QString& GetUrl() const { return url; }
    QString& GetUrl() { return url; }
    void SetUrl(const QString& value) { url = value; }

    /// \brief HTTP status; -1 when no response was involved.
    const int& GetStatusCode() const { return statusCode; }
    int& GetStatusCode() { return statusCode; }
    void SetStatusCode(const int& value) { statusCode = value; }

    /// \brief The network layer's error number; -1 when there is none, 4 for a time-out.
    ///
    /// HTTP back-end: a QNetworkReply::NetworkError. Engine back-end: the engine's internal error code.
    const int& GetNetErrorCode() const { return netErrorCode; }
    int& GetNetErrorCode() { return netErrorCode; }
    void SetNetErrorCode(const int& value) { netErrorCode = value; }

    /// \brief Resolved addresses of the download host as text; empty when unknown.
    const QString& GetIP() const { return ip; }
    QString& GetIP() { return ip; }
    void SetIP(const QString& value) { ip = value; }

    /// \brief Id of the group that the file belongs to; -1 when unknown.
    const int& GetGroupId() const { return groupId; }
    int& GetGroupId() { return groupId; }
    void SetGroupId(const int& value) { groupId = value; }

    /// \brief Headers of the last response, as JSON text; empty when there was none.
    const QString& GetResponseHeader() const { return responseHeader; }
    QString& GetResponseHeader() { return responseHeader; }
    void SetResponseHeader(const QString& value) { responseHeader = value; }

    /// \brief Which back-end produced the record; the HTTP back-end sets 0.
    const int& GetDownloaderId() const { return downloaderId; }
    int& GetDownloaderId() { return downloaderId; }
    void SetDownloaderId(const int& value) { downloaderId = value; }

    /// \brief Retries made when the record was filled.
    const int& GetRetryTimes() const { return retryTimes; }
    int& GetRetryTimes() { return retryTimes; }
    void SetRetryTimes(const int& value) { retryTimes = value; }

    /// \brief Outcome of the file, set by the engine back-end: 1 success, 2 failed, 3 cancelled, 0 none of
    /// these.
    const int& GetResult() const { return result; }
    int& GetResult() { return result; }
    void SetResult(const int& value) { result = value; }

private:
    int errorCode = 0;
    QString errorString;
    QString url;
    int statusCode = 0;
    int netErrorCode = 0;
    QString ip;
    int groupId = -1;
    QString responseHeader;
    int downloaderId = 0;
    int retryTimes = 0;
    int result = 0;
};

Q_DECLARE_METATYPE(TaskInfo)

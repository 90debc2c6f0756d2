// SPDX-License-Identifier: MIT
#pragma once

#include "QCommGlobal.h"

#include <QString>

/// \brief The process-wide settings of the download subsystem.
///
/// The launcher writes them; the downloaders read a value at the moment they need it, so a change takes
/// effect on the next request. `Instance()` may be called on any thread; the values themselves are plain and
/// belong to the launcher's thread.
class QCOMM_EXPORT NetlibControl
{
public:
    static const QString kNetlibTypeLibcurl;   ///< "libcurl"; no back-end of this library answers to it
    static const QString kNetlibTypeQT;        ///< "QT", the HTTP range downloader
    static const QString kNetlibTypeVantor;    ///< "vantor", the chunk engine
    static const QString kPkgSizeInfoHeader;   ///< "header": ask the server for file sizes with a HEAD request
    static const QString kPkgSizeInfoResource; ///< "resource": trust the size in the task description

    /// \brief The one instance, created on first use and deleted at process exit.
    static NetlibControl* Instance();

    NetlibControl(const NetlibControl&) = delete;
    NetlibControl& operator=(const NetlibControl&) = delete;
    ~NetlibControl();

    /// \brief The active back-end's type, one of the kNetlibType texts; "QT" at first.
    QString GetNetlibType() const { return netlibType; }
    void SetNetlibType(const QString& value) { netlibType = value; }

    /// \brief Speed limit of the HTTP back-end in bytes per second; 0 (the initial value) or less means none.
    qint64 GetLimitDownloadSpeed() const { return limitDownloadSpeed; }
    void SetLimitDownloadSpeed(const qint64& value) { limitDownloadSpeed = value; }

    /// \brief Where file sizes come from, one of the kPkgSizeInfo texts; "header" at first.
    QString GetPkgSizeInfo() const { return pkgSizeInfo; }
    void SetPkgSizeInfo(const QString& value) { pkgSizeInfo = value; }

    /// \brief On a 416 answer, take the size from Content-Range and send a closed range next time; false at
    /// first.
    bool GetSwitchFor416() const { return switchFor416; }
    void SetSwitchFor416(const bool& value) { switchFor416 = value; }

    /// \brief Downloads need a logged-in user: a 403 asks for a new login instead of failing; false at first.
    bool GetIsDownloadWithLogin() const { return isDownloadWithLogin; }
    void SetIsDownloadWithLogin(const bool& value) { isDownloadWithLogin = value; }

    /// \brief What the HTTP back-end does beyond the ordinary; 1 at first.
    ///
    /// 1: nothing extra. 2: flush the temporary file when a download stops and report the time it took. 3:
    /// send "Accept-Encoding", "gzip, deflate" for a fresh file and "identity" when resuming.
    int GetFlushOrGzipStrategy() const { return flushOrGzipStrategy; }
    void SetFlushOrGzipStrategy(const int& value) { flushOrGzipStrategy = value; }

private:
    NetlibControl();

    QString netlibType;
    qint64 limitDownloadSpeed = 0;
    QString pkgSizeInfo;
    bool switchFor416 = false;
    bool isDownloadWithLogin = false;
    int flushOrGzipStrategy = 1;
};

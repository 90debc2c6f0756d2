// SPDX-License-Identifier: MIT
#pragma once

#include "QCommGlobal.h"

#include <QObject>
#include <QString>
#include <QUrl>

/// \brief The description of one file to fetch.
///
/// Although it is a QObject it is a value: it has no parent, and copies carry all fields. The local file name
/// always comes from the URL, never from a field of its own.
///
/// \code
/// DownloadTaskModel model;
/// model.Init(QStringLiteral("https://cdn.example.org/game/data.pak"), QStringLiteral("D:/Games/Demo"),
///            QStringLiteral("9e107d9d372bb6826bd81d3542a419d6"), QString(), 1048576);
/// \endcode
class QCOMM_EXPORT DownloadTaskModel : public QObject
{
    Q_OBJECT

public:
    DownloadTaskModel();
    DownloadTaskModel(const DownloadTaskModel& other);
    DownloadTaskModel& operator=(const DownloadTaskModel& other);
    ~DownloadTaskModel() override;

    /// \brief Sets everything but the priority.
    /// \param url     remote file, percent-encoded or not
    /// \param path    destination folder, native or forward slashes; created when the download starts
    /// \param md5     expected MD5 in hexadecimal, either case; empty for no check
    /// \param md5Salt salt of the MD5 check (HTTP back-end); empty for none
    /// \param size    expected size in bytes; 0 or less when unknown
    void Init(const QString& url, const QString& path, const QString& md5, QString md5Salt, qint64 size);

    /// \brief The last segment of the URL's path, fully decoded ("a b.zip" for ".../a%20b.zip?x=1"); empty
    /// when the URL ends in a slash.
    QString GetFileName() const;

    /// \brief Absolute path of the file inside `path`, with forward slashes.
    QString GetFilePath() const;

    QUrl url;         ///< remote file
    QString md5;      ///< expected MD5 in hexadecimal, either case; empty means no check
    QString md5Salt;  ///< salt handed to the MD5 worker; empty means none
    QString path;     ///< destination folder
    int priority = 1; ///< carried and copied for the launcher's use; no back-end reads it
    qint64 size = 0;  ///< expected size in bytes; 0 or less means unknown
};

Q_DECLARE_METATYPE(DownloadTaskModel)

// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QUrl>

/// \brief One file that the user wants.
struct FileRequest
{
    QUrl url;
    qint64 size = 0; ///< bytes; 0 when unknown
    QString md5;     ///< 32 hexadecimal digits; empty for no check

    /// \brief The name that the file gets in the folder.
    QString fileName() const { return url.fileName(QUrl::FullyDecoded); }
};

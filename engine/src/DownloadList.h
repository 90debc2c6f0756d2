// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>

namespace VantorEngine {

/// One file of a download list.
struct FileSpec
{
    QString url;            ///< as given; echoed in every callback
    QString directory;      ///< root and relative path joined; empty: the process's current folder
    QString name;           ///< as given, unchecked; the URL's last segment when the list has none
    bool climbsOut = false; ///< the relative path leaves a root path that was given
    bool inTheWay = false;  ///< another file of the list is written to this path until it is complete
    qint64 size = -1;       ///< bytes; -1: unknown
    QByteArray sizeHeader;  ///< response header that tells an unknown size
    QByteArray md5;         ///< lower-case hex; empty: no check
    bool resume = true;     ///< may go on from a partial file
};

/// A group's request.
struct DownloadList
{
    QString problem; ///< why the list cannot be used; empty: it can
    QVector<FileSpec> files;
};

/// Reads the text given to Vantor_SetDownloadList. Members of a wrong type count as missing.
DownloadList parseDownloadList(const QByteArray& json);

} // namespace VantorEngine

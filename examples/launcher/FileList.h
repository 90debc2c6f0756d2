// SPDX-License-Identifier: MIT
#pragma once

#include "FileRequest.h"

#include <QByteArray>
#include <QString>
#include <QVector>

/// \brief Reads what the user asks for. Errors are texts for the user, empty when there is none.
namespace FileList {

/// \brief Takes one URL apart from everything else: http or https, with a usable file name.
QString parseUrl(const QString& text, FileRequest* request);

/// \brief An MD5 in hexadecimal, or "-" for none.
QString parseMd5(const QString& text, FileRequest* request);

/// \brief A list: one file a line, as URL, size and MD5 separated by blanks. UTF-8.
///
/// Size (bytes; 0 or "-" when unknown) and MD5 ("-" for none) may be left out. Empty lines and lines that begin
/// with "#" are skipped. The error names the line.
QString parseList(const QByteArray& text, QVector<FileRequest>* requests);

/// \brief Two files that would be saved under the same name, if any. Case does not distinguish names, because
/// the folder's file system may not distinguish it either.
QString findClash(const QVector<FileRequest>& requests);

} // namespace FileList

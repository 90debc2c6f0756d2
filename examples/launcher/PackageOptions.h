// SPDX-License-Identifier: MIT
#pragma once

#include "vantor/VantorChunkActionType.h"

#include <QString>
#include <QUrl>

#include <optional>

class QCommandLineParser;

/// \brief What the user asked "launcher package" for.
struct PackageOptions
{
    VantorChunkActionType action = VantorChunkActionUnknown;
    QUrl server;                          ///< where packages are published
    QString package;                      ///< its id
    QString branch;                       ///< of the package
    QString folder;                       ///< of the installation, absolute path; may be empty for "version"
    QString stagingFolder;                ///< absolute path; empty for the engine's own
    bool removesFiles = false;            ///< "remove" takes the folder away, too
    std::optional<qint64> limitKilobytes; ///< KiB per second; 0 for none
    QString logPath;                      ///< empty for no log
    QString language;                     ///< as --lang takes it
    int patienceSeconds = 0;              ///< how long the engine may be silent

    /// \brief The text of "launcher package --help".
    static QString help();
    /// \brief Adds the options that are read.
    static void addTo(QCommandLineParser* parser);
    /// \brief Reads the arguments.
    /// \return a text for the user; empty when everything is right
    static QString read(const QCommandLineParser& parser, PackageOptions* options);
};

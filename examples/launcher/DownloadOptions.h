// SPDX-License-Identifier: MIT
#pragma once

#include "FileRequest.h"

#include <QString>
#include <QVector>

#include <optional>

class QCommandLineParser;

/// \brief What the user asked "launcher download" for.
struct DownloadOptions
{
    enum class Backend { Engine, Http };

    QString folder; ///< absolute path
    Backend backend = Backend::Engine;
    QVector<FileRequest> files;
    std::optional<qint64> limitKilobytes; ///< KiB per second; 0 for none
    bool usePcdn = false;
    QString logPath;         ///< empty for no log
    QString language;        ///< as --lang takes it
    int patienceSeconds = 0; ///< how long the engine may be silent

    /// \brief The text of "launcher download --help".
    static QString help();
    /// \brief Adds the options that are read.
    static void addTo(QCommandLineParser* parser);
    /// \brief Reads the arguments and the list file that they may name.
    /// \return a text for the user; empty when everything is right
    static QString read(const QCommandLineParser& parser, DownloadOptions* options);
};

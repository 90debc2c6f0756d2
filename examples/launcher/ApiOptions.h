// SPDX-License-Identifier: MIT
#pragma once

#include "Network/BaseHttpApi.h"

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QVariant>

class QCommandLineParser;

/// \brief What the user asked "launcher api" for.
struct ApiOptions
{
    BaseHttpApi::TYPE type = BaseHttpApi::Get;
    QString url;
    QMap<QString, QString> headers;
    QMap<QString, QVariant> params; ///< a name that was given several times has the list of its values
    QMap<QByteArray, QByteArray> cookies;
    QString body;
    int retries = 0;
    bool backoff = false;
    int timeoutMs = 0;

    /// \brief The text of "launcher api --help".
    static QString help();
    /// \brief Adds the options that are read.
    static void addTo(QCommandLineParser* parser);
    /// \brief Reads the arguments.
    /// \return a text for the user; empty when everything is right
    static QString read(const QCommandLineParser& parser, ApiOptions* options);
};

// SPDX-License-Identifier: MIT
#pragma once

#include "Network/BaseHttpApi.h"

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariant>

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
    bool wantsHelp = false; ///< nothing else is set then

    /// \brief The text of "launcher api --help".
    static QString help();
    /// \return a text for the user; empty when everything is right
    static QString parse(const QStringList& arguments, ApiOptions* options);
};

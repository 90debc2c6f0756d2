// SPDX-License-Identifier: MIT
#pragma once

#include "QCommGlobal.h"

#include <QMap>
#include <QObject>
#include <QString>
#include <QVariant>

/// \brief Turns the engine's callback texts into generic key/value maps, for launchers that want every key.
///
/// No class of the library uses it. It runs on the thread of its owner; connect VantorExporter's callback
/// signals to the slots with a context object to have the texts delivered there.
class QCOMM_EXPORT VantorJsonHelper : public QObject
{
    Q_OBJECT

public:
    explicit VantorJsonHelper(QObject* parent = nullptr);
    ~VantorJsonHelper() override;

    /// \brief The keys and values of a group callback.
    /// \param guid the engine's guid of the group
    /// \param data JSON object text
    /// \return empty when an argument is empty, the text is not JSON or not an object
    QMap<QString, QVariant> ParseGroupTaskCallback(const QString& guid, const QString& data);
    /// \brief The same for a file callback.
    QMap<QString, QVariant> ParseSingleTaskCallback(const QString& guid, const QString& data);

public Q_SLOTS:
    /// \brief Parses and emits groupTaskCallback(); emits nothing for empty arguments or text that is not
    /// JSON.
    void onParseGroupTaskCallback(const QString& guid, const QString& data);
    /// \brief Parses and emits singleTaskCallback(); emits nothing for empty arguments or text that is not
    /// JSON.
    void onParseSingleTaskCallback(const QString& guid, const QString& data);

Q_SIGNALS:
    /// A group callback has been parsed; `map` holds its keys and values.
    void groupTaskCallback(const QString& guid, const QMap<QString, QVariant>& map);
    /// A file callback has been parsed; `map` holds its keys and values.
    void singleTaskCallback(const QString& guid, const QMap<QString, QVariant>& map);
};

// SPDX-License-Identifier: MIT
#pragma once

#include <QCommandLineParser>
#include <QString>
#include <QStringList>

#include <optional>

/// \brief Options and their values, as several commands have them. Each reading function sets `*value` and returns why
/// what was given cannot be used; empty when it can.
namespace OptionValues {

/// \brief Adds options that take a value.
void add(const QStringList& names, QCommandLineParser* parser);

/// \brief A folder as the user names it as an absolute path; empty for an empty one.
QString absolutePath(const QString& folder);

/// \brief A speed in KiB per second; `*value` is left alone when the option is not given.
QString readLimit(const QCommandLineParser& parser, const QString& option, std::optional<qint64>* value);

/// \brief A language of the launcher; the system's when the option is not given.
QString readLanguage(const QCommandLineParser& parser, const QString& option, QString* value);

/// \brief How long to wait for a silent engine, in seconds; 60 when the option is not given.
QString readPatience(const QCommandLineParser& parser, const QString& option, int* value);

} // namespace OptionValues

// SPDX-License-Identifier: MIT
#pragma once

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QString>

#include <optional>

/// \brief Options that several commands have. Each function sets `*value` and returns why what was given cannot be
/// used; empty when it can.
namespace OptionValues {

/// \brief A speed in KiB per second; `*value` is left alone when the option is not given.
QString readLimit(const QCommandLineParser& parser, const QCommandLineOption& option, std::optional<qint64>* value);

/// \brief A language of the launcher; the system's when the option is not given.
QString readLanguage(const QCommandLineParser& parser, const QCommandLineOption& option, QString* value);

/// \brief How long to wait for a silent engine, in seconds; 60 when the option is not given.
QString readPatience(const QCommandLineParser& parser, const QCommandLineOption& option, int* value);

} // namespace OptionValues

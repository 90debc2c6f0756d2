// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

namespace VantorEngine {

/// Whose rules for file names apply.
enum class NameRules { Portable, Windows };

#ifdef Q_OS_WIN
constexpr NameRules kNativeNameRules = NameRules::Windows;
#else
constexpr NameRules kNativeNameRules = NameRules::Portable;
#endif

/// Why a name from a list must not be used as a file in its folder; empty when it may.
/// Refused everywhere: an empty name, "." and "..", separators of either kind, a colon (drive letters and streams)
/// and control characters. By Windows' rules also reserved device names, with any extension, and a dot or blank
/// at the end.
QString nameProblem(const QString& name, NameRules rules = kNativeNameRules);

/// The text two paths share exactly when they name the same file, as far as the texts tell.
QString pathKey(const QString& absolutePath, NameRules rules = kNativeNameRules);

} // namespace VantorEngine

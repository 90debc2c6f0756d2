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

/// What file systems take for one name, bytes or, by Windows' rules, UTF-16 units.
constexpr int kLongestName = 255;
/// Of the files that are written beside a file while it is fetched.
constexpr int kLongestSuffix = 14;
constexpr const char* kSuffixes[] = {"_tmp", "_tmp_state", "_tmp_state.new"};

/// Why a name from a list must not be used as a file in its folder; empty when it may.
/// Refused everywhere: an empty name, "." and "..", separators of either kind, a colon (drive letters and streams)
/// and control characters, and a name that leaves no room for \a suffix more characters. By Windows' rules also
/// reserved device names, with any extension, and a dot or blank at the end.
QString nameProblem(const QString& name, NameRules rules = kNativeNameRules, int suffix = kLongestSuffix);

/// The text two paths share exactly when they name the same file, as far as the texts tell.
QString pathKey(const QString& absolutePath, NameRules rules = kNativeNameRules);

} // namespace VantorEngine

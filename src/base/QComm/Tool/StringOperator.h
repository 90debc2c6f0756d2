// SPDX-License-Identifier: MIT
#pragma once

#include "QCommGlobal.h"

#include <QString>

/// \brief Text helpers of a launcher: versions, percent signs, folder paths.
///
/// Only static functions without state; they may be called on any thread. They report no errors.
class QCOMM_EXPORT StringOperator
{
public:
    /// \brief Compares two dotted version numbers such as "1.2.10", part by part as numbers.
    ///
    /// Mind the sign: a positive result says that `b` is the newer one.
    /// \return 0 when they are the same (as texts, or as numbers: "1.0" and "1"), 1 when `b` is newer, -1 when
    /// `a` is newer, 2 when only `a` is empty, -2 when only `b` is empty or when a part that has to be compared
    /// is no number of 32 bits
    ///
    /// Empty parts do not count ("1..2" is "1.2"), missing ones are 0. Parts behind the first difference are
    /// not looked at.
    static int VersionCompare(const QString& a, const QString& b);

    /// \brief Puts a percent sign where the language has it: before the number in Turkish, behind it in every
    /// other language.
    /// \param text    text with the markers "[percent_sign_start]" before and "[percent_sign_end]" behind the
    /// number; all of them are replaced
    /// \param lang    language mark; Turkish is "tr-tr", in exactly this letter case
    /// \param percent the sign
    static QString AddPercent(const QString& text, const QString& lang, const QString& percent);
    /// \brief AddPercent() with the translation of "label_percent_sign" in the context "QObject" as the sign.
    static QString AddPercentSign(const QString& text, const QString& lang);

    /// \brief Appends a folder name to a path, unless the path ends in it already, in whatever letter case.
    ///
    /// The result has slashes only, a pair of backslashes becoming one, and one trailing separator is removed,
    /// also when nothing is appended. An empty `fixedName` appends nothing.
    static QString AppendFixedPath(const QString& path, const QString& fixedName);

    /// \brief Whether a path can be used on Windows: it exists, or it is on a drive that exists and has none of
    /// the characters * > < | : " and U+FF1F (the full-width question mark) behind the drive.
    ///
    /// An empty path is not valid. The ASCII question mark is not looked for. The same rules hold on every
    /// platform.
    static bool IsValidPath(QString path);
};

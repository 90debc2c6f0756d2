// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>

/// \brief The language of the progress display. The translations are resources of the program.
namespace Language {

/// \brief Names that --lang takes: "en-us" and "zh-cn".
QStringList names();

/// \brief The name that suits the user's system; "en-us" when none does.
QString ofSystem();

/// \brief Loads a translation into the application. \return false for a name that is not in names()
bool use(const QString& name);

} // namespace Language

// SPDX-License-Identifier: MIT
#include "LanguageCommand.h"

#include "ExitCode.h"
#include "Language.h"
#include "Tool/LanguageOperator.h"

#include <QCommandLineParser>
#include <QTranslator>

namespace {

const QLatin1String kHelp(
    R"(Usage: launcher language [LANGUAGE]

Prints the language that the library chooses for this system, or the one that is
given (such as zh-cn), whether this program has its translation and a font for
it, and the language of the voice that suits the system.

Options:
  -h, --help  this text

Exit codes:
  0  there is a translation
  1  there is none
  2  wrong arguments
)");

} // namespace

LanguageCommand::LanguageCommand()
    : ToolCommand(QStringLiteral("language"), QStringLiteral("tell the language of the user interface"), kHelp)
{
}

int LanguageCommand::execute(const QCommandLineParser& parser)
{
    const QStringList arguments = parser.positionalArguments();
    if (arguments.size() > 1)
        return refuse(QStringLiteral("at most one language is wanted"));
    LanguageOperator language;
    language.SetSupportLanges(Language::names());
    QTranslator translator;
    const bool hasTranslation = language.InitTranslator(&translator, arguments.value(0));
    const bool hasFont = language.HasNativeFont(QString());
    print({
        {QStringLiteral("Language"), language.GetCurLanguage()},
        {QStringLiteral("Translation"), hasTranslation ? QStringLiteral("yes") : QStringLiteral("no")},
        {QStringLiteral("Own font"), hasFont ? QStringLiteral("yes") : QStringLiteral("no")},
        {QStringLiteral("Voice"), language.GetDefaultVoice()},
    });
    return hasTranslation ? ExitCode::kAllFinished
                          : fail(QStringLiteral("there is no translation for %1").arg(language.GetCurLanguage()));
}

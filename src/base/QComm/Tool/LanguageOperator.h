// SPDX-License-Identifier: MIT
#pragma once

#include "QCommGlobal.h"

#include <QFont>
#include <QString>
#include <QStringList>

class QTranslator;

/// \brief Decides the language of the user interface, loads its translation and picks its font.
///
/// Languages are named by marks: lower-case language-region texts such as "en-us". An object holds the current
/// mark, the default mark and the list of supported marks; copies are independent. It belongs to one thread,
/// the GUI thread where fonts are asked for.
///
/// \code
/// LanguageOperator language;
/// language.SetSupportLanges({"en-us", "ja-jp"});
/// auto* translator = new QTranslator(app);
/// if (language.InitTranslator(translator, settings.language))   // empty: the system's
///     app->installTranslator(translator);
/// app->setFont(language.GetLangFont(language.GetCurLanguage()));
/// \endcode
///
/// Marks that the system's language selects: "zh-cn", "zh-tw", "de-de", "en-us", "es-es", "fr-fr", "it-it",
/// "ja-jp", "ko-kr", "pt-pt", "ru-ru", "th-th", "tr-tr", "id-id" and "vi-vn"; any other language selects the
/// default. Of the Chinese languages only that of Taiwan is "zh-tw", every other one is "zh-cn".
class QCOMM_EXPORT LanguageOperator
{
public:
    /// \brief No current language yet, the default "en-us", and that alone supported.
    LanguageOperator();
    LanguageOperator(const LanguageOperator& other);
    LanguageOperator(LanguageOperator&& other) noexcept;
    LanguageOperator& operator=(const LanguageOperator& other);
    LanguageOperator& operator=(LanguageOperator&& other) noexcept;
    ~LanguageOperator();

    /// \brief Chooses the current language and loads its translation file, "MARK.qm".
    /// \param translator receives the translation; the caller owns it and installs it in the application
    /// \param lang       the mark to use, not checked against the supported ones; empty for the system's, or
    /// the default where the system's is not supported (letter case matters)
    /// \return false when there is neither ":/languages/MARK.qm" in the resources nor "languages/MARK.qm" in
    /// the application's folder. A warning with the second path is written then, and the mark stays chosen.
    bool InitTranslator(QTranslator* translator, const QString& lang);

    /// \brief The current mark; empty before InitTranslator().
    QString GetCurLanguage() const { return m_curLang; }
    /// \brief The mark for systems in a language that is not known or not supported.
    void SetDefaultLang(const QString& lang) { m_defaultLang = lang; }
    /// \brief Replaces the supported marks. They do not get the default added.
    void SetSupportLanges(const QStringList& langs) { m_supportLangs = langs; }

    /// \brief The font for the user interface. Needs a QGuiApplication.
    ///
    /// The font file of `lang` in the resources, ":/font/MARK.ttf" or ":/font/MARK.otf"; without one, that of
    /// "en-us", unless that is the current language. Without any, or when the file holds no font, a system font
    /// that goes by the current language, not by `lang`; when the machine does not have it, GetYaheiFont().
    /// \param lang mark; empty for the current one
    /// \return a font of default size and weight. Each call that uses a font file registers it with the
    /// application anew, so keep the result.
    QFont GetLangFont(const QString& lang);
    /// \brief Whether GetLangFont() would find a font file.
    bool HasNativeFont(const QString& lang);
    /// \brief The font "Microsoft YaHei" in default size and weight, whether the machine has it or not.
    QFont GetYaheiFont();

    /// \brief The voice language that suits the system: "zh-cn" for any Chinese, "en-us", "ja-jp" or "ko-kr",
    /// and the default mark for everything else.
    QString GetDefaultVoice();

private:
    QString getSystemLangMark();
    QString GetNativeFontPath(QString lang);
    QString getQmFileName(QString lang);
    QString findFontPath(const QString& lang);

    QString m_curLang;
    QString m_defaultLang;
    QStringList m_supportLangs;
};

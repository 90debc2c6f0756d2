// SPDX-License-Identifier: MIT
#include "Tool/LanguageOperator.h"

#include "QCommLog.h"
#include "Tool/SystemLanguage.h"

#include <QCoreApplication>
#include <QDebug>
#include <QFileInfo>
#include <QFontDatabase>
#include <QTranslator>

#include <algorithm>
#include <atomic>
#include <iterator>

namespace {

const QLatin1String kEnglish("en-us");
const QLatin1String kTaiwan("zh-tw");
const QLatin1String kYahei("Microsoft YaHei");

struct LanguageRow
{
    int primary; // primary language identifier of Windows
    const char* mark;
};

constexpr LanguageRow kLanguages[] = {
    {4, "zh-cn"},  {7, "de-de"},  {9, "en-us"},  {10, "es-es"}, {12, "fr-fr"}, {16, "it-it"}, {17, "ja-jp"},
    {18, "ko-kr"}, {22, "pt-pt"}, {25, "ru-ru"}, {30, "th-th"}, {31, "tr-tr"}, {33, "id-id"}, {42, "vi-vn"},
};

constexpr LanguageRow kVoices[] = {{4, "zh-cn"}, {9, "en-us"}, {17, "ja-jp"}, {18, "ko-kr"}};

struct FontRow
{
    const char* mark;
    const char* family;
};

constexpr FontRow kFonts[] = {
    {"zh-cn", "Microsoft YaHei UI"}, {"zh-tw", "Microsoft JhengHei"}, {"ko-kr", "Malgun Gothic"}, {"ja-jp", "Meiryo"},
    {"th-th", "Leelawadee"},
};

std::atomic<SystemLanguage::Probe> languageProbe{nullptr};

template<typename Rows>
QString markOf(const Rows& rows, int primary, const QString& otherwise)
{
    const auto found =
        std::find_if(std::begin(rows), std::end(rows), [primary](const auto& row) { return row.primary == primary; });
    return found == std::end(rows) ? otherwise : QString(QLatin1String(found->mark));
}

QString systemFontFamily(const QString& mark)
{
    const FontRow* const found = std::find_if(std::begin(kFonts), std::end(kFonts),
                                              [&mark](const FontRow& row) { return mark == QLatin1String(row.mark); });
    return found == std::end(kFonts) ? QString(kYahei) : QString(QLatin1String(found->family));
}

QString familyInFile(const QString& path)
{
    const int id = QFontDatabase::addApplicationFont(path);
    return QFontDatabase::applicationFontFamilies(id).value(0);
}

} // namespace

quint16 SystemLanguage::Identifier()
{
    const Probe probe = languageProbe.load();
    return probe ? probe() : ReadIdentifier();
}

void SystemLanguage::SetProbe(Probe probe)
{
    languageProbe.store(probe);
}

LanguageOperator::LanguageOperator() : m_defaultLang(kEnglish), m_supportLangs(m_defaultLang)
{
}

LanguageOperator::LanguageOperator(const LanguageOperator& other) = default;
LanguageOperator::LanguageOperator(LanguageOperator&& other) noexcept = default;
LanguageOperator& LanguageOperator::operator=(const LanguageOperator& other) = default;
LanguageOperator& LanguageOperator::operator=(LanguageOperator&& other) noexcept = default;
LanguageOperator::~LanguageOperator() = default;

bool LanguageOperator::InitTranslator(QTranslator* translator, const QString& lang)
{
    m_curLang = lang;
    if (lang.isEmpty()) {
        const QString mark = getSystemLangMark();
        m_curLang = m_supportLangs.contains(mark) ? mark : m_defaultLang;
    }
    const QString fileName = getQmFileName(m_curLang);
    if (translator->load(QStringLiteral(":/languages/") + fileName))
        return true;
    const QString path = QCoreApplication::applicationDirPath() + QStringLiteral("/languages/") + fileName;
    if (translator->load(path))
        return true;
    qWarning().noquote().nospace() << "LanguageOperator load .qm file failed, path: " << path;
    return false;
}

QFont LanguageOperator::GetLangFont(const QString& lang)
{
    const QString path = findFontPath(lang);
    const QString family = path.isEmpty() ? QString() : familyInFile(path);
    if (!family.isEmpty()) {
        QFont font;
        font.setFamily(family);
        return font;
    }
    const QFont font(systemFontFamily(m_curLang));
    return font.exactMatch() ? font : GetYaheiFont();
}

bool LanguageOperator::HasNativeFont(const QString& lang)
{
    return !findFontPath(lang).isEmpty();
}

QFont LanguageOperator::GetYaheiFont()
{
    return QFont(kYahei);
}

QString LanguageOperator::GetDefaultVoice()
{
    return markOf(kVoices, SystemLanguage::Identifier() & SystemLanguage::kPrimaryMask, m_defaultLang);
}

QString LanguageOperator::getSystemLangMark()
{
    const quint16 identifier = SystemLanguage::Identifier();
    const int primary = identifier & SystemLanguage::kPrimaryMask;
    QCOMM_LOG(LogLevel::Detail, "LanguageOperator::getSystemLangMark") << " langId: " << primary;
    if (identifier == SystemLanguage::kTaiwan)
        return kTaiwan;
    return markOf(kLanguages, primary, m_defaultLang);
}

QString LanguageOperator::GetNativeFontPath(QString lang)
{
    const QString mark = lang.isEmpty() ? m_curLang : lang;
    for (const char* suffix : {".ttf", ".otf"}) {
        const QString path = QStringLiteral(":/font/") + mark + QLatin1String(suffix);
        if (QFileInfo(path).size() > 0)
            return path;
    }
    return QString();
}

// The English font file serves every language that has none.
QString LanguageOperator::findFontPath(const QString& lang)
{
    const QString path = GetNativeFontPath(lang);
    if (path.isEmpty() && m_curLang != kEnglish)
        return GetNativeFontPath(kEnglish);
    return path;
}

QString LanguageOperator::getQmFileName(QString lang)
{
    return QStringLiteral("%1.qm").arg(lang);
}

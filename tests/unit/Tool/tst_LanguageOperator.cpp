// SPDX-License-Identifier: MIT
#include "LogCapture.h"
#include "MessageCapture.h"
#include "Tool/LanguageOperator.h"
#include "Tool/SystemLanguage.h"

#include <QDir>
#include <QFile>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QProcess>
#include <QResource>
#include <QTranslator>
#include <QtTest>

#include <cstdio>
#include <memory>
#include <type_traits>

#ifdef Q_OS_WIN
#include <windows.h>
#endif

namespace {

const QString kYahei = QStringLiteral("Microsoft YaHei");
const QString kWithoutFile = QStringLiteral("ru-ru");
const char* const kPrintMark = "--print-mark";
const char* const kPrintFont = "--print-font";

quint16 pretendedIdentifier = 0;

/// \brief A system in a language of choice, while it lives.
class PretendedSystem
{
public:
    explicit PretendedSystem(int identifier)
    {
        pretendedIdentifier = static_cast<quint16>(identifier);
        SystemLanguage::SetProbe([] { return pretendedIdentifier; });
    }
    ~PretendedSystem() { SystemLanguage::SetProbe(nullptr); }
    PretendedSystem(const PretendedSystem&) = delete;
    PretendedSystem& operator=(const PretendedSystem&) = delete;
};

/// \brief A font file for English in the resources, while it lives.
class EnglishFont
{
public:
    EnglishFont() : m_registered(QResource::registerResource(QStringLiteral(ENGLISH_FONT_RESOURCE))) {}
    ~EnglishFont() { QResource::unregisterResource(QStringLiteral(ENGLISH_FONT_RESOURCE)); }
    EnglishFont(const EnglishFont&) = delete;
    EnglishFont& operator=(const EnglishFont&) = delete;

    bool isThere() const { return m_registered; }

private:
    const bool m_registered;
};

const QStringList kAllMarks{
    QStringLiteral("zh-cn"), QStringLiteral("zh-tw"), QStringLiteral("de-de"), QStringLiteral("en-us"),
    QStringLiteral("es-es"), QStringLiteral("fr-fr"), QStringLiteral("it-it"), QStringLiteral("ja-jp"),
    QStringLiteral("ko-kr"), QStringLiteral("pt-pt"), QStringLiteral("ru-ru"), QStringLiteral("th-th"),
    QStringLiteral("tr-tr"), QStringLiteral("id-id"), QStringLiteral("vi-vn"), QStringLiteral("xx-dd")};

// What InitTranslator("") selects. No translation is looked at.
QString selectedMark(LanguageOperator& language)
{
    const MessageCapture warnings(QtWarningMsg);
    QTranslator translator;
    language.InitTranslator(&translator, QString());
    return language.GetCurLanguage();
}

LanguageOperator withCurrent(const QString& mark)
{
    const MessageCapture warnings(QtWarningMsg);
    LanguageOperator language;
    QTranslator translator;
    language.InitTranslator(&translator, mark);
    return language;
}

QString whereFrom(const QTranslator& translator)
{
    return translator.translate("tst", "label_where");
}

} // namespace

class tst_LanguageOperator : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isAPlainCopyableClass();
    void startsWithEnglish();
    void systemSelectsTheMark_data();
    void systemSelectsTheMark();
    void logsThePrimaryIdentifier();
    void fallsBackToTheDefaultWhenNotSupported_data();
    void fallsBackToTheDefaultWhenNotSupported();
    void keepsAnExplicitMark();
    void loadsFromTheResourcesFirst();
    void loadsFromTheFolderOfTheApplication();
    void warnsWhenThereIsNoTranslation();
    void proposesAVoice_data();
    void proposesAVoice();
    void findsFontFiles_data();
    void findsFontFiles();
    void emptyLanguageMeansTheCurrentOne();
    void englishFontServesAll();
    void fontFileGivesADefaultFont();
    void brokenFontFileGivesASystemFont();
    void systemFonts_data();
    void systemFonts();
    void missingSystemFontGivesYahei_data();
    void missingSystemFontGivesYahei();
    void systemFontGoesByTheCurrentLanguage();
    void yaheiIsPlain();
    void readsTheSystemsIdentifier();
    void identifierOfALocale_data();
    void identifierOfALocale();
#ifndef Q_OS_WIN
    void readsTheLanguageOfTheEnvironment_data();
    void readsTheLanguageOfTheEnvironment();
#endif
};

void tst_LanguageOperator::isAPlainCopyableClass()
{
    static_assert(std::is_default_constructible_v<LanguageOperator>);
    static_assert(std::is_copy_constructible_v<LanguageOperator> && std::is_copy_assignable_v<LanguageOperator>);
    static_assert(std::is_move_constructible_v<LanguageOperator> && std::is_move_assignable_v<LanguageOperator>);
    static_assert(!std::is_base_of_v<QObject, LanguageOperator>);

    const PretendedSystem unknown(1);
    LanguageOperator first = withCurrent(QStringLiteral("ja-jp"));
    first.SetDefaultLang(QStringLiteral("xx-dd"));
    LanguageOperator second(first);
    QCOMPARE(second.GetCurLanguage(), QStringLiteral("ja-jp"));
    QCOMPARE(selectedMark(second), QStringLiteral("xx-dd"));
    QCOMPARE(first.GetCurLanguage(), QStringLiteral("ja-jp"));
    LanguageOperator third;
    third = first;
    QCOMPARE(third.GetCurLanguage(), QStringLiteral("ja-jp"));
    const LanguageOperator fourth(std::move(third));
    QCOMPARE(fourth.GetCurLanguage(), QStringLiteral("ja-jp"));
    second = std::move(first);
    QCOMPARE(second.GetCurLanguage(), QStringLiteral("ja-jp"));
    QCOMPARE(second.GetDefaultVoice(), QStringLiteral("xx-dd"));
}

void tst_LanguageOperator::startsWithEnglish()
{
    LanguageOperator language;
    QCOMPARE(language.GetCurLanguage(), QString());
    const PretendedSystem unknown(1);
    QCOMPARE(language.GetDefaultVoice(), QStringLiteral("en-us"));
    QCOMPARE(selectedMark(language), QStringLiteral("en-us"));
    // Nothing but English is supported at first.
    LanguageOperator other;
    other.SetDefaultLang(QStringLiteral("xx-dd"));
    const PretendedSystem english(9);
    QCOMPARE(selectedMark(other), QStringLiteral("en-us"));
    const PretendedSystem japanese(17);
    QCOMPARE(selectedMark(other), QStringLiteral("xx-dd"));
}

void tst_LanguageOperator::systemSelectsTheMark_data()
{
    QTest::addColumn<int>("identifier");
    QTest::addColumn<QString>("mark");
    const auto row = [](int identifier, const char* mark) {
        QTest::addRow("%d", identifier) << identifier << QString::fromLatin1(mark);
    };
    row(4, "zh-cn");
    row(1028, "zh-tw");
    row(2052, "zh-cn");
    row(3076, "zh-cn");
    row(4100, "zh-cn");
    row(5124, "zh-cn");
    row(0x7C04, "zh-cn");
    row(7, "de-de");
    row(1031, "de-de");
    row(3079, "de-de");
    row(9, "en-us");
    row(1033, "en-us");
    row(2057, "en-us");
    row(10, "es-es");
    row(3082, "es-es");
    row(12, "fr-fr");
    row(1036, "fr-fr");
    row(16, "it-it");
    row(17, "ja-jp");
    row(1041, "ja-jp");
    row(18, "ko-kr");
    row(22, "pt-pt");
    row(1046, "pt-pt");
    row(2070, "pt-pt");
    row(25, "ru-ru");
    row(30, "th-th");
    row(31, "tr-tr");
    row(33, "id-id");
    row(42, "vi-vn");
    for (const int other : {0, 1, 1025, 3, 5, 6, 8, 11, 19, 21, 29, 34, 41, 43, 1023, 0xFC00})
        row(other, "xx-dd");
}

void tst_LanguageOperator::systemSelectsTheMark()
{
    QFETCH(int, identifier);
    const PretendedSystem system(identifier);
    LanguageOperator language;
    language.SetDefaultLang(QStringLiteral("xx-dd"));
    language.SetSupportLanges(kAllMarks);
    QTEST(selectedMark(language), "mark");
}

void tst_LanguageOperator::logsThePrimaryIdentifier()
{
    const PretendedSystem taiwan(1028);
    const LogCapture log;
    LanguageOperator language;
    selectedMark(language);
    QCOMPARE(log.records().size(), std::size_t(1));
    const Orvel::Common::LogRecord record = log.records().front();
    QCOMPARE(record.level, 1);
    QCOMPARE(record.text, std::string(" langId: 4"));
    QCOMPARE(record.function, std::string("LanguageOperator::getSystemLangMark"));
    withCurrent(QStringLiteral("ja-jp"));
    language.GetDefaultVoice();
    QCOMPARE(log.records().size(), std::size_t(1));
}

void tst_LanguageOperator::fallsBackToTheDefaultWhenNotSupported_data()
{
    QTest::addColumn<int>("identifier");
    QTest::addColumn<QStringList>("supported");
    QTest::addColumn<QString>("mark");
    const QStringList two{QStringLiteral("en-us"), QStringLiteral("ja-jp")};
    QTest::newRow("Japanese") << 1041 << two << "ja-jp";
    QTest::newRow("German") << 1031 << two << "xx-dd";
    QTest::newRow("unknown") << 1025 << two << "xx-dd";
    QTest::newRow("other letter case") << 1041 << QStringList{QStringLiteral("JA-JP")} << "xx-dd";
    QTest::newRow("nothing supported") << 1033 << QStringList() << "xx-dd";
}

void tst_LanguageOperator::fallsBackToTheDefaultWhenNotSupported()
{
    QFETCH(int, identifier);
    QFETCH(QStringList, supported);
    const PretendedSystem system(identifier);
    LanguageOperator language;
    language.SetDefaultLang(QStringLiteral("xx-dd"));
    language.SetSupportLanges(supported);
    QTEST(selectedMark(language), "mark");
}

void tst_LanguageOperator::keepsAnExplicitMark()
{
    const PretendedSystem german(1031);
    LanguageOperator language;
    QTranslator translator;
    QVERIFY(language.InitTranslator(&translator, QStringLiteral("ja-jp")));
    QCOMPARE(language.GetCurLanguage(), QStringLiteral("ja-jp"));
}

void tst_LanguageOperator::loadsFromTheResourcesFirst()
{
    const QString folder = QCoreApplication::applicationDirPath() + QStringLiteral("/languages");
    QVERIFY(QDir().mkpath(folder));
    const QString path = folder + QStringLiteral("/ja-jp.qm");
    QFile::remove(path);
    QVERIFY(QFile::copy(QStringLiteral(":/folder.qm"), path));

    const MessageCapture warnings(QtWarningMsg);
    LanguageOperator language;
    QTranslator translator;
    const bool loaded = language.InitTranslator(&translator, QStringLiteral("ja-jp"));
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner);
    QVERIFY(QFile::remove(path));
    QVERIFY(loaded);
    QCOMPARE(whereFrom(translator), QStringLiteral("resource"));
    QCOMPARE(warnings.texts(), QStringList());
}

void tst_LanguageOperator::loadsFromTheFolderOfTheApplication()
{
    const QString folder = QCoreApplication::applicationDirPath() + QStringLiteral("/languages");
    QVERIFY(QDir().mkpath(folder));
    const QString path = folder + QStringLiteral("/xx-ff.qm");
    QFile::remove(path);
    QVERIFY(QFile::copy(QStringLiteral(":/folder.qm"), path));

    const MessageCapture warnings(QtWarningMsg);
    LanguageOperator language;
    QTranslator translator;
    const bool loaded = language.InitTranslator(&translator, QStringLiteral("xx-ff"));
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner);
    QVERIFY(QFile::remove(path));
    QVERIFY(loaded);
    QCOMPARE(whereFrom(translator), QStringLiteral("folder"));
    QCOMPARE(warnings.texts(), QStringList());
}

void tst_LanguageOperator::warnsWhenThereIsNoTranslation()
{
    const MessageCapture warnings(QtWarningMsg);
    LanguageOperator language;
    QTranslator translator;
    QVERIFY(!language.InitTranslator(&translator, QStringLiteral("xx-yy")));
    QCOMPARE(language.GetCurLanguage(), QStringLiteral("xx-yy"));
    QCOMPARE(warnings.texts(),
             QStringList(QStringLiteral("LanguageOperator load .qm file failed, path: ") +
                         QCoreApplication::applicationDirPath() + QStringLiteral("/languages/xx-yy.qm")));
}

void tst_LanguageOperator::proposesAVoice_data()
{
    QTest::addColumn<int>("identifier");
    QTest::addColumn<QString>("mark");
    QTest::newRow("Chinese") << 2052 << "zh-cn";
    QTest::newRow("Taiwan") << 1028 << "zh-cn";
    QTest::newRow("Hong Kong") << 3076 << "zh-cn";
    QTest::newRow("English") << 1033 << "en-us";
    QTest::newRow("Japanese") << 1041 << "ja-jp";
    QTest::newRow("Korean") << 1042 << "ko-kr";
    for (const int primary : {0, 7, 10, 12, 16, 22, 25, 30, 31, 33, 42, 1})
        QTest::addRow("%d", primary) << primary << "xx-dd";
}

void tst_LanguageOperator::proposesAVoice()
{
    QFETCH(int, identifier);
    const PretendedSystem system(identifier);
    LanguageOperator language;
    language.SetDefaultLang(QStringLiteral("xx-dd"));
    QTEST(language.GetDefaultVoice(), "mark");
}

void tst_LanguageOperator::findsFontFiles_data()
{
    QTest::addColumn<QString>("lang");
    QTest::addColumn<bool>("hasFile");
    QTest::addColumn<QString>("family");
    QTest::newRow("ttf") << "de-de" << true << "Test German";
    QTest::newRow("otf") << "fr-fr" << true << "Test French";
    QTest::newRow("both") << "es-es" << true << "Test Spanish";
    QTest::newRow("ttf of size 0 beside an otf") << "it-it" << true << "Test Italian";
    QTest::newRow("both of size 0") << "ru-ru" << false << kYahei;
    QTest::newRow("neither") << "xx-yy" << false << kYahei;
    QTest::newRow("otf of one byte") << "vi-vn" << true << kYahei;
}

void tst_LanguageOperator::findsFontFiles()
{
    QFETCH(QString, lang);
    LanguageOperator language = withCurrent(QStringLiteral("en-us"));
    QTEST(language.HasNativeFont(lang), "hasFile");
    QTEST(language.GetLangFont(lang).family(), "family");
}

void tst_LanguageOperator::emptyLanguageMeansTheCurrentOne()
{
    LanguageOperator german = withCurrent(QStringLiteral("de-de"));
    QVERIFY(german.HasNativeFont(QString()));
    QCOMPARE(german.GetLangFont(QString()).family(), QStringLiteral("Test German"));
    LanguageOperator other = withCurrent(QStringLiteral("xx-yy"));
    QVERIFY(!other.HasNativeFont(QString()));
    LanguageOperator none;
    QVERIFY(!none.HasNativeFont(QString()));
}

void tst_LanguageOperator::englishFontServesAll()
{
    const EnglishFont font;
    QVERIFY(font.isThere());
    const QString english = QStringLiteral("Test English");

    LanguageOperator other = withCurrent(QStringLiteral("xx-yy"));
    QVERIFY(other.HasNativeFont(QStringLiteral("xx-yy")));
    QCOMPARE(other.GetLangFont(QStringLiteral("xx-yy")).family(), english);
    QCOMPARE(other.GetLangFont(QString()).family(), english);
    QCOMPARE(other.GetLangFont(QStringLiteral("de-de")).family(), QStringLiteral("Test German"));
    // Before any language is chosen, too.
    QCOMPARE(LanguageOperator().GetLangFont(QString()).family(), english);

    // It is the current language that decides, not the one that is asked for.
    LanguageOperator current = withCurrent(QStringLiteral("en-us"));
    QCOMPARE(current.GetLangFont(QString()).family(), english);
    QVERIFY(!current.HasNativeFont(QStringLiteral("xx-yy")));
    QCOMPARE(current.GetLangFont(QStringLiteral("xx-yy")).family(), kYahei);
}

void tst_LanguageOperator::fontFileGivesADefaultFont()
{
    LanguageOperator language;
    QFont expected;
    expected.setFamily(QStringLiteral("Test German"));
    const QFont font = language.GetLangFont(QStringLiteral("de-de"));
    QCOMPARE(font, expected);
    QCOMPARE(font.weight(), QFont().weight());
    QVERIFY(font.exactMatch());
}

void tst_LanguageOperator::brokenFontFileGivesASystemFont()
{
    LanguageOperator language = withCurrent(QStringLiteral("xx-yy"));
    QVERIFY(language.HasNativeFont(QStringLiteral("ko-kr")));
    QCOMPARE(language.GetLangFont(QStringLiteral("ko-kr")), QFont(kYahei));
}

void tst_LanguageOperator::systemFonts_data()
{
    QTest::addColumn<QString>("mark");
    QTest::addColumn<QString>("family");
    QTest::newRow("zh-cn") << "zh-cn"
                           << "Microsoft YaHei UI";
    QTest::newRow("zh-tw") << "zh-tw"
                           << "Microsoft JhengHei";
    QTest::newRow("ko-kr") << "ko-kr"
                           << "Malgun Gothic";
    QTest::newRow("ja-jp") << "ja-jp"
                           << "Meiryo";
    QTest::newRow("th-th") << "th-th"
                           << "Leelawadee";
    QTest::newRow("other letter case") << "JA-JP" << kYahei;
    QTest::newRow("any other") << "xx-yy" << kYahei;
    QTest::newRow("none") << "" << kYahei;
}

void tst_LanguageOperator::systemFonts()
{
    QFETCH(QString, mark);
    LanguageOperator language = mark.isEmpty() ? LanguageOperator() : withCurrent(mark);
    const QString file = QStringLiteral(":/system/%1.ttf").arg(mark);
    const int id = QFile::exists(file) ? QFontDatabase::addApplicationFont(file) : -1;
    const QFont font = language.GetLangFont(kWithoutFile);
    const bool removed = id < 0 || QFontDatabase::removeApplicationFont(id);
    QFETCH(QString, family);
    QCOMPARE(font, QFont(family));
    QVERIFY(removed);
}

void tst_LanguageOperator::missingSystemFontGivesYahei_data()
{
    systemFonts_data();
}

// A program remembers which fonts it did not find, so each row is a process of its own.
void tst_LanguageOperator::missingSystemFontGivesYahei()
{
    QFETCH(QString, mark);
    QFETCH(QString, family);
    QProcess child;
    child.start(QCoreApplication::applicationFilePath(), {QString::fromLatin1(kPrintFont), mark});
    QVERIFY(child.waitForFinished());
    QCOMPARE(child.exitCode(), 0);
    const QStringList parts = QString::fromUtf8(child.readAllStandardOutput()).split(QLatin1Char('|'));
    QCOMPARE(parts.size(), 2);
    const bool isOnMachine = parts.at(0) == QLatin1String("there");
    QCOMPARE(parts.at(1), isOnMachine ? family : kYahei);
}

void tst_LanguageOperator::systemFontGoesByTheCurrentLanguage()
{
    LanguageOperator language = withCurrent(QStringLiteral("ja-jp"));
    const int japanese = QFontDatabase::addApplicationFont(QStringLiteral(":/system/ja-jp.ttf"));
    const int thai = QFontDatabase::addApplicationFont(QStringLiteral(":/system/th-th.ttf"));
    const QFont font = language.GetLangFont(QStringLiteral("th-th"));
    QVERIFY(QFontDatabase::removeApplicationFont(japanese));
    QVERIFY(QFontDatabase::removeApplicationFont(thai));
    QCOMPARE(font.family(), QStringLiteral("Meiryo"));
}

void tst_LanguageOperator::yaheiIsPlain()
{
    QCOMPARE(LanguageOperator().GetYaheiFont(), QFont(QStringLiteral("Microsoft YaHei")));
    QCOMPARE(LanguageOperator().GetYaheiFont().family(), QStringLiteral("Microsoft YaHei"));
}

void tst_LanguageOperator::readsTheSystemsIdentifier()
{
#ifdef Q_OS_WIN
    const int primary = GetUserDefaultUILanguage() & 0x3FF;
#else
    const int primary = SystemLanguage::IdentifierOf(QLocale(QLocale::system().uiLanguages().value(0))) & 0x3FF;
#endif
    const LogCapture log;
    LanguageOperator language;
    selectedMark(language);
    QCOMPARE(log.texts(1), QStringList(QStringLiteral(" langId: %1").arg(primary)));
}

void tst_LanguageOperator::identifierOfALocale_data()
{
    QTest::addColumn<QString>("locale");
    QTest::addColumn<int>("identifier");
    const auto row = [](const char* locale, int identifier) {
        QTest::newRow(locale) << QString::fromLatin1(locale) << identifier;
    };
    row("zh_CN", 2052);
    row("zh_TW", 1028);
    row("zh_Hant", 1028);
    row("zh_HK", 3076);
    row("zh_MO", 5124);
    row("zh_SG", 4100);
    row("de_AT", 1031);
    row("en_GB", 1033);
    row("es_MX", 1034);
    row("fr_CA", 1036);
    row("it_IT", 1040);
    row("ja_JP", 1041);
    row("ko_KR", 1042);
    row("pt_PT", 1046);
    row("pt_BR", 1046);
    row("ru_RU", 1049);
    row("th_TH", 1054);
    row("tr_TR", 1055);
    row("id_ID", 1057);
    row("vi_VN", 1066);
    row("C", 0);
    row("sv_SE", 0);
}

void tst_LanguageOperator::identifierOfALocale()
{
    QFETCH(QString, locale);
    QTEST(int(SystemLanguage::IdentifierOf(QLocale(locale))), "identifier");
}

#ifndef Q_OS_WIN
void tst_LanguageOperator::readsTheLanguageOfTheEnvironment_data()
{
    QTest::addColumn<QString>("all");
    QTest::addColumn<QString>("languages");
    QTest::addColumn<QString>("mark");
    QTest::newRow("Taiwan") << "zh_TW.UTF-8"
                            << ""
                            << "zh-tw";
    QTest::newRow("China") << "zh_CN.UTF-8"
                           << ""
                           << "zh-cn";
    QTest::newRow("Japanese") << "ja_JP.UTF-8"
                              << ""
                              << "ja-jp";
    QTest::newRow("Brazilian") << "pt_BR.UTF-8"
                               << ""
                               << "pt-pt";
    QTest::newRow("wanted before the locale") << "en_US.UTF-8"
                                              << "de:en"
                                              << "de-de";
    QTest::newRow("not known") << "sv_SE.UTF-8"
                               << ""
                               << "xx-dd";
    QTest::newRow("none") << "C"
                          << ""
                          << "xx-dd";
}

// A process reads its environment once, so each row is a process of its own.
void tst_LanguageOperator::readsTheLanguageOfTheEnvironment()
{
    QFETCH(QString, all);
    QFETCH(QString, languages);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LC_ALL"), all);
    environment.insert(QStringLiteral("LANGUAGE"), languages);
    QProcess child;
    child.setProcessEnvironment(environment);
    child.start(QCoreApplication::applicationFilePath(), {QString::fromLatin1(kPrintMark)});
    QVERIFY(child.waitForFinished());
    QCOMPARE(child.exitCode(), 0);
    QTEST(QString::fromUtf8(child.readAllStandardOutput()), "mark");
}
#endif

namespace {

int printMark(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    LanguageOperator language;
    language.SetDefaultLang(QStringLiteral("xx-dd"));
    language.SetSupportLanges(kAllMarks);
    std::printf("%s", qPrintable(selectedMark(language)));
    return 0;
}

// Whether the font that belongs to a language is on this machine, and the one that is taken.
int printFont(int argc, char** argv)
{
    const QGuiApplication application(argc, argv);
    LanguageOperator language = withCurrent(QString::fromUtf8(argv[2]));
    const QString family = language.GetLangFont(kWithoutFile).family();
    const bool isThere = family != kYahei && QFont(family).exactMatch();
    std::printf("%s|%s", isThere ? "there" : "missing", qPrintable(family));
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 2 && qstrcmp(argv[1], kPrintMark) == 0)
        return printMark(argc, argv);
    if (argc == 3 && qstrcmp(argv[1], kPrintFont) == 0)
        return printFont(argc, argv);
    const QGuiApplication application(argc, argv);
    tst_LanguageOperator test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_LanguageOperator.moc"

// SPDX-License-Identifier: MIT
#include "Tool/StringOperator.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTranslator>
#include <QtTest>

#include <memory>
#include <type_traits>

namespace {

/// \brief Translates the percent sign, and tells by the result which context it was asked in.
class PercentTranslator : public QTranslator
{
public:
    QString translate(const char* context, const char* source, const char*, int) const override
    {
        if (qstrcmp(source, "label_percent_sign") != 0)
            return QString();
        return qstrcmp(context, "QObject") == 0 ? QStringLiteral("\u066A") : QStringLiteral("other context");
    }
    bool isEmpty() const override { return false; }
};

const QString kMarked = QStringLiteral("at [percent_sign_start]50[percent_sign_end] now");

} // namespace

class tst_StringOperator : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void isAPlainClass();
    void comparesVersions_data();
    void comparesVersions();
    void placesThePercentSign_data();
    void placesThePercentSign();
    void translatesThePercentSign();
    void appendsTheFixedName_data();
    void appendsTheFixedName();
    void checksPaths_data();
    void checksPaths();
    void existingPathsAreValid();
    void rulesOutForbiddenCharacters_data();
    void rulesOutForbiddenCharacters();
    void looksForTheTextBeforeTheFirstColon();

private:
    std::unique_ptr<QTemporaryDir> m_folder;
    QString m_before;
};

// Each test in an empty folder of its own, with a "drive" where there are none.
void tst_StringOperator::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
    m_before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(m_folder->path()));
#ifndef Q_OS_WIN
    QVERIFY(QDir().mkdir(QStringLiteral("C:")));
#endif
}

void tst_StringOperator::cleanup()
{
    QDir::setCurrent(m_before);
    m_folder.reset();
}

void tst_StringOperator::isAPlainClass()
{
    static_assert(std::is_empty_v<StringOperator>);
    static_assert(std::is_default_constructible_v<StringOperator>);
    static_assert(std::is_copy_assignable_v<StringOperator>);
    static_assert(std::is_move_assignable_v<StringOperator>);
    static_assert(!std::is_base_of_v<QObject, StringOperator>);
    StringOperator one;
    one = StringOperator();
    Q_UNUSED(one)
}

void tst_StringOperator::comparesVersions_data()
{
    QTest::addColumn<QString>("a");
    QTest::addColumn<QString>("b");
    QTest::addColumn<int>("result");
    const auto row = [](const char* a, const char* b, int result) {
        QTest::addRow("%s | %s", a, b) << QString::fromLatin1(a) << QString::fromLatin1(b) << result;
    };
    row("1.2.3", "1.2.10", 1);
    row("1.2.10", "1.2.3", -1);
    row("1.2", "1.2.0", 0);
    row("1.0", "1", 0);
    row("1.2", "1.2.0.5", 1);
    row("1.2.0.5", "1.2", -1);
    row("2", "10", 1);
    row("", "1", 2);
    row("1", "", -2);
    row("", "", 0);
    row("a", "a", 0);
    row("A", "a", -2);
    row("1.a", "1.2", -2);
    row("1.2", "1.a", -2);
    // What comes before a part that is no number decides.
    row("1.a", "2.a", 1);
    row("2.a", "1.b", -1);
    row("1.a", "1", -2);
    row("1..2", "1.2", 0);
    row(".1.2.", "1.2", 0);
    row("1..2", "1.3", 1);
    row(".", "..", 0);
    row(".", "1", 1);
    row("1", ".", -1);
    row(".", "", -2);
    row("", ".", 2);
    row("01", "1", 0);
    row("-1", "1", 1);
    row("0x10", "16", -2);
    row("2147483647", "2147483646", -1);
    row("2147483648", "1", -2);
    row("1", "2147483648", -2);
    row("1.0-beta", "1.0", -2);
}

void tst_StringOperator::comparesVersions()
{
    QFETCH(QString, a);
    QFETCH(QString, b);
    QTEST(StringOperator::VersionCompare(a, b), "result");
}

void tst_StringOperator::placesThePercentSign_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("lang");
    QTest::addColumn<QString>("result");
    const QString two = kMarked + kMarked;
    QTest::newRow("Turkish") << kMarked << "tr-tr" << QStringLiteral("at %50 now");
    QTest::newRow("English") << kMarked << "en-us" << QStringLiteral("at 50% now");
    QTest::newRow("Turkish in other letter case") << kMarked << "tr-TR" << QStringLiteral("at 50% now");
    QTest::newRow("no language") << kMarked << QString() << QStringLiteral("at 50% now");
    QTest::newRow("all markers, Turkish") << two << "tr-tr" << QStringLiteral("at %50 nowat %50 now");
    QTest::newRow("all markers, English") << two << "en-us" << QStringLiteral("at 50% nowat 50% now");
    QTest::newRow("no marker") << QStringLiteral("50") << "tr-tr" << QStringLiteral("50");
    QTest::newRow("marker in other letter case")
        << QStringLiteral("[Percent_sign_start]5") << "tr-tr" << QStringLiteral("[Percent_sign_start]5");
}

void tst_StringOperator::placesThePercentSign()
{
    QFETCH(QString, text);
    QFETCH(QString, lang);
    QTEST(StringOperator::AddPercent(text, lang, QStringLiteral("%")), "result");
}

void tst_StringOperator::translatesThePercentSign()
{
    QCOMPARE(StringOperator::AddPercentSign(kMarked, QStringLiteral("en-us")),
             QStringLiteral("at 50label_percent_sign now"));
    PercentTranslator translator;
    QVERIFY(QCoreApplication::installTranslator(&translator));
    QCOMPARE(StringOperator::AddPercentSign(kMarked, QStringLiteral("en-us")), QStringLiteral("at 50\u066A now"));
    QCOMPARE(StringOperator::AddPercentSign(kMarked, QStringLiteral("tr-tr")), QStringLiteral("at \u066A50 now"));
}

void tst_StringOperator::appendsTheFixedName_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("result");
    const auto row = [](const char* path, const char* name, const char* result) {
        QTest::addRow("%s + %s", path, name)
            << QString::fromLatin1(path) << QString::fromLatin1(name) << QString::fromLatin1(result);
    };
    row("C:\\Games\\", "Data", "C:/Games/Data");
    row("C:/Games/data", "Data", "C:/Games/data");
    row("C:/Games/DATA/", "data", "C:/Games/DATA");
    row("C:/Games/MyData", "Data", "C:/Games/MyData/Data");
    row("C:/Data/Games", "Data", "C:/Data/Games/Data");
    row("C:\\\\Games\\\\x", "Data", "C:/Games/x/Data");
    row("C:\\Games\\x", "", "C:/Games/x");
    row("C:/Games/", "", "C:/Games");
    row("C:/Games//", "", "C:/Games/");
    row("C:/Games//", "Data", "C:/Games//Data");
    row("C:/Games\\\\", "Data", "C:/Games/Data");
    row("\\\\\\x", "Data", "//x/Data");
    row("\\\\server\\share", "Data", "/server/share/Data");
    row("C:\\", "Data", "C:/Data");
    row("C:", "c:", "C:");
    row("Data", "data", "Data");
    row("", "Data", "/Data");
    row("", "", "");
    row("/", "Data", "/Data");
    row("C:/%2/%1", "%1x", "C:/%2/%1/%1x");
    row("C:/Games", "a/b", "C:/Games/a/b");
    row("C:/Games/a/b", "a/b", "C:/Games/a/b/a/b");
}

void tst_StringOperator::appendsTheFixedName()
{
    QFETCH(QString, path);
    QFETCH(QString, name);
    QTEST(StringOperator::AppendFixedPath(path, name), "result");
}

void tst_StringOperator::checksPaths_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("valid");
    QTest::newRow("empty") << QString() << false;
    QTest::newRow("new folder") << QStringLiteral("C:/new/dir") << true;
    QTest::newRow("new folder with backslashes") << QStringLiteral("C:\\new\\dir") << true;
    QTest::newRow("the drive alone") << QStringLiteral("C:") << true;
    QTest::newRow("ASCII question mark") << QStringLiteral("C:/new/dir?") << true;
    QTest::newRow("full-width question mark") << QStringLiteral("C:/new/dir\uFF1F") << false;
    QTest::newRow("without a drive") << QStringLiteral("new/dir") << false;
    QTest::newRow("a drive that does not exist") << QStringLiteral("Q:/new") << false;
    QTest::newRow("a drive of one character") << QStringLiteral(":/new") << false;
    QTest::newRow("other characters") << QStringLiteral("C:/n\u00FC w-_.,;'`~!@#$%^&()[]{}+=") << true;
}

void tst_StringOperator::checksPaths()
{
    QFETCH(QString, path);
    QTEST(StringOperator::IsValidPath(path), "valid");
}

void tst_StringOperator::existingPathsAreValid()
{
    const QString name = QStringLiteral("file\uFF1F");
    QVERIFY(!StringOperator::IsValidPath(name));
    QFile file(name);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.close();
    QVERIFY(StringOperator::IsValidPath(name));
    QVERIFY(QDir().mkdir(QStringLiteral("folder")));
    QVERIFY(StringOperator::IsValidPath(QStringLiteral("folder")));
}

void tst_StringOperator::rulesOutForbiddenCharacters_data()
{
    QTest::addColumn<QString>("character");
    for (const QChar character : QStringLiteral("\uFF1F*><|:\""))
        QTest::addRow("U+%04X", character.unicode()) << QString(character);
}

void tst_StringOperator::rulesOutForbiddenCharacters()
{
    QFETCH(QString, character);
    QVERIFY(!StringOperator::IsValidPath(QStringLiteral("C:/new") + character));
    QVERIFY(!StringOperator::IsValidPath(QStringLiteral("C:/new") + character + QStringLiteral("/more")));
    QVERIFY(!StringOperator::IsValidPath(QStringLiteral("C:") + character));
}

void tst_StringOperator::looksForTheTextBeforeTheFirstColon()
{
    // A "drive" need not be a letter: what is before the first colon only has to exist, together with the colon.
    const QString path = QStringLiteral("longer:/new");
    QVERIFY(!StringOperator::IsValidPath(path));
#ifndef Q_OS_WIN
    QVERIFY(QDir().mkdir(QStringLiteral("longer:")));
    QVERIFY(StringOperator::IsValidPath(path));
    QVERIFY(!StringOperator::IsValidPath(QStringLiteral("longer:/new:x")));
    // Not before the last one.
    QVERIFY(QDir().mkdir(QStringLiteral("two:colons:")));
    QVERIFY(!StringOperator::IsValidPath(QStringLiteral("two:colons:/new")));
#endif
}

QTEST_GUILESS_MAIN(tst_StringOperator)

#include "tst_StringOperator.moc"

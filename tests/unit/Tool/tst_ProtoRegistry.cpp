// SPDX-License-Identifier: MIT
// What ProtoRegistry leaves in the registry, read and prepared with the system's own functions.
#include "Tool/ProtoRegistry.h"

#include <QCoreApplication>
#include <QtTest>

#include <windows.h>

#include <string>
#include <type_traits>
#include <vector>

namespace {

struct Value
{
    DWORD type = REG_NONE;
    QString text;
    DWORD number = 0;
};

/// \brief A key of the current user and what is below it.
class Key
{
public:
    explicit Key(const QString& path) : m_path(path.toStdWString()) {}

    bool exists() const
    {
        HKEY key = nullptr;
        if (RegOpenKeyExW(HKEY_CURRENT_USER, m_path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
            return false;
        RegCloseKey(key);
        return true;
    }

    Value value(const QString& name) const
    {
        Value value;
        std::vector<wchar_t> buffer(1024);
        DWORD bytes = static_cast<DWORD>(buffer.size() * sizeof(wchar_t));
        if (RegGetValueW(HKEY_CURRENT_USER, m_path.c_str(), name.toStdWString().c_str(), RRF_RT_ANY | RRF_NOEXPAND,
                         &value.type, buffer.data(), &bytes) != ERROR_SUCCESS)
            return Value();
        if (value.type == REG_SZ)
            value.text = QString::fromWCharArray(buffer.data());
        if (value.type == REG_DWORD)
            value.number = *reinterpret_cast<const DWORD*>(buffer.data());
        return value;
    }

    QString text(const QString& name = QString()) const { return value(name).text; }

    /// Names of values, then of subkeys with a backslash in front.
    QStringList entries() const
    {
        QStringList names;
        HKEY key = nullptr;
        if (RegOpenKeyExW(HKEY_CURRENT_USER, m_path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
            return names;
        std::vector<wchar_t> name(256);
        for (DWORD index = 0;; ++index) {
            DWORD length = static_cast<DWORD>(name.size());
            if (RegEnumValueW(key, index, name.data(), &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
                break;
            names.append(QString::fromWCharArray(name.data()));
        }
        for (DWORD index = 0;; ++index) {
            DWORD length = static_cast<DWORD>(name.size());
            if (RegEnumKeyExW(key, index, name.data(), &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
                break;
            names.append(QLatin1Char('\\') + QString::fromWCharArray(name.data()));
        }
        RegCloseKey(key);
        names.sort();
        return names;
    }

    bool create() const
    {
        HKEY key = nullptr;
        if (RegCreateKeyExW(HKEY_CURRENT_USER, m_path.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr) !=
            ERROR_SUCCESS)
            return false;
        RegCloseKey(key);
        return true;
    }

    bool set(const QString& name, const QString& text) const
    {
        const std::wstring data = text.toStdWString();
        return create() &&
               RegSetKeyValueW(HKEY_CURRENT_USER, m_path.c_str(), name.toStdWString().c_str(), REG_SZ, data.c_str(),
                               static_cast<DWORD>((data.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS;
    }

    bool unset(const QString& name) const
    {
        return RegDeleteKeyValueW(HKEY_CURRENT_USER, m_path.c_str(), name.toStdWString().c_str()) == ERROR_SUCCESS;
    }

    void remove() const { RegDeleteTreeW(HKEY_CURRENT_USER, m_path.c_str()); }

private:
    const std::wstring m_path;
};

const QString kUrlProtocol = QStringLiteral("URL Protocol");
const QString kOriginalEncoding = QStringLiteral("UseOriginalUrlEncoding");
const QString kDefault; // a key's default value has no name
const QString kTampered = QStringLiteral("tampered");

} // namespace

class tst_ProtoRegistry : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void isAPlainClass();
    void namesWhatItWrites();
    void registersAProgram();
    void registersTwoSchemes();
    void registersNothingWithoutAName();
    void writesOnlyTheFirstTime();
    void leavesAnotherArgument();
    void writesOverALeadingBlank();
    void writesAgainAfterTheProgramMoved();
    void writesAPathWithBlanksEachTime();
    void comparesLetterCase();
    void takesOverFromAnotherProgram();
    void writesIntoAnEmptyKey();
    void writesWhenOnlyTheCommandIsMissing();
    void looksAtSubkeysForEntries();
    void leavesAnEmptyKey();
    void unregistersWhateverProgram();
    void unregistersWhatIsNotThere();
    void unregistersNothingWithoutAName();
    void registersAfterUnregistering();
    void checksNothing();

private:
    ProtoRegistry::Schema schema(const QString& appPath = QStringLiteral("C:/Games/launcher.exe")) const
    {
        return {appPath, m_protocol};
    }
    Key scheme() const { return Key(QStringLiteral("SOFTWARE\\Classes\\") + m_protocol); }
    Key command() const
    {
        return Key(QStringLiteral("SOFTWARE\\Classes\\") + m_protocol + QStringLiteral("\\shell\\open\\command"));
    }

    // Changes what a registration writes, so that the next one shows.
    void tamper() const { QVERIFY(scheme().set(kUrlProtocol, kTampered)); }
    bool isTampered() const { return scheme().text(kUrlProtocol) == kTampered; }

    QString m_protocol;
};

void tst_ProtoRegistry::init()
{
    m_protocol = QStringLiteral("tst-protoregistry-%1").arg(QCoreApplication::applicationPid());
    QVERIFY(!scheme().exists());
}

void tst_ProtoRegistry::cleanup()
{
    scheme().remove();
}

void tst_ProtoRegistry::isAPlainClass()
{
    static_assert(std::is_default_constructible_v<ProtoRegistry>);
    static_assert(std::is_copy_assignable_v<ProtoRegistry>);
    static_assert(!std::is_base_of_v<QObject, ProtoRegistry>);
}

void tst_ProtoRegistry::namesWhatItWrites()
{
    QCOMPARE(ProtoRegistry::kRootPath, QStringLiteral("HKEY_CURRENT_USER\\SOFTWARE\\Classes"));
    QCOMPARE(ProtoRegistry::kCommandSubPath, QStringLiteral("\\shell\\open\\command"));
    QCOMPARE(ProtoRegistry::kUrlProtocol, QStringLiteral("URL Protocol"));
    QCOMPARE(ProtoRegistry::kUseOriginalUrlEncoding, QStringLiteral("UseOriginalUrlEncoding"));
    QCOMPARE(ProtoRegistry::kDefault, QStringLiteral("Default"));
    QCOMPARE(ProtoRegistry::kUrlArgument, QStringLiteral("--url=%1"));
    QCOMPARE(ProtoRegistry::kPelorhubCommandPath,
             QStringLiteral("HKEY_CURRENT_USER\\SOFTWARE\\Classes\\pelorhub\\shell\\open\\command"));
}

void tst_ProtoRegistry::registersAProgram()
{
    ProtoRegistry().Register(schema());
    QCOMPARE(scheme().entries(), (QStringList{kUrlProtocol, kOriginalEncoding, QStringLiteral("\\shell")}));
    QCOMPARE(scheme().value(kUrlProtocol).type, DWORD(REG_SZ));
    QCOMPARE(scheme().text(kUrlProtocol), m_protocol);
    QCOMPARE(scheme().value(kOriginalEncoding).type, DWORD(REG_DWORD));
    QCOMPARE(scheme().value(kOriginalEncoding).number, DWORD(1));
    QCOMPARE(command().entries(), QStringList(kDefault));
    QCOMPARE(command().value(kDefault).type, DWORD(REG_SZ));
    QCOMPARE(command().text(), QStringLiteral("\"C:\\Games\\launcher.exe\" \"--url=%1\""));
}

void tst_ProtoRegistry::registersTwoSchemes()
{
    const Key second(QStringLiteral("SOFTWARE\\Classes\\") + m_protocol + QStringLiteral("-two"));
    ProtoRegistry registry;
    registry.Register(schema());
    registry.Register({QStringLiteral("D:\\two.exe"), m_protocol + QStringLiteral("-two")});
    registry.UnRegister(schema());
    const QString protocol = second.text(kUrlProtocol);
    second.remove();
    QCOMPARE(protocol, m_protocol + QStringLiteral("-two"));
    QCOMPARE(scheme().entries(), QStringList());
}

void tst_ProtoRegistry::registersNothingWithoutAName()
{
    // The key of all schemes and file types, in which other programs may write meanwhile.
    const Key classes(QStringLiteral("SOFTWARE\\Classes"));
    const Key shell(QStringLiteral("SOFTWARE\\Classes\\shell"));
    const auto written = [&classes] {
        QStringList found;
        const QStringList entries = classes.entries();
        for (const QString& entry : entries) {
            if (entry == kUrlProtocol || entry == kOriginalEncoding || entry == QStringLiteral("\\shell"))
                found << entry;
        }
        return found;
    };
    QCOMPARE(written(), QStringList());
    ProtoRegistry().Register({schema().appPath, QString()});
    const QStringList left = written();
    if (!left.isEmpty()) {
        shell.remove();
        classes.unset(kUrlProtocol);
        classes.unset(kOriginalEncoding);
    }
    QCOMPARE(left, QStringList());
}

void tst_ProtoRegistry::writesOnlyTheFirstTime()
{
    ProtoRegistry registry;
    registry.Register(schema());
    tamper();
    QVERIFY(scheme().unset(kOriginalEncoding));
    registry.Register(schema());
    QVERIFY(isTampered());
    QCOMPARE(scheme().value(kOriginalEncoding).type, DWORD(REG_NONE));
    // Slashes of the other kind make no difference.
    registry.Register(schema(QStringLiteral("C:\\Games\\launcher.exe")));
    QVERIFY(isTampered());
}

void tst_ProtoRegistry::leavesAnotherArgument()
{
    ProtoRegistry registry;
    registry.Register(schema());
    const QString other = QStringLiteral("\"C:\\Games\\launcher.exe\" \"--open=%1\"");
    QVERIFY(command().set(kDefault, other));
    registry.Register(schema());
    QCOMPARE(command().text(), other);
    QVERIFY(command().set(kDefault, QStringLiteral("\"C:\\Games\\launcher.exe\"")));
    registry.Register(schema());
    QCOMPARE(command().text(), QStringLiteral("\"C:\\Games\\launcher.exe\""));
}

// What is before the first blank is compared, though it be nothing.
void tst_ProtoRegistry::writesOverALeadingBlank()
{
    ProtoRegistry registry;
    registry.Register(schema());
    tamper();
    QVERIFY(command().set(kDefault, QStringLiteral(" \"C:\\Games\\launcher.exe\" \"--url=%1\"")));
    registry.Register(schema());
    QVERIFY(!isTampered());
    QCOMPARE(command().text(), QStringLiteral("\"C:\\Games\\launcher.exe\" \"--url=%1\""));
}

void tst_ProtoRegistry::writesAgainAfterTheProgramMoved()
{
    ProtoRegistry registry;
    registry.Register(schema());
    tamper();
    QVERIFY(scheme().unset(kOriginalEncoding));
    registry.Register(schema(QStringLiteral("D:/Moved/launcher.exe")));
    QCOMPARE(scheme().text(kUrlProtocol), m_protocol);
    QCOMPARE(scheme().value(kOriginalEncoding).number, DWORD(1));
    QCOMPARE(command().text(), QStringLiteral("\"D:\\Moved\\launcher.exe\" \"--url=%1\""));
}

void tst_ProtoRegistry::writesAPathWithBlanksEachTime()
{
    ProtoRegistry registry;
    const ProtoRegistry::Schema blanks = schema(QStringLiteral("C:/My Games/launcher.exe"));
    registry.Register(blanks);
    const QString expected = QStringLiteral("\"C:\\My Games\\launcher.exe\" \"--url=%1\"");
    QCOMPARE(command().text(), expected);
    tamper();
    registry.Register(blanks);
    QVERIFY(!isTampered());
    QCOMPARE(command().text(), expected);
}

void tst_ProtoRegistry::comparesLetterCase()
{
    ProtoRegistry registry;
    registry.Register(schema());
    tamper();
    registry.Register(schema(QStringLiteral("c:/games/launcher.exe")));
    QVERIFY(!isTampered());
    QCOMPARE(command().text(), QStringLiteral("\"c:\\games\\launcher.exe\" \"--url=%1\""));
}

void tst_ProtoRegistry::takesOverFromAnotherProgram()
{
    const Key icon(QStringLiteral("SOFTWARE\\Classes\\") + m_protocol + QStringLiteral("\\DefaultIcon"));
    QVERIFY(scheme().set(kDefault, QStringLiteral("URL:Other")));
    QVERIFY(scheme().set(kUrlProtocol, QString()));
    QVERIFY(icon.set(kDefault, QStringLiteral("other.exe,1")));
    QVERIFY(command().set(kDefault, QStringLiteral("\"C:\\Other\\other.exe\" \"%1\"")));
    ProtoRegistry().Register(schema());
    QCOMPARE(scheme().text(kUrlProtocol), m_protocol);
    QCOMPARE(scheme().value(kOriginalEncoding).number, DWORD(1));
    QCOMPARE(command().text(), QStringLiteral("\"C:\\Games\\launcher.exe\" \"--url=%1\""));
    // What it does not write stays.
    QCOMPARE(scheme().text(), QStringLiteral("URL:Other"));
    QCOMPARE(icon.text(), QStringLiteral("other.exe,1"));
}

void tst_ProtoRegistry::writesIntoAnEmptyKey()
{
    QVERIFY(scheme().create());
    ProtoRegistry().Register(schema());
    QCOMPARE(scheme().text(kUrlProtocol), m_protocol);
    QCOMPARE(command().text(), QStringLiteral("\"C:\\Games\\launcher.exe\" \"--url=%1\""));
}

void tst_ProtoRegistry::writesWhenOnlyTheCommandIsMissing()
{
    tamper();
    ProtoRegistry().Register(schema());
    QVERIFY(!isTampered());
    QCOMPARE(command().text(), QStringLiteral("\"C:\\Games\\launcher.exe\" \"--url=%1\""));
}

void tst_ProtoRegistry::looksAtSubkeysForEntries()
{
    QVERIFY(command().set(kDefault, QStringLiteral("\"C:\\Games\\launcher.exe\" x")));
    ProtoRegistry().Register(schema());
    QCOMPARE(scheme().entries(), QStringList(QStringLiteral("\\shell")));
    QCOMPARE(command().text(), QStringLiteral("\"C:\\Games\\launcher.exe\" x"));
}

void tst_ProtoRegistry::leavesAnEmptyKey()
{
    ProtoRegistry registry;
    registry.Register(schema());
    registry.UnRegister(schema());
    QVERIFY(scheme().exists());
    QCOMPARE(scheme().entries(), QStringList());
}

void tst_ProtoRegistry::unregistersWhateverProgram()
{
    QVERIFY(scheme().set(kDefault, QStringLiteral("URL:Other")));
    QVERIFY(scheme().set(QStringLiteral("FriendlyTypeName"), QStringLiteral("Other")));
    QVERIFY(command().set(kDefault, QStringLiteral("\"C:\\Other\\other.exe\" \"%1\"")));
    ProtoRegistry().UnRegister(schema());
    QVERIFY(scheme().exists());
    QCOMPARE(scheme().entries(), QStringList());
}

void tst_ProtoRegistry::unregistersWhatIsNotThere()
{
    ProtoRegistry().UnRegister(schema());
    QCOMPARE(scheme().entries(), QStringList());
}

void tst_ProtoRegistry::unregistersNothingWithoutAName()
{
    ProtoRegistry registry;
    registry.Register(schema());
    registry.UnRegister({schema().appPath, QString()});
    QCOMPARE(scheme().text(kUrlProtocol), m_protocol);
}

void tst_ProtoRegistry::registersAfterUnregistering()
{
    ProtoRegistry registry;
    registry.Register(schema());
    registry.UnRegister(schema());
    registry.Register(schema());
    QCOMPARE(scheme().text(kUrlProtocol), m_protocol);
    QCOMPARE(command().text(), QStringLiteral("\"C:\\Games\\launcher.exe\" \"--url=%1\""));
}

void tst_ProtoRegistry::checksNothing()
{
    QVERIFY(ProtoRegistry().CheckProtoRegistry());
    ProtoRegistry registry;
    registry.Register(schema());
    QVERIFY(registry.CheckProtoRegistry());
    registry.UnRegister(schema());
    QVERIFY(registry.CheckProtoRegistry());
}

QTEST_GUILESS_MAIN(tst_ProtoRegistry)

#include "tst_ProtoRegistry.moc"

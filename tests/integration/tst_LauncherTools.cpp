// SPDX-License-Identifier: MIT
// The launcher's commands that ask the library for one thing, as their user sees them.
#include "LauncherProcess.h"
#include "Tool/PcInfo.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#ifdef Q_OS_WIN
#include "ProcessChild.h"
#include "Tool/ProcessOperator.h"

#include <windows.h>

#include <vector>
#endif

namespace {

LauncherResult launcher(const QStringList& arguments)
{
    return LauncherProcess::run(arguments);
}

/// \brief Value of the line of a table; "(none)" without such a line.
QString valueOf(const LauncherResult& result, const QString& label)
{
    const QStringList lines = result.outLines();
    for (const QString& line : lines) {
        if (line.startsWith(label + QLatin1Char(' ')))
            return line.mid(label.size()).trimmed();
    }
    return QStringLiteral("(none)");
}

QStringList words(const char* text)
{
    return QString::fromLatin1(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

} // namespace

class tst_LauncherTools : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tellsHowToUseIt_data();
    void tellsHowToUseIt();
    void refusesWrongUse_data();
    void refusesWrongUse();
    void describesTheMachine();
    void tellsTheSpaceOfADisk();
    void knowsWhenThereIsNoDisk();
    void choosesALanguage_data();
    void choosesALanguage();
    void choosesALanguageForTheSystem();
#ifdef Q_OS_WIN
    void takesDrivesInManyForms_data();
    void takesDrivesInManyForms();
    void findsAndEndsProcesses();
    void findsAndEndsAProcessById();
    void registersAScheme();
#else
    void saysWhatIsForWindowsOnly_data();
    void saysWhatIsForWindowsOnly();
#endif
};

void tst_LauncherTools::tellsHowToUseIt_data()
{
    QTest::addColumn<QString>("command");
    for (const char* command : {"machine", "disk", "process", "protocol", "language"})
        QTest::newRow(command) << QString::fromLatin1(command);
}

void tst_LauncherTools::tellsHowToUseIt()
{
    QFETCH(QString, command);
    QVERIFY(launcher({QStringLiteral("--help")}).out.contains(QStringLiteral("  %1 ").arg(command)));
    const LauncherResult result = launcher({command, QStringLiteral("--help")});
    QCOMPARE(result.code, 0);
    QCOMPARE(result.err, QString());
    QVERIFY2(result.out.startsWith(QStringLiteral("Usage: launcher %1").arg(command)), qPrintable(result.out));
    for (const char* line : {"\nExit codes:\n", "\n  0  ", "\n  2  "})
        QVERIFY2(result.out.contains(QLatin1String(line)), line);
    QCOMPARE(launcher({command, QStringLiteral("-h")}).out, result.out);
}

void tst_LauncherTools::refusesWrongUse_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char* arguments, const char* reason) {
        QTest::newRow(arguments) << words(arguments) << QString::fromLatin1(reason);
    };
    row("machine x", "no arguments are wanted");
    row("machine --fast", "Unknown option 'fast'.");
    row("disk", "exactly one disk is wanted");
    row("disk C D", "exactly one disk is wanted");
    row("disk no/such", "\"no/such\" names no disk");
    row("process", "exactly one name is wanted");
    row("process a.exe b.exe", "exactly one name is wanted");
    row("process folder/a.exe", "\"folder/a.exe\" is a path; the bare file name is wanted");
    row("process --pid x", "--pid wants the number of a process");
    row("process --pid 0", "--pid wants the number of a process");
    row("process --pid=-4", "--pid wants the number of a process");
    row("process --pid 4 a.exe", "give a name or --pid, not both");
    row("protocol", "register or unregister is wanted");
    row("protocol forget x", "register or unregister is wanted");
    row("protocol register", "a scheme and at most one program are wanted");
    row("protocol register x a b", "a scheme and at most one program are wanted");
    row("protocol unregister", "exactly one scheme is wanted");
    row("protocol unregister x a", "exactly one scheme is wanted");
    row("protocol unregister a\\b", "\"a\\b\" is no name of a URL scheme");
    row("protocol register 1x", "\"1x\" is no name of a URL scheme");
    row("protocol register x no-such-program", "there is no program no-such-program");
    row("language en-us zh-cn", "at most one language is wanted");
}

void tst_LauncherTools::refusesWrongUse()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, reason);
    const LauncherResult result = launcher(arguments);
    QCOMPARE(result.err, QStringLiteral("error: %1 (see launcher %2 --help)\n").arg(reason, arguments.constFirst()));
    QCOMPARE(result.code, 2);
    QCOMPARE(result.out, QString());
}

void tst_LauncherTools::describesTheMachine()
{
    const LauncherResult result = launcher({QStringLiteral("machine")});
    QCOMPARE(result.code, 0);
    QCOMPARE(result.err, QString());
    QCOMPARE(valueOf(result, QStringLiteral("Name")), PcInfo::localmachineName());
    QCOMPARE(valueOf(result, QStringLiteral("System")), PcInfo::osType() + QLatin1Char(' ') + PcInfo::osVersion());
    QCOMPARE(valueOf(result, QStringLiteral("Kernel")), PcInfo::osBuild());
    QCOMPARE(valueOf(result, QStringLiteral("Architecture")), PcInfo::osArch());
    QCOMPARE(valueOf(result, QStringLiteral("Processor")), PcInfo::cpuType().trimmed());
    QCOMPARE(valueOf(result, QStringLiteral("Notebook")),
             PcInfo::IsNoteBookPc() ? QStringLiteral("yes") : QStringLiteral("no"));
    QCOMPARE(valueOf(result, QStringLiteral("Screens")), QStringLiteral("not known"));
    const QString total = PcInfo::memory().section(QLatin1Char('/'), 1);
    QVERIFY2(valueOf(result, QStringLiteral("Memory")).endsWith(total), qPrintable(result.out));
    for (const char* label : {"Graphics", "IP address", "Network card", "Disk, free", "Disk, total"})
        QVERIFY2(valueOf(result, QLatin1String(label)) != QLatin1String("(none)"), label);
    QVERIFY2(!result.out.contains(QStringLiteral("label_")), qPrintable(result.out));
    // One column of values.
    const QStringList lines = result.outLines();
    QCOMPARE(lines.size(), 13);
    for (const QString& line : lines)
        QVERIFY2(line.mid(12, 2) == QLatin1String("  ") && line.at(14) != QLatin1Char(' '), qPrintable(line));
}

void tst_LauncherTools::tellsTheSpaceOfADisk()
{
    const QTemporaryDir folder;
#ifdef Q_OS_WIN
    const QString place = QStringLiteral("C:");
#else
    const QString place = folder.path();
#endif
    const LauncherResult result = launcher({QStringLiteral("disk"), place});
    QCOMPARE(result.code, 0);
    QCOMPARE(valueOf(result, QStringLiteral("Disk")), place);
    const QRegularExpression size(QStringLiteral("^\\d+(\\.\\d\\d)?[KMG]?B$"));
    QVERIFY2(size.match(valueOf(result, QStringLiteral("Free"))).hasMatch(), qPrintable(result.out));
    QVERIFY2(size.match(valueOf(result, QStringLiteral("Total"))).hasMatch(), qPrintable(result.out));
#ifdef Q_OS_WIN
    const QStringList kinds{QStringLiteral("HDD"), QStringLiteral("SSD"), QStringLiteral("SCM"),
                            QStringLiteral("not known")};
    QVERIFY2(kinds.contains(valueOf(result, QStringLiteral("Kind"))), qPrintable(result.out));
#else
    QCOMPARE(valueOf(result, QStringLiteral("Kind")), QStringLiteral("(none)"));
#endif
}

void tst_LauncherTools::knowsWhenThereIsNoDisk()
{
#ifdef Q_OS_WIN
    const LauncherResult result = launcher({QStringLiteral("disk"), QStringLiteral("Q")});
    QCOMPARE(result.err, QStringLiteral("error: there is no disk at Q:\n"));
#else
    // The kernel's own files are on no disk.
    const LauncherResult result = launcher({QStringLiteral("disk"), QStringLiteral("/proc")});
    QCOMPARE(result.err, QStringLiteral("error: there is no disk at /proc\n"));
#endif
    QCOMPARE(result.code, 1);
    QCOMPARE(result.out, QString());
}

void tst_LauncherTools::choosesALanguage_data()
{
    QTest::addColumn<QString>("mark");
    QTest::addColumn<bool>("hasTranslation");
    QTest::newRow("English") << "en-us" << true;
    QTest::newRow("Chinese") << "zh-cn" << true;
    QTest::newRow("without a translation") << "xx-yy" << false;
}

void tst_LauncherTools::choosesALanguage()
{
    QFETCH(QString, mark);
    QFETCH(bool, hasTranslation);
    const LauncherResult result = launcher({QStringLiteral("language"), mark});
    QCOMPARE(valueOf(result, QStringLiteral("Language")), mark);
    QCOMPARE(valueOf(result, QStringLiteral("Translation")),
             hasTranslation ? QStringLiteral("yes") : QStringLiteral("no"));
    QCOMPARE(valueOf(result, QStringLiteral("Own font")), QStringLiteral("no"));
    QCOMPARE(result.code, hasTranslation ? 0 : 1);
    QCOMPARE(result.err,
             hasTranslation ? QString() : QStringLiteral("error: there is no translation for %1\n").arg(mark));
}

void tst_LauncherTools::choosesALanguageForTheSystem()
{
    const LauncherResult result = launcher({QStringLiteral("language")});
    QCOMPARE(result.code, 0);
    const QStringList marks{QStringLiteral("en-us"), QStringLiteral("zh-cn")};
    QVERIFY2(marks.contains(valueOf(result, QStringLiteral("Language"))), qPrintable(result.out));
    QVERIFY2(QRegularExpression(QStringLiteral("^(zh-cn|en-us|ja-jp|ko-kr)$"))
                 .match(valueOf(result, QStringLiteral("Voice")))
                 .hasMatch(),
             qPrintable(result.out));
}

#ifdef Q_OS_WIN
namespace {

/// \brief The path, with a copy of the child's program there.
QString withProgram(const QString& path)
{
    if (!QFile::exists(path))
        QFile::copy(QStringLiteral(PROCESS_CHILD), path);
    return path;
}

/// \brief A running copy of the child's program.
class Child : public ProcessChild
{
public:
    explicit Child(const QString& path) : ProcessChild(withProgram(path)) {}
    QString pid() const { return QString::number(processId()); }
};

QString registryText(const QString& key, const QString& name)
{
    std::vector<wchar_t> buffer(1024);
    DWORD bytes = static_cast<DWORD>(buffer.size() * sizeof(wchar_t));
    if (RegGetValueW(HKEY_CURRENT_USER, key.toStdWString().c_str(), name.toStdWString().c_str(), RRF_RT_REG_SZ, nullptr,
                     buffer.data(), &bytes) != ERROR_SUCCESS)
        return QStringLiteral("(none)");
    return QString::fromWCharArray(buffer.data());
}

} // namespace

void tst_LauncherTools::takesDrivesInManyForms_data()
{
    QTest::addColumn<QString>("drive");
    for (const char* drive : {"C", "c", "c:", "C:\\", "C:/"})
        QTest::newRow(drive) << QString::fromLatin1(drive);
}

void tst_LauncherTools::takesDrivesInManyForms()
{
    QFETCH(QString, drive);
    const LauncherResult result = launcher({QStringLiteral("disk"), drive});
    QCOMPARE(result.code, 0);
    QCOMPARE(valueOf(result, QStringLiteral("Disk")), QStringLiteral("C:"));
}

void tst_LauncherTools::findsAndEndsProcesses()
{
    const QTemporaryDir folder;
    const QString name = QStringLiteral("Tools %1.exe").arg(QCoreApplication::applicationPid());
    const QString path = folder.filePath(name);
    const QString command = QStringLiteral("process");
    const LauncherResult none = launcher({command, name});
    QCOMPARE(none.code, 1);
    QCOMPARE(none.err, QStringLiteral("error: no %1 is running\n").arg(name));
    Child first(path);
    Child second(path);
    const LauncherResult both = launcher({command, name.toUpper()});
    QCOMPARE(both.code, 0);
    QCOMPARE(valueOf(both, first.pid()), QDir::toNativeSeparators(path));
    QCOMPARE(valueOf(both, second.pid()), QDir::toNativeSeparators(path));
    QCOMPARE(launcher({command, QStringLiteral("--kill"), name}).code, 0);
    QVERIFY(first.waitForFinished());
    QVERIFY(second.waitForFinished());
    const LauncherResult again = launcher({command, QStringLiteral("--kill"), name});
    QCOMPARE(again.code, 1);
    QVERIFY2(again.err.contains(QStringLiteral("error: %1 was not ended (taskkill: ").arg(name)),
             qPrintable(again.err));
}

void tst_LauncherTools::findsAndEndsAProcessById()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("Tools %1.exe").arg(QCoreApplication::applicationPid()));
    const QString command = QStringLiteral("process");
    const QString option = QStringLiteral("--pid");
    Child child(path);
    QCOMPARE(valueOf(launcher({command, option, child.pid()}), child.pid()), QDir::toNativeSeparators(path));
    const QString pid = child.pid();
    QCOMPARE(launcher({command, QStringLiteral("--kill"), option, pid}).code, 0);
    QVERIFY(child.waitForFinished());
    const LauncherResult none = launcher({command, option, QStringLiteral("2147483644")});
    QCOMPARE(none.code, 1);
    QCOMPARE(none.err, QStringLiteral("error: there is no process 2147483644, or it may not be looked at\n"));
}

void tst_LauncherTools::registersAScheme()
{
    const QString scheme = QStringLiteral("tst-launcher-%1").arg(QCoreApplication::applicationPid());
    const QString key = QStringLiteral("SOFTWARE\\Classes\\") + scheme;
    const QString command = key + QStringLiteral("\\shell\\open\\command");
    const QString program = QDir::toNativeSeparators(LauncherProcess().program());

    const LauncherResult added = launcher({QStringLiteral("protocol"), QStringLiteral("register"), scheme});
    const QString protocol = registryText(key, QStringLiteral("URL Protocol"));
    const QString handler = registryText(command, QString());
    const LauncherResult removed = launcher({QStringLiteral("protocol"), QStringLiteral("unregister"), scheme});
    const QString afterwards = registryText(key, QStringLiteral("URL Protocol"));
    RegDeleteTreeW(HKEY_CURRENT_USER, key.toStdWString().c_str());

    QCOMPARE(added.err, QString());
    QCOMPARE(added.code, 0);
    QCOMPARE(protocol, scheme);
    // The build's path may lack the drive that the program knows of itself.
    QVERIFY2(handler.startsWith(QLatin1Char('"')), qPrintable(handler));
    QVERIFY2(handler.endsWith(program + QStringLiteral("\" \"--url=%1\"")), qPrintable(handler));
    QCOMPARE(removed.err, QString());
    QCOMPARE(removed.code, 0);
    QCOMPARE(afterwards, QStringLiteral("(none)"));
}
#else
void tst_LauncherTools::saysWhatIsForWindowsOnly_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("reason");
    const QString processes = QStringLiteral("the library looks after processes on Windows only");
    const QString schemes = QStringLiteral("the library registers URL schemes on Windows only");
    QTest::newRow("find") << words("process game.exe") << processes;
    QTest::newRow("find by id") << words("process --pid 4") << processes;
    QTest::newRow("end") << words("process --kill game.exe") << processes;
    QTest::newRow("end by id") << words("process --kill --pid 4") << processes;
    QTest::newRow("register") << words("protocol register x") << schemes;
    QTest::newRow("unregister") << words("protocol unregister x") << schemes;
}

void tst_LauncherTools::saysWhatIsForWindowsOnly()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, reason);
    const LauncherResult result = launcher(arguments);
    QCOMPARE(result.err, QStringLiteral("error: %1\n").arg(reason));
    QCOMPARE(result.code, 1);
    QCOMPARE(result.out, QString());
}
#endif

QTEST_GUILESS_MAIN(tst_LauncherTools)

#include "tst_LauncherTools.moc"

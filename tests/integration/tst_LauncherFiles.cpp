// SPDX-License-Identifier: MIT
// "launcher unpack", "copy" and "md5" as their user sees them. In the place of 7z.exe is a program that a script leads,
// and once the real one.
#include "LauncherProcess.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

#ifdef Q_OS_UNIX
#include <csignal>
#include <sys/types.h>
#endif

namespace {

QString native(const QString& path)
{
    return QDir::toNativeSeparators(path);
}

} // namespace

class tst_LauncherFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void listsTheCommands();
    void helps_data();
    void helps();
    void refusesWrongUse_data();
    void refusesWrongUse();
    void unpacks();
    void unpacksWithASize();
    void unpacksWithoutASize();
    void reportsErrorsOfTheProgram();
    void saysHowToProvideTheProgram();
    void writesALog();
    void copies();
    void copiesOnlyWhatDiffers();
    void reportsWhatCannotBeCopied();
    void printsMd5s();
    void saltsMd5s();
    void reportsUnreadableFiles();
#ifdef Q_OS_UNIX
    void stopsUnpacking();
    void stopsChecking();
#endif

private:
    QString path(const QString& name) const
    {
        return m_folder->filePath(name);
    }
    void lay(const QString& name, const QByteArray& content) const;
    QByteArray read(const QString& name) const;
    void script(const QByteArray& text) const
    {
        lay(QStringLiteral("script"), text);
    }
    QStringList report() const
    {
        return QString::fromUtf8(read(QStringLiteral("report"))).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    }
    std::unique_ptr<LauncherProcess> launch(const QStringList& arguments, const QString& searchPath) const;
    LauncherResult run(const QStringList& arguments, const QString& searchPath = QStringLiteral(FAKE_7Z_DIR)) const;
    LauncherResult unpack(const QStringList& options = {}) const;

    std::unique_ptr<QTemporaryDir> m_folder;
};

void tst_LauncherFiles::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
    lay(QStringLiteral("a.7z"), "an archive");
}

void tst_LauncherFiles::lay(const QString& name, const QByteArray& content) const
{
    QVERIFY(QDir().mkpath(QFileInfo(path(name)).absolutePath()));
    QFile file(path(name));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), content.size());
}

QByteArray tst_LauncherFiles::read(const QString& name) const
{
    QFile file(path(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
}

std::unique_ptr<LauncherProcess> tst_LauncherFiles::launch(const QStringList& arguments,
                                                           const QString& searchPath) const
{
    auto launcher = std::make_unique<LauncherProcess>();
    launcher->addProgramFolder(searchPath);
    launcher->setVariable(QStringLiteral("FAKE_7Z_REPORT"), path(QStringLiteral("report")));
    launcher->setVariable(QStringLiteral("FAKE_7Z_SCRIPT"), path(QStringLiteral("script")));
    launcher->launch(arguments);
    return launcher;
}

LauncherResult tst_LauncherFiles::run(const QStringList& arguments, const QString& searchPath) const
{
    return launch(arguments, searchPath)->result();
}

LauncherResult tst_LauncherFiles::unpack(const QStringList& options) const
{
    return run(QStringList{QStringLiteral("unpack")} + options +
               QStringList{path(QStringLiteral("a.7z")), path(QStringLiteral("out"))});
}

void tst_LauncherFiles::listsTheCommands()
{
    const LauncherResult result = run({QStringLiteral("--help")});
    QCOMPARE(result.code, 0);
    for (const char* line : {"\n  unpack ", "\n  copy ", "\n  md5 "})
        QVERIFY2(result.out.contains(QLatin1String(line)), line);
}

void tst_LauncherFiles::helps_data()
{
    QTest::addColumn<QString>("usage");
    QTest::addColumn<QStringList>("codes");
    const QString interrupted = QStringLiteral("130");
    const QStringList usual{QStringLiteral("0"), QStringLiteral("1"), QStringLiteral("2"), interrupted};
    QTest::newRow("unpack") << QStringLiteral("unpack [OPTIONS] ARCHIVE FOLDER")
                            << usual + QStringList(QStringLiteral("3"));
    QTest::newRow("copy") << QStringLiteral("copy [OPTIONS] SOURCE FOLDER") << usual;
    QTest::newRow("md5") << QStringLiteral("md5 [OPTIONS] FILE...") << usual;
}

void tst_LauncherFiles::helps()
{
    QFETCH(QString, usage);
    QFETCH(QStringList, codes);
    const LauncherResult result = run({QString::fromLatin1(QTest::currentDataTag()), QStringLiteral("--help")});
    QCOMPARE(result.code, 0);
    QCOMPARE(result.err, QString());
    QCOMPARE(result.outLines().constFirst(), QStringLiteral("Usage: launcher ") + usage);
    for (const QString& code : codes)
        QVERIFY2(result.out.contains(QStringLiteral("\n  %1  ").arg(code)), qPrintable(code));
}

void tst_LauncherFiles::refusesWrongUse_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char* name, const QString& arguments, const QString& reason) {
        QTest::newRow(name) << arguments.split(QLatin1Char(' '), Qt::SkipEmptyParts) << reason;
    };
    row("unpack nothing", QStringLiteral("unpack"), QStringLiteral("an archive and a folder are wanted"));
    row("unpack to nowhere", QStringLiteral("unpack a"), QStringLiteral("an archive and a folder are wanted"));
    row("unpack too much", QStringLiteral("unpack a b c"), QStringLiteral("an archive and a folder are wanted"));
    row("unpack a missing archive", QStringLiteral("unpack missing.7z b"),
        QStringLiteral("there is no archive missing.7z"));
    row("unpack a folder", QStringLiteral("unpack . b"), QStringLiteral("there is no archive ."));
    row("unpack with a bad size", QStringLiteral("unpack --size many a b"),
        QStringLiteral("--size wants a number of bytes"));
    row("unpack with a negative size", QStringLiteral("unpack --size=-1 a b"),
        QStringLiteral("--size wants a number of bytes"));
    row("unpack with a bad language", QStringLiteral("unpack --lang xx a b"),
        QStringLiteral("--lang wants en-us or zh-cn"));
    row("unpack with an unknown option", QStringLiteral("unpack --fast a b"), QStringLiteral("Unknown option 'fast'."));
    row("copy nothing", QStringLiteral("copy"), QStringLiteral("a source folder and a folder are wanted"));
    row("copy to nowhere", QStringLiteral("copy ."), QStringLiteral("a source folder and a folder are wanted"));
    row("copy a missing folder", QStringLiteral("copy missing b"), QStringLiteral("missing is not a folder"));
    row("copy with an empty folder for changes", QStringLiteral("copy --changed= . b"),
        QStringLiteral("--changed wants a folder"));
    row("md5 of nothing", QStringLiteral("md5"), QStringLiteral("no file given"));
    row("md5 with an unknown option", QStringLiteral("md5 --fast a"), QStringLiteral("Unknown option 'fast'."));
}

void tst_LauncherFiles::refusesWrongUse()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, reason);
    const LauncherResult result = run(arguments);
    QCOMPARE(result.code, 2);
    QCOMPARE(result.out, QString());
    QCOMPARE(result.err, QStringLiteral("error: %1 (see launcher %2 --help)\n").arg(reason, arguments.constFirst()));
}

void tst_LauncherFiles::unpacks()
{
    lay(QStringLiteral("tree/sub/file \u4e2d"), QByteArray(100000, 'x'));
    const QString archive = path(QStringLiteral("archive \u4e2d.7z"));
    QProcess packer;
    packer.setStandardOutputFile(QProcess::nullDevice());
    packer.setWorkingDirectory(path(QStringLiteral("tree")));
    packer.start(QStringLiteral(SEVENZIP_DIR) + QStringLiteral("/7z.exe"),
                 {QStringLiteral("a"), archive, QStringLiteral(".")});
    QVERIFY(packer.waitForFinished(LauncherProcess::kRunLimitMs));
    QCOMPARE(packer.exitCode(), 0);
    const LauncherResult result =
        run({QStringLiteral("unpack"), archive, path(QStringLiteral("out"))}, QStringLiteral(SEVENZIP_DIR));
    QCOMPARE(result.err, QString());
    QCOMPARE(result.code, 0);
    QVERIFY2(result.outLines().constLast().startsWith(QStringLiteral("Finished: unpacked in ")),
             qPrintable(result.out));
    QCOMPARE(read(QStringLiteral("out/sub/file \u4e2d")), QByteArray(100000, 'x'));
}

void tst_LauncherFiles::unpacksWithASize()
{
    script("out 20353025\nexit 2\n"); // " 50%"
    const LauncherResult result =
        unpack({QStringLiteral("--size"), QStringLiteral("2048"), QStringLiteral("--lang"), QStringLiteral("en-us")});
    QCOMPARE(result.outLines(), QStringList(QStringLiteral(" 50%  1KB / 2KB")));
    QCOMPARE(report().mid(2), (QStringList{QStringLiteral("x"), native(path(QStringLiteral("a.7z"))),
                                           QStringLiteral("-o") + native(path(QStringLiteral("out"))),
                                           QStringLiteral("-aoa"), QStringLiteral("-bsp1")}));
}

void tst_LauncherFiles::unpacksWithoutASize()
{
    script("out 20353025\nexit 2\n");
    QCOMPARE(unpack().outLines(), QStringList(QStringLiteral(" 50%")));
}

void tst_LauncherFiles::reportsErrorsOfTheProgram()
{
    script("err " + QByteArray("ERROR: a\nData Error\n").toHex() + "\nexit 2\n");
    const LauncherResult result = unpack();
    QCOMPARE(result.code, 1);
    QCOMPARE(result.errLines(), (QStringList{QStringLiteral("error: code 2002: ERROR: a / Data Error"),
                                             QStringLiteral("error: 7z.exe ended with code 2")}));
}

void tst_LauncherFiles::saysHowToProvideTheProgram()
{
    const LauncherResult result =
        run({QStringLiteral("unpack"), path(QStringLiteral("a.7z")), path(QStringLiteral("out"))}, m_folder->path());
    QCOMPARE(result.code, 3);
    QCOMPARE(result.errLines(),
             (QStringList{QStringLiteral("error: code 2008: 7z.exe process not started"),
                          QStringLiteral("Put 7z.exe and 7z.dll beside the launcher, or 7z.exe on the search path.")}));
}

void tst_LauncherFiles::writesALog()
{
    script("");
    const LauncherResult result = unpack({QStringLiteral("--log"), path(QStringLiteral("log"))});
    QCOMPARE(result.code, 0);
    QCOMPARE(result.err, QString());
    const QByteArray log = read(QStringLiteral("log"));
    QVERIFY2(log.contains("[launcher]unzip started: "), log.constData());
}

void tst_LauncherFiles::copies()
{
    lay(QStringLiteral("src/a"), "1");
    lay(QStringLiteral("src/sub \u4e2d/b"), "22");
    const LauncherResult result =
        run({QStringLiteral("copy"), path(QStringLiteral("src")), path(QStringLiteral("dst"))});
    QCOMPARE(result.err, QString());
    QCOMPARE(result.code, 0);
    const QStringList lines = result.outLines();
    QCOMPARE(lines.constFirst(), QStringLiteral(" 50%  1 / 2 files"));
    QVERIFY2(lines.constLast().startsWith(QStringLiteral("Finished: 2 files in place in ")), qPrintable(result.out));
    QCOMPARE(read(QStringLiteral("dst/a")), QByteArray("1"));
    QCOMPARE(read(QStringLiteral("dst/sub \u4e2d/b")), QByteArray("22"));
}

void tst_LauncherFiles::copiesOnlyWhatDiffers()
{
    lay(QStringLiteral("src/a"), "new");
    lay(QStringLiteral("src/b"), "same");
    lay(QStringLiteral("dst/a"), "old");
    lay(QStringLiteral("dst/b"), "same");
    const LauncherResult result =
        run({QStringLiteral("copy"), QStringLiteral("--changed"), path(QStringLiteral("changed")),
             path(QStringLiteral("src")), path(QStringLiteral("dst"))});
    QCOMPARE(result.code, 0);
    QCOMPARE(read(QStringLiteral("dst/a")), QByteArray("new"));
    QCOMPARE(QDir(path(QStringLiteral("changed"))).entryList(QDir::Files), QStringList(QStringLiteral("a")));
}

void tst_LauncherFiles::reportsWhatCannotBeCopied()
{
    lay(QStringLiteral("src/a"), "x");
    QVERIFY(QDir().mkpath(path(QStringLiteral("dst/a"))));
    const QString source = path(QStringLiteral("src"));
    LauncherResult result = run({QStringLiteral("copy"), source, path(QStringLiteral("dst"))});
    QCOMPARE(result.code, 1);
    QCOMPARE(result.err, QStringLiteral("error: cannot copy %1\n").arg(native(path(QStringLiteral("src/a")))));
    result = run({QStringLiteral("copy"), source, path(QStringLiteral("src/a/below a file"))});
    QCOMPARE(result.code, 1);
    QCOMPARE(
        result.err,
        QStringLiteral("error: cannot make a folder in %1\n").arg(native(path(QStringLiteral("src/a/below a file")))));
}

void tst_LauncherFiles::printsMd5s()
{
    lay(QStringLiteral("one"), "abc");
    lay(QStringLiteral("two \u4e2d"), "");
    const QString one = path(QStringLiteral("one"));
    const QString two = path(QStringLiteral("two \u4e2d"));
    const LauncherResult result = run({QStringLiteral("md5"), one, two});
    QCOMPARE(result.code, 0);
    QCOMPARE(result.err, QString());
    QCOMPARE(result.outLines(), (QStringList{QStringLiteral("900150983cd24fb0d6963f7d28e17f72  ") + one,
                                             QStringLiteral("d41d8cd98f00b204e9800998ecf8427e  ") + two}));
}

void tst_LauncherFiles::saltsMd5s()
{
    lay(QStringLiteral("one"), "abc");
    const QByteArray salted =
        QCryptographicHash::hash("900150983cd24fb0d6963f7d28e17f72pepper", QCryptographicHash::Md5).toHex();
    const LauncherResult result =
        run({QStringLiteral("md5"), QStringLiteral("--salt"), QStringLiteral("pepper"), path(QStringLiteral("one"))});
    QVERIFY2(result.out.startsWith(QString::fromLatin1(salted)), qPrintable(result.out));
}

void tst_LauncherFiles::reportsUnreadableFiles()
{
    lay(QStringLiteral("one"), "abc");
    const QString missing = path(QStringLiteral("missing"));
    const LauncherResult result = run({QStringLiteral("md5"), missing, path(QStringLiteral("one"))});
    QCOMPARE(result.code, 1);
    QCOMPARE(result.err, QStringLiteral("error: cannot read %1\n").arg(missing));
    QVERIFY(result.out.startsWith(QStringLiteral("900150983cd24fb0d6963f7d28e17f72")));
}

#ifdef Q_OS_UNIX
void tst_LauncherFiles::stopsUnpacking()
{
    script("out 20353025\nwait /never\n");
    const auto launcher = launch({QStringLiteral("unpack"), path(QStringLiteral("a.7z")), path(QStringLiteral("out"))},
                                 QStringLiteral(FAKE_7Z_DIR));
    QVERIFY(launcher->waitForReadyRead(LauncherProcess::kRunLimitMs)); // the progress line
    QCOMPARE(::kill(static_cast<pid_t>(launcher->processId()), SIGINT), 0);
    const LauncherResult result = launcher->result();
    QCOMPARE(result.code, 130);
    QCOMPARE(result.outLines().constLast(), QStringLiteral("Stopped. What was unpacked until then stays."));
    const auto child = static_cast<pid_t>(report().at(1).toLong());
    QTRY_VERIFY(::kill(child, 0) != 0);
}

void tst_LauncherFiles::stopsChecking()
{
    // The first file shows that it runs; the second, which takes no space, would take minutes.
    lay(QStringLiteral("small"), "abc");
    lay(QStringLiteral("huge"), "");
    QVERIFY(QFile::resize(path(QStringLiteral("huge")), 64LL * 1024 * 1024 * 1024));
    const auto launcher = launch({QStringLiteral("md5"), path(QStringLiteral("small")), path(QStringLiteral("huge"))},
                                 QStringLiteral(FAKE_7Z_DIR));
    QVERIFY(launcher->waitForReadyRead(LauncherProcess::kRunLimitMs));
    QCOMPARE(::kill(static_cast<pid_t>(launcher->processId()), SIGINT), 0);
    const LauncherResult result = launcher->result();
    QCOMPARE(result.code, 130);
    QCOMPARE(result.outLines().size(), 1);
}
#endif

QTEST_GUILESS_MAIN(tst_LauncherFiles)

#include "tst_LauncherFiles.moc"

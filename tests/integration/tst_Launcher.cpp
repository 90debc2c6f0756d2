// SPDX-License-Identifier: MIT
// The launcher as its user sees it: exit codes, texts and the progress line. The engine plays a part, chosen for each
// run (tst_LauncherEngine.cpp).
#include "LauncherProcess.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#ifdef Q_OS_UNIX
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>
#endif

namespace {

// How long the launcher waits for the engine to confirm a stop.
constexpr int kStopLimitMs = 5000;

const QStringList kUrls{QStringLiteral("http://localhost/a.bin"), QStringLiteral("http://localhost/b.bin")};

/// \brief The launcher with the engine that plays a part; without an engine when there is no part.
class Launcher : public LauncherProcess
{
public:
    explicit Launcher(const QString& part)
    {
        setVariable(QStringLiteral("LAUNCHER_TEST_PART"), part);
        if (!part.isEmpty())
            addEngineFolder(QStringLiteral(LAUNCHER_TEST_ENGINE_DIR));
    }
};

} // namespace

class tst_Launcher : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void tellsHowToUseIt();
    void refusesWrongUse_data();
    void refusesWrongUse();
    void namesTheBadLineOfAList();
    void saysHowToProvideAnEngine();
    void finishes();
    void finishesInChinese();
    void doubtsAFinishWithoutTheFile();
    void notesRetries();
    void namesFileCodeAndMessageOfEachError();
    void endsWithoutASignal_data();
    void endsWithoutASignal();
    void keepsTheLibrarysLogOffTheScreen();
    void writesPlainLinesAtMostOncePerSecond();
#ifdef Q_OS_UNIX
    void stopsOnInterrupt_data();
    void stopsOnInterrupt();
    void endsAtOnceOnTheSecondInterrupt();
    void drawsOverOneLineOnATerminal();
#endif

private:
    QStringList download(const QStringList& options = {}) const
    {
        return QStringList{QStringLiteral("download"), QStringLiteral("--dir"), m_folder->path(),
                           QStringLiteral("--lang"), QStringLiteral("en-us")} +
               options + kUrls;
    }

    static LauncherResult run(const QString& part, const QStringList& arguments)
    {
        Launcher launcher(part);
        launcher.launch(arguments);
        return launcher.result();
    }

    void layFile(const QString& name, const QByteArray& content)
    {
        QFile file(m_folder->filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(content), content.size());
    }

    void layBothFiles()
    {
        layFile(QStringLiteral("a.bin"), QByteArray(1024, 'a'));
        layFile(QStringLiteral("b.bin"), QByteArray(512, 'b'));
    }

    QScopedPointer<QTemporaryDir> m_folder;
};

void tst_Launcher::init()
{
    m_folder.reset(new QTemporaryDir);
    QVERIFY(m_folder->isValid());
}

void tst_Launcher::tellsHowToUseIt()
{
    const LauncherResult general = run(QString(), {QStringLiteral("--help")});
    QCOMPARE(general.code, 0);
    QVERIFY(general.out.contains(QStringLiteral("  download ")));
    QCOMPARE(run(QString(), {QStringLiteral("--version")}).out, QStringLiteral("launcher 1.0.0\n"));

    const LauncherResult command = run(QString(), {QStringLiteral("download"), QStringLiteral("--help")});
    QCOMPARE(command.code, 0);
    QVERIFY(command.out.startsWith(QStringLiteral("Usage: launcher download --dir DIR")));
    for (const char* line : {"\n  0    ", "\n  1    ", "\n  2    ", "\n  3    ", "\n  4    ", "\n  130  "})
        QVERIFY2(command.out.contains(QLatin1String(line)), line);
}

void tst_Launcher::refusesWrongUse_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char* name, const QString& arguments, const QString& reason) {
        QTest::newRow(name) << arguments.split(QLatin1Char(' '), Qt::SkipEmptyParts) << reason;
    };
    const QString download = QStringLiteral("download --dir x ");
    row("no command", QString(), QStringLiteral("no command given"));
    row("unknown command", QStringLiteral("fetch"), QStringLiteral("unknown command \"fetch\""));
    row("unknown option", download + QStringLiteral("--fast http://h/a"), QStringLiteral("Unknown option 'fast'."));
    row("no folder", QStringLiteral("download http://h/a"), QStringLiteral("--dir is missing"));
    row("no URL", download, QStringLiteral("no URL given"));
    row("bad URL", download + QStringLiteral("a.bin"), QStringLiteral("\"a.bin\" is not an http or https URL"));
    row("bad MD5", download + QStringLiteral("--md5 12 http://h/a"),
        QStringLiteral("\"12\" is not an MD5 (32 hexadecimal digits)"));
    row("MD5 of several", download + QStringLiteral("--md5 12 http://h/a http://h/b"),
        QStringLiteral("--md5 goes with a single URL; use --list for several files"));
    row("bad limit", download + QStringLiteral("--limit fast http://h/a"),
        QStringLiteral("--limit wants a number of KiB per second"));
    row("negative limit", download + QStringLiteral("--limit=-1 http://h/a"),
        QStringLiteral("--limit wants a number of KiB per second"));
    row("bad language", download + QStringLiteral("--lang xx http://h/a"),
        QStringLiteral("--lang wants en-us or zh-cn"));
    row("bad patience", download + QStringLiteral("--patience 0 http://h/a"),
        QStringLiteral("--patience wants a number of seconds"));
    row("list and URL", download + QStringLiteral("--list l http://h/a"),
        QStringLiteral("give URLs or --list, not both"));
    row("same name", download + QStringLiteral("http://h/a http://i/a"),
        QStringLiteral("http://h/a and http://i/a would both be saved as \"a\""));
}

void tst_Launcher::refusesWrongUse()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, reason);
    const LauncherResult result = run(QStringLiteral("finish"), arguments);
    QCOMPARE(result.code, 2);
    QCOMPARE(result.out, QString());
    QVERIFY2(result.err.startsWith(QStringLiteral("error: %1 (see launcher").arg(reason)), qPrintable(result.err));
}

void tst_Launcher::namesTheBadLineOfAList()
{
    layFile(QStringLiteral("list"), "# URL size MD5\nhttp://h/a 1 -\nhttp://h/b many -\n");
    const LauncherResult result =
        run(QStringLiteral("finish"), {QStringLiteral("download"), QStringLiteral("--dir"), m_folder->path(),
                                       QStringLiteral("--list"), m_folder->filePath(QStringLiteral("list"))});
    QCOMPARE(result.code, 2);
    QVERIFY2(result.err.contains(QStringLiteral("list, line 3: \"many\" is not a size in bytes")),
             qPrintable(result.err));
}

void tst_Launcher::saysHowToProvideAnEngine()
{
    const LauncherResult result = run(QString(), download());
    QCOMPARE(result.code, 3);
    QCOMPARE(result.out, QString());
    QVERIFY2(result.err.startsWith(QStringLiteral("error: the download engine was not found")), qPrintable(result.err));
    QVERIFY2(result.err.contains(QStringLiteral("path")), qPrintable(result.err));
}

void tst_Launcher::finishes()
{
    layBothFiles();
    const LauncherResult result = run(QStringLiteral("finish"), download());
    QCOMPARE(result.err, QString());
    QCOMPARE(result.code, 0);
    const QStringList lines = result.outLines();
    QCOMPARE(lines.constFirst(), QStringLiteral("connecting ..."));
    QVERIFY2(lines.contains(QStringLiteral("verifying  50%  10MB / 20MB  100.00MB/s")), qPrintable(result.out));
    QVERIFY2(lines.constLast().startsWith(QStringLiteral("Finished: 2 files, 1.50KB in ")), qPrintable(result.out));
    QVERIFY2(!result.out.contains(QStringLiteral("label_")), qPrintable(result.out));
}

void tst_Launcher::finishesInChinese()
{
    layBothFiles();
    const LauncherResult result =
        run(QStringLiteral("finish"), download({QStringLiteral("--lang"), QStringLiteral("zh-cn")}));
    QCOMPARE(result.code, 0);
    QVERIFY2(result.out.contains(QString::fromUtf8("正在校验  50%  10MB / 20MB  100.00MB/秒\n")),
             qPrintable(result.out));
    QVERIFY2(!result.out.contains(QStringLiteral("label_")), qPrintable(result.out));
}

void tst_Launcher::doubtsAFinishWithoutTheFile()
{
    layFile(QStringLiteral("a.bin"), "a");
    const LauncherResult result = run(QStringLiteral("finish"), download());
    QCOMPARE(result.code, 1);
    QCOMPARE(result.err, QStringLiteral("error: b.bin: reported as finished but not in place\n"));
}

void tst_Launcher::notesRetries()
{
    layBothFiles();
    const LauncherResult result = run(QStringLiteral("retry"), download());
    QCOMPARE(result.code, 0);
    QCOMPARE(result.err, QString());
    QVERIFY2(
        result.outLines().contains(QStringLiteral("retrying a.bin: code 6901: the transfer ended early (retry 2)")),
        qPrintable(result.out));
}

void tst_Launcher::namesFileCodeAndMessageOfEachError()
{
    const LauncherResult result = run(QStringLiteral("fail"), download());
    QCOMPARE(result.code, 1);
    QCOMPARE(result.errLines(),
             (QStringList{QStringLiteral("error: a.bin: code 8001: MD5 differs"),
                          QStringLiteral("error: b.bin: code 6404: not found (HTTP 404)"),
                          QStringLiteral("2 of 2 files failed; the same command goes on where this one stopped")}));
}

void tst_Launcher::endsWithoutASignal_data()
{
    QTest::addColumn<QString>("part");
    QTest::addColumn<QStringList>("errors");
    QTest::newRow("duplicated") << QStringLiteral("duplicated")
                                << QStringList{QStringLiteral("error: the engine is already downloading these files")};
    QTest::newRow("cancelled by the engine")
        << QStringLiteral("cancelled") << QStringList{QStringLiteral("error: the engine has cancelled the download")};
    QTest::newRow("silent") << QStringLiteral("silent")
                            << QStringList{QStringLiteral("error: the engine has reported nothing for 1.0 s"),
                                           QStringLiteral("warning: the engine has not confirmed the stop within "
                                                          "5.0 s")};
}

void tst_Launcher::endsWithoutASignal()
{
    QFETCH(QString, part);
    QFETCH(QStringList, errors);
    const LauncherResult result = run(part, download({QStringLiteral("--patience"), QStringLiteral("1")}));
    QCOMPARE(result.code, 4);
    QCOMPARE(result.errLines(), errors);
}

void tst_Launcher::keepsTheLibrarysLogOffTheScreen()
{
    layBothFiles();
    const QString log = m_folder->filePath(QStringLiteral("log.txt"));
    const LauncherResult result = run(QStringLiteral("finish"), download({QStringLiteral("--log"), log}));
    QCOMPARE(result.code, 0);
    QCOMPARE(result.err, QString());
    QFile file(log);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray text = file.readAll();
    QVERIFY(text.contains(" info VantorExporter::Init:  [vantor] init, path: "));
    QVERIFY(text.contains(" warning default: QObject::connect: No such slot "));
    QVERIFY(!text.contains("orvel.qcomm.engine:"));
}

void tst_Launcher::writesPlainLinesAtMostOncePerSecond()
{
    Launcher launcher(QStringLiteral("slow"));
    QElapsedTimer clock;
    clock.start();
    launcher.launch(download());
    QVERIFY(launcher.waitForOutput(" left"));
    QVERIFY(launcher.outputSoFar().startsWith("connecting ..."));
    // A remaining time needs a second of measuring, and so many lines need seconds between them.
    const int lines = launcher.outputSoFar().count('\n');
    QVERIFY2(lines <= clock.elapsed() / 1000 + 1, launcher.outputSoFar().constData());
    QVERIFY(!launcher.outputSoFar().contains("\r "));
}

#ifdef Q_OS_UNIX
void tst_Launcher::stopsOnInterrupt_data()
{
    QTest::addColumn<QString>("part");
    QTest::addColumn<int>("signalNumber");
    QTest::addColumn<bool>("confirmed");
    QTest::newRow("Ctrl-C") << QStringLiteral("slow") << SIGINT << true;
    QTest::newRow("terminated") << QStringLiteral("slow") << SIGTERM << true;
    // The library says nothing about a group that failed after the stop.
    QTest::newRow("failure after the stop") << QStringLiteral("fail-when-stopped") << SIGINT << false;
    QTest::newRow("no answer") << QStringLiteral("deaf") << SIGINT << false;
}

void tst_Launcher::stopsOnInterrupt()
{
    QFETCH(QString, part);
    QFETCH(int, signalNumber);
    QFETCH(bool, confirmed);
    Launcher launcher(part);
    launcher.launch(download());
    QVERIFY(launcher.waitForOutput("%"));
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(::kill(static_cast<pid_t>(launcher.processId()), signalNumber), 0);
    const LauncherResult result = launcher.result();
    QCOMPARE(result.code, 130);
    QCOMPARE(result.outLines().constLast(),
             QStringLiteral("Stopped. The same command goes on where this one stopped."));
    QCOMPARE(result.err.isEmpty(), confirmed);
    QCOMPARE(clock.elapsed() < kStopLimitMs, confirmed);
}

void tst_Launcher::endsAtOnceOnTheSecondInterrupt()
{
    Launcher launcher(QStringLiteral("deaf"));
    launcher.launch(download());
    QVERIFY(launcher.waitForOutput("%"));
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(::kill(static_cast<pid_t>(launcher.processId()), SIGINT), 0);
    QVERIFY(launcher.waitForOutput("Stopping ..."));
    QCOMPARE(::kill(static_cast<pid_t>(launcher.processId()), SIGINT), 0);
    QCOMPARE(launcher.result().code, 130);
    QVERIFY(clock.elapsed() < kStopLimitMs);
}

namespace {

/// \brief A terminal of 40 columns that remembers what was written on it.
class PseudoTerminal
{
public:
    PseudoTerminal() : m_end(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK))
    {
        ::grantpt(m_end);
        ::unlockpt(m_end);
        m_path = QString::fromLocal8Bit(::ptsname(m_end));
        // Held open, because a terminal nobody has open forgets what was not read yet.
        m_held = ::open(m_path.toLocal8Bit().constData(), O_RDWR | O_NOCTTY);
        winsize size{};
        size.ws_col = kColumns;
        size.ws_row = 10;
        ::ioctl(m_end, TIOCSWINSZ, &size);
    }
    ~PseudoTerminal()
    {
        ::close(m_held);
        ::close(m_end);
    }
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;

    QString path() const { return m_path; }
    QByteArray read()
    {
        char buffer[4096];
        ssize_t count = 0;
        while ((count = ::read(m_end, buffer, sizeof buffer)) > 0)
            m_text.append(buffer, static_cast<int>(count));
        return m_text;
    }

    static constexpr int kColumns = 40;

private:
    const int m_end;
    int m_held = -1;
    QString m_path;
    QByteArray m_text;
};

} // namespace

void tst_Launcher::drawsOverOneLineOnATerminal()
{
    PseudoTerminal terminal;
    Launcher launcher(QStringLiteral("slow"));
    launcher.setStandardOutputFile(terminal.path());
    launcher.launch(download());
    QTRY_VERIFY_WITH_TIMEOUT(terminal.read().contains("/s"), Launcher::kRunLimitMs);
    QCOMPARE(::kill(static_cast<pid_t>(launcher.processId()), SIGINT), 0);
    QCOMPARE(launcher.result().code, 130);

    // The first line end, which the terminal makes two characters, ends the stop's own line.
    const QByteArray text = terminal.read();
    const QByteArray drawn = text.left(text.indexOf("Stopping ...\r\n"));
    const QList<QByteArray> drawings = drawn.split('\r');
    QVERIFY(drawings.size() > 5);
    QVERIFY(!drawn.contains('\n'));
    for (const QByteArray& drawing : drawings)
        QVERIFY2(drawing.size() < PseudoTerminal::kColumns, drawing.constData());
    // Taken away at the end: blanks over the whole row, and back to its beginning.
    QCOMPARE(drawings.constLast(), QByteArray());
    QCOMPARE(drawings.at(drawings.size() - 2), QByteArray(PseudoTerminal::kColumns - 1, ' '));
}
#endif

QTEST_GUILESS_MAIN(tst_Launcher)
#include "tst_Launcher.moc"

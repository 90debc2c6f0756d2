// SPDX-License-Identifier: MIT
#include "LogCapture.h"
#include "OrvelCommon/Logger.h"
#include "OrvelCommon/Testing.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using Orvel::Common::Logger;
using Orvel::Common::LogRecord;
using Orvel::Common::SetLogSink;

using StreamWrite = std::function<void(Orvel::Common::LogStream&)>;
Q_DECLARE_METATYPE(StreamWrite)

namespace {

constexpr char kChildArgument[] = "--log-to-standard-error";
constexpr int kThreads = 4;
constexpr int kLinesPerThread = 500;

void logAllLevels()
{
    for (int level = 0; level <= 4; ++level)
        Logger("file.cpp", 1, "function", level).stream() << "line of level " << level;
}

/// What the child process does: each level to the default sink, to a sink of its own, and to the restored default.
int runChild()
{
    logAllLevels();
    SetLogSink([](const LogRecord&) {});
    logAllLevels();
    SetLogSink({});
    Logger("file.cpp", 1, "function", 4).stream() << "restored";
    return 0;
}

} // namespace

class tst_Logger : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup();
    void streamsEachType_data();
    void streamsEachType();
    void handsTheRecordOverWhenTheLoggerDies();
    void keepsOrderAndLevels();
    void takesMissingOriginAsEmpty();
    void replacesTheSink();
    void sinkMayLogAndReplaceItself();
    void losesNothingWhenThreadsLogAtOnce();
    void formerSinkIsQuietOnceReplaced();
    void threadsMaySetTheSinkAtOnce();
    void writesWarningsAndErrorsToStandardErrorByDefault();
};

void tst_Logger::cleanup()
{
    SetLogSink({});
}

void tst_Logger::streamsEachType_data()
{
    QTest::addColumn<StreamWrite>("write");
    QTest::addColumn<QByteArray>("text");
    const auto row = [](const char* name, StreamWrite write, const QByteArray& text) {
        QTest::newRow(name) << std::move(write) << text;
    };
    row(
        "character text", [](auto& s) { s << "one"; }, "one");
    row(
        "null character text adds nothing", [](auto& s) { s << static_cast<const char*>(nullptr); }, "");
    row(
        "string", [](auto& s) { s << std::string("two"); }, "two");
    row(
        "UTF-8", [](auto& s) { s << std::string("\xE4\xBD\xA0"); }, "\xE4\xBD\xA0");
    row(
        "true", [](auto& s) { s << true; }, "true");
    row(
        "false", [](auto& s) { s << false; }, "false");
    row(
        "character", [](auto& s) { s << 'c'; }, "c");
    row(
        "int", [](auto& s) { s << std::numeric_limits<int>::min(); }, "-2147483648");
    row(
        "unsigned int", [](auto& s) { s << std::numeric_limits<unsigned int>::max(); }, "4294967295");
    row(
        "long", [](auto& s) { s << -3L; }, "-3");
    row(
        "unsigned long", [](auto& s) { s << 3UL; }, "3");
    row(
        "64 bits", [](auto& s) { s << std::numeric_limits<std::int64_t>::min(); }, "-9223372036854775808");
    row(
        "unsigned 64 bits", [](auto& s) { s << std::numeric_limits<std::uint64_t>::max(); }, "18446744073709551615");
    row(
        "double", [](auto& s) { s << 1.5; }, "1.5");
    row(
        "a chain without separators", [](auto& s) { s << "a" << 1 << 'b' << true; }, "a1btrue");
}

void tst_Logger::streamsEachType()
{
    QFETCH(const StreamWrite, write);
    QFETCH(const QByteArray, text);
    const LogCapture log;
    {
        Logger logger("file.cpp", 1, "function", 0);
        write(logger.stream());
        QCOMPARE(QByteArray::fromStdString(logger.stream().text()), text);
    }
    QCOMPARE(log.records().size(), std::size_t(1));
    QCOMPARE(QByteArray::fromStdString(log.records().front().text), text);
}

void tst_Logger::handsTheRecordOverWhenTheLoggerDies()
{
    const LogCapture log;
    {
        Logger logger("src/a.cpp", 42, "Class::Method", 3);
        logger.stream() << "text";
        QVERIFY(log.records().empty());
    }
    QCOMPARE(log.records().size(), std::size_t(1));
    const LogRecord record = log.records().front();
    QCOMPARE(record.file, std::string("src/a.cpp"));
    QCOMPARE(record.line, 42);
    QCOMPARE(record.function, std::string("Class::Method"));
    QCOMPARE(record.level, 3);
    QCOMPARE(record.text, std::string("text"));
}

void tst_Logger::keepsOrderAndLevels()
{
    LogCapture log;
    logAllLevels();
    QCOMPARE(log.texts().size(), 5);
    for (int level = 0; level <= 4; ++level) {
        QCOMPARE(log.records()[static_cast<std::size_t>(level)].level, level);
        QCOMPARE(log.texts(level), QStringList{QStringLiteral("line of level %1").arg(level)});
    }
    QCOMPARE(log.count(2, QStringLiteral("line of level 2")), 1);
    QCOMPARE(log.count(1, QStringLiteral("line of level 2")), 0);
    log.clear();
    QVERIFY(log.records().empty());
}

void tst_Logger::takesMissingOriginAsEmpty()
{
    const LogCapture log;
    Logger(nullptr, 0, nullptr, 1).stream() << "text";
    QCOMPARE(log.records().size(), std::size_t(1));
    QCOMPARE(log.records().front().file, std::string());
    QCOMPARE(log.records().front().function, std::string());
}

void tst_Logger::replacesTheSink()
{
    int first = 0;
    int second = 0;
    SetLogSink([&first](const LogRecord&) { ++first; });
    Logger("f", 1, "f", 0).stream() << "1";
    SetLogSink([&second](const LogRecord&) { ++second; });
    Logger("f", 1, "f", 0).stream() << "2";
    Logger("f", 1, "f", 0).stream() << "3";
    SetLogSink({});
    Logger("f", 1, "f", 0).stream() << "4";
    QCOMPARE(first, 1);
    QCOMPARE(second, 2);
}

void tst_Logger::sinkMayLogAndReplaceItself()
{
    QStringList texts;
    SetLogSink([&texts](const LogRecord& record) {
        texts.append(QLatin1String("first:") + QString::fromStdString(record.text));
        if (record.text == "inner")
            return;
        Logger("f", 1, "f", 0).stream() << "inner";
        SetLogSink([&texts](const LogRecord& later) {
            texts.append(QLatin1String("second:") + QString::fromStdString(later.text));
        });
        // What the function has captured is still there after it has replaced itself.
        texts.append(QStringLiteral("end"));
    });
    Logger("f", 1, "f", 0).stream() << "outer";
    Logger("f", 1, "f", 0).stream() << "next";
    QCOMPARE(texts, (QStringList{QStringLiteral("first:outer"), QStringLiteral("first:inner"), QStringLiteral("end"),
                                 QStringLiteral("second:next")}));
}

void tst_Logger::losesNothingWhenThreadsLogAtOnce()
{
    // Not guarded: the log itself sees to it that one record at a time is handed over.
    std::set<std::string> texts;
    int calls = 0;
    SetLogSink([&](const LogRecord& record) {
        texts.insert(record.text);
        ++calls;
    });
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([thread] {
            for (int line = 0; line < kLinesPerThread; ++line)
                Logger("f", 1, "f", 1).stream() << thread << "/" << line;
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    SetLogSink({});
    QCOMPARE(calls, kThreads * kLinesPerThread);
    QCOMPARE(texts.size(), static_cast<std::size_t>(kThreads * kLinesPerThread));
}

void tst_Logger::formerSinkIsQuietOnceReplaced()
{
    std::atomic<bool> stop = false;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&stop] {
            while (!stop)
                Logger("f", 1, "f", 0).stream() << "line";
        });
    }
    std::atomic<int> late = 0;
    std::atomic<int> calls = 0;
    for (int round = 0; round < 200; ++round) {
        std::atomic<bool> replaced = false;
        SetLogSink([&](const LogRecord&) {
            ++calls;
            if (replaced)
                ++late;
        });
        const int before = calls;
        while (calls == before)
            std::this_thread::yield();
        SetLogSink({});
        // From here on the sink's references may dangle: it must neither run nor be called.
        replaced = true;
    }
    stop = true;
    for (std::thread& thread : threads)
        thread.join();
    QCOMPARE(late.load(), 0);
}

void tst_Logger::threadsMaySetTheSinkAtOnce()
{
    std::atomic<int> calls = 0;
    SetLogSink([&calls](const LogRecord&) { ++calls; });
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&calls] {
            for (int line = 0; line < kLinesPerThread; ++line) {
                SetLogSink([&calls](const LogRecord&) { ++calls; });
                Logger("f", 1, "f", 0).stream() << "line";
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    SetLogSink({});
    QCOMPARE(calls.load(), kThreads * kLinesPerThread);
}

void tst_Logger::writesWarningsAndErrorsToStandardErrorByDefault()
{
    const QTemporaryDir folder;
    QVERIFY(folder.isValid());
    const QString path = folder.filePath(QStringLiteral("err.txt"));

    QProcess child;
    child.setStandardOutputFile(folder.filePath(QStringLiteral("out.txt")));
    child.setStandardErrorFile(path);
    child.start(QCoreApplication::applicationFilePath(), {QLatin1String(kChildArgument)});
    QVERIFY(child.waitForFinished(60000));
    QCOMPARE(child.exitStatus(), QProcess::NormalExit);
    QCOMPARE(child.exitCode(), 0);

    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly | QIODevice::Text));
    QStringList lines;
    for (const QByteArray& line : file.readAll().split('\n')) {
        // Wine adds lines of its own about the machine.
        if (line.startsWith("line of level") || line == "restored")
            lines.append(QString::fromUtf8(line));
    }
    QCOMPARE(lines, (QStringList{QStringLiteral("line of level 3"), QStringLiteral("line of level 4"),
                                 QStringLiteral("restored")}));
}

int main(int argc, char* argv[])
{
    if (argc == 2 && std::strcmp(argv[1], kChildArgument) == 0)
        return runChild();
    QCoreApplication application(argc, argv);
    tst_Logger test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_Logger.moc"

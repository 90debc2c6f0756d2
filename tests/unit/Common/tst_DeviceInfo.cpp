// SPDX-License-Identifier: MIT
#include "OrvelCommon/DeviceInfo.h"
#include "OrvelCommon/Testing.h"

#include <QDir>
#include <QFile>
#include <QStorageInfo>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

using Orvel::Common::DeviceInfo;
using Orvel::Common::SetDiskSpaceProbe;

namespace {

using Space = std::pair<std::uint64_t, std::uint64_t>;

constexpr int kThreads = 4;
constexpr int kQuestionsPerThread = 500;
constexpr Space kUnreadable{0, 0};

/// Whether the answer for a path is what Qt says before or after it, or between: other programs write meanwhile.
bool agreesWithQt(const QString& path)
{
    QStorageInfo volume(path);
    const qint64 before = volume.bytesAvailable();
    const Space space = DeviceInfo::GetDiskSpaceInfo(path.toStdString());
    volume.refresh();
    const qint64 after = volume.bytesAvailable();
    return space.second == static_cast<std::uint64_t>(volume.bytesTotal()) &&
           space.first >= static_cast<std::uint64_t>(std::min(before, after)) &&
           space.first <= static_cast<std::uint64_t>(std::max(before, after));
}

} // namespace

class tst_DeviceInfo : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup();
    void readsFreeAndTotalSpace();
    void readsByTheNameOfAFile();
    void readsBelowANameThatIsNotAscii();
    void readsBelowALongPath();
    void givesZerosForWhatCannotBeRead_data();
    void givesZerosForWhatCannotBeRead();
    void asksTheProbe();
    void restoresTheRealAnswer();
    void probeMayAskAndReplaceItself();
    void probeIsAskedByOneThreadAtATime();
    void threadsMaySetTheProbeAtOnce();

private:
    QTemporaryDir m_folder;
};

void tst_DeviceInfo::cleanup()
{
    SetDiskSpaceProbe({});
}

void tst_DeviceInfo::readsFreeAndTotalSpace()
{
    QVERIFY(m_folder.isValid());
    const Space space = DeviceInfo::GetDiskSpaceInfo(m_folder.path().toStdString());
    QVERIFY(space.first > 0);
    QVERIFY(space.first <= space.second);
    QTRY_VERIFY(agreesWithQt(m_folder.path()));
    QTRY_VERIFY(agreesWithQt(QDir::toNativeSeparators(m_folder.path())));
    QTRY_VERIFY(agreesWithQt(m_folder.path() + QLatin1Char('/')));
}

void tst_DeviceInfo::readsByTheNameOfAFile()
{
    QFile file(m_folder.filePath(QStringLiteral("file.bin")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.close();
    QTRY_VERIFY(agreesWithQt(file.fileName()));
}

void tst_DeviceInfo::readsBelowANameThatIsNotAscii()
{
    const QString name = QStringLiteral("\u6E38 \u620F \u00E4");
    QVERIFY(QDir(m_folder.path()).mkdir(name));
    QTRY_VERIFY(agreesWithQt(m_folder.filePath(name)));
}

/// Longer than what Windows takes for a path without being told so.
void tst_DeviceInfo::readsBelowALongPath()
{
    const QString name(200, QLatin1Char('l'));
    const QString folder = m_folder.filePath(name + QLatin1Char('/') + name);
    QVERIFY(QDir().mkpath(folder));
    const Space space = DeviceInfo::GetDiskSpaceInfo(folder.toStdString());
    QVERIFY(space.first > 0);
    QCOMPARE(space.second, DeviceInfo::GetDiskSpaceInfo(m_folder.path().toStdString()).second);
}

void tst_DeviceInfo::givesZerosForWhatCannotBeRead_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("empty path") << QString();
    QTest::newRow("missing folder") << m_folder.filePath(QStringLiteral("missing"));
    QTest::newRow("folder below a missing one") << m_folder.filePath(QStringLiteral("missing/below"));
}

void tst_DeviceInfo::givesZerosForWhatCannotBeRead()
{
    QFETCH(const QString, path);
    QCOMPARE(DeviceInfo::GetDiskSpaceInfo(path.toStdString()), kUnreadable);
}

void tst_DeviceInfo::asksTheProbe()
{
    std::string asked;
    SetDiskSpaceProbe([&asked](const std::string& path) {
        asked = path;
        return Space(5, 7);
    });
    QCOMPARE(DeviceInfo::GetDiskSpaceInfo("Z:/\xC3\xA4"), Space(5, 7));
    QCOMPARE(asked, std::string("Z:/\xC3\xA4"));
}

void tst_DeviceInfo::restoresTheRealAnswer()
{
    SetDiskSpaceProbe([](const std::string&) { return Space(1, 1); });
    SetDiskSpaceProbe({});
    QTRY_VERIFY(agreesWithQt(m_folder.path()));
    QCOMPARE(DeviceInfo::GetDiskSpaceInfo(std::string()), kUnreadable);
}

void tst_DeviceInfo::probeMayAskAndReplaceItself()
{
    SetDiskSpaceProbe([answer = std::vector<std::uint64_t>{3, 4}](const std::string& path) {
        if (path == "inner")
            return Space(1, 2);
        const Space inner = DeviceInfo::GetDiskSpaceInfo("inner");
        SetDiskSpaceProbe([](const std::string&) { return Space(9, 9); });
        // What the function has captured is still there after it has replaced itself.
        return Space(answer[0] + inner.first, answer[1] + inner.second);
    });
    QCOMPARE(DeviceInfo::GetDiskSpaceInfo("outer"), Space(4, 6));
    QCOMPARE(DeviceInfo::GetDiskSpaceInfo("outer"), Space(9, 9));
}

void tst_DeviceInfo::probeIsAskedByOneThreadAtATime()
{
    // Not guarded: the caller sees to it.
    std::uint64_t calls = 0;
    SetDiskSpaceProbe([&calls](const std::string&) {
        ++calls;
        return Space(calls, calls);
    });
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([] {
            for (int question = 0; question < kQuestionsPerThread; ++question)
                DeviceInfo::GetDiskSpaceInfo("path");
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    SetDiskSpaceProbe({});
    QCOMPARE(calls, static_cast<std::uint64_t>(kThreads * kQuestionsPerThread));
}

void tst_DeviceInfo::threadsMaySetTheProbeAtOnce()
{
    SetDiskSpaceProbe([](const std::string&) { return Space(1, 1); });
    std::atomic<int> strange = 0;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&strange, thread] {
            const auto own = static_cast<std::uint64_t>(thread + 1);
            for (int question = 0; question < kQuestionsPerThread; ++question) {
                SetDiskSpaceProbe([own](const std::string&) { return Space(own, own); });
                const Space space = DeviceInfo::GetDiskSpaceInfo("path");
                if (space.first != space.second || space.first < 1 || space.first > kThreads)
                    ++strange;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    QCOMPARE(strange.load(), 0);
}

QTEST_GUILESS_MAIN(tst_DeviceInfo)
#include "tst_DeviceInfo.moc"

// SPDX-License-Identifier: MIT
#include "Tool/PcInfo.h"
#include "Tool/PcInfoTexts.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QHostAddress>
#include <QHostInfo>
#include <QNetworkInterface>
#include <QRegularExpression>
#include <QScreen>
#include <QStorageInfo>
#include <QSysInfo>
#include <QTemporaryDir>
#include <QtTest>

#include <type_traits>

#ifdef Q_OS_WIN
#include <windows.h>

#include <dxgi.h>

#include <vector>
#endif

namespace {

/// Reaches the texts apart from the machine.
class Texts : public PcInfo
{
public:
    using PcInfo::MemoryText;
    using PcInfo::ScreenText;
};

constexpr double kGiB = 1024.0 * 1024.0 * 1024.0;

#ifdef Q_OS_LINUX
QByteArray contentOf(const char* path)
{
    QFile file(QString::fromLatin1(path));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
#endif

#ifdef Q_OS_WIN
QStringList adapterNames()
{
    QStringList names;
    IDXGIFactory* factory = nullptr;
    if (FAILED(CreateDXGIFactory(IID_IDXGIFactory, reinterpret_cast<void**>(&factory))))
        return names;
    IDXGIAdapter* adapter = nullptr;
    for (UINT index = 0; factory->EnumAdapters(index, &adapter) == S_OK; ++index) {
        DXGI_ADAPTER_DESC description = {};
        if (SUCCEEDED(adapter->GetDesc(&description)))
            names << QString::fromWCharArray(description.Description);
        adapter->Release();
    }
    factory->Release();
    return names;
}
#endif

} // namespace

class tst_PcInfo : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isAnObject();
    void memoryText();
    void memoryIsThatOfTheMachine();
    void screenText_data();
    void screenText();
    void screenIsThatOfTheDesktop();
    void cpuTypeIsThatOfTheMachine();
    void textsAreStatic();
    void graphicsAdaptersAreNames();
    void ipAddressIsTheFirstOutsideIPv4();
    void macIsThatOfTheFirstRunningInterface();
    void namesAndVersions();
    void notebookFlag_data();
    void notebookFlag();
    void notebookAnswerIsStable();
    void diskSpaceOfAPath();
    void diskSpaceOfADrive_data();
    void diskSpaceOfADrive();
    void diskSpaceOfAnEmptyPath();
    void fields_data();
    void fields();
    void kilobytes();
};

// The queries are static. A launcher that keeps its tools as children of one object keeps this one there as well.
void tst_PcInfo::isAnObject()
{
    static_assert(!std::is_convertible_v<QObject*, PcInfo>);
    QObject parent;
    const auto* const info = new PcInfo(&parent);
    QCOMPARE(info->parent(), &parent);
    QCOMPARE(info->metaObject()->className(), "PcInfo");
    QCOMPARE(PcInfo().parent(), nullptr);
}

void tst_PcInfo::memoryText()
{
    QCOMPARE(Texts::MemoryText(11.73 * kGiB, 31.86 * kGiB), QStringLiteral("(11.73 GB / 31.86 GB)"));
    QCOMPARE(Texts::MemoryText(0, 4 * kGiB), QStringLiteral("(0.00 GB / 4.00 GB)"));
    QCOMPARE(Texts::MemoryText(0.005 * kGiB, 1024 * kGiB), QStringLiteral("(0.01 GB / 1024.00 GB)"));
}

void tst_PcInfo::memoryIsThatOfTheMachine()
{
    const QRegularExpression pattern(QStringLiteral("^\\((\\d+\\.\\d\\d) GB / (\\d+\\.\\d\\d) GB\\)$"));
    const QRegularExpressionMatch match = pattern.match(PcInfo::memory());
    QVERIFY2(match.hasMatch(), qPrintable(PcInfo::memory()));
    const double available = match.captured(1).toDouble();
    const double total = match.captured(2).toDouble();
    QVERIFY(available > 0);
    QVERIFY(available <= total);
#ifdef Q_OS_WIN
    MEMORYSTATUSEX status = {};
    status.dwLength = sizeof(status);
    QVERIFY(GlobalMemoryStatusEx(&status));
    QCOMPARE(match.captured(2), QString::number(static_cast<double>(status.ullTotalPhys) / kGiB, 'f', 2));
#else
    const double kilobytes = PcInfoTexts::KilobytesOf(contentOf("/proc/meminfo"), "MemTotal");
    QCOMPARE(match.captured(2), QString::number(kilobytes * 1024 / kGiB, 'f', 2));
#endif
}

void tst_PcInfo::screenText_data()
{
    QTest::addColumn<QVector<QSize>>("screens");
    QTest::addColumn<QString>("text");
    QTest::newRow("none") << QVector<QSize>() << QString();
    QTest::newRow("one") << QVector<QSize>{{800, 600}} << QStringLiteral("(800 x 600) x 1\u4e2a");
    QTest::newRow("two of a size and another")
        << QVector<QSize>{{1920, 1080}, {1920, 1080}, {2560, 1440}}
        << QStringLiteral("(1920 x 1080) x 2\u4e2a\u3001 (2560 x 1440) x 1\u4e2a");
    QTest::newRow("in the order first seen") << QVector<QSize>{{2560, 1440}, {1920, 1080}, {2560, 1440}}
                                             << QStringLiteral("(2560 x 1440) x 2\u4e2a\u3001 (1920 x 1080) x 1\u4e2a");
    QTest::newRow("turned is another size") << QVector<QSize>{{1080, 1920}, {1920, 1080}}
                                            << QStringLiteral("(1080 x 1920) x 1\u4e2a\u3001 (1920 x 1080) x 1\u4e2a");
}

void tst_PcInfo::screenText()
{
    QFETCH(QVector<QSize>, screens);
    QTEST(Texts::ScreenText(screens), "text");
}

void tst_PcInfo::screenIsThatOfTheDesktop()
{
    QVector<QSize> sizes;
    const QList<QScreen*> screens = QGuiApplication::screens();
    for (const QScreen* screen : screens)
        sizes.append(screen->geometry().size());
    QVERIFY(!sizes.isEmpty());
    QCOMPARE(PcInfo::screen(), Texts::ScreenText(sizes));
}

void tst_PcInfo::cpuTypeIsThatOfTheMachine()
{
#ifdef Q_OS_WIN
    std::vector<wchar_t> buffer(256);
    DWORD bytes = static_cast<DWORD>(buffer.size() * sizeof(wchar_t));
    QCOMPARE(RegGetValueW(HKEY_LOCAL_MACHINE, L"HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0",
                          L"ProcessorNameString", RRF_RT_REG_SZ, nullptr, buffer.data(), &bytes),
             LSTATUS(ERROR_SUCCESS));
    QCOMPARE(PcInfo::cpuType(), QString::fromWCharArray(buffer.data()));
#else
    QVERIFY(contentOf("/proc/cpuinfo").contains(PcInfo::cpuType().toUtf8()));
#endif
    QVERIFY(!PcInfo::cpuType().isEmpty());
}

void tst_PcInfo::textsAreStatic()
{
    QCOMPARE(&PcInfo::cpuType(), &PcInfo::cpuType());
    QCOMPARE(&PcInfo::dCard(), &PcInfo::dCard());
    QCOMPARE(&PcInfo::memory(), &PcInfo::memory());
    QCOMPARE(&PcInfo::screen(), &PcInfo::screen());
}

void tst_PcInfo::graphicsAdaptersAreNames()
{
    // A machine without an adapter, or without a display, has none to name.
    const QString names = PcInfo::dCard();
#ifdef Q_OS_WIN
    QCOMPARE(names, adapterNames().join(QLatin1Char(',')));
#endif
    if (names.isEmpty())
        return;
    const QStringList parts = names.split(QLatin1Char(','));
    for (const QString& part : parts)
        QVERIFY2(!part.trimmed().isEmpty(), qPrintable(names));
}

void tst_PcInfo::ipAddressIsTheFirstOutsideIPv4()
{
    QString expected;
    const QList<QHostAddress> addresses = QNetworkInterface::allAddresses();
    for (const QHostAddress& address : addresses) {
        const QString text = address.toString();
        if (text.contains(QLatin1Char(':')) || text == QLatin1String("127.0.0.1"))
            continue;
        expected = text;
        break;
    }
    QCOMPARE(PcInfo::ipAddress(), expected);
}

void tst_PcInfo::macIsThatOfTheFirstRunningInterface()
{
    QString expected;
    const QList<QNetworkInterface> interfaces = QNetworkInterface::allInterfaces();
    for (const QNetworkInterface& candidate : interfaces) {
        if (!(candidate.flags() & QNetworkInterface::IsUp) || !(candidate.flags() & QNetworkInterface::IsRunning))
            continue;
        expected = candidate.hardwareAddress();
        break;
    }
    QCOMPARE(PcInfo::mac(), expected);
}

void tst_PcInfo::namesAndVersions()
{
    QCOMPARE(PcInfo::localmachineName(), QHostInfo::localHostName());
    QCOMPARE(PcInfo::osType(), QSysInfo::productType());
    QCOMPARE(PcInfo::osVersion(), QSysInfo::productVersion());
    QCOMPARE(PcInfo::osBuild(), QSysInfo::kernelVersion());
    QCOMPARE(PcInfo::osArch(), QSysInfo::currentCpuArchitecture());
    QVERIFY(!PcInfo::osArch().isEmpty());
}

void tst_PcInfo::notebookFlag_data()
{
    QTest::addColumn<int>("flag");
    QTest::addColumn<bool>("notebook");
    QTest::newRow("medium charge") << 0 << true;
    QTest::newRow("high") << 1 << true;
    QTest::newRow("critical") << 4 << true;
    QTest::newRow("charging") << 8 << true;
    QTest::newRow("no battery") << 128 << false;
    QTest::newRow("unknown") << 255 << false;
}

void tst_PcInfo::notebookFlag()
{
    QFETCH(int, flag);
    QTEST(PcInfoTexts::IsNoteBookFlag(flag), "notebook");
}

void tst_PcInfo::notebookAnswerIsStable()
{
#ifdef Q_OS_WIN
    SYSTEM_POWER_STATUS status = {};
    QVERIFY(GetSystemPowerStatus(&status));
    QCOMPARE(PcInfo::IsNoteBookPc(), PcInfoTexts::IsNoteBookFlag(status.BatteryFlag));
#else
    bool battery = false;
    const QDir supplies(QStringLiteral("/sys/class/power_supply"));
    const QStringList entries = supplies.entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    for (const QString& entry : entries) {
        const QString folder = supplies.filePath(entry);
        battery = battery || (contentOf(qPrintable(folder + QStringLiteral("/type"))).startsWith("Battery") &&
                              !contentOf(qPrintable(folder + QStringLiteral("/scope"))).startsWith("Device"));
    }
    QCOMPARE(PcInfo::IsNoteBookPc(), battery);
#endif
}

void tst_PcInfo::diskSpaceOfAPath()
{
    const QTemporaryDir folder;
    QVERIFY(folder.isValid());
    // The downloader asks before its folder exists.
    const QString path = folder.filePath(QStringLiteral("not/yet there"));
#ifdef Q_OS_WIN
    const QStorageInfo storage(folder.path().left(2));
#else
    const QStorageInfo storage(folder.path());
#endif
    QVERIFY(storage.bytesTotal() > 0);
    QCOMPARE(PcInfo::GetDiskMemory(path, false), storage.bytesTotal());
    QCOMPARE(PcInfo::GetDiskMemory(folder.path(), false), storage.bytesTotal());
    // Others write to the disk meanwhile.
    constexpr qint64 kDriftBytes = qint64(1024) * 1024 * 1024;
    const qint64 available = PcInfo::GetDiskMemory(path, true);
    QVERIFY(available > 0);
    QVERIFY(qAbs(available - QStorageInfo(storage.rootPath()).bytesAvailable()) < kDriftBytes);
    QVERIFY(available < storage.bytesTotal());
}

void tst_PcInfo::diskSpaceOfADrive_data()
{
    QTest::addColumn<QString>("path");
    for (const char* path : {"C:", "C:/Games/x", "C:\\Games", "C:/Games/x:y", "c:/Games", "Q:/Games"})
        QTest::newRow(path) << QString::fromLatin1(path);
}

// On systems without drives, too: the answer is then that of a disk which is not there.
void tst_PcInfo::diskSpaceOfADrive()
{
    QFETCH(QString, path);
    const QString drive = path.left(2);
    QCOMPARE(PcInfo::GetDiskMemory(path, false), QStorageInfo(drive).bytesTotal());
    QCOMPARE(PcInfo::GetDiskMemory(path, true) > 0, QStorageInfo(drive).bytesAvailable() > 0);
}

void tst_PcInfo::diskSpaceOfAnEmptyPath()
{
#ifdef Q_OS_WIN
    QCOMPARE(PcInfo::GetDiskMemory(QStringLiteral("no drive"), false), QStorageInfo(QString()).bytesTotal());
#endif
    // Nothing else is promised than that it answers.
    QVERIFY(PcInfo::GetDiskMemory(QString(), true) >= -1);
}

void tst_PcInfo::fields_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("value");
    QTest::newRow("first of several") << QByteArray("a: 1\nmodel name\t: Fast CPU @ 3GHz\nmodel name\t: Other\n")
                                      << QStringLiteral("Fast CPU @ 3GHz");
    QTest::newRow("colon in the value") << QByteArray("model name: a:b\n") << QStringLiteral("a:b");
    QTest::newRow("only part of the name") << QByteArray("model names: x\nmodel: y\n") << QString();
    QTest::newRow("no colon") << QByteArray("model name\n") << QString();
    QTest::newRow("nothing") << QByteArray() << QString();
}

void tst_PcInfo::fields()
{
    QFETCH(QByteArray, text);
    QTEST(PcInfoTexts::FieldOf(text, "model name"), "value");
}

void tst_PcInfo::kilobytes()
{
    const QByteArray text("MemTotal:       16316412 kB\nMemFree:  1 kB\nMemAvailable:    8012345 kB\nHuge: many\n");
    QCOMPARE(PcInfoTexts::KilobytesOf(text, "MemTotal"), 16316412.0);
    QCOMPARE(PcInfoTexts::KilobytesOf(text, "MemAvailable"), 8012345.0);
    QCOMPARE(PcInfoTexts::KilobytesOf(text, "Huge"), 0.0);
    QCOMPARE(PcInfoTexts::KilobytesOf(text, "Missing"), 0.0);
}

QTEST_MAIN(tst_PcInfo)

#include "tst_PcInfo.moc"

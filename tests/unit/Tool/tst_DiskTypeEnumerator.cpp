// SPDX-License-Identifier: MIT
#include "FakeWmi.h"
#include "MessageCapture.h"
#include "Tool/DiskMedia_win.h"
#include "Tool/DiskNumber_win.h"
#include "Tool/DiskTypeEnumerator.h"

#include <QSignalSpy>
#include <QThread>
#include <QtTest>

#include <winioctl.h>

namespace {

/// \brief Drives of the test's choice.
struct Drives
{
    DWORD mask = 0;
    QString locked;              ///< letters that cannot be opened
    QHash<QChar, DWORD> numbers; ///< of those whose device tells
    QStringList opened;
    QString closed;

    static Drives* current;

    Drives() { current = this; }
    ~Drives() { current = nullptr; }
    Drives(const Drives&) = delete;
    Drives& operator=(const Drives&) = delete;

    void add(char letter, DWORD number)
    {
        mask |= DWORD(1) << (letter - 'A');
        numbers.insert(QLatin1Char(letter), number);
    }

    static DWORD WINAPI getLogicalDrives() { return current->mask; }

    static HANDLE WINAPI createFile(LPCSTR path, DWORD access, DWORD sharing, LPSECURITY_ATTRIBUTES security,
                                    DWORD disposition, DWORD flags, HANDLE)
    {
        current->opened.append(QString::fromLatin1(path));
        const QChar letter = current->opened.constLast().at(4);
        const bool asWanted = access == GENERIC_READ && sharing == (FILE_SHARE_READ | FILE_SHARE_WRITE) &&
                              disposition == OPEN_EXISTING && !security && flags == 0;
        if (!asWanted || current->locked.contains(letter))
            return INVALID_HANDLE_VALUE;
        return reinterpret_cast<HANDLE>(static_cast<quintptr>(letter.unicode()));
    }

    static BOOL WINAPI deviceIoControl(HANDLE handle, DWORD code, LPVOID, DWORD, LPVOID reply, DWORD size, LPDWORD,
                                       LPOVERLAPPED)
    {
        const QChar letter(static_cast<ushort>(reinterpret_cast<quintptr>(handle)));
        if (code != IOCTL_STORAGE_GET_DEVICE_NUMBER || size != 12 || !current->numbers.contains(letter))
            return FALSE;
        auto* const number = static_cast<STORAGE_DEVICE_NUMBER*>(reply);
        number->DeviceType = FILE_DEVICE_DISK;
        number->DeviceNumber = current->numbers.value(letter);
        number->PartitionNumber = 99;
        return TRUE;
    }

    static BOOL WINAPI closeHandle(HANDLE handle)
    {
        current->closed.append(QChar(static_cast<ushort>(reinterpret_cast<quintptr>(handle))));
        return TRUE;
    }

    static DiskNumber::Api api()
    {
        DiskNumber::Api api;
        api.getLogicalDrives = &Drives::getLogicalDrives;
        api.createFile = &Drives::createFile;
        api.deviceIoControl = &Drives::deviceIoControl;
        api.closeHandle = &Drives::closeHandle;
        return api;
    }
};

Drives* Drives::current = nullptr;

/// \brief COM with a WMI of the test's choice; any step can be made to fail.
struct Com
{
    HRESULT initialized = S_OK;
    HRESULT secured = S_OK;
    HRESULT created = S_OK;
    HRESULT blanketed = S_OK;
    FakeRows rows;
    FakeServices services;
    FakeLocator locator;
    QVector<FakeRow*> allRows;
    QStringList steps;

    static Com* current;

    Com()
    {
        services.rows = &rows;
        locator.services = &services;
        current = this;
    }
    ~Com()
    {
        qDeleteAll(allRows);
        current = nullptr;
    }
    Com(const Com&) = delete;
    Com& operator=(const Com&) = delete;

    void addDisk(const QVariant& deviceId, const QVariant& mediaType)
    {
        allRows.append(new FakeRow);
        allRows.constLast()->properties = {{QStringLiteral("DeviceId"), deviceId},
                                           {QStringLiteral("BusType"), 11},
                                           {QStringLiteral("HealthStatus"), 1},
                                           {QStringLiteral("SpindleSpeed"), 7200},
                                           {QStringLiteral("MediaType"), mediaType}};
        rows.rows = allRows;
    }

    int references() const
    {
        int count = rows.references() + services.references() + locator.references();
        for (const FakeRow* row : allRows)
            count += row->references();
        return count;
    }

    static HRESULT WINAPI initialize(LPVOID, DWORD model)
    {
        current->steps.append(model == COINIT_MULTITHREADED ? QStringLiteral("initialize")
                                                            : QStringLiteral("wrong model"));
        return current->initialized;
    }

    static HRESULT WINAPI initializeSecurity(PSECURITY_DESCRIPTOR, LONG services, SOLE_AUTHENTICATION_SERVICE*, void*,
                                             DWORD authentication, DWORD impersonation, void*, DWORD, void*)
    {
        const bool asWanted = services == -1 && authentication == RPC_C_AUTHN_LEVEL_DEFAULT &&
                              impersonation == RPC_C_IMP_LEVEL_IMPERSONATE;
        current->steps.append(asWanted ? QStringLiteral("security") : QStringLiteral("wrong security"));
        return current->secured;
    }

    static HRESULT WINAPI createInstance(REFCLSID type, LPUNKNOWN, DWORD, REFIID interfaceId, LPVOID* object)
    {
        const bool asWanted = IsEqualGUID(type, CLSID_WbemLocator) && IsEqualGUID(interfaceId, IID_IWbemLocator);
        current->steps.append(asWanted ? QStringLiteral("locator") : QStringLiteral("wrong object"));
        if (FAILED(current->created))
            return current->created;
        current->locator.AddRef();
        *object = &current->locator;
        return current->created;
    }

    static HRESULT WINAPI setProxyBlanket(IUnknown* proxy, DWORD authentication, DWORD, OLECHAR*, DWORD level,
                                          DWORD impersonation, RPC_AUTH_IDENTITY_HANDLE, DWORD)
    {
        const bool asWanted = proxy == &current->services && authentication == RPC_C_AUTHN_WINNT &&
                              level == RPC_C_AUTHN_LEVEL_CALL && impersonation == RPC_C_IMP_LEVEL_IMPERSONATE;
        current->steps.append(asWanted ? QStringLiteral("blanket") : QStringLiteral("wrong blanket"));
        return current->blanketed;
    }

    static void WINAPI uninitialize()
    {
        current->steps.append(QStringLiteral("uninitialize, %1 held").arg(current->references()));
    }

    static DiskMedia::Api api()
    {
        DiskMedia::Api api;
        api.initialize = &Com::initialize;
        api.initializeSecurity = &Com::initializeSecurity;
        api.createInstance = &Com::createInstance;
        api.setProxyBlanket = &Com::setProxyBlanket;
        api.uninitialize = &Com::uninitialize;
        return api;
    }
};

Com* Com::current = nullptr;

constexpr DWORD kAll32Drives = 0xFFFFFFFF;
constexpr HRESULT kDenied = static_cast<HRESULT>(0x80070005);

} // namespace

class tst_DiskTypeEnumerator : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void keepsTheDrive();
    void findsTheNumberOfALetter_data();
    void findsTheNumberOfALetter();
    void walksUpToTheLetter();
    void walks27Positions();
    void skipsDrivesThatDoNotTell();
    void readsARow();
    void readsARowWithoutValues();
    void matchesTheNumber_data();
    void matchesTheNumber();
    void answersWithTheMediaType_data();
    void answersWithTheMediaType();
    void goesThroughAllRows();
    void asksNothingWithoutANumber();
    void takesTheStepsInOrder();
    void acceptsSecurityThatIsSet();
    void reportsFailures_data();
    void reportsFailures();
    void emitsOnceOnAWorkerThread();
    void slotCanBeInvokedByName();
    void emitsNothingKnownForOtherTexts_data();
    void emitsNothingKnownForOtherTexts();
};

void tst_DiskTypeEnumerator::keepsTheDrive()
{
    QObject parent;
    auto* const disk = new DiskTypeEnumerator(&parent);
    QCOMPARE(disk->parent(), &parent);
    QCOMPARE(disk->Getdrive(), QString());
    disk->SetDiskDrive(QStringLiteral("C"));
    QCOMPARE(disk->Getdrive(), QStringLiteral("C"));
    disk->Setdrive(QStringLiteral("D:"));
    QCOMPARE(disk->Getdrive(), QStringLiteral("D:"));
}

void tst_DiskTypeEnumerator::findsTheNumberOfALetter_data()
{
    QTest::addColumn<QString>("drive");
    QTest::addColumn<int>("number");
    QTest::newRow("first") << "A" << 7;
    QTest::newRow("in between") << "C" << 0;
    QTest::newRow("last") << "Z" << 12;
    QTest::newRow("not present") << "D" << -1;
    QTest::newRow("with a colon") << "C:" << -1;
    QTest::newRow("lower case") << "c" << -1;
    QTest::newRow("empty") << "" << -1;
    QTest::newRow("not Latin") << QStringLiteral("\u0421") << -1;
}

void tst_DiskTypeEnumerator::findsTheNumberOfALetter()
{
    Drives drives;
    drives.add('A', 7);
    drives.add('C', 0);
    drives.add('Z', 12);
    QFETCH(QString, drive);
    QTEST(DiskNumber::Of(drive, Drives::api()), "number");
}

void tst_DiskTypeEnumerator::walksUpToTheLetter()
{
    Drives drives;
    drives.add('C', 0);
    drives.add('E', 31);
    drives.add('F', 2);
    const MessageCapture lines(QtDebugMsg);
    QCOMPARE(DiskNumber::Of(QStringLiteral("E"), Drives::api()), 31);
    QCOMPARE(drives.opened, (QStringList{QStringLiteral("\\\\.\\C:"), QStringLiteral("\\\\.\\E:")}));
    QCOMPARE(drives.closed, QStringLiteral("CE"));
    QCOMPARE(lines.texts(), (QStringList{QStringLiteral("Drive :C, is physical drive 0"),
                                         QStringLiteral("Drive :E, is physical drive 31")}));
}

void tst_DiskTypeEnumerator::walks27Positions()
{
    Drives drives;
    drives.mask = kAll32Drives;
    drives.numbers.insert(QLatin1Char('['), 26);
    QCOMPARE(DiskNumber::Of(QStringLiteral("\\"), Drives::api()), -1);
    QCOMPARE(drives.opened.size(), 27);
    QCOMPARE(drives.opened.constFirst(), QStringLiteral("\\\\.\\A:"));
    QCOMPARE(drives.opened.at(25), QStringLiteral("\\\\.\\Z:"));
    QCOMPARE(drives.opened.constLast(), QStringLiteral("\\\\.\\[:"));
    QCOMPARE(drives.closed, QStringLiteral("ABCDEFGHIJKLMNOPQRSTUVWXYZ["));
    QCOMPARE(DiskNumber::Of(QStringLiteral("["), Drives::api()), 26);
}

void tst_DiskTypeEnumerator::skipsDrivesThatDoNotTell()
{
    Drives drives;
    for (const char letter : {'C', 'D', 'E'})
        drives.add(letter, 1);
    drives.locked = QStringLiteral("C");
    drives.numbers.remove(QLatin1Char('D'));
    const MessageCapture lines(QtDebugMsg);
    QCOMPARE(DiskNumber::Of(QStringLiteral("C"), Drives::api()), -1);
    QCOMPARE(DiskNumber::Of(QStringLiteral("D"), Drives::api()), -1);
    QCOMPARE(DiskNumber::Of(QStringLiteral("E"), Drives::api()), 1);
    QCOMPARE(drives.closed, QStringLiteral("DEDEDE"));
    const QString line = QStringLiteral("Drive :E, is physical drive 1");
    QCOMPARE(lines.texts(), (QStringList{line, line, line}));
}

void tst_DiskTypeEnumerator::readsARow()
{
    FakeRow row;
    row.properties = {{QStringLiteral("DeviceId"), QStringLiteral("12")},
                      {QStringLiteral("BusType"), 17},
                      {QStringLiteral("HealthStatus"), 2},
                      {QStringLiteral("SpindleSpeed"), 5400},
                      {QStringLiteral("MediaType"), 4}};
    const DiskMedia::Disk disk = DiskMedia::Read(&row);
    QCOMPARE(disk.deviceId, std::string("12"));
    QCOMPARE(disk.busType, 17);
    QCOMPARE(disk.healthStatus, 2);
    QCOMPARE(disk.spindleSpeed, 5400);
    QCOMPARE(disk.mediaType, 4);
}

void tst_DiskTypeEnumerator::readsARowWithoutValues()
{
    FakeRow row;
    row.properties.insert(QStringLiteral("DeviceId"), QVariant());
    row.properties.insert(QStringLiteral("MediaType"), QVariant());
    const DiskMedia::Disk disk = DiskMedia::Read(&row);
    QCOMPARE(disk.deviceId, std::string());
    QCOMPARE(disk.busType, 0);
    QCOMPARE(disk.healthStatus, 0);
    QCOMPARE(disk.spindleSpeed, 0);
    QCOMPARE(disk.mediaType, 0);
}

void tst_DiskTypeEnumerator::matchesTheNumber_data()
{
    QTest::addColumn<QByteArray>("deviceId");
    QTest::addColumn<int>("number");
    QTest::addColumn<bool>("matches");
    QTest::newRow("same") << QByteArray("1") << 1 << true;
    QTest::newRow("longer") << QByteArray("11") << 1 << false;
    QTest::newRow("shorter") << QByteArray("1") << 11 << false;
    QTest::newRow("as atoi reads it") << QByteArray(" 01x") << 1 << true;
    QTest::newRow("no number is 0") << QByteArray("disk") << 0 << true;
    QTest::newRow("no number is not 1") << QByteArray("disk") << 1 << false;
    QTest::newRow("no id") << QByteArray() << 0 << false;
}

void tst_DiskTypeEnumerator::matchesTheNumber()
{
    QFETCH(QByteArray, deviceId);
    QFETCH(int, number);
    DiskMedia::Disk disk;
    disk.deviceId = deviceId.toStdString();
    QTEST(DiskMedia::Matches(disk, number), "matches");
}

void tst_DiskTypeEnumerator::answersWithTheMediaType_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<int>("type");
    QTest::newRow("first disk") << 0 << 4;
    QTest::newRow("second disk") << 1 << 3;
    QTest::newRow("third disk") << 10 << 5;
    QTest::newRow("no such disk") << 2 << 0;
}

void tst_DiskTypeEnumerator::answersWithTheMediaType()
{
    QFETCH(int, number);
    Com com;
    com.addDisk(QStringLiteral("0"), 4);
    com.addDisk(QStringLiteral("1"), 3);
    com.addDisk(QStringLiteral("10"), 5);
    QTEST(DiskMedia::TypeOf(number, Com::api()), "type");
    QCOMPARE(com.steps.constLast(), QStringLiteral("uninitialize, 0 held"));
}

void tst_DiskTypeEnumerator::goesThroughAllRows()
{
    Com com;
    com.addDisk(QStringLiteral("1"), 4);
    com.addDisk(QStringLiteral("0"), 3);
    const MessageCapture lines(QtDebugMsg);
    QCOMPARE(DiskMedia::TypeAmong(&com.rows, 1), 4);
    QCOMPARE(lines.texts(),
             (QStringList{QStringLiteral("DeviceId:1, MediaType:4"), QStringLiteral("DeviceId:0, MediaType:3")}));
    const QString oneWithoutLimit = QStringLiteral("-1/1");
    QCOMPARE(com.rows.asked, (QStringList{oneWithoutLimit, oneWithoutLimit, oneWithoutLimit}));
    QCOMPARE(com.references(), 0);
}

void tst_DiskTypeEnumerator::asksNothingWithoutANumber()
{
    Com com;
    const MessageCapture lines(QtDebugMsg);
    QCOMPARE(DiskMedia::TypeOf(-1, Com::api()), 0);
    QCOMPARE(com.steps, QStringList());
    QCOMPARE(lines.texts(), QStringList());
}

void tst_DiskTypeEnumerator::takesTheStepsInOrder()
{
    Com com;
    QCOMPARE(DiskMedia::TypeOf(0, Com::api()), 0);
    QCOMPARE(com.steps,
             (QStringList{QStringLiteral("initialize"), QStringLiteral("security"), QStringLiteral("locator"),
                          QStringLiteral("blanket"), QStringLiteral("uninitialize, 0 held")}));
    QCOMPARE(com.locator.namespaces, QStringList(QStringLiteral("ROOT\\microsoft\\windows\\storage")));
    QCOMPARE(com.services.queries, QStringList(QStringLiteral("WQL: SELECT * FROM MSFT_PhysicalDisk")));
}

void tst_DiskTypeEnumerator::acceptsSecurityThatIsSet()
{
    Com com;
    com.secured = static_cast<HRESULT>(0x80010119);
    com.addDisk(QStringLiteral("0"), 4);
    const MessageCapture lines(QtDebugMsg);
    QCOMPARE(DiskMedia::TypeOf(0, Com::api()), 4);
    QCOMPARE(lines.texts(), QStringList(QStringLiteral("DeviceId:0, MediaType:4")));
}

void tst_DiskTypeEnumerator::reportsFailures_data()
{
    QTest::addColumn<int>("step");
    QTest::addColumn<QString>("line");
    QTest::addColumn<int>("steps");
    QTest::newRow("library") << 0 << "Failed to initialize COM library. Error code = 0x80070005" << 1;
    QTest::newRow("security") << 1 << "Failed to initialize security. Error code = 0x80070005" << 3;
    QTest::newRow("locator") << 2 << "Failed to create IWbemLocator object. Err code = 0x80070005" << 4;
    QTest::newRow("connection") << 3 << "Could not connect. Error code = 0x80070005" << 4;
    QTest::newRow("blanket") << 4 << "Could not set proxy blanket. Error code = 0x80070005" << 5;
    QTest::newRow("query") << 5 << "Query for MSFT_PhysicalDisk. Error code = 0x80070005" << 5;
}

void tst_DiskTypeEnumerator::reportsFailures()
{
    QFETCH(int, step);
    QFETCH(QString, line);
    QFETCH(int, steps);
    Com com;
    com.addDisk(QStringLiteral("0"), 4);
    *QVector<HRESULT*>{&com.initialized,    &com.secured,   &com.created,
                       &com.locator.result, &com.blanketed, &com.services.result}[step] = kDenied;
    const MessageCapture lines(QtDebugMsg);
    QCOMPARE(DiskMedia::TypeOf(0, Com::api()), 0);
    QCOMPARE(lines.texts(), QStringList(line));
    QCOMPARE(com.steps.size(), steps);
    // Left only when it was entered, with nothing held.
    const QString left = QStringLiteral("uninitialize, 0 held");
    QCOMPARE(com.steps.count(left), step == 0 ? 0 : 1);
    QCOMPARE(com.steps.constLast() == left, step != 0);
    QCOMPARE(com.references(), 0);
}

void tst_DiskTypeEnumerator::emitsOnceOnAWorkerThread()
{
    DiskTypeEnumerator disk;
    disk.SetDiskDrive(QStringLiteral("C"));
    QSignalSpy spy(&disk, &DiskTypeEnumerator::mediaType);
    QThread thread;
    disk.moveToThread(&thread);
    connect(&thread, &QThread::started, &disk, &DiskTypeEnumerator::onStart);
    connect(&disk, &DiskTypeEnumerator::mediaType, &thread, &QThread::quit, Qt::DirectConnection);
    thread.start();
    QVERIFY(thread.wait(60000));
    QCOMPARE(spy.size(), 1);
    const int type = spy.constFirst().constFirst().toInt();
    QVERIFY2(QVector<int>({0, 3, 4, 5}).contains(type), qPrintable(QString::number(type)));
}

void tst_DiskTypeEnumerator::slotCanBeInvokedByName()
{
    DiskTypeEnumerator disk;
    QSignalSpy spy(&disk, SIGNAL(mediaType(int)));
    QVERIFY(spy.isValid());
    QVERIFY(QMetaObject::invokeMethod(&disk, "onStart", Qt::DirectConnection));
    QCOMPARE(spy.size(), 1);
}

void tst_DiskTypeEnumerator::emitsNothingKnownForOtherTexts_data()
{
    QTest::addColumn<QString>("drive");
    QTest::newRow("with a colon") << "C:";
    QTest::newRow("empty") << "";
    QTest::newRow("not mounted") << "Q";
}

void tst_DiskTypeEnumerator::emitsNothingKnownForOtherTexts()
{
    QFETCH(QString, drive);
    DiskTypeEnumerator disk;
    disk.Setdrive(drive);
    QSignalSpy spy(&disk, &DiskTypeEnumerator::mediaType);
    disk.onStart();
    QCOMPARE(spy.size(), 1);
    QCOMPARE(spy.constFirst().constFirst().toInt(), 0);
}

QTEST_GUILESS_MAIN(tst_DiskTypeEnumerator)

#include "tst_DiskTypeEnumerator.moc"

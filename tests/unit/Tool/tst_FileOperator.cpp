// SPDX-License-Identifier: MIT
#include "MetaMethods.h"
#include "Tool/FileOperator.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include <algorithm>
#include <array>
#include <memory>

#ifdef Q_OS_WIN
#include <windows.h>
#else
#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#endif
#ifdef Q_OS_LINUX
#include <sys/inotify.h>
#endif

namespace {

constexpr int kPatienceMs = 60000;

QString md5Of(const QByteArray& bytes)
{
    return QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Md5).toHex());
}

#ifdef Q_OS_WIN
std::wstring wide(const QString& path)
{
    return QDir::toNativeSeparators(path).toStdWString();
}

/// \brief Keeps a file open without sharing it.
class Lock
{
public:
    explicit Lock(const QString& path)
        : m_file(CreateFileW(wide(path).c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr))
    {
    }
    ~Lock() { CloseHandle(m_file); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;
    bool holds() const { return m_file != INVALID_HANDLE_VALUE; }

private:
    HANDLE m_file;
};
#endif

} // namespace

class tst_FileOperator : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void declaresSignalsAndSlots();
    void belongsToItsParent();
    void countsAndMeasures();
    void countsNothingInMissingFolders_data();
    void countsNothingInMissingFolders();
    void measuresBeyondFourGigabytes();
    void hashesFiles_data();
    void hashesFiles();
    void hashesNoFolder();
    void copiesATree();
    void slotCanBeInvokedByName();
    void makesEmptyFolders();
    void makesTheDestinationWithItsParents();
    void copiesFoldersBeforeFiles();
    void leavesIdenticalFilesAlone();
    void replacesDifferentFiles();
    void savesChangedFiles();
    void savesChangedFilesOfSubFolders();
    void keepsWhatWasSavedBefore();
    void savesNothingButChangedFiles();
    void replacesEveryOccurrenceOfTheDestination();
    void failsWithoutAFolderForChangedFiles_data();
    void failsWithoutAFolderForChangedFiles();
    void reportsTheFileThatCannotBeCopied();
    void reportsAnEmptyPathForAFolderThatCannotBeMade();
    void keepsTheLastErrorPath();
    void stopsBeforeTheNextFile();
    void stopsBeforeTheNextFolder();
    void staysClosedUntilOpened();
    void stopsFromAnotherThread();
    void countsTheFilesBeforeTheRun();
    void startsCountingAfresh();
    void copiesNothingFromAMissingFolder();
    void emptyPathsNameNoFolder();
    void leavesHiddenFilesOut();
    void copiesLongAndForeignNames();
    void copiesReadOnlyFiles();
    void doesNotCopyTheDestinationIntoItself();
#ifdef Q_OS_WIN
    void reportsLockedFiles();
    void cannotReplaceReadOnlyFiles();
#else
    void replacesReadOnlyFiles();
    void copiesPermissions();
    void leavesNothingOfAFailedCopy();
    void reportsUnreadableFiles();
    void takesUnreadableFilesForEqual();
    void followsLinks();
    void passesOverLinksThatLeadBack_data();
    void passesOverLinksThatLeadBack();
    void leavesPipesAndBrokenLinksOut();
#endif
#ifdef Q_OS_LINUX
    void readsEachSourceAtMostTwice_data();
    void readsEachSourceAtMostTwice();
#endif

private:
    QString path(const QString& name) const
    {
        return m_folder->filePath(name);
    }
    QString src(const QString& name = QString()) const
    {
        return path(QStringLiteral("src") + name);
    }
    QString dst(const QString& name = QString()) const
    {
        return path(QStringLiteral("dst") + name);
    }
    QString changed(const QString& name = QString()) const
    {
        return path(QStringLiteral("changed") + name);
    }
    static void write(const QString& file, const QByteArray& content);
    static QByteArray read(const QString& file);
    static QStringList tree(const QString& root);
    /// Runs a copy and returns its signals as texts.
    QStringList run(bool saveChanged = false);
    QStringList events();

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<FileOperator> m_operator;
};

void tst_FileOperator::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
    QVERIFY(QDir().mkpath(src()));
    m_operator = std::make_unique<FileOperator>();
}

void tst_FileOperator::write(const QString& file, const QByteArray& content)
{
    QVERIFY(QDir().mkpath(QFileInfo(file).absolutePath()));
    QFile output(file);
    QVERIFY2(output.open(QIODevice::WriteOnly), qPrintable(file));
    QCOMPARE(output.write(content), content.size());
}

QByteArray tst_FileOperator::read(const QString& file)
{
    QFile input(file);
    return input.open(QIODevice::ReadOnly) ? input.readAll() : QByteArray("(missing)");
}

// Everything below a folder, sorted; folders end with a slash.
QStringList tst_FileOperator::tree(const QString& root)
{
    QStringList names;
    QDirIterator entries(root, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QString entry = QDir(root).relativeFilePath(entries.next());
        names << (entries.fileInfo().isDir() ? entry + QLatin1Char('/') : entry);
    }
    names.sort();
    return names;
}

QStringList tst_FileOperator::run(bool saveChanged)
{
    m_operator->SetCopyDirParam(src(), dst(), saveChanged, changed());
    return events();
}

QStringList tst_FileOperator::events()
{
    QStringList list;
    QObject context;
    connect(m_operator.get(), &FileOperator::copyProgress, &context,
            [&](int copied, int total) { list << QStringLiteral("%1/%2").arg(copied).arg(total); });
    connect(m_operator.get(), &FileOperator::copyFinish, &context, [&] { list << QStringLiteral("finish"); });
    connect(m_operator.get(), &FileOperator::copyError, &context,
            [&](const QString& file) { list << QStringLiteral("error ") + file; });
    m_operator->onCopyDirFiles();
    return list;
}

void tst_FileOperator::declaresSignalsAndSlots()
{
    const QMetaObject& meta = FileOperator::staticMetaObject;
    for (const char* signal : {"copyProgress(int,int)", "copyFinish()", "copyError(QString)"})
        QVERIFY2(meta.indexOfSignal(signal) >= 0, signal);
    QCOMPARE(declaredSignals(meta).size(), 3);
    QCOMPARE(declaredSlots(meta), QStringList(QStringLiteral("onCopyDirFiles()")));
    QCOMPARE(meta.method(meta.indexOfSlot("onCopyDirFiles()")).access(), QMetaMethod::Public);
}

void tst_FileOperator::belongsToItsParent()
{
    QObject parent;
    const auto* const fileOperator = new FileOperator(&parent);
    QCOMPARE(fileOperator->parent(), &parent);
}

void tst_FileOperator::countsAndMeasures()
{
    write(src(QStringLiteral("/a")), "1");
    write(src(QStringLiteral("/b")), "22");
    write(src(QStringLiteral("/sub/c")), "333");
    write(src(QStringLiteral("/sub/deeper/d")), "4444");
    QVERIFY(QDir().mkpath(src(QStringLiteral("/empty"))));
    QCOMPARE(FileOperator::GetDirFileCount(src()), 4);
    QCOMPARE(FileOperator::GetDirFileSize(src()), quint64(10));
    QCOMPARE(FileOperator::GetDirFileCount(src(QStringLiteral("/empty"))), 0);
    QCOMPARE(FileOperator::GetDirFileSize(src(QStringLiteral("/empty"))), quint64(0));
}

void tst_FileOperator::countsNothingInMissingFolders_data()
{
    QTest::addColumn<QString>("folder");
    QTest::newRow("missing") << QStringLiteral("/missing");
    QTest::newRow("a file") << QStringLiteral("/file");
    QTest::newRow("no path") << QString();
}

void tst_FileOperator::countsNothingInMissingFolders()
{
    QFETCH(QString, folder);
    write(src(QStringLiteral("/file")), "x");
    // The current folder has files, so an empty path must not stand for it.
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(src()));
    const QString name = folder.isEmpty() ? folder : src(folder);
    const int count = FileOperator::GetDirFileCount(name);
    const quint64 size = FileOperator::GetDirFileSize(name);
    QVERIFY(QDir::setCurrent(before));
    QCOMPARE(count, 0);
    QCOMPARE(size, quint64(0));
}

void tst_FileOperator::measuresBeyondFourGigabytes()
{
    // One file of its own is beyond them, and two others are together.
    constexpr qint64 kLarge = 5000000000;
    constexpr qint64 kHalf = 3000000000;
    const QVector<QPair<QString, qint64>> files{
        {QStringLiteral("/one"), kHalf}, {QStringLiteral("/sub/two"), kHalf}, {QStringLiteral("/sub/three"), kLarge}};
    for (const auto& [name, size] : files) {
        write(src(name), QByteArray());
        QVERIFY(QFile::resize(src(name), size));
    }
    QCOMPARE(FileOperator::GetDirFileSize(src()), quint64(kLarge + 2 * kHalf));
}

void tst_FileOperator::hashesFiles_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("text") << QByteArray("abc");
    QTest::newRow("zeros") << QByteArray(16384, '\0');
    QTest::newRow("more than a block") << QByteArray(1000003, 'x');
}

void tst_FileOperator::hashesFiles()
{
    QFETCH(QByteArray, content);
    const QString file = src(QStringLiteral("/data \u4e2d"));
    write(file, content);
    QCOMPARE(FileOperator::GetFileMd5(file), md5Of(content));
    // It is closed again, which a system that locks open files shows.
    QVERIFY(QFile::remove(file));
    QCOMPARE(FileOperator::GetFileMd5(file), QString());
}

void tst_FileOperator::hashesNoFolder()
{
    QCOMPARE(FileOperator::GetFileMd5(src()), QString());
    QCOMPARE(FileOperator::GetFileMd5(QString()), QString());
}

void tst_FileOperator::copiesATree()
{
    write(src(QStringLiteral("/a")), "1");
    write(src(QStringLiteral("/sub/b")), "22");
    write(src(QStringLiteral("/sub/deeper/c")), QByteArray(100000, 'c'));
    QCOMPARE(run(), (QStringList{QStringLiteral("1/3"), QStringLiteral("2/3"), QStringLiteral("3/3"),
                                 QStringLiteral("finish")}));
    QCOMPARE(tree(dst()), tree(src()));
    QCOMPARE(read(dst(QStringLiteral("/a"))), QByteArray("1"));
    QCOMPARE(read(dst(QStringLiteral("/sub/b"))), QByteArray("22"));
    QCOMPARE(read(dst(QStringLiteral("/sub/deeper/c"))), QByteArray(100000, 'c'));
    QVERIFY(!QFileInfo::exists(changed()));
}

void tst_FileOperator::slotCanBeInvokedByName()
{
    write(src(QStringLiteral("/a")), "1");
    m_operator->SetCopyDirParam(src(), dst(), false, QString());
    QSignalSpy finish(m_operator.get(), &FileOperator::copyFinish);
    QVERIFY(QMetaObject::invokeMethod(m_operator.get(), "onCopyDirFiles", Qt::DirectConnection));
    QCOMPARE(finish.size(), 1);
}

void tst_FileOperator::makesEmptyFolders()
{
    QVERIFY(QDir().mkpath(src(QStringLiteral("/one/two"))));
    QVERIFY(QDir().mkpath(src(QStringLiteral("/three"))));
    QCOMPARE(run(), QStringList(QStringLiteral("finish")));
    QCOMPARE(tree(dst()), (QStringList{QStringLiteral("one/"), QStringLiteral("one/two/"), QStringLiteral("three/")}));
}

void tst_FileOperator::makesTheDestinationWithItsParents()
{
    write(src(QStringLiteral("/a")), "1");
    const QString deep = dst(QStringLiteral("/x/y/z"));
    m_operator->SetCopyDirParam(src(), deep, false, QString());
    QCOMPARE(events(), (QStringList{QStringLiteral("1/1"), QStringLiteral("finish")}));
    QCOMPARE(read(deep + QStringLiteral("/a")), QByteArray("1"));
}

void tst_FileOperator::copiesFoldersBeforeFiles()
{
    for (const char* name : {"/a", "/z", "/m/f", "/m/n/g", "/b/h"})
        write(src(QLatin1String(name)), "x");
    m_operator->SetCopyDirParam(src(), dst(), false, QString());
    QStringList order;
    QStringList seen;
    connect(m_operator.get(), &FileOperator::copyProgress, this, [&] {
        for (const QString& name : tree(dst())) {
            if (!name.endsWith(QLatin1Char('/')) && !seen.contains(name)) {
                seen << name;
                order << name;
            }
        }
    });
    m_operator->onCopyDirFiles();
    QCOMPARE(order, (QStringList{QStringLiteral("b/h"), QStringLiteral("m/n/g"), QStringLiteral("m/f"),
                                 QStringLiteral("a"), QStringLiteral("z")}));
}

void tst_FileOperator::leavesIdenticalFilesAlone()
{
    write(src(QStringLiteral("/a")), "same");
    write(dst(QStringLiteral("/a")), "same");
    const QDateTime past(QDate(2001, 2, 3), QTime(4, 5, 6));
    QFile file(dst(QStringLiteral("/a")));
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.setFileTime(past, QFileDevice::FileModificationTime));
    file.close();
    QCOMPARE(run(true), (QStringList{QStringLiteral("1/1"), QStringLiteral("finish")}));
    QCOMPARE(QFileInfo(dst(QStringLiteral("/a"))).lastModified(), past);
    QVERIFY(!QFileInfo::exists(changed()));
}

void tst_FileOperator::replacesDifferentFiles()
{
    write(src(QStringLiteral("/a")), "new");
    write(src(QStringLiteral("/sub/b")), "new b");
    write(dst(QStringLiteral("/a")), "old"); // of the same size
    write(dst(QStringLiteral("/sub/b")), "old and longer");
    write(dst(QStringLiteral("/other")), "stays");
    QCOMPARE(run(), (QStringList{QStringLiteral("1/2"), QStringLiteral("2/2"), QStringLiteral("finish")}));
    QCOMPARE(read(dst(QStringLiteral("/a"))), QByteArray("new"));
    QCOMPARE(read(dst(QStringLiteral("/sub/b"))), QByteArray("new b"));
    QCOMPARE(read(dst(QStringLiteral("/other"))), QByteArray("stays"));
    QVERIFY(!QFileInfo::exists(changed()));
}

void tst_FileOperator::savesChangedFiles()
{
    write(src(QStringLiteral("/a")), "new");
    write(dst(QStringLiteral("/a")), "old");
    QCOMPARE(run(true), (QStringList{QStringLiteral("1/1"), QStringLiteral("finish")}));
    QCOMPARE(read(changed(QStringLiteral("/a"))), QByteArray("new"));
    QCOMPARE(read(dst(QStringLiteral("/a"))), QByteArray("new"));
}

void tst_FileOperator::savesChangedFilesOfSubFolders()
{
    write(src(QStringLiteral("/sub/deeper/a")), "new");
    write(dst(QStringLiteral("/sub/deeper/a")), "old");
    QCOMPARE(run(true), (QStringList{QStringLiteral("1/1"), QStringLiteral("finish")}));
    QCOMPARE(tree(changed()),
             (QStringList{QStringLiteral("sub/"), QStringLiteral("sub/deeper/"), QStringLiteral("sub/deeper/a")}));
    QCOMPARE(read(changed(QStringLiteral("/sub/deeper/a"))), QByteArray("new"));
}

void tst_FileOperator::keepsWhatWasSavedBefore()
{
    write(src(QStringLiteral("/a")), "new");
    write(dst(QStringLiteral("/a")), "old");
    write(changed(QStringLiteral("/a")), "saved before");
    QCOMPARE(run(true), (QStringList{QStringLiteral("1/1"), QStringLiteral("finish")}));
    QCOMPARE(read(changed(QStringLiteral("/a"))), QByteArray("saved before"));
    QCOMPARE(read(dst(QStringLiteral("/a"))), QByteArray("new"));
}

void tst_FileOperator::savesNothingButChangedFiles()
{
    write(src(QStringLiteral("/changed")), "new");
    write(src(QStringLiteral("/fresh")), "new");
    write(src(QStringLiteral("/same")), "same");
    write(dst(QStringLiteral("/changed")), "old");
    write(dst(QStringLiteral("/same")), "same");
    QCOMPARE(run(true).size(), 4);
    QCOMPARE(tree(changed()), QStringList(QStringLiteral("changed")));
}

void tst_FileOperator::replacesEveryOccurrenceOfTheDestination()
{
    // With the destination named by a relative path, its text occurs in the sub-folder's name as well.
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(m_folder->path()));
    write(src(QStringLiteral("/dst-DST/a")), "new");
    write(dst(QStringLiteral("/dst-DST/a")), "old");
    m_operator->SetCopyDirParam(QStringLiteral("src"), QStringLiteral("dst"), true, QStringLiteral("chg"));
    const QStringList list = events();
    QVERIFY(QDir::setCurrent(before));
    QCOMPARE(list, (QStringList{QStringLiteral("1/1"), QStringLiteral("finish")}));
    QCOMPARE(read(path(QStringLiteral("chg/chg-DST/a"))), QByteArray("new"));
}

void tst_FileOperator::failsWithoutAFolderForChangedFiles_data()
{
    QTest::addColumn<QString>("folder");
    QTest::newRow("a file is in the way") << QStringLiteral("blocked/changed");
    QTest::newRow("no path") << QString();
}

void tst_FileOperator::failsWithoutAFolderForChangedFiles()
{
    QFETCH(QString, folder);
    write(path(QStringLiteral("blocked")), "a file");
    write(src(QStringLiteral("/sub/a")), "new");
    write(dst(QStringLiteral("/sub/a")), "old");
    m_operator->SetCopyDirParam(src(), dst(), true, folder.isEmpty() ? folder : path(folder));
    QCOMPARE(events(), QStringList(QStringLiteral("error ") + src(QStringLiteral("/sub"))));
    QCOMPARE(read(dst(QStringLiteral("/sub/a"))), QByteArray("old"));
}

void tst_FileOperator::reportsTheFileThatCannotBeCopied()
{
    for (const char* name : {"/a", "/b", "/c"})
        write(src(QLatin1String(name)), "x");
    QVERIFY(QDir().mkpath(dst(QStringLiteral("/b")))); // a folder is in the way
    QCOMPARE(run(), (QStringList{QStringLiteral("1/3"), QStringLiteral("error ") + src(QStringLiteral("/b"))}));
    // What was copied stays.
    QCOMPARE(tree(dst()), (QStringList{QStringLiteral("a"), QStringLiteral("b/")}));
}

void tst_FileOperator::reportsAnEmptyPathForAFolderThatCannotBeMade()
{
    write(src(QStringLiteral("/a")), "x");
    write(src(QStringLiteral("/sub/b")), "x");
    write(dst(QStringLiteral("/sub")), "a file is in the way");
    QCOMPARE(run(), QStringList(QStringLiteral("error ")));
    QCOMPARE(tree(dst()), QStringList(QStringLiteral("sub")));
}

void tst_FileOperator::keepsTheLastErrorPath()
{
    write(src(QStringLiteral("/a")), "x");
    QVERIFY(QDir().mkpath(dst(QStringLiteral("/a"))));
    const QStringList error(QStringLiteral("error ") + src(QStringLiteral("/a")));
    QCOMPARE(run(), error);
    QVERIFY(QDir().rmdir(dst(QStringLiteral("/a"))));
    QCOMPARE(run(), (QStringList{QStringLiteral("1/1"), QStringLiteral("finish")}));
    m_operator->Close();
    QCOMPARE(run(), error); // that of the first run
}

void tst_FileOperator::stopsBeforeTheNextFile()
{
    for (const char* name : {"/a", "/b", "/c"})
        write(src(QLatin1String(name)), "x");
    connect(m_operator.get(), &FileOperator::copyProgress, this, [this](int copied) {
        if (copied == 2)
            m_operator->Close();
    });
    QCOMPARE(run(), (QStringList{QStringLiteral("1/3"), QStringLiteral("2/3"), QStringLiteral("error ")}));
    QCOMPARE(tree(dst()), (QStringList{QStringLiteral("a"), QStringLiteral("b")}));
}

void tst_FileOperator::stopsBeforeTheNextFolder()
{
    write(src(QStringLiteral("/one/a")), "x");
    QVERIFY(QDir().mkpath(src(QStringLiteral("/two"))));
    connect(m_operator.get(), &FileOperator::copyProgress, this, [this] { m_operator->Close(); });
    QCOMPARE(run(), (QStringList{QStringLiteral("1/1"), QStringLiteral("error ")}));
    QCOMPARE(tree(dst()), (QStringList{QStringLiteral("one/"), QStringLiteral("one/a")}));
}

void tst_FileOperator::staysClosedUntilOpened()
{
    write(src(QStringLiteral("/a")), "x");
    m_operator->Close();
    QCOMPARE(run(), QStringList(QStringLiteral("error ")));
    QVERIFY(!QFileInfo::exists(dst())); // asked before anything is made
    QCOMPARE(run(), QStringList(QStringLiteral("error ")));
    m_operator->Open();
    QCOMPARE(run(), (QStringList{QStringLiteral("1/1"), QStringLiteral("finish")}));
}

void tst_FileOperator::stopsFromAnotherThread()
{
    for (const char* name : {"/a", "/b", "/c"})
        write(src(QLatin1String(name)), "x");
    QThread thread;
    FileOperator* const worker = m_operator.get();
    worker->SetCopyDirParam(src(), dst(), false, QString());
    worker->moveToThread(&thread);
    connect(&thread, &QThread::started, worker, &FileOperator::onCopyDirFiles);
    // The run holds after each file until the request is there, however late that comes.
    QSemaphore copied;
    QSemaphore closed;
    const auto hold = [&] {
        copied.release();
        closed.tryAcquire(1, kPatienceMs);
    };
    connect(worker, &FileOperator::copyProgress, worker, hold, Qt::DirectConnection);
    QStringList ends;
    QObject context;
    connect(worker, &FileOperator::copyFinish, &context, [&] { ends << QStringLiteral("finish"); });
    connect(worker, &FileOperator::copyError, &context,
            [&](const QString& file) { ends << QStringLiteral("error ") + file; });
    thread.start();
    const bool isUnderWay = copied.tryAcquire(1, kPatienceMs);
    worker->Close();
    closed.release(3);
    const bool hasEnded = QTest::qWaitFor([&] { return !ends.isEmpty(); }, kPatienceMs);
    thread.quit();
    QVERIFY(thread.wait());
    QVERIFY(isUnderWay && hasEnded);
    QCOMPARE(ends, QStringList(QStringLiteral("error ")));
    QCOMPARE(tree(dst()), QStringList(QStringLiteral("a")));
}

void tst_FileOperator::countsTheFilesBeforeTheRun()
{
    write(src(QStringLiteral("/sub/a")), "x");
    connect(m_operator.get(), &FileOperator::copyProgress, this, [this] { write(src(QStringLiteral("/late")), "x"); });
    QCOMPARE(run(), (QStringList{QStringLiteral("1/1"), QStringLiteral("2/1"), QStringLiteral("finish")}));
}

void tst_FileOperator::startsCountingAfresh()
{
    write(src(QStringLiteral("/a")), "x");
    QCOMPARE(run().constFirst(), QStringLiteral("1/1"));
    write(src(QStringLiteral("/b")), "x");
    QCOMPARE(run(), (QStringList{QStringLiteral("1/2"), QStringLiteral("2/2"), QStringLiteral("finish")}));
}

void tst_FileOperator::copiesNothingFromAMissingFolder()
{
    m_operator->SetCopyDirParam(src(QStringLiteral("/missing")), dst(), false, QString());
    QCOMPARE(events(), QStringList(QStringLiteral("finish")));
    QVERIFY(QFileInfo(dst()).isDir());
    QVERIFY(tree(dst()).isEmpty());
}

void tst_FileOperator::emptyPathsNameNoFolder()
{
    const QString before = QDir::currentPath();
    write(src(QStringLiteral("/sub/a")), "x");
    QVERIFY(QDir::setCurrent(src()));
    m_operator->SetCopyDirParam(QString(), dst(), false, QString());
    const QStringList fromNowhere = events();
    m_operator->SetCopyDirParam(src(), QString(), false, QString());
    const QStringList toNowhere = events();
    QVERIFY(QDir::setCurrent(before));
    QCOMPARE(fromNowhere, QStringList(QStringLiteral("finish")));
    QVERIFY(tree(dst()).isEmpty());
    QCOMPARE(toNowhere, QStringList(QStringLiteral("error ")));
}

void tst_FileOperator::leavesHiddenFilesOut()
{
    write(src(QStringLiteral("/seen")), "1");
    const QString file = src(QStringLiteral("/.hidden"));
    const QString folder = src(QStringLiteral("/.folder"));
    write(file, "22");
    write(folder + QStringLiteral("/inside"), "333");
#ifdef Q_OS_WIN
    QVERIFY(SetFileAttributesW(wide(file).c_str(), FILE_ATTRIBUTE_HIDDEN));
    QVERIFY(SetFileAttributesW(wide(folder).c_str(), FILE_ATTRIBUTE_HIDDEN));
#endif
    QCOMPARE(FileOperator::GetDirFileCount(src()), 1);
    QCOMPARE(FileOperator::GetDirFileSize(src()), quint64(1));
    QCOMPARE(run(), (QStringList{QStringLiteral("1/1"), QStringLiteral("finish")}));
    QCOMPARE(tree(dst()), QStringList(QStringLiteral("seen")));
}

void tst_FileOperator::copiesLongAndForeignNames()
{
    QString deep;
    for (int i = 0; i < 12; ++i)
        deep += QStringLiteral("/folder with a long name \u4e2d\u6587 \u00e9 %1").arg(i);
    write(src(deep + QStringLiteral("/file \u0416 %1.bin")), "content");
    QVERIFY(src(deep).size() > 260);
    QCOMPARE(run(), (QStringList{QStringLiteral("1/1"), QStringLiteral("finish")}));
    QCOMPARE(tree(dst()), tree(src()));
    QCOMPARE(read(dst(deep + QStringLiteral("/file \u0416 %1.bin"))), QByteArray("content"));
    QCOMPARE(run(), (QStringList{QStringLiteral("1/1"), QStringLiteral("finish")}));
}

void tst_FileOperator::copiesReadOnlyFiles()
{
    write(src(QStringLiteral("/a")), "x");
    QVERIFY(QFile::setPermissions(src(QStringLiteral("/a")), QFile::ReadOwner | QFile::ReadUser));
    QCOMPARE(run(), (QStringList{QStringLiteral("1/1"), QStringLiteral("finish")}));
    QCOMPARE(read(dst(QStringLiteral("/a"))), QByteArray("x"));
    for (const QString& file : {src(QStringLiteral("/a")), dst(QStringLiteral("/a"))})
        QFile::setPermissions(file, QFile::ReadOwner | QFile::WriteOwner);
}

void tst_FileOperator::doesNotCopyTheDestinationIntoItself()
{
    write(src(QStringLiteral("/a")), "x");
    write(src(QStringLiteral("/sub/b")), "x");
    const QString inside = src(QStringLiteral("/sub/backup"));
    m_operator->SetCopyDirParam(src(), inside, false, QString());
    QCOMPARE(events(), (QStringList{QStringLiteral("1/2"), QStringLiteral("2/2"), QStringLiteral("finish")}));
    QCOMPARE(tree(inside), (QStringList{QStringLiteral("a"), QStringLiteral("sub/"), QStringLiteral("sub/b")}));
}

#ifdef Q_OS_WIN
void tst_FileOperator::reportsLockedFiles()
{
    write(src(QStringLiteral("/a")), "x");
    const QStringList error(QStringLiteral("error ") + src(QStringLiteral("/a")));
    {
        const Lock lock(src(QStringLiteral("/a")));
        QVERIFY(lock.holds());
        QCOMPARE(FileOperator::GetFileMd5(src(QStringLiteral("/a"))), QString());
        QCOMPARE(run(), error);
    }
    write(dst(QStringLiteral("/a")), "old");
    {
        const Lock lock(dst(QStringLiteral("/a")));
        QVERIFY(lock.holds());
        QCOMPARE(run(), error);
    }
    QCOMPARE(read(dst(QStringLiteral("/a"))), QByteArray("old"));
}

// The system does not delete a file that is read-only.
void tst_FileOperator::cannotReplaceReadOnlyFiles()
{
    write(src(QStringLiteral("/a")), "new");
    write(dst(QStringLiteral("/a")), "old");
    QVERIFY(SetFileAttributesW(wide(dst(QStringLiteral("/a"))).c_str(), FILE_ATTRIBUTE_READONLY));
    QCOMPARE(run(), QStringList(QStringLiteral("error ") + src(QStringLiteral("/a"))));
    QCOMPARE(read(dst(QStringLiteral("/a"))), QByteArray("old"));
    SetFileAttributesW(wide(dst(QStringLiteral("/a"))).c_str(), FILE_ATTRIBUTE_NORMAL);
}
#else
void tst_FileOperator::replacesReadOnlyFiles()
{
    write(src(QStringLiteral("/a")), "new");
    write(dst(QStringLiteral("/a")), "old");
    QVERIFY(QFile::setPermissions(dst(QStringLiteral("/a")), QFile::ReadOwner));
    QCOMPARE(run(), (QStringList{QStringLiteral("1/1"), QStringLiteral("finish")}));
    QCOMPARE(read(dst(QStringLiteral("/a"))), QByteArray("new"));
}

void tst_FileOperator::copiesPermissions()
{
    write(src(QStringLiteral("/program")), "x");
    QVERIFY(::chmod(qPrintable(src(QStringLiteral("/program"))), 0751) == 0);
    QCOMPARE(run(), (QStringList{QStringLiteral("1/1"), QStringLiteral("finish")}));
    struct stat status = {};
    QVERIFY(::stat(qPrintable(dst(QStringLiteral("/program"))), &status) == 0);
    QCOMPARE(static_cast<int>(status.st_mode & 07777), 0751);
}

// A limit on the size of files stands in for a full disk.
void tst_FileOperator::leavesNothingOfAFailedCopy()
{
    write(src(QStringLiteral("/a")), QByteArray(1000000, 'a'));
    write(dst(QStringLiteral("/a")), "old");
    rlimit before = {};
    QVERIFY(::getrlimit(RLIMIT_FSIZE, &before) == 0);
    rlimit small = before;
    small.rlim_cur = 500000;
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    QVERIFY(::setrlimit(RLIMIT_FSIZE, &small) == 0);
    const QStringList list = run();
    QVERIFY(::setrlimit(RLIMIT_FSIZE, &before) == 0);
    std::signal(SIGXFSZ, handler);
    QCOMPARE(list, QStringList(QStringLiteral("error ") + src(QStringLiteral("/a"))));
    QVERIFY(tree(dst()).isEmpty()); // the old one was deleted before
}

// Special files of the system refuse every user, the administrator too: this one can be opened for writing only.
void tst_FileOperator::reportsUnreadableFiles()
{
    QVERIFY(::symlink("/proc/sys/net/ipv4/route/flush", qPrintable(src(QStringLiteral("/a")))) == 0);
    QVERIFY(QFileInfo(src(QStringLiteral("/a"))).isFile());
    QCOMPARE(run(), QStringList(QStringLiteral("error ") + src(QStringLiteral("/a"))));
    QVERIFY(tree(dst()).isEmpty());
}

// Two files that cannot be opened both have the empty text for an MD5.
void tst_FileOperator::takesUnreadableFilesForEqual()
{
    QVERIFY(QDir().mkpath(dst()));
    for (const QString& file : {src(QStringLiteral("/a")), dst(QStringLiteral("/a"))})
        QVERIFY(::symlink("/proc/sys/net/ipv4/route/flush", qPrintable(file)) == 0);
    QCOMPARE(run(), (QStringList{QStringLiteral("1/1"), QStringLiteral("finish")}));
}

void tst_FileOperator::followsLinks()
{
    write(path(QStringLiteral("elsewhere/file")), "far");
    write(path(QStringLiteral("single")), "one");
    QVERIFY(QFile::link(path(QStringLiteral("elsewhere")), src(QStringLiteral("/folder"))));
    QVERIFY(QFile::link(path(QStringLiteral("single")), src(QStringLiteral("/file"))));
    QCOMPARE(FileOperator::GetDirFileSize(src()), quint64(6));
    QCOMPARE(run(), (QStringList{QStringLiteral("1/2"), QStringLiteral("2/2"), QStringLiteral("finish")}));
    QVERIFY(!QFileInfo(dst(QStringLiteral("/folder"))).isSymLink());
    QVERIFY(!QFileInfo(dst(QStringLiteral("/file"))).isSymLink());
    QCOMPARE(read(dst(QStringLiteral("/folder/file"))), QByteArray("far"));
    QCOMPARE(read(dst(QStringLiteral("/file"))), QByteArray("one"));
}

void tst_FileOperator::passesOverLinksThatLeadBack_data()
{
    QTest::addColumn<QString>("target"); // from the folder "src/sub"
    QTest::newRow("itself") << QStringLiteral(".");
    QTest::newRow("parent") << QStringLiteral("..");
    QTest::newRow("above the root") << QStringLiteral("../..");
    QTest::newRow("the file system's root") << QStringLiteral("/");
    QTest::newRow("in turns") << QStringLiteral("../other");
}

void tst_FileOperator::passesOverLinksThatLeadBack()
{
    QFETCH(QString, target);
    write(src(QStringLiteral("/sub/a")), "1");
    write(src(QStringLiteral("/other/b")), "22");
    QVERIFY(::symlink(qPrintable(target), qPrintable(src(QStringLiteral("/sub/link")))) == 0);
    QVERIFY(::symlink("../sub", qPrintable(src(QStringLiteral("/other/link")))) == 0);
    // "other/link" leads to "sub", whose own link leads back, or to "other" again.
    const bool inTurns = target.endsWith(QLatin1String("other"));
    const int files = inTurns ? 4 : 3;
    QCOMPARE(FileOperator::GetDirFileCount(src()), files);
    QCOMPARE(run().constLast(), QStringLiteral("finish"));
    QStringList expected{QStringLiteral("other/"),       QStringLiteral("other/b"), QStringLiteral("other/link/"),
                         QStringLiteral("other/link/a"), QStringLiteral("sub/"),    QStringLiteral("sub/a")};
    if (inTurns)
        expected << QStringLiteral("sub/link/") << QStringLiteral("sub/link/b");
    QCOMPARE(tree(dst()), expected);
}

void tst_FileOperator::leavesPipesAndBrokenLinksOut()
{
    write(src(QStringLiteral("/a")), "x");
    QVERIFY(::mkfifo(qPrintable(src(QStringLiteral("/pipe"))), 0600) == 0);
    QVERIFY(::symlink("nowhere", qPrintable(src(QStringLiteral("/broken")))) == 0);
    QCOMPARE(run(), (QStringList{QStringLiteral("1/1"), QStringLiteral("finish")}));
    QCOMPARE(tree(dst()), QStringList(QStringLiteral("a")));
}
#endif

#ifdef Q_OS_LINUX
void tst_FileOperator::readsEachSourceAtMostTwice_data()
{
    QTest::addColumn<QByteArray>("old");
    QTest::addColumn<bool>("saveChanged");
    QTest::addColumn<int>("reads");
    QTest::newRow("new") << QByteArray() << true << 1;
    QTest::newRow("identical") << QByteArray("content") << true << 1;
    QTest::newRow("changed") << QByteArray("old") << false << 2;
    QTest::newRow("changed and saved") << QByteArray("old") << true << 2;
}

void tst_FileOperator::readsEachSourceAtMostTwice()
{
    QFETCH(QByteArray, old);
    QFETCH(bool, saveChanged);
    QFETCH(int, reads);
    write(src(QStringLiteral("/a")), "content");
    if (!old.isEmpty())
        write(dst(QStringLiteral("/a")), old);
    const int watcher = ::inotify_init1(IN_NONBLOCK);
    QVERIFY(watcher >= 0);
    // The closings are only watched because equal events in a row would be merged into one.
    QVERIFY(::inotify_add_watch(watcher, qPrintable(src(QStringLiteral("/a"))), IN_OPEN | IN_CLOSE) >= 0);
    QCOMPARE(run(saveChanged), (QStringList{QStringLiteral("1/1"), QStringLiteral("finish")}));
    std::array<inotify_event, 64> notes{};
    const ssize_t size = ::read(watcher, notes.data(), sizeof notes);
    ::close(watcher);
    QVERIFY(size > 0);
    const auto end = notes.begin() + size / static_cast<ssize_t>(sizeof(inotify_event));
    const auto openings =
        std::count_if(notes.begin(), end, [](const inotify_event& note) { return note.mask & IN_OPEN; });
    QCOMPARE(static_cast<int>(openings), reads);
}
#endif

QTEST_GUILESS_MAIN(tst_FileOperator)

#include "tst_FileOperator.moc"

// SPDX-License-Identifier: MIT
#include "ProcessChild.h"
#include "Tool/ProcessOperator.h"
#include "Tool/ProcessQuery_win.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <cwchar>
#include <memory>
#include <type_traits>
#include <vector>

namespace {

constexpr int kNoProcess = 0x7FFFFFFC;

/// \brief A list of processes of the test's choice.
struct Machine
{
    QVector<QPair<int, QString>> processes;
    bool hasSnapshot = true;
    bool isOpenable = true;
    QString path;
    bool hasModuleName = true;
    QStringList calls;

    static Machine* current;

    Machine() { current = this; }
    ~Machine() { current = nullptr; }
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    static HANDLE someHandle() { return reinterpret_cast<HANDLE>(quintptr(64)); }

    static HANDLE WINAPI createSnapshot(DWORD flags, DWORD)
    {
        current->m_position = 0;
        current->calls.append(QStringLiteral("snapshot %1").arg(flags));
        return current->hasSnapshot ? someHandle() : INVALID_HANDLE_VALUE;
    }

    static BOOL WINAPI nextProcess(HANDLE, LPPROCESSENTRY32W entry)
    {
        if (entry->dwSize != sizeof(PROCESSENTRY32W) || current->m_position == current->processes.size())
            return FALSE;
        const QPair<int, QString>& process = current->processes.at(current->m_position++);
        entry->th32ProcessID = static_cast<DWORD>(process.first);
        entry->szExeFile[process.second.toWCharArray(entry->szExeFile)] = L'\0';
        return TRUE;
    }

    static HANDLE WINAPI openProcess(DWORD access, BOOL inherit, DWORD pid)
    {
        current->calls.append(QStringLiteral("open %1 %2 %3").arg(access).arg(inherit).arg(pid));
        return current->isOpenable ? someHandle() : nullptr;
    }

    static DWORD WINAPI moduleFileName(HANDLE, HMODULE module, LPWSTR buffer, DWORD size)
    {
        current->calls.append(QStringLiteral("name %1 %2").arg(module ? 1 : 0).arg(size));
        if (!current->hasModuleName)
            return 0;
        const std::wstring text = current->path.toStdWString();
        const std::size_t count = std::min<std::size_t>(text.size(), size);
        // Like some versions of Windows: a path that does not fit is not terminated.
        std::copy_n(text.c_str(), count, buffer);
        return static_cast<DWORD>(count);
    }

    static BOOL WINAPI imageName(HANDLE, DWORD flags, LPWSTR buffer, PDWORD size)
    {
        current->calls.append(QStringLiteral("image %1").arg(flags));
        const std::wstring text = current->path.toStdWString();
        if (text.empty() || text.size() >= *size)
            return FALSE;
        std::copy_n(text.c_str(), text.size() + 1, buffer);
        *size = static_cast<DWORD>(text.size());
        return TRUE;
    }

    static BOOL WINAPI closeHandle(HANDLE)
    {
        current->calls.append(QStringLiteral("close"));
        return TRUE;
    }

    static ProcessQuery::Api api()
    {
        ProcessQuery::Api api;
        api.createSnapshot = &Machine::createSnapshot;
        api.firstProcess = &Machine::nextProcess;
        api.nextProcess = &Machine::nextProcess;
        api.openProcess = &Machine::openProcess;
        api.moduleFileName = &Machine::moduleFileName;
        api.imageName = &Machine::imageName;
        api.closeHandle = &Machine::closeHandle;
        return api;
    }

private:
    int m_position = 0;
};

Machine* Machine::current = nullptr;

class Child : public ProcessChild
{
public:
    using ProcessChild::ProcessChild;
    int pid() const { return static_cast<int>(processId()); }
};

} // namespace

class tst_ProcessOperator : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void isAPlainClass();
    void countsByName();
    void findsNothingWithoutAName();
    void countsRunningInstances();
    void tellsNamesApart();
    void comparesNamesIgnoringCase_data();
    void comparesNamesIgnoringCase();
    void listsIdsInOrder();
    void reportsWhatCannotBeListed();
    void tellsWhetherAnIdHasTheName();
    void endedProcessesAreGone();
    void findsThePathOfAProcess();
    void findsNoPathOfOthers();
    void asksForQueryRightsOnly();
    void findsAPathWithoutAModuleName();
    void cutsLongPaths();
    void killsByName_data();
    void killsByName();
    void killsById();
    void returnsTheExitCode();
    void runsTheCommandLines_data();
    void runsTheCommandLines();
    void tellsWhenTaskkillCannotBeStarted();

private:
    // The child's program under a name that no other process has.
    QString program(const QString& name)
    {
        const QString path = m_folder->filePath(QStringLiteral("%1 %2.exe").arg(name).arg(m_serial));
        if (!QFile::exists(path))
            QFile::copy(QStringLiteral(PROCESS_CHILD), path);
        return path;
    }

    static QString nameOf(const QString& path) { return QFileInfo(path).fileName(); }
    static QString standIn() { return QCoreApplication::applicationDirPath() + QStringLiteral("/taskkill.exe"); }

    std::unique_ptr<QTemporaryDir> m_folder;
    QString m_serial;
    int m_tests = 0;
};

void tst_ProcessOperator::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
    m_serial = QStringLiteral("%1-%2").arg(QCoreApplication::applicationPid()).arg(++m_tests);
    QVERIFY(!QFile::exists(standIn()));
}

void tst_ProcessOperator::cleanup()
{
    qunsetenv("PROCESS_CHILD_RECORD");
    QFile::remove(standIn());
    m_folder.reset();
}

void tst_ProcessOperator::isAPlainClass()
{
    static_assert(std::is_default_constructible_v<ProcessOperator>);
    static_assert(std::is_copy_assignable_v<ProcessOperator>);
    static_assert(!std::is_base_of_v<QObject, ProcessOperator>);
    static_assert(std::is_same_v<std::underlying_type_t<ProcessOperator::ProcessStatus>, qint32>);
    QCOMPARE(int(ProcessOperator::StatusError), -1);
    QCOMPARE(int(ProcessOperator::NotRunning), 0);
    QCOMPARE(int(ProcessOperator::Running), 1);
}

void tst_ProcessOperator::countsByName()
{
    Machine machine;
    machine.processes = {{4, QStringLiteral("a.exe")}, {8, QStringLiteral("b.exe")}, {12, QStringLiteral("A.EXE")}};
    QCOMPARE(ProcessQuery::Count(QStringLiteral("a.exe"), Machine::api()), 2);
    QCOMPARE(ProcessQuery::Count(QStringLiteral("a"), Machine::api()), 0);
    QCOMPARE(ProcessQuery::Status(QStringLiteral("B.exe"), Machine::api()), ProcessOperator::Running);
    QCOMPARE(ProcessQuery::Status(QStringLiteral("c.exe"), Machine::api()), ProcessOperator::NotRunning);
    QString processesOnly = QStringLiteral("snapshot %1").arg(TH32CS_SNAPPROCESS);
    QCOMPARE(machine.calls.mid(0, 2), (QStringList{processesOnly, QStringLiteral("close")}));
    QCOMPARE(machine.calls.count(QStringLiteral("close")), 4);
}

void tst_ProcessOperator::findsNothingWithoutAName()
{
    QCOMPARE(ProcessOperator::CheckProcessExistCount(QString()), -1);
    QCOMPARE(ProcessOperator::CheckProcessExistCount(QStringLiteral("")), -1);
    QCOMPARE(ProcessOperator::CheckProcessStatus(QString()), ProcessOperator::StatusError);
    QCOMPARE(ProcessOperator::GetProcessId(QString()), QList<int>());
    QCOMPARE(ProcessOperator::CheckProcessStatus(QString(), 4), ProcessOperator::NotRunning);
}

void tst_ProcessOperator::countsRunningInstances()
{
    const QString path = program(QStringLiteral("Child"));
    const QString name = nameOf(path);
    QCOMPARE(ProcessOperator::CheckProcessExistCount(name), 0);
    QCOMPARE(ProcessOperator::CheckProcessStatus(name), ProcessOperator::NotRunning);
    const Child first(path);
    QCOMPARE(ProcessOperator::CheckProcessExistCount(name), 1);
    QCOMPARE(ProcessOperator::CheckProcessStatus(name), ProcessOperator::Running);
    const Child second(path);
    QCOMPARE(ProcessOperator::CheckProcessExistCount(name), 2);
    QCOMPARE(ProcessOperator::CheckProcessExistCount(name.toUpper()), 2);
    QCOMPARE(ProcessOperator::CheckProcessExistCount(name.toLower()), 2);
    const QList<int> ids = ProcessOperator::GetProcessId(name.toUpper());
    QCOMPARE(ids.size(), 2);
    QVERIFY(ids.contains(first.pid()));
    QVERIFY(ids.contains(second.pid()));
}

void tst_ProcessOperator::tellsNamesApart()
{
    const QString path = program(QStringLiteral("Child"));
    const Child child(path);
    const QString name = nameOf(path);
    QCOMPARE(ProcessOperator::CheckProcessExistCount(name.left(name.size() - 1)), 0);
    QCOMPARE(ProcessOperator::CheckProcessExistCount(QStringLiteral("x") + name), 0);
    // A file name is wanted, no path.
    QCOMPARE(ProcessOperator::CheckProcessExistCount(QDir::toNativeSeparators(path)), 0);
}

void tst_ProcessOperator::comparesNamesIgnoringCase_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("as it is") << "Game.exe";
    QTest::newRow("lower case") << "game.exe";
    QTest::newRow("upper case") << "GAME.EXE";
}

void tst_ProcessOperator::comparesNamesIgnoringCase()
{
    Machine machine;
    machine.processes = {{4, QStringLiteral("Game.exe")}};
    QFETCH(QString, name);
    QCOMPARE(ProcessQuery::Count(name, Machine::api()), 1);
    QCOMPARE(ProcessQuery::Status(name, Machine::api()), ProcessOperator::Running);
    QCOMPARE(ProcessQuery::Ids(name, Machine::api()), QList<int>{4});
}

void tst_ProcessOperator::listsIdsInOrder()
{
    Machine machine;
    const QString name = QStringLiteral("a.exe");
    machine.processes = {{40, name}, {8, QStringLiteral("b.exe")}, {12, name}, {32, name}};
    QCOMPARE(ProcessQuery::Ids(name, Machine::api()), (QList<int>{40, 12, 32}));
    QCOMPARE(machine.calls.count(QStringLiteral("close")), 1);
}

void tst_ProcessOperator::reportsWhatCannotBeListed()
{
    Machine machine;
    const QString name = QStringLiteral("a.exe");
    // No first entry.
    QCOMPARE(ProcessQuery::Count(name, Machine::api()), -1);
    QCOMPARE(ProcessQuery::Status(name, Machine::api()), ProcessOperator::StatusError);
    QCOMPARE(ProcessQuery::Ids(name, Machine::api()), QList<int>());
    QCOMPARE(machine.calls.count(QStringLiteral("close")), 3);
    // No snapshot.
    machine.processes = {{4, name}};
    machine.hasSnapshot = false;
    QCOMPARE(ProcessQuery::Count(name, Machine::api()), -1);
    QCOMPARE(ProcessQuery::Status(name, Machine::api()), ProcessOperator::StatusError);
    QCOMPARE(ProcessQuery::Ids(name, Machine::api()), QList<int>());
    QCOMPARE(machine.calls.count(QStringLiteral("close")), 3);
}

void tst_ProcessOperator::tellsWhetherAnIdHasTheName()
{
    const QString path = program(QStringLiteral("Child"));
    const QString otherPath = program(QStringLiteral("Other"));
    const Child child(path);
    const Child other(otherPath);
    QCOMPARE(ProcessOperator::CheckProcessStatus(nameOf(path), child.pid()), ProcessOperator::Running);
    QCOMPARE(ProcessOperator::CheckProcessStatus(nameOf(path).toUpper(), child.pid()), ProcessOperator::Running);
    QCOMPARE(ProcessOperator::CheckProcessStatus(nameOf(path), other.pid()), ProcessOperator::NotRunning);
    QCOMPARE(ProcessOperator::CheckProcessStatus(nameOf(path), kNoProcess), ProcessOperator::NotRunning);
    QCOMPARE(ProcessOperator::CheckProcessStatus(QStringLiteral("no such.exe"), child.pid()),
             ProcessOperator::NotRunning);
}

void tst_ProcessOperator::endedProcessesAreGone()
{
    const QString path = program(QStringLiteral("Child"));
    const QString name = nameOf(path);
    int pid = 0;
    {
        const Child child(path);
        pid = child.pid();
        QCOMPARE(ProcessOperator::GetProcessId(name), QList<int>{pid});
    }
    QTRY_COMPARE(ProcessOperator::CheckProcessExistCount(name), 0);
    QCOMPARE(ProcessOperator::CheckProcessStatus(name), ProcessOperator::NotRunning);
    QCOMPARE(ProcessOperator::CheckProcessStatus(name, pid), ProcessOperator::NotRunning);
    QCOMPARE(ProcessOperator::GetProcessId(name), QList<int>());
    QTRY_COMPARE(ProcessOperator::GetPathByProcessId(pid), QString());
}

void tst_ProcessOperator::findsThePathOfAProcess()
{
    const QString path = program(QStringLiteral("Child"));
    const Child child(path);
    QCOMPARE(ProcessOperator::GetPathByProcessId(child.pid()), QDir::toNativeSeparators(path));
    QCOMPARE(ProcessOperator::GetPathByProcessId(static_cast<int>(QCoreApplication::applicationPid())),
             QDir::toNativeSeparators(QCoreApplication::applicationFilePath()));
}

void tst_ProcessOperator::findsNoPathOfOthers()
{
    QCOMPARE(ProcessOperator::GetPathByProcessId(kNoProcess), QString());
    QCOMPARE(ProcessOperator::GetPathByProcessId(0), QString());
    Machine machine;
    machine.path = QStringLiteral("C:\\a.exe");
    machine.isOpenable = false;
    QCOMPARE(ProcessQuery::PathOf(8, Machine::api()), QString());
    QCOMPARE(machine.calls.size(), 1);
}

void tst_ProcessOperator::asksForQueryRightsOnly()
{
    Machine machine;
    machine.path = QStringLiteral("C:\\a.exe");
    QCOMPARE(ProcessQuery::PathOf(8, Machine::api()), machine.path);
    QCOMPARE(machine.calls, (QStringList{QStringLiteral("open %1 0 8").arg(PROCESS_QUERY_INFORMATION),
                                         QStringLiteral("name 0 260"), QStringLiteral("close")}));
}

void tst_ProcessOperator::findsAPathWithoutAModuleName()
{
    Machine machine;
    machine.hasModuleName = false;
    machine.path = QStringLiteral("C:\\a.exe");
    QCOMPARE(ProcessQuery::PathOf(8, Machine::api()), machine.path);
    QCOMPARE(machine.calls.mid(2), (QStringList{QStringLiteral("image 0"), QStringLiteral("close")}));
    machine.path.clear();
    QCOMPARE(ProcessQuery::PathOf(8, Machine::api()), QString());
    QCOMPARE(machine.calls.count(QStringLiteral("close")), 2);
}

void tst_ProcessOperator::cutsLongPaths()
{
    Machine machine;
    machine.path = QString(400, QLatin1Char('x'));
    const QString cut(260, QLatin1Char('x'));
    QCOMPARE(ProcessQuery::PathOf(8, Machine::api()), cut);
    machine.hasModuleName = false;
    QCOMPARE(ProcessQuery::PathOf(8, Machine::api()), cut);
}

void tst_ProcessOperator::killsByName_data()
{
    QTest::addColumn<bool>("upper");
    QTest::newRow("as it is") << false;
    QTest::newRow("upper case") << true;
}

void tst_ProcessOperator::killsByName()
{
    QFETCH(bool, upper);
    // The name holds a blank.
    const QString path = program(QStringLiteral("Child"));
    const QString otherPath = program(QStringLiteral("Other"));
    Child first(path);
    Child second(path);
    const Child other(otherPath);
    QCOMPARE(ProcessOperator::killProcess(upper ? nameOf(path).toUpper() : nameOf(path)), 0);
    QVERIFY(first.waitForFinished());
    QVERIFY(second.waitForFinished());
    QTRY_COMPARE(ProcessOperator::CheckProcessExistCount(nameOf(path)), 0);
    QCOMPARE(ProcessOperator::CheckProcessExistCount(nameOf(otherPath)), 1);
}

void tst_ProcessOperator::killsById()
{
    const QString path = program(QStringLiteral("Child"));
    Child first(path);
    const Child second(path);
    QCOMPARE(ProcessOperator::killProcess(first.pid()), 0);
    QVERIFY(first.waitForFinished());
    QTRY_COMPARE(ProcessOperator::GetProcessId(nameOf(path)), QList<int>{second.pid()});
}

void tst_ProcessOperator::returnsTheExitCode()
{
    const QString name = nameOf(program(QStringLiteral("Never started")));
    const int code = QProcess::execute(QStringLiteral("taskkill"), {QStringLiteral("/im"), name, QStringLiteral("/f")});
    QVERIFY(code > 0);
    QCOMPARE(ProcessOperator::killProcess(name), code);
    QVERIFY(ProcessOperator::killProcess(kNoProcess) > 0);
}

void tst_ProcessOperator::runsTheCommandLines_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("pid");
    QTest::addColumn<QString>("line");
    QTest::newRow("name") << "game.exe" << 0 << "taskkill /im game.exe /f";
    QTest::newRow("name with a blank") << "my game.exe" << 0 << "taskkill /im \"my game.exe\" /f";
    QTest::newRow("name in quotes") << "\"game.exe\"" << 0 << "taskkill /im game.exe /f";
    QTest::newRow("name with a blank in quotes") << "\"my game.exe\"" << 0 << "taskkill /im \"my game.exe\" /f";
    QTest::newRow("id") << "" << 4711 << "taskkill /F /PID 4711";
}

// The system's program of that name is looked for in the application's folder first: there one stands in for it.
void tst_ProcessOperator::runsTheCommandLines()
{
    QFETCH(QString, name);
    QFETCH(int, pid);
    QVERIFY(QFile::copy(QStringLiteral(PROCESS_CHILD), standIn()));
    const QString recordPath = m_folder->filePath(QStringLiteral("record"));
    qputenv("PROCESS_CHILD_RECORD", QDir::toNativeSeparators(recordPath).toLocal8Bit());
    QCOMPARE(name.isEmpty() ? ProcessOperator::killProcess(pid) : ProcessOperator::killProcess(name), 77);
    QFile record(recordPath);
    QVERIFY(record.open(QIODevice::ReadOnly));
    const QByteArray text = record.readAll();
    // Qt writes two blanks behind the program's name.
    const QString line =
        QString::fromWCharArray(reinterpret_cast<const wchar_t*>(text.constData()), text.size() / int(sizeof(wchar_t)));
    QTEST(line.simplified(), "line");
}

// As above, with a file that is no program.
void tst_ProcessOperator::tellsWhenTaskkillCannotBeStarted()
{
    QFile noProgram(standIn());
    QVERIFY(noProgram.open(QIODevice::WriteOnly));
    QVERIFY(noProgram.write("This is no program.") > 0);
    noProgram.close();
    QCOMPARE(ProcessOperator::killProcess(QStringLiteral("game.exe")), -2);
    QCOMPARE(ProcessOperator::killProcess(4711), -2);
}

QTEST_GUILESS_MAIN(tst_ProcessOperator)

#include "tst_ProcessOperator.moc"

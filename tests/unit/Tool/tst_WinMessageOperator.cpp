// SPDX-License-Identifier: MIT
#include "Tool/ShellRefresh_win.h"
#include "Tool/WinMessageOperator.h"

#include <QVector>
#include <QtTest>

#include <type_traits>

namespace {

/// \brief A shell that notes what it is told.
struct FakeShell
{
    QVector<int> missing; ///< folders without an item list
    QStringList events;

    static FakeShell* current;

    FakeShell() { current = this; }
    ~FakeShell() { current = nullptr; }
    FakeShell(const FakeShell&) = delete;
    FakeShell& operator=(const FakeShell&) = delete;

    static HRESULT WINAPI getFolderLocation(HWND window, int folder, HANDLE token, DWORD reserved, LPITEMIDLIST* items)
    {
        if (window || token || reserved != 0)
            return E_INVALIDARG;
        if (current->missing.contains(folder))
            return E_FAIL;
        *items = reinterpret_cast<LPITEMIDLIST>(quintptr(folder) * 16);
        return S_OK;
    }

    static int folderOf(LPCVOID items) { return int(reinterpret_cast<quintptr>(items) / 16); }

    static void WINAPI changeNotify(LONG event, UINT flags, LPCVOID first, LPCVOID second)
    {
        current->events.append(
            QStringLiteral("notify %1 %2 %3 %4").arg(event).arg(flags).arg(folderOf(first)).arg(folderOf(second)));
    }

    static void WINAPI taskMemFree(LPVOID memory)
    {
        current->events.append(QStringLiteral("free %1").arg(folderOf(memory)));
    }

    static BOOL WINAPI postMessage(HWND window, UINT message, WPARAM first, LPARAM second)
    {
        const QString text = QString::fromWCharArray(reinterpret_cast<const wchar_t*>(second));
        current->events.append(QStringLiteral("post %1 %2 %3 %4")
                                   .arg(window == HWND_BROADCAST ? QStringLiteral("all") : QStringLiteral("one"))
                                   .arg(message)
                                   .arg(first)
                                   .arg(text));
        return TRUE;
    }

    static ShellRefresh::Api api()
    {
        ShellRefresh::Api api;
        api.getFolderLocation = &FakeShell::getFolderLocation;
        api.changeNotify = &FakeShell::changeNotify;
        api.taskMemFree = &FakeShell::taskMemFree;
        api.postMessage = &FakeShell::postMessage;
        return api;
    }
};

FakeShell* FakeShell::current = nullptr;

const QString kUpdateMine = QStringLiteral("notify 4096 0 11 0");
const QString kFreeMine = QStringLiteral("free 11");
const QString kUpdateAll = QStringLiteral("notify 4096 0 22 0");
const QString kFreeAll = QStringLiteral("free 22");
const QString kAssociations = QStringLiteral("notify 134217728 0 0 0");
const QString kPost = QStringLiteral("post all 26 0 Environment");

} // namespace

class tst_WinMessageOperator : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isAPlainClass();
    void tellsTheShellInOrder();
    void leavesOutMissingFolders_data();
    void leavesOutMissingFolders();
    void findsTheRealStartMenus_data();
    void findsTheRealStartMenus();
    void getsAlongWithTheRealShell();
};

void tst_WinMessageOperator::isAPlainClass()
{
    static_assert(std::is_default_constructible_v<WinMessageOperator>);
    static_assert(std::is_copy_assignable_v<WinMessageOperator>);
    static_assert(!std::is_base_of_v<QObject, WinMessageOperator>);
}

void tst_WinMessageOperator::tellsTheShellInOrder()
{
    const FakeShell shell;
    ShellRefresh::Run(FakeShell::api());
    QCOMPARE(shell.events, (QStringList{kUpdateMine, kFreeMine, kUpdateAll, kFreeAll, kAssociations, kPost}));
}

void tst_WinMessageOperator::leavesOutMissingFolders_data()
{
    QTest::addColumn<QVector<int>>("missing");
    QTest::addColumn<QStringList>("events");
    QTest::newRow("mine") << QVector<int>{11} << QStringList{kUpdateAll, kFreeAll, kAssociations, kPost};
    QTest::newRow("all users'") << QVector<int>{22} << QStringList{kUpdateMine, kFreeMine, kAssociations, kPost};
    QTest::newRow("both") << QVector<int>{11, 22} << QStringList{kAssociations, kPost};
}

void tst_WinMessageOperator::leavesOutMissingFolders()
{
    QFETCH(QVector<int>, missing);
    FakeShell shell;
    shell.missing = missing;
    ShellRefresh::Run(FakeShell::api());
    QTEST(shell.events, "events");
}

void tst_WinMessageOperator::findsTheRealStartMenus_data()
{
    QTest::addColumn<int>("folder");
    QTest::newRow("mine") << 11;
    QTest::newRow("all users'") << 22;
}

void tst_WinMessageOperator::findsTheRealStartMenus()
{
    QFETCH(int, folder);
    const ShellRefresh::Api real;
    LPITEMIDLIST items = nullptr;
    QVERIFY(SUCCEEDED(real.getFolderLocation(nullptr, folder, nullptr, 0, &items)));
    QVERIFY(items != nullptr);
    real.taskMemFree(items);
}

// Nothing comes back from the shell. It has to take what it is given, as often as it gets it.
void tst_WinMessageOperator::getsAlongWithTheRealShell()
{
    WinMessageOperator::refreshIconCache();
    WinMessageOperator::refreshIconCache();
}

QTEST_GUILESS_MAIN(tst_WinMessageOperator)

#include "tst_WinMessageOperator.moc"

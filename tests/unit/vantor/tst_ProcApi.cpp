// SPDX-License-Identifier: MIT
#include "ModuleReferences.h"
#include "vantor/ProcApi.h"

#include <QTest>

#include <memory>
#include <type_traits>

namespace {

constexpr char kModule[] = "procapi_probe";

using Add = ProcApi<int(int, int)>;
using Text = ProcApi<const char*()>;

} // namespace

class tst_ProcApi : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void callsTheFunction();
    void missingModule();
    void missingFunction();
    void eachWrapperHoldsTheModule();
    void isDeletedThroughItsBase();
};

void tst_ProcApi::eachWrapperHoldsTheModule()
{
    // Runs with no reference left by the other tests.
    while (ModuleReferences::IsLoaded(kModule))
        ModuleReferences::Release(kModule);
    {
        const Add first(kModule, "ProcApiProbe_Add");
        const Text second(kModule, "ProcApiProbe_Text");
        const Add third(kModule, "ProcApiProbe_Missing");
        QVERIFY(ModuleReferences::IsLoaded(kModule));
    }
    // Three loads, and none was given back.
    QVERIFY(ModuleReferences::IsLoaded(kModule));
    ModuleReferences::Release(kModule);
    ModuleReferences::Release(kModule);
    QVERIFY(ModuleReferences::IsLoaded(kModule));
    ModuleReferences::Release(kModule);
    QVERIFY(!ModuleReferences::IsLoaded(kModule));
}

void tst_ProcApi::callsTheFunction()
{
    const Add add(kModule, "ProcApiProbe_Add");
    QVERIFY(add.IsValid());
    QCOMPARE(add(2, 40), 42);
    const Text text(kModule, "ProcApiProbe_Text");
    QVERIFY(text.IsValid());
    QCOMPARE(text(), "text");
}

void tst_ProcApi::missingModule()
{
    const Add add("procapi_nowhere", "ProcApiProbe_Add");
    QVERIFY(!add.IsValid());
    QVERIFY(!vantor::LoadModule("procapi_nowhere"));
}

void tst_ProcApi::missingFunction()
{
    const Add add(kModule, "ProcApiProbe_Missing");
    QVERIFY(!add.IsValid());
    const Add otherCase(kModule, "procapiprobe_add");
    QVERIFY(!otherCase.IsValid());
}

void tst_ProcApi::isDeletedThroughItsBase()
{
    QVERIFY(std::has_virtual_destructor_v<Add>);
    QVERIFY(!std::is_copy_constructible_v<Add>);
}

QTEST_GUILESS_MAIN(tst_ProcApi)

#include "tst_ProcApi.moc"

// SPDX-License-Identifier: MIT
// One program for every kind of engine: CTest runs it with the test functions that fit the engine on the search path.
#include "EngineDouble.h"
#include "MessageCapture.h"
#include "ModuleReferences.h"
#include "vantor/ProcApi.h"
#include "vantor/VantorExporter.h"
#include "vantor/VantorHandle.h"

#include <QSignalSpy>
#include <QTest>

#include <memory>

namespace {

const char* const kFunctions[] = {
    "Vantor_InitEnv",
    "Vantor_SetConfig",
    "Vantor_SetDownloadList",
    "Vantor_Release",
    "Vantor_Cancel",
    "Vantor_RemoveCallback",
    "Vantor_StartChunkTask",
    "Vantor_CancelChunkTask",
    "Vantor_SetEngineStateCallback",
    "Vantor_SetSingleTaskCallback",
    "Vantor_SetGroupTaskCallback",
    "Vantor_SetLogHandler",
    "Vantor_SetChunkTaskCallback",
};

QStringList missingFunctions()
{
    QStringList missing;
    void* const module = vantor::LoadModule("vantor");
    for (const char* function : kFunctions) {
        if (!module || !vantor::FindSymbol(module, function))
            missing.append(QLatin1String(function));
    }
    return missing;
}

const QStringList kRegistration{
    QStringLiteral("SetEngineStateCallback(1)"),
    QStringLiteral("SetSingleTaskCallback(1)"),
    QStringLiteral("SetGroupTaskCallback(1)"),
    QStringLiteral("SetChunkTaskCallback(1)"),
};

const QByteArray kText = u8"größe 更新 🚀";

} // namespace

class tst_VantorHandle : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Without an engine.
    void missingEngine();
    // With an engine that lacks one function, named by an environment variable.
    void incompleteEngine();
    // With an engine whose references can be counted.
    void holdsTheEngineThirteenTimes();
    // With the whole engine double.
    void completeEngine();
    void registersInOrder();
    void removesOnlyWhatIsRegistered();
    void destructorRemovesTheCallbacks();
    void destructorWithoutRegistration();
    void forwardsTexts();
    void forwardsNullTexts();
    void writesDebugLines();
    void dropsWithoutAnExporter();
    void dropsAfterTheExporter();

private:
    static void checkRejected();
};

void tst_VantorHandle::checkRejected()
{
    VantorHandle handle(nullptr);
    QVERIFY(!handle.IsValid());
    handle.RegisterCallbacks();
    QVERIFY(!handle.AreCallbacksRegistered());
    handle.RemoveCallbacks();
    QVERIFY(!handle.AreCallbacksRegistered());

    VantorExporter exporter(nullptr);
    QVERIFY(!exporter.Init(QString(), QString(), 0, 0));
    exporter.SetConfig(QString());
    QCOMPARE(exporter.SetDownloadList(QStringLiteral("{}"), QString()), QString());
    exporter.Cancel(QString());
    QCOMPARE(exporter.StartChunkTask(QStringLiteral("{}"), QString()), QString());
    exporter.CancelChunkTask(QString());
}

void tst_VantorHandle::missingEngine()
{
    QCOMPARE(missingFunctions().size(), 13);
    QVERIFY(!vantor::LoadModule("vantor"));
    checkRejected();
}

void tst_VantorHandle::incompleteEngine()
{
    EngineDoubleClient engine;
    QVERIFY(engine.IsThere());
    QCOMPARE(missingFunctions(), QStringList(qEnvironmentVariable("QCOMM_MISSING_FUNCTION")));
    checkRejected();
    QCOMPARE(engine.TakeCallLines(), QStringList());
}

void tst_VantorHandle::holdsTheEngineThirteenTimes()
{
    constexpr char kModule[] = "vantor";
    QVERIFY(!ModuleReferences::IsLoaded(kModule));
    {
        const VantorHandle handle(nullptr);
        QVERIFY(handle.IsValid());
    }
    for (int reference = 0; reference < 13; ++reference) {
        QVERIFY(ModuleReferences::IsLoaded(kModule));
        ModuleReferences::Release(kModule);
    }
    QVERIFY(!ModuleReferences::IsLoaded(kModule));
}

void tst_VantorHandle::completeEngine()
{
    EngineDoubleClient engine;
    QVERIFY(engine.IsThere());
    QCOMPARE(missingFunctions(), QStringList());
    {
        const VantorHandle handle(nullptr);
        QVERIFY(handle.IsValid());
        QVERIFY(!handle.AreCallbacksRegistered());
    }
    QCOMPARE(engine.TakeCallLines(), QStringList());
}

void tst_VantorHandle::registersInOrder()
{
    EngineDoubleClient engine;
    VantorHandle handle(nullptr);
    handle.RegisterCallbacks();
    QVERIFY(handle.AreCallbacksRegistered());
    QCOMPARE(engine.TakeCallLines(), kRegistration); // the log handler is not among them
}

void tst_VantorHandle::removesOnlyWhatIsRegistered()
{
    EngineDoubleClient engine;
    VantorHandle handle(nullptr);
    handle.RemoveCallbacks();
    QCOMPARE(engine.TakeCallLines(), QStringList());
    handle.RegisterCallbacks();
    engine.TakeCalls();
    handle.RemoveCallbacks();
    QVERIFY(!handle.AreCallbacksRegistered());
    QCOMPARE(engine.TakeCallLines(), QStringList(QStringLiteral("RemoveCallback()")));
    handle.RemoveCallbacks();
    QCOMPARE(engine.TakeCallLines(), QStringList());
    handle.RegisterCallbacks();
    QVERIFY(handle.AreCallbacksRegistered());
    QCOMPARE(engine.TakeCallLines(), kRegistration);
}

void tst_VantorHandle::destructorRemovesTheCallbacks()
{
    EngineDoubleClient engine;
    auto handle = std::make_unique<VantorHandle>(nullptr);
    handle->RegisterCallbacks();
    engine.TakeCalls();
    handle.reset();
    QCOMPARE(engine.TakeCallLines(), QStringList(QStringLiteral("RemoveCallback()")));
    QVERIFY(!engine.IsInstalled(EngineDouble::GroupTaskCallback));
}

void tst_VantorHandle::destructorWithoutRegistration()
{
    EngineDoubleClient engine;
    std::make_unique<VantorHandle>(nullptr).reset();
    QCOMPARE(engine.TakeCallLines(), QStringList());
}

void tst_VantorHandle::forwardsTexts()
{
    EngineDoubleClient engine;
    VantorExporter exporter(nullptr);
    auto* const handle = new VantorHandle(&exporter); // the exporter's child
    handle->RegisterCallbacks();
    QSignalSpy states(&exporter, &VantorExporter::onStateCallback);
    QSignalSpy files(&exporter, &VantorExporter::onSingleTaskCallback);
    QSignalSpy groups(&exporter, &VantorExporter::onGroupTaskCallback);
    QSignalSpy chunks(&exporter, &VantorExporter::onChunkTaskCallback);
    QSignalSpy logs(&exporter, &VantorExporter::onLogCallback);
    engine.FireHere(EngineDouble::StateCallback, "s" + kText);
    engine.FireHere(EngineDouble::SingleTaskCallback, "a" + kText, "b" + kText, "c" + kText);
    engine.FireHere(EngineDouble::GroupTaskCallback, "d" + kText, "e" + kText);
    engine.FireHere(EngineDouble::ChunkTaskCallback, "f" + kText, "g" + kText);
    const auto text = [](const char* prefix) { return QString(QLatin1String(prefix) + QString::fromUtf8(kText)); };
    QCOMPARE(states, (QList<QVariantList>{{text("s")}}));
    QCOMPARE(files, (QList<QVariantList>{{text("a"), text("b"), text("c")}}));
    QCOMPARE(groups, (QList<QVariantList>{{text("d"), text("e")}}));
    QCOMPARE(chunks, (QList<QVariantList>{{text("f"), text("g")}}));
    exporter.LogCallback(1, text("h"), 2, 3, text("i"));
    QCOMPARE(logs.size(), 0);
}

void tst_VantorHandle::forwardsNullTexts()
{
    EngineDoubleClient engine;
    VantorExporter exporter(nullptr);
    auto* const handle = new VantorHandle(&exporter);
    handle->RegisterCallbacks();
    QSignalSpy files(&exporter, &VantorExporter::onSingleTaskCallback);
    engine.FireNulls(EngineDouble::SingleTaskCallback);
    engine.Flush();
    QCOMPARE(files, (QList<QVariantList>{{QString(), QString(), QString()}}));
}

void tst_VantorHandle::writesDebugLines()
{
    EngineDoubleClient engine;
    VantorExporter exporter(nullptr);
    auto* const handle = new VantorHandle(&exporter);
    handle->RegisterCallbacks();
    const MessageCapture messages;
    engine.FireHere(EngineDouble::StateCallback, kText);
    engine.FireHere(EngineDouble::SingleTaskCallback, "a", "b", "\"file\" " + kText);
    engine.FireHere(EngineDouble::GroupTaskCallback, "d", "\"group\" " + kText);
    engine.FireHere(EngineDouble::ChunkTaskCallback, "f", kText);
    const QString text = QString::fromUtf8(kText);
    QCOMPARE(messages.Texts(QtDebugMsg),
             (QStringList{QStringLiteral("VantorHandle::onSingleTaskCallback: \"file\" ") + text,
                          QStringLiteral("VantorHandle::onGroupTaskCallback: \"group\" ") + text}));
}

void tst_VantorHandle::dropsWithoutAnExporter()
{
    EngineDoubleClient engine;
    VantorExporter exporter(nullptr);
    QObject other;
    auto* const handle = new VantorHandle(&other);
    handle->RegisterCallbacks();
    QSignalSpy groups(&exporter, &VantorExporter::onGroupTaskCallback);
    const MessageCapture messages;
    engine.FireHere(EngineDouble::GroupTaskCallback, "g", "{}");
    engine.FireHere(EngineDouble::SingleTaskCallback, "g", "t", "{}");
    engine.FireHere(EngineDouble::StateCallback, "{}");
    engine.FireHere(EngineDouble::ChunkTaskCallback, "g", "{}");
    QCOMPARE(groups.size(), 0);
    QCOMPARE(messages.Texts(QtDebugMsg), QStringList());
}

void tst_VantorHandle::dropsAfterTheExporter()
{
    EngineDoubleClient engine;
    engine.IgnoreRemoval(true);
    auto exporter = std::make_unique<VantorExporter>(nullptr);
    auto* const handle = new VantorHandle(exporter.get());
    handle->RegisterCallbacks();
    exporter.reset();
    const MessageCapture messages;
    engine.FireHere(EngineDouble::GroupTaskCallback, "g", "{}");
    engine.FireHere(EngineDouble::SingleTaskCallback, "g", "t", "{}");
    engine.FireHere(EngineDouble::StateCallback, "{}");
    engine.FireHere(EngineDouble::ChunkTaskCallback, "g", "{}");
    QCOMPARE(messages.Texts(QtDebugMsg), QStringList());
}

QTEST_GUILESS_MAIN(tst_VantorHandle)

#include "tst_VantorHandle.moc"

// SPDX-License-Identifier: MIT
// Packages through the library, the reference engine and an HTTP server: what the launcher is told, what the server is
// asked for, and what is on disk afterwards.
#include "LogCapture.h"
#include "OrvelCommon/Testing.h"
#include "PackageTree.h"
#include "vantor/VantorChunkTask.h"
#include "vantor/VantorExporter.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <memory>

using PackageTree::content;
using PackageTree::Tree;
using VantorEngine::PackageManifest;

namespace {

constexpr int kWaitMs = 30000;
using Task = QSharedPointer<VantorChunkTask>;
using Download = VantorChunkNormalDownloadResp;

/// \brief Every response of a task, in order.
class Responses : public QObject
{
    Q_OBJECT

public:
    explicit Responses(const Task& task)
    {
        using T = VantorChunkTask;
        T* const t = task.data();
        connect(t, &T::ChunkNormalDownloadTaskProgressChanged, this, [this](const auto& r) { progress.append(r); });
        connect(t, &T::ChunkRepairDownloadTaskProgressChanged, this, [this](const auto& r) { progress.append(r); });
        connect(t, &T::ChunkVersionTaskFinished, this, [this] { ++finished; });
        connect(t, &T::ChunkSizeTaskFinished, this, [this] { ++finished; });
        connect(t, &T::ChunkNormalDownloadTaskFinished, this, [this] { ++finished; });
        connect(t, &T::ChunkRepairDownloadTaskFinished, this, [this] { ++finished; });
        connect(t, &T::ChunkDeleteDatabaseTaskFinished, this, [this] { ++finished; });
    }

    QStringList statuses() const
    {
        QStringList result;
        for (const Download& each : progress) {
            if (result.isEmpty() || result.constLast() != each.status)
                result.append(each.status);
        }
        return result;
    }

    QList<Download> progress;
    int finished = 0;
};

Tree firstVersion()
{
    return {{QStringLiteral("game.bin"), content(300 * 1000, 1)},
            {QStringLiteral("data/world.pak"), content(500 * 1000, 2)},
            {QStringLiteral("data/Übersicht 世界.map"), content(40 * 1000, 3)},
            {QStringLiteral("data/text.txt"), QByteArray("the same words again and again\n").repeated(4000)},
            {QStringLiteral("one.byte"), QByteArray("x")},
            {QStringLiteral("empty.flag"), QByteArray()},
            {QStringLiteral("saves/"), QByteArray()}};
}

/// \brief One file changed in its middle, one moved, one gone, one new.
Tree secondVersion()
{
    Tree tree = firstVersion();
    tree[QStringLiteral("data/world.pak")].replace(250 * 1000, 100, content(700, 9));
    tree.insert(QStringLiteral("moved/game.bin"), tree.take(QStringLiteral("game.bin")));
    tree.remove(QStringLiteral("one.byte"));
    tree.remove(QStringLiteral("saves/"));
    tree.insert(QStringLiteral("new.txt"), QByteArray("new\n"));
    return tree;
}

} // namespace

class tst_PackageEngine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void tellsTheVersions();
    void tellsTheSize();
    void installs();
    void countsUpToTheTotals();
    void fetchesAChunkOnceThatIsWantedOften();
    void installingAgainFetchesNothing();
    void updatesFetchWhatIsNew();
    void updatesFromFoldersToFilesAndBack();
    void repairsWhatIsBroken();
    void repairsTheInstalledVersion();
    void repairOfAWholeInstallationFetchesNothing();
    void findsWhatIsInstalledWithoutADatabase();
    void forgetsAndKeepsTheFiles();
    void keepsFilesOfOthers();
    void usesTheStagingFolder();
#ifdef Q_OS_UNIX
    void marksWhatCanBeRun();
#endif
    void stagesAPreDownload();
    void sharesTheStagingFolder();

    void fetchesACorruptChunkAgain_data();
    void fetchesACorruptChunkAgain();
    void failsWhenAChunkStaysCorrupt();
    void waitsAsTheServerAsks();
    void reportsWhatIsMissing_data();
    void reportsWhatIsMissing();
    void refusesAManifestThatIsNotTheBranchs();
    void refusesPathsThatLeaveTheFolder_data();
    void refusesPathsThatLeaveTheFolder();
    void refusesUnusableRequests_data();
    void refusesUnusableRequests();
    void goesOnAfterACancel();
    void stopsWhenTheDiskIsLow();
    void endsATwinAsDuplicated();
    void letsTheSameFolderWaitItsTurn();
    void reusesAGuidAfterTheEnd();

private:
    VantorEngine::PublishResult publish(const QString& version, const Tree& tree);
    std::unique_ptr<VantorChunkReq> request(VantorChunkActionType action) const;
    Task start(VantorChunkActionType action);
    std::shared_ptr<VantorChunkResp> end(const Task& task);
    template<typename Resp = Download>
    Resp run(VantorChunkActionType action);
    QString at(const QString& name) const
    {
        return folder->filePath(name);
    }
    QString install() const
    {
        return at(QStringLiteral("install"));
    }
    void compareInstalled(const Tree& tree) const;
    int chunkRequests() const;
    QMap<QByteArray, QByteArray> publishedChunks() const;
    QList<QByteArray> chunkNames() const;

    std::unique_ptr<ScriptedHttpServer> server;
    std::unique_ptr<QTemporaryDir> folder;
    std::unique_ptr<LogCapture> log;
    QString package;
    int tests = 0;
};

void tst_PackageEngine::initTestCase()
{
    server = std::make_unique<ScriptedHttpServer>();
    QVERIFY(server->port() != 0);
    const QJsonObject config{
        {QStringLiteral("package_base_url"), server->urlText("/")},
        {QStringLiteral("retry_limit"), 2},
        {QStringLiteral("retry_delay_ms"), 5},
        {QStringLiteral("download_policy"), QJsonObject{{QStringLiteral("progress_callback_interval"), 10}}}};
    QVERIFY2(
        VantorExporter::Instance()->Init(QDir::tempPath(), QString::fromUtf8(QJsonDocument(config).toJson()), 4, 0),
        "the reference engine is not on the library search path");
    qRegisterMetaType<VantorChunkDeleteDatabaseResp>();
}

void tst_PackageEngine::init()
{
    folder = std::make_unique<QTemporaryDir>();
    QVERIFY(folder->isValid());
    log = std::make_unique<LogCapture>();
    package = QStringLiteral("package-%1").arg(++tests);
    Orvel::Common::SetDiskSpaceProbe([](const std::string&) {
        constexpr std::uint64_t kPlenty = std::uint64_t(1) << 40;
        return std::make_pair(kPlenty, kPlenty);
    });
    server->clearRequests();
}

void tst_PackageEngine::cleanup()
{
    Orvel::Common::SetDiskSpaceProbe({});
    log.reset();
}

VantorEngine::PublishResult tst_PackageEngine::publish(const QString& version, const Tree& tree)
{
    const QString source = at(QStringLiteral("source-") + version);
    if (!PackageTree::write(source, tree))
        qFatal("cannot write %s", qPrintable(source));
    VantorEngine::PublishOrder order;
    order.folder = source;
    order.out = at(QStringLiteral("published"));
    order.package = package;
    order.branch = QStringLiteral("main");
    order.version = version;
    order.limits = PackageTree::kSmallChunks;
    const VantorEngine::PublishResult result = VantorEngine::publishPackage(order);
    if (!result.problem.isEmpty())
        qFatal("%s", qPrintable(result.problem));
    PackageTree::serve(*server, order.out);
    return result;
}

std::unique_ptr<VantorChunkReq> tst_PackageEngine::request(VantorChunkActionType action) const
{
    auto req = std::make_unique<VantorChunkReq>();
    req->package_id = package;
    req->branch = QStringLiteral("main");
    req->action_type = action;
    req->install_dir = install();
    return req;
}

Task tst_PackageEngine::start(VantorChunkActionType action)
{
    const Task task = VantorChunkTask::MakeChunkTask();
    task->Start(request(action));
    return task;
}

std::shared_ptr<VantorChunkResp> tst_PackageEngine::end(const Task& task)
{
    const bool ended = QTest::qWaitFor([&task] { return !task->IsRunning(); }, kWaitMs);
    return ended ? task->GetLastResp() : nullptr;
}

/// \brief Runs an action to its end. The record says "(no end)" when there was none.
template<typename Resp>
Resp tst_PackageEngine::run(VantorChunkActionType action)
{
    const auto resp = std::dynamic_pointer_cast<Resp>(end(start(action)));
    Resp none;
    none.status = QStringLiteral("(no end)");
    return resp && resp->completed ? *resp : none;
}

void tst_PackageEngine::compareInstalled(const Tree& tree) const
{
    QCOMPARE(PackageTree::differences(PackageTree::read(install()), tree), QStringList());
    // Nothing is left of the assembling.
    QCOMPARE(QDir(install() + QStringLiteral("/.vantor")).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
             QStringList(package + QStringLiteral(".json")));
}

/// \brief The files that hold the chunks of all versions, by their paths on the server.
QMap<QByteArray, QByteArray> tst_PackageEngine::publishedChunks() const
{
    const QDir published(at(QStringLiteral("published")));
    QMap<QByteArray, QByteArray> chunks;
    QDirIterator it(published.filePath(package + QStringLiteral("/chunks")), QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        QFile file(it.next());
        if (!file.open(QIODevice::ReadOnly))
            qFatal("cannot read %s", qPrintable(file.fileName()));
        chunks.insert('/' + published.relativeFilePath(file.fileName()).toUtf8(), file.readAll());
    }
    return chunks;
}

QList<QByteArray> tst_PackageEngine::chunkNames() const
{
    QList<QByteArray> names;
    for (const HttpRequest& each : server->requests()) {
        if (each.path().startsWith('/' + package.toUtf8() + "/chunks/"))
            names.append(each.path().mid(each.path().lastIndexOf('/') + 1));
    }
    return names;
}

int tst_PackageEngine::chunkRequests() const
{
    return chunkNames().size();
}

void tst_PackageEngine::tellsTheVersions()
{
    publish(QStringLiteral("1.0"), firstVersion());
    auto resp = run<VantorChunkVersionResp>(VantorChunkActionFetchVersion);
    QCOMPARE(resp.status, QStringLiteral("Success"));
    QCOMPARE(resp.error_code, 0);
    QCOMPARE(resp.package_id, package);
    QCOMPARE(resp.branch, QStringLiteral("main"));
    QCOMPARE(resp.server_version, QStringLiteral("1.0"));
    QCOMPARE(resp.local_version, QString());
    QVERIFY(resp.depot_version_list.empty());
    QCOMPARE(resp.depot_server_version_list.at(package.toStdString()), std::string("1.0"));

    QCOMPARE(run(VantorChunkActionNormalDownload).local_version, QStringLiteral("1.0"));
    const auto second = publish(QStringLiteral("2.0"), secondVersion());
    resp = run<VantorChunkVersionResp>(VantorChunkActionFetchVersion);
    QCOMPARE(resp.server_version, QStringLiteral("2.0"));
    QCOMPARE(resp.local_version, QStringLiteral("1.0"));
    QCOMPARE(resp.build_id, QString::fromLatin1(second.build));
    QCOMPARE(resp.depot_version_list.at(package.toStdString()), std::string("1.0"));
}

void tst_PackageEngine::tellsTheSize()
{
    const auto published = publish(QStringLiteral("1.0"), firstVersion());
    auto size = run<VantorChunkSizeResp>(VantorChunkActionFetchSize);
    QCOMPARE(size.status, QStringLiteral("Success"));
    QCOMPARE(size.total_file_num, qint64(6));
    QCOMPARE(size.total_to_process_file_num, qint64(6));
    QCOMPARE(size.total_chunk_num, qint64(published.chunks));
    QCOMPARE(size.total_to_process_chunk_num, qint64(published.chunks));
    QCOMPARE(size.total_download_byte, published.newStored);
    QVERIFY(size.total_uncompressed_byte > size.total_download_byte); // the text is compressed
    QCOMPARE(size.total_added_byte, published.bytes);
    QCOMPARE(size.total_to_preprocess_file_num, qint64(0));
    QCOMPARE(chunkRequests(), 0);
    QVERIFY(!QDir(install()).exists());

    QCOMPARE(run(VantorChunkActionNormalDownload).status, QStringLiteral("Success"));
    size = run<VantorChunkSizeResp>(VantorChunkActionFetchSize);
    QCOMPARE(size.total_to_process_file_num, qint64(0));
    QCOMPARE(size.total_download_byte, qint64(0));
    QCOMPARE(size.total_added_byte, qint64(0));

    const auto second = publish(QStringLiteral("2.0"), secondVersion());
    size = run<VantorChunkSizeResp>(VantorChunkActionFetchSize);
    QCOMPARE(size.total_download_byte, second.newStored);
    QCOMPARE(size.total_to_process_chunk_num, qint64(second.newChunks));
    QCOMPARE(size.total_to_process_file_num, qint64(3)); // changed, moved, new
    QCOMPARE(size.total_added_byte, second.bytes - published.bytes);
}

void tst_PackageEngine::installs()
{
    const auto published = publish(QStringLiteral("1.0"), firstVersion());
    const Task task = VantorChunkTask::MakeChunkTask();
    const Responses responses(task);
    task->Start(request(VantorChunkActionNormalDownload));
    end(task);
    QTRY_COMPARE(responses.finished, 1);
    QCOMPARE(task->GetLastResp()->error_msg, QString());
    QCOMPARE(responses.statuses(),
             (QStringList{QStringLiteral("Start"), QStringLiteral("Preparing"), QStringLiteral("Progressing"),
                          QStringLiteral("Installing"), QStringLiteral("Success")}));
    compareInstalled(firstVersion());
    QCOMPARE(chunkRequests(), published.chunks);
    const QList<QByteArray> names = chunkNames();
    QCOMPARE(QSet<QByteArray>(names.cbegin(), names.cend()).size(), published.chunks); // each once
    const Download last = responses.progress.constLast();
    QCOMPARE(last.local_version, QStringLiteral("1.0"));
    QCOMPARE(last.server_version, QStringLiteral("1.0"));
    QCOMPARE(last.depot_list.size(), 1);
    QCOMPARE(last.depot_list.constFirst().depot_guid, package);
    QCOMPARE(last.depot_list.constFirst().status, QStringLiteral("Success"));
    QVERIFY(last.depot_list.constFirst().completed);
    QCOMPARE(last.depot_list.constFirst().file_info, QStringLiteral(R"({"completed":6,"to_process":6,"total":6})"));
}

void tst_PackageEngine::countsUpToTheTotals()
{
    const auto published = publish(QStringLiteral("1.0"), firstVersion());
    const Task task = VantorChunkTask::MakeChunkTask();
    const Responses responses(task);
    task->Start(request(VantorChunkActionNormalDownload));
    end(task);
    QTRY_COMPARE(responses.finished, 1);
    for (int i = 1; i < responses.progress.size(); ++i) {
        const Download& before = responses.progress.at(i - 1);
        const Download& after = responses.progress.at(i);
        QVERIFY(after.current_download_byte >= before.current_download_byte);
        QVERIFY(after.current_decompressed_byte >= before.current_decompressed_byte);
        QVERIFY(after.current_completed_chunk_num >= before.current_completed_chunk_num);
        QVERIFY(after.current_completed_file_num >= before.current_completed_file_num);
        QVERIFY(after.current_download_byte <= after.total_download_byte);
    }
    const Download last = responses.progress.constLast();
    QCOMPARE(last.total_download_byte, published.newStored);
    QCOMPARE(last.current_download_byte, last.total_download_byte);
    QCOMPARE(last.current_decompressed_byte, last.total_uncompressed_byte);
    QCOMPARE(last.current_completed_chunk_num, qint64(published.chunks));
    QCOMPARE(last.current_successful_chunk_num, qint64(published.chunks));
    QCOMPARE(last.current_completed_file_num, qint64(6));
    QCOMPARE(last.current_successful_file_num, qint64(6));
}

void tst_PackageEngine::fetchesAChunkOnceThatIsWantedOften()
{
    const Tree tree{{QStringLiteral("a"), QByteArray(500 * 1000, '\0')},
                    {QStringLiteral("b"), content(9000) + QByteArray(300 * 1000, '\0')},
                    {QStringLiteral("c"), QByteArray(500 * 1000, '\0')}};
    const auto published = publish(QStringLiteral("1"), tree);
    QVERIFY(published.chunks < 10);
    QCOMPARE(run(VantorChunkActionNormalDownload).status, QStringLiteral("Success"));
    QCOMPARE(chunkRequests(), published.chunks);
    compareInstalled(tree);
}

void tst_PackageEngine::installingAgainFetchesNothing()
{
    publish(QStringLiteral("1.0"), firstVersion());
    QCOMPARE(run(VantorChunkActionNormalDownload).status, QStringLiteral("Success"));
    server->clearRequests();
    const Download again = run(VantorChunkActionNormalDownload);
    QCOMPARE(again.status, QStringLiteral("Success"));
    QCOMPARE(again.total_to_process_file_num, qint64(0));
    QCOMPARE(again.total_to_preprocess_file_num, qint64(0)); // not even read
    QCOMPARE(server->requestCount(), 1);                     // which version there is
    compareInstalled(firstVersion());
}

void tst_PackageEngine::updatesFetchWhatIsNew()
{
    publish(QStringLiteral("1.0"), firstVersion());
    QCOMPARE(run(VantorChunkActionNormalDownload).status, QStringLiteral("Success"));
    const auto second = publish(QStringLiteral("2.0"), secondVersion());
    QVERIFY(second.newChunks > 0 && second.newChunks < 8);
    server->clearRequests();
    const Download update = run(VantorChunkActionNormalDownload);
    QCOMPARE(update.status, QStringLiteral("Success"));
    QCOMPARE(update.local_version, QStringLiteral("2.0"));
    QCOMPARE(chunkRequests(), second.newChunks);
    QCOMPARE(update.current_download_byte, second.newStored);
    compareInstalled(secondVersion());
}

void tst_PackageEngine::updatesFromFoldersToFilesAndBack()
{
    const Tree folders{{QStringLiteral("a/b/c"), content(5000, 1)}, {QStringLiteral("d"), content(5000, 2)}};
    const Tree files{{QStringLiteral("a"), content(5000, 1)}, {QStringLiteral("d/e/f"), content(5000, 2)}};
    publish(QStringLiteral("1"), folders);
    QCOMPARE(run(VantorChunkActionNormalDownload).status, QStringLiteral("Success"));
    publish(QStringLiteral("2"), files);
    server->clearRequests();
    QCOMPARE(run(VantorChunkActionNormalDownload).error_msg, QString());
    compareInstalled(files);
    QCOMPARE(chunkRequests(), 0); // all of it was there, elsewhere
    publish(QStringLiteral("3"), folders);
    QCOMPARE(run(VantorChunkActionNormalDownload).error_msg, QString());
    compareInstalled(folders);
}

void tst_PackageEngine::repairsWhatIsBroken()
{
    publish(QStringLiteral("1.0"), firstVersion());
    QCOMPARE(run(VantorChunkActionNormalDownload).status, QStringLiteral("Success"));
    const Tree whole = firstVersion();
    // A byte that keeps size and time, a cut, and a file that is gone.
    const QString flipped = install() + QStringLiteral("/data/world.pak");
    const QDateTime time = QFileInfo(flipped).lastModified();
    QByteArray bytes = whole.value(QStringLiteral("data/world.pak"));
    bytes[300 * 1000] = static_cast<char>(bytes[300 * 1000] ^ 1);
    QVERIFY(PackageTree::writeFile(flipped, bytes));
    QFile file(flipped);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.setFileTime(time, QFileDevice::FileModificationTime));
    file.close();
    QVERIFY(QFile::resize(install() + QStringLiteral("/game.bin"), 200 * 1000));
    QVERIFY(QFile::remove(install() + QStringLiteral("/one.byte")));
    server->clearRequests();

    const Task task = start(VantorChunkActionRepairDownload);
    const auto repair = std::dynamic_pointer_cast<VantorChunkRepairDownloadResp>(end(task));
    QVERIFY(repair);
    QCOMPARE(repair->error_msg, QString());
    QCOMPARE(repair->status, QStringLiteral("Success"));
    compareInstalled(whole);
    QCOMPARE(repair->total_to_process_file_num, qint64(3));
    QCOMPARE(repair->total_to_preprocess_file_num, qint64(4)); // what holds bytes and is there
    QVERIFY(repair->total_to_preprocess_chunk_num > 0);
    QCOMPARE(repair->VantorChunkSizeResp::total_to_preprocess_file_num, repair->total_to_preprocess_file_num);
    QCOMPARE(repair->depot_manifest_list.size(), 1);
    QCOMPARE(repair->depot_manifest_list.constFirst().depot_guid, package);
    QCOMPARE(qint64(chunkRequests()), repair->total_to_process_chunk_num);
    // One chunk of the flipped file, a byte, and a third of the cut one.
    QVERIFY(repair->current_download_byte > 100 * 1000);
    QVERIFY(repair->current_download_byte < 150 * 1000);
}

void tst_PackageEngine::repairsTheInstalledVersion()
{
    publish(QStringLiteral("1.0"), firstVersion());
    QCOMPARE(run(VantorChunkActionNormalDownload).status, QStringLiteral("Success"));
    publish(QStringLiteral("2.0"), secondVersion());
    QVERIFY(QFile::remove(install() + QStringLiteral("/game.bin")));
    const auto repair = run<VantorChunkRepairDownloadResp>(VantorChunkActionRepairDownload);
    QCOMPARE(repair.status, QStringLiteral("Success"));
    QCOMPARE(repair.local_version, QStringLiteral("1.0"));
    QCOMPARE(repair.server_version, QStringLiteral("2.0"));
    compareInstalled(firstVersion());
}

void tst_PackageEngine::repairOfAWholeInstallationFetchesNothing()
{
    publish(QStringLiteral("1.0"), firstVersion());
    QCOMPARE(run(VantorChunkActionNormalDownload).status, QStringLiteral("Success"));
    server->clearRequests();
    const auto repair = run<VantorChunkRepairDownloadResp>(VantorChunkActionRepairDownload);
    QCOMPARE(repair.status, QStringLiteral("Success"));
    QCOMPARE(repair.total_to_process_file_num, qint64(0));
    QCOMPARE(repair.total_to_preprocess_file_num, qint64(5));
    QCOMPARE(chunkRequests(), 0);
    compareInstalled(firstVersion());
}

void tst_PackageEngine::findsWhatIsInstalledWithoutADatabase()
{
    publish(QStringLiteral("1.0"), firstVersion());
    QVERIFY(PackageTree::write(install(), firstVersion()));
    QVERIFY(QFile::remove(install() + QStringLiteral("/one.byte")));
    const Download download = run(VantorChunkActionNormalDownload);
    QCOMPARE(download.status, QStringLiteral("Success"));
    QCOMPARE(download.total_to_preprocess_file_num, qint64(4));
    QCOMPARE(chunkRequests(), 1);
    compareInstalled(firstVersion());
}

void tst_PackageEngine::forgetsAndKeepsTheFiles()
{
    publish(QStringLiteral("1.0"), firstVersion());
    QCOMPARE(run(VantorChunkActionNormalDownload).status, QStringLiteral("Success"));
    const auto resp = run<VantorChunkDeleteDatabaseResp>(VantorChunkActionDeleteDatabase);
    QCOMPARE(resp.status, QStringLiteral("Success"));
    QCOMPARE(resp.local_version, QStringLiteral("1.0")); // the one that was forgotten
    QVERIFY(!QDir(install() + QStringLiteral("/.vantor")).exists());
    QCOMPARE(PackageTree::differences(PackageTree::read(install()), firstVersion()), QStringList());
    QCOMPARE(run<VantorChunkVersionResp>(VantorChunkActionFetchVersion).local_version, QString());
    QCOMPARE(run<VantorChunkDeleteDatabaseResp>(VantorChunkActionDeleteDatabase).status, QStringLiteral("Success"));
}

void tst_PackageEngine::keepsFilesOfOthers()
{
    publish(QStringLiteral("1.0"), firstVersion());
    QCOMPARE(run(VantorChunkActionNormalDownload).status, QStringLiteral("Success"));
    QVERIFY(PackageTree::writeFile(install() + QStringLiteral("/saves/mine.sav"), "my game"));
    QVERIFY(PackageTree::writeFile(install() + QStringLiteral("/mine.cfg"), "mine"));
    publish(QStringLiteral("2.0"), secondVersion());
    QCOMPARE(run(VantorChunkActionNormalDownload).status, QStringLiteral("Success"));
    Tree expected = secondVersion();
    expected.insert(QStringLiteral("saves/mine.sav"), "my game");
    expected.insert(QStringLiteral("mine.cfg"), "mine");
    compareInstalled(expected);
}

#ifdef Q_OS_UNIX
void tst_PackageEngine::marksWhatCanBeRun()
{
    const Tree tree{{QStringLiteral("run"), "#!/bin/sh\n"}, {QStringLiteral("read"), "text"}};
    const auto mark = [this](const char* version, const char* name) {
        QFile file(at(QStringLiteral("source-%1/%2").arg(QLatin1String(version), QLatin1String(name))));
        return file.setPermissions(file.permissions() | QFileDevice::ExeOwner);
    };
    const auto isMarked = [this](const char* name) {
        return QFileInfo(install() + QLatin1Char('/') + QLatin1String(name)).isExecutable();
    };
    QVERIFY(PackageTree::write(at(QStringLiteral("source-1")), tree));
    QVERIFY(mark("1", "run"));
    publish(QStringLiteral("1"), tree);
    QCOMPARE(run(VantorChunkActionNormalDownload).status, QStringLiteral("Success"));
    QVERIFY(isMarked("run"));
    QVERIFY(!isMarked("read"));
    // Nothing but the marks changes.
    QVERIFY(PackageTree::write(at(QStringLiteral("source-2")), tree));
    QVERIFY(mark("2", "read"));
    publish(QStringLiteral("2"), tree);
    server->clearRequests();
    QCOMPARE(run(VantorChunkActionNormalDownload).status, QStringLiteral("Success"));
    QCOMPARE(chunkRequests(), 0);
    QVERIFY(!isMarked("run"));
    QVERIFY(isMarked("read"));
}
#endif

void tst_PackageEngine::usesTheStagingFolder()
{
    const auto published = publish(QStringLiteral("1.0"), firstVersion());
    const auto stagedRequest = [this] {
        auto req = request(VantorChunkActionNormalDownload);
        req->staging_dir = at(QStringLiteral("staging"));
        return req;
    };
    const QDir staging(at(QStringLiteral("staging/vantor-%1/%2").arg(package, QString::fromLatin1(published.build))));
    // One chunk is kept back until the files that are being assembled were seen.
    const QByteArray keptBack = publishedChunks().lastKey();
    server->once(keptBack, HttpResponse::nothing(HttpResponse::Fault::Stall));
    const Task task = VantorChunkTask::MakeChunkTask();
    task->Start(stagedRequest());
    QTRY_COMPARE_WITH_TIMEOUT(server->requestCount(keptBack), 1, kWaitMs);
    QTRY_VERIFY_WITH_TIMEOUT(!staging.entryList({QStringLiteral("*.part")}).isEmpty(), kWaitMs);
    task->Cancel();
    QCOMPARE(end(task)->status, QStringLiteral("Cancelled"));
    QCOMPARE(PackageTree::read(install()), Tree());
    task->Start(stagedRequest());
    QCOMPARE(end(task)->status, QStringLiteral("Success"));
    compareInstalled(firstVersion());
    QVERIFY(QDir(at(QStringLiteral("staging"))).isEmpty());
}

void tst_PackageEngine::stagesAPreDownload()
{
    publish(QStringLiteral("1.0"), firstVersion());
    QCOMPARE(run(VantorChunkActionNormalDownload).status, QStringLiteral("Success"));
    publish(QStringLiteral("2.0"), secondVersion());
    auto req = request(VantorChunkActionNormalDownload);
    req->pre_download = true;
    req->pre_download_dir = at(QStringLiteral("pre"));
    const Task task = VantorChunkTask::MakeChunkTask();
    task->Start(std::move(req));
    QCOMPARE(end(task)->status, QStringLiteral("Success"));
    QVERIFY(task->GetLastResp()->pre_download);
    QCOMPARE(task->GetLastResp()->local_version, QStringLiteral("1.0"));
    compareInstalled(firstVersion());

    server->clearRequests();
    req = request(VantorChunkActionNormalDownload);
    req->pre_download_dir = at(QStringLiteral("pre"));
    task->Start(std::move(req));
    QCOMPARE(end(task)->status, QStringLiteral("Success"));
    QCOMPARE(chunkRequests(), 0);
    compareInstalled(secondVersion());
}

/// Two installations of one package, assembled in the same place.
void tst_PackageEngine::sharesTheStagingFolder()
{
    publish(QStringLiteral("1.0"), firstVersion());
    const QMap<QByteArray, QByteArray> chunks = publishedChunks();
    for (auto chunk = chunks.cbegin(); chunk != chunks.cend(); ++chunk)
        server->always(chunk.key(), HttpResponse::ok(chunk.value()).delay(5));
    QList<Task> tasks;
    for (const QString& name : {QStringLiteral("install"), QStringLiteral("other")}) {
        auto req = request(VantorChunkActionNormalDownload);
        req->install_dir = at(name);
        req->staging_dir = at(QStringLiteral("staging"));
        tasks.append(VantorChunkTask::MakeChunkTask());
        tasks.constLast()->Start(std::move(req));
    }
    for (const Task& task : qAsConst(tasks))
        QCOMPARE(end(task)->error_msg, QString());
    for (const QString& name : {QStringLiteral("install"), QStringLiteral("other")})
        QCOMPARE(PackageTree::differences(PackageTree::read(at(name)), firstVersion()), QStringList());
}

void tst_PackageEngine::fetchesACorruptChunkAgain_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("other bytes") << QByteArray("same");
    QTest::newRow("too short") << QByteArray("short");
    QTest::newRow("too long") << QByteArray("long");
    QTest::newRow("server error") << QByteArray("status");
    QTest::newRow("reset") << QByteArray("reset");
}

void tst_PackageEngine::fetchesACorruptChunkAgain()
{
    QFETCH(const QByteArray, content);
    const auto published = publish(QStringLiteral("1.0"), {{QStringLiteral("a"), PackageTree::content(100 * 1000, 5)}});
    const QByteArray path = publishedChunks().firstKey();
    const QByteArray right = publishedChunks().first();
    if (content == "same")
        server->once(path, HttpResponse::ok(QByteArray(right.size(), 'x')));
    else if (content == "short")
        server->once(path, HttpResponse::ok(right.chopped(1)));
    else if (content == "long")
        server->once(path, HttpResponse::ok(right + "x"));
    else if (content == "status")
        server->once(path, HttpResponse::withStatus(503));
    else
        server->once(path, HttpResponse::ok(right).resetAfter(right.size() / 2));
    QCOMPARE(run(VantorChunkActionNormalDownload).error_msg, QString());
    QVERIFY(server->requestCount(path) >= 2);
    QVERIFY(chunkRequests() > published.chunks);
    compareInstalled({{QStringLiteral("a"), PackageTree::content(100 * 1000, 5)}});
}

void tst_PackageEngine::failsWhenAChunkStaysCorrupt()
{
    publish(QStringLiteral("1.0"), {{QStringLiteral("a"), content(1500, 5)}});
    QCOMPARE(run(VantorChunkActionNormalDownload).status, QStringLiteral("Success"));
    publish(QStringLiteral("2.0"), {{QStringLiteral("a"), content(1500, 6)}});
    const QByteArray digest = VantorEngine::digestOf(content(1500, 6));
    const QByteArray path = '/' + VantorEngine::chunkPath(package, digest).toUtf8();
    server->always(path, HttpResponse::ok(QByteArray(1500, 'x')));
    server->clearRequests();
    const Download failed = run(VantorChunkActionNormalDownload);
    QCOMPARE(failed.status, QStringLiteral("Failed"));
    QCOMPARE(failed.error_code, 1004);
    QCOMPARE(failed.error_msg,
             QStringLiteral("%1 is corrupt on the server; it was fetched 3 times").arg(QString::fromUtf8(path.mid(1))));
    QCOMPARE(server->requestCount(path), 3);
    QCOMPARE(failed.current_completed_chunk_num, qint64(1));
    QCOMPARE(failed.current_successful_chunk_num, qint64(0));
    QCOMPARE(failed.local_version, QStringLiteral("1.0"));
    QCOMPARE(PackageTree::read(install()), (Tree{{QStringLiteral("a"), content(1500, 5)}})); // as it was
    // The server has been put right.
    server->serve(path, content(1500, 6));
    QCOMPARE(run(VantorChunkActionNormalDownload).status, QStringLiteral("Success"));
    compareInstalled({{QStringLiteral("a"), content(1500, 6)}});
}

void tst_PackageEngine::waitsAsTheServerAsks()
{
    publish(QStringLiteral("1.0"), firstVersion());
    server->once('/' + VantorEngine::pointerPath(package, QStringLiteral("main")).toUtf8(),
                 HttpResponse::withStatus(503).addHeader("Retry-After", "1"));
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(run<VantorChunkVersionResp>(VantorChunkActionFetchVersion).status, QStringLiteral("Success"));
    QVERIFY2(timer.elapsed() >= 1000, qPrintable(QString::number(timer.elapsed())));
}

void tst_PackageEngine::reportsWhatIsMissing_data()
{
    QTest::addColumn<QString>("what");
    QTest::newRow("branch") << QStringLiteral("branch");
    QTest::newRow("manifest") << QStringLiteral("manifest");
    QTest::newRow("chunk") << QStringLiteral("chunk");
}

void tst_PackageEngine::reportsWhatIsMissing()
{
    QFETCH(const QString, what);
    const auto published = publish(QStringLiteral("1.0"), {{QStringLiteral("a"), content(1500, 5)}});
    QString path = VantorEngine::chunkPath(package, VantorEngine::digestOf(content(1500, 5)));
    if (what == QLatin1String("branch"))
        path = VantorEngine::pointerPath(package, QStringLiteral("main"));
    else if (what == QLatin1String("manifest"))
        path = VantorEngine::manifestPath(package, published.build);
    server->always('/' + path.toUtf8(), HttpResponse::withStatus(404));
    const Download failed = run(VantorChunkActionNormalDownload);
    QCOMPARE(failed.status, QStringLiteral("Failed"));
    QCOMPARE(failed.error_code, 404);
    QCOMPARE(failed.error_msg,
             QStringLiteral("%1: the server answered with status 404").arg(server->urlText('/' + path.toUtf8())));
    QCOMPARE(server->requestCount('/' + path.toUtf8()), 1);
    QCOMPARE(PackageTree::read(install()), Tree());
}

void tst_PackageEngine::refusesAManifestThatIsNotTheBranchs()
{
    const auto published = publish(QStringLiteral("1.0"), {{QStringLiteral("a"), content(1500, 5)}});
    const QByteArray path = '/' + VantorEngine::manifestPath(package, published.build).toUtf8();
    QFile file(at(QStringLiteral("published")) + QString::fromUtf8(path));
    QVERIFY(file.open(QIODevice::ReadOnly));
    server->serve(path, file.readAll().replace("\"1.0\"", "\"1.1\""));
    const Download failed = run(VantorChunkActionNormalDownload);
    QCOMPARE(failed.error_code, 1003);
    QCOMPARE(failed.error_msg, QStringLiteral("the manifest cannot be used: it is not the one that the branch names"));
}

void tst_PackageEngine::refusesPathsThatLeaveTheFolder_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::newRow("parent") << QByteArray("../out");
    QTest::newRow("parent inside") << QByteArray("a/../../out");
    QTest::newRow("absolute") << QByteArray("/tmp/out");
    QTest::newRow("backslash") << QByteArray("..\\\\out");
    QTest::newRow("drive") << QByteArray("C:/out");
    QTest::newRow("stream") << QByteArray("out:stream");
    QTest::newRow("device") << QByteArray("data/NUL.txt");
    QTest::newRow("engine's folder") << QByteArray(".Vantor/out");
    QTest::newRow("collision") << QByteArray("A.TXT");
}

void tst_PackageEngine::refusesPathsThatLeaveTheFolder()
{
    QFETCH(const QByteArray, path);
    const QByteArray bytes = content(1500, 5);
    const QByteArray digest = VantorEngine::digestOf(bytes);
    const QByteArray chunks = "[[\"" + digest + "\",1500,1500]]";
    const QByteArray manifest = "{\"format\":1,\"package\":\"" + package.toUtf8() +
                                "\",\"branch\":\"main\",\"version\":\"1\",\"chunks\":" + chunks +
                                ",\"files\":[{\"path\":\"a.txt\",\"size\":1500,\"chunks\":[0]},{\"path\":\"" + path +
                                "\",\"size\":1500,\"chunks\":[0]}],\"folders\":[]}";
    const QByteArray name = VantorEngine::digestOf(manifest);
    PackageManifest described;
    described.package = package;
    described.branch = QStringLiteral("main");
    described.version = QStringLiteral("1");
    server->serve('/' + VantorEngine::pointerPath(package, QStringLiteral("main")).toUtf8(),
                  VantorEngine::pointerText(described, name, manifest.size()));
    server->serve('/' + VantorEngine::manifestPath(package, name).toUtf8(), manifest);
    server->serve('/' + VantorEngine::chunkPath(package, digest).toUtf8(), bytes);
    QVERIFY(QDir().mkpath(install()));
    const Download failed = run(VantorChunkActionNormalDownload);
    QCOMPARE(failed.status, QStringLiteral("Failed"));
    QCOMPARE(failed.error_code, 1003);
    QVERIFY2(failed.error_msg.startsWith(QStringLiteral("the manifest cannot be used: ")),
             qPrintable(failed.error_msg));
    QCOMPARE(PackageTree::read(folder->path()), (Tree{{QStringLiteral("install/"), QByteArray()}}));
    QCOMPARE(chunkRequests(), 0);
}

void tst_PackageEngine::refusesUnusableRequests_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");
    QTest::newRow("no package") << QStringLiteral("package_id") << QString();
    QTest::newRow("package that leaves") << QStringLiteral("package_id") << QStringLiteral("../p");
    QTest::newRow("no branch") << QStringLiteral("branch") << QString();
    QTest::newRow("no folder") << QStringLiteral("install_dir") << QString();
    QTest::newRow("relative folder") << QStringLiteral("install_dir") << QStringLiteral("games/demo");
    QTest::newRow("relative staging") << QStringLiteral("staging_dir") << QStringLiteral("staging");
}

void tst_PackageEngine::refusesUnusableRequests()
{
    QFETCH(const QString, key);
    QFETCH(const QString, value);
    QJsonObject object =
        QJsonDocument::fromJson(request(VantorChunkActionNormalDownload)->ToJsonStr().toUtf8()).object();
    object.insert(key, value);
    auto req = std::make_unique<VantorChunkReq>();
    req->FromJsonStr(QString::fromUtf8(QJsonDocument(object).toJson()));
    const Task task = VantorChunkTask::MakeChunkTask();
    task->Start(std::move(req));
    const auto resp = end(task);
    QVERIFY(resp);
    QCOMPARE(resp->status, QStringLiteral("Failed"));
    QCOMPARE(resp->error_code, 1001);
    QVERIFY(!resp->error_msg.isEmpty());
    QCOMPARE(server->requestCount(), 0);
}

void tst_PackageEngine::goesOnAfterACancel()
{
    const auto published = publish(QStringLiteral("1.0"), firstVersion());
    const Task task = VantorChunkTask::MakeChunkTask();
    bool asked = false;
    connect(
        task.data(), &VantorChunkTask::ChunkNormalDownloadTaskProgressChanged, this,
        [&](const Download& resp) {
            if (!asked && resp.current_successful_chunk_num >= 10) {
                asked = true;
                task->Cancel();
            }
        },
        Qt::DirectConnection);
    // No more than these are given before the cancel.
    constexpr int kGiven = 12;
    const auto asks = std::make_shared<std::atomic<int>>(0);
    const QMap<QByteArray, QByteArray> chunks = publishedChunks();
    for (auto chunk = chunks.cbegin(); chunk != chunks.cend(); ++chunk) {
        server->on(chunk.key(), [asks, body = chunk.value()](const HttpRequest&) {
            return ++*asks <= kGiven ? HttpResponse::ok(body) : HttpResponse::nothing(HttpResponse::Fault::Stall);
        });
    }
    task->Start(request(VantorChunkActionNormalDownload));
    const auto cancelled = end(task);
    for (auto chunk = chunks.cbegin(); chunk != chunks.cend(); ++chunk)
        server->always(chunk.key(), HttpResponse::ok(chunk.value()));
    QCOMPARE(cancelled->status, QStringLiteral("Cancelled"));
    QVERIFY(cancelled->completed);
    QCOMPARE(cancelled->error_code, 0);
    QCOMPARE(PackageTree::read(install()), Tree());
    const int before = chunkRequests();
    QVERIFY(before < published.chunks);
    const Download done = run(VantorChunkActionNormalDownload);
    QCOMPARE(done.status, QStringLiteral("Success"));
    QVERIFY(done.total_to_process_chunk_num <= published.chunks - 10);
    compareInstalled(firstVersion());
}

void tst_PackageEngine::stopsWhenTheDiskIsLow()
{
    publish(QStringLiteral("1.0"), firstVersion());
    Orvel::Common::SetDiskSpaceProbe([](const std::string&) { return std::make_pair(524287999, 1); });
    // The engine waits for the server until it is cancelled.
    server->always('/' + VantorEngine::pointerPath(package, QStringLiteral("main")).toUtf8(),
                   HttpResponse::nothing(HttpResponse::Fault::Stall));
    const Task task = VantorChunkTask::MakeChunkTask();
    const Responses responses(task);
    task->Start(request(VantorChunkActionNormalDownload));
    QTRY_COMPARE(responses.finished, 1);
    QCOMPARE(responses.progress.constLast().status, QStringLiteral("Cancelled")); // what the engine said
    QCOMPARE(task->GetLastResp()->status, QStringLiteral("Failed"));
    QCOMPARE(task->GetLastResp()->error_code, 1);
    QCOMPARE(task->GetLastResp()->error_msg, QStringLiteral("disk space not enough"));
}

void tst_PackageEngine::endsATwinAsDuplicated()
{
    publish(QStringLiteral("1.0"), firstVersion());
    server->always('/' + VantorEngine::pointerPath(package, QStringLiteral("main")).toUtf8(),
                   HttpResponse::nothing(HttpResponse::Fault::Stall));
    const Task first = start(VantorChunkActionNormalDownload);
    const Task second = start(VantorChunkActionNormalDownload);
    QCOMPARE(end(second)->status, QStringLiteral("Duplicated"));
    QCOMPARE(second->GetLastResp()->duplicated_guid, first->GetGuid());
    QVERIFY(first->IsRunning());
    first->Cancel();
    QCOMPARE(end(first)->status, QStringLiteral("Cancelled"));
}

void tst_PackageEngine::letsTheSameFolderWaitItsTurn()
{
    publish(QStringLiteral("1.0"), firstVersion());
    const Task download = start(VantorChunkActionNormalDownload);
    const Task repair = start(VantorChunkActionRepairDownload);
    const Task forget = start(VantorChunkActionDeleteDatabase);
    QCOMPARE(end(forget)->status, QStringLiteral("Success"));
    QCOMPARE(end(download)->status, QStringLiteral("Success"));
    QCOMPARE(end(repair)->status, QStringLiteral("Success"));
    const auto repaired = std::dynamic_pointer_cast<VantorChunkRepairDownloadResp>(repair->GetLastResp());
    QCOMPARE(repaired->total_to_preprocess_file_num, qint64(5)); // all was there when it began
    QCOMPARE(forget->GetLastResp()->local_version, QStringLiteral("1.0"));
    QVERIFY(!QFile::exists(install() + QStringLiteral("/.vantor")));
}

void tst_PackageEngine::reusesAGuidAfterTheEnd()
{
    publish(QStringLiteral("1.0"), firstVersion());
    const Task task = VantorChunkTask::MakeChunkTask();
    for (int i = 0; i < 3; ++i) {
        auto req = request(VantorChunkActionFetchVersion);
        req->guid = QStringLiteral("mine");
        task->Start(std::move(req));
        QCOMPARE(task->GetGuid(), QStringLiteral("mine"));
        QCOMPARE(end(task)->status, QStringLiteral("Success"));
        QCOMPARE(task->GetLastResp()->guid, QStringLiteral("mine"));
    }
}

QTEST_GUILESS_MAIN(tst_PackageEngine)
#include "tst_PackageEngine.moc"

// SPDX-License-Identifier: MIT
// Downloads through the controller, the reference engine and a real HTTP server: what a launcher sees, what the server
// is asked for, and what is on disk afterwards.
#include "DownloadEvents.h"
#include "LogCapture.h"
#include "Manager/DownloadController.h"
#include "OrvelCommon/Testing.h"
#include "ScriptedHttpServer.h"
#include "vantor/VantorExporter.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QPointer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

constexpr int kWaitMs = 20000;

/// \brief Bytes that look like data: no two blocks alike.
QByteArray content(int bytes, int seed = 1)
{
    QByteArray data;
    data.reserve(bytes + 32);
    for (int block = 0; data.size() < bytes; ++block)
        data += QCryptographicHash::hash(QByteArray::number(seed * 1000003 + block), QCryptographicHash::Sha256);
    data.truncate(bytes);
    return data;
}

QString md5Of(const QByteArray& data)
{
    return QString::fromLatin1(QCryptographicHash::hash(data, QCryptographicHash::Md5).toHex());
}

QByteArray fileContent(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(not there)");
}

void writeFile(const QString& path, const QByteArray& data)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(data), qint64(data.size()));
}

} // namespace

class tst_ControllerEndToEnd : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void downloadsVerifiesAndFinishes();
    void resumesFromThePartialFile();
    void doesNotResumeWhenTold();
    void reportsAWrongChecksum();
    void retriesAndFinishes();
    void cancelsTheGroupForAForbiddenFile();
    void reportsARefusedConnection();
    void stopsAndGoesOn();
    void endsAsFailedWhenTheDiskIsLow();
    void refusesANameThatLeavesTheFolder();
    void survivesItsDeletionInAHandler();
    void startsTheNextGroupInAHandler();

private:
    DownloadTaskModel model(const QByteArray& target, const QByteArray& data) const;
    QString path(const QString& name) const { return folder->filePath(name); }
    void start(const QVector<DownloadTaskModel>& models);
    QStringList entries() const;

    std::unique_ptr<ScriptedHttpServer> server;
    std::unique_ptr<QTemporaryDir> folder;
    std::unique_ptr<LogCapture> log;
    std::unique_ptr<DownloadController> controller;
    std::unique_ptr<DownloadEvents> events;
    int group = -1;
};

void tst_ControllerEndToEnd::initTestCase()
{
    const QString config = QStringLiteral("{\"retry_limit\": 2, \"retry_delay_ms\": 10}");
    QVERIFY2(VantorExporter::Instance()->Init(QDir::tempPath(), config, 0, 0),
             "the reference engine is not on the library search path");
}

void tst_ControllerEndToEnd::init()
{
    server = std::make_unique<ScriptedHttpServer>();
    QVERIFY(server->port() != 0);
    folder = std::make_unique<QTemporaryDir>();
    QVERIFY(folder->isValid());
    log = std::make_unique<LogCapture>();
    Orvel::Common::SetDiskSpaceProbe([](const std::string&) {
        constexpr std::uint64_t kPlenty = std::uint64_t(1) << 40;
        return std::make_pair(kPlenty, kPlenty);
    });
    controller = std::make_unique<DownloadController>(nullptr, QStringLiteral("test"));
    events = std::make_unique<DownloadEvents>(controller.get());
}

void tst_ControllerEndToEnd::cleanup()
{
    controller.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    events.reset();
    log.reset();
    server.reset();
    folder.reset();
    Orvel::Common::SetDiskSpaceProbe({});
}

DownloadTaskModel tst_ControllerEndToEnd::model(const QByteArray& target, const QByteArray& data) const
{
    DownloadTaskModel file;
    file.Init(server->urlText(target), folder->path(), md5Of(data), QString(), data.size());
    return file;
}

void tst_ControllerEndToEnd::start(const QVector<DownloadTaskModel>& models)
{
    group = controller->SetTask(models, Normal);
    controller->StartDownloadTask(group, folder->path());
}

QStringList tst_ControllerEndToEnd::entries() const
{
    return QDir(folder->path()).entryList(QDir::Files | QDir::NoDotAndDotDot, QDir::Name);
}

void tst_ControllerEndToEnd::downloadsVerifiesAndFinishes()
{
    const QByteArray large = content(3000000);
    const QByteArray small = content(100, 2);
    server->serve("/pkg/large.bin", large);
    server->serve("/pkg/%E4%BD%A0%20b.bin", small);
    server->serve("/pkg/empty.bin", QByteArray());
    QSignalSpy md5Started(controller.get(), &DownloadController::md5Started);
    QSignalSpy finish(controller.get(), &DownloadController::finish);

    start({model("/pkg/large.bin", large), model("/pkg/%E4%BD%A0%20b.bin", small), model("/pkg/empty.bin", "")});
    QTRY_COMPARE_WITH_TIMEOUT(finish.count(), 1, kWaitMs);

    QCOMPARE(finish.first().first().toInt(), group);
    QCOMPARE(md5Started.count(), 1);
    QVERIFY(events->Count(QStringLiteral("error(")) == 0);
    QVERIFY(events->Count(QStringLiteral("checkProgress(")) >= 1);
    QCOMPARE(events->Last(), QStringLiteral("finish(%1)").arg(group));
    QCOMPARE(fileContent(path(QStringLiteral("large.bin"))), large);
    QCOMPARE(fileContent(path(QString::fromUtf8("\xE4\xBD\xA0 b.bin"))), small);
    QCOMPARE(fileContent(path(QStringLiteral("empty.bin"))), QByteArray());
    QCOMPARE(entries().size(), 3);
}

void tst_ControllerEndToEnd::resumesFromThePartialFile()
{
    const QByteArray data = content(500000);
    server->once("/a.bin", HttpResponse::ok(data).stallAfter(200000));
    server->serve("/a.bin", data);
    QSignalSpy cancelled(controller.get(), &DownloadController::cancelled);
    QSignalSpy finish(controller.get(), &DownloadController::finish);

    start({model("/a.bin", data)});
    QTRY_COMPARE_WITH_TIMEOUT(QFileInfo(path(QStringLiteral("a.bin_tmp"))).size(), qint64(200000), kWaitMs);
    controller->StopDownloadTask(group);
    QTRY_COMPARE_WITH_TIMEOUT(cancelled.count(), 1, kWaitMs);
    start({model("/a.bin", data)}); // a group of its own: only what lies on disk connects the two
    QTRY_COMPARE_WITH_TIMEOUT(finish.count(), 1, kWaitMs);

    QCOMPARE(server->requests("/a.bin").last().rangeStart(), qint64(200000));
    QCOMPARE(fileContent(path(QStringLiteral("a.bin"))), data);
    QCOMPARE(entries(), QStringList{QStringLiteral("a.bin")});
}

void tst_ControllerEndToEnd::doesNotResumeWhenTold()
{
    const QByteArray data = content(500000);
    server->serve("/a.bin", data);
    writeFile(path(QStringLiteral("a.bin_tmp")), content(200000, 9));
    QSignalSpy finish(controller.get(), &DownloadController::finish);

    controller->GetDownloadManager();
    controller->SetDisableResumeDownload(true);
    start({model("/a.bin", data)});
    QTRY_COMPARE_WITH_TIMEOUT(finish.count(), 1, kWaitMs);

    for (const HttpRequest& request : server->requests("/a.bin"))
        QVERIFY(!request.hasHeader("Range"));
    QCOMPARE(fileContent(path(QStringLiteral("a.bin"))), data);
}

void tst_ControllerEndToEnd::reportsAWrongChecksum()
{
    const QByteArray data = content(50000);
    server->serve("/a.bin", data);
    QVector<TaskInfo> errors;
    connect(controller.get(), &DownloadController::error, this,
            [&errors](const TaskInfo& info) { errors.append(info); });

    DownloadTaskModel file = model("/a.bin", data);
    file.md5 = QStringLiteral("00000000000000000000000000000000");
    start({file});
    QTRY_COMPARE_WITH_TIMEOUT(errors.size(), 1, kWaitMs);

    QCOMPARE(errors.first().GetErrorCode() / 1000, 8);
    QCOMPARE(errors.first().GetUrl(), server->urlText("/a.bin"));
    QCOMPARE(errors.first().GetGroupId(), group);
    QCOMPARE(errors.first().GetResult(), 2);
    QVERIFY2(errors.first().GetErrorString().contains(md5Of(data)), qPrintable(errors.first().GetErrorString()));
    QCOMPARE(entries(), QStringList());
    QCOMPARE(events->Count(QStringLiteral("finish(")), 0);
    QCOMPARE(events->Count(QStringLiteral("cancelled(")), 0);
}

void tst_ControllerEndToEnd::retriesAndFinishes()
{
    const QByteArray data = content(100000);
    server->once("/a.bin", HttpResponse::withStatus(503));
    server->once("/a.bin", HttpResponse::ok(data).resetAfter(40000));
    server->serve("/a.bin", data);
    QVector<TaskInfo> retries;
    connect(controller.get(), &DownloadController::errorRetry, this,
            [&retries](const TaskInfo& info) { retries.append(info); });
    QSignalSpy finish(controller.get(), &DownloadController::finish);

    start({model("/a.bin", data)});
    QTRY_COMPARE_WITH_TIMEOUT(finish.count(), 1, kWaitMs);

    QCOMPARE(retries.size(), 2);
    QCOMPARE(retries.first().GetErrorCode(), 6503);
    QCOMPARE(retries.first().GetStatusCode(), 503);
    QCOMPARE(retries.first().GetRetryTimes(), 0);
    QCOMPARE(retries.last().GetErrorCode() / 1000, 6);
    QCOMPARE(retries.last().GetRetryTimes(), 1);
    QCOMPARE(events->Count(QStringLiteral("error(")), 0);
    QCOMPARE(fileContent(path(QStringLiteral("a.bin"))), data);
}

void tst_ControllerEndToEnd::cancelsTheGroupForAForbiddenFile()
{
    const QByteArray data = content(400000);
    server->always("/secret.bin", HttpResponse::withStatus(403));
    server->always("/slow.bin", HttpResponse::ok(data).stallAfter(100000));
    QVector<TaskInfo> errors;
    connect(controller.get(), &DownloadController::error, this,
            [&errors](const TaskInfo& info) { errors.append(info); });

    start({model("/secret.bin", content(10)), model("/slow.bin", data)});
    QTRY_COMPARE_WITH_TIMEOUT(errors.size(), 1, kWaitMs);

    QCOMPARE(errors.first().GetErrorCode(), 6403);
    QCOMPARE(errors.first().GetStatusCode(), 403);
    QCOMPARE(errors.first().GetUrl(), server->urlText("/secret.bin"));
    QCOMPARE(events->Count(QStringLiteral("cancelled(")), 0);
    QVERIFY(!entries().contains(QStringLiteral("slow.bin")));
}

void tst_ControllerEndToEnd::reportsARefusedConnection()
{
    const DownloadTaskModel file = model("/a.bin", content(10));
    server->stop();
    QVector<TaskInfo> errors;
    connect(controller.get(), &DownloadController::error, this,
            [&errors](const TaskInfo& info) { errors.append(info); });

    start({file});
    QTRY_COMPARE_WITH_TIMEOUT(errors.size(), 1, kWaitMs);

    QCOMPARE(errors.first().GetErrorCode(), 6001);
    QCOMPARE(errors.first().GetStatusCode(), 0);
    QVERIFY(!errors.first().GetErrorString().isEmpty());
    QCOMPARE(events->Count(QStringLiteral("errorRetry(")), 2);
}

void tst_ControllerEndToEnd::stopsAndGoesOn()
{
    const QByteArray data = content(400000);
    server->once("/a.bin", HttpResponse::ok(data).stallAfter(100000));
    server->serve("/a.bin", data);
    QSignalSpy cancelled(controller.get(), &DownloadController::cancelled);
    QSignalSpy finish(controller.get(), &DownloadController::finish);

    start({model("/a.bin", data)});
    QTRY_COMPARE_WITH_TIMEOUT(QFileInfo(path(QStringLiteral("a.bin_tmp"))).size(), qint64(100000), kWaitMs);
    controller->StopDownloadTask(group);
    QTRY_COMPARE_WITH_TIMEOUT(cancelled.count(), 1, kWaitMs);

    QCOMPARE(cancelled.first().first().toInt(), group);
    QCOMPARE(events->Last(), QStringLiteral("cancelled(%1)").arg(group));
    QCOMPARE(log->count(2, QStringLiteral(" [manual cancel]  cancelled")), 1);
    QCOMPARE(fileContent(path(QStringLiteral("a.bin_tmp"))), data.left(100000));

    controller->StartDownloadTask(group, folder->path());
    QTRY_COMPARE_WITH_TIMEOUT(finish.count(), 1, kWaitMs);
    QCOMPARE(server->requests("/a.bin").last().rangeStart(), qint64(100000));
    QCOMPARE(fileContent(path(QStringLiteral("a.bin"))), data);
    QCOMPARE(events->Count(QStringLiteral("error(")), 0);
}

void tst_ControllerEndToEnd::endsAsFailedWhenTheDiskIsLow()
{
    const QByteArray data = content(400000);
    server->always("/a.bin", HttpResponse::ok(data).stallAfter(100000));
    Orvel::Common::SetDiskSpaceProbe(
        [](const std::string&) { return std::make_pair(std::uint64_t(104857599), std::uint64_t(1) << 40); });
    QVector<TaskInfo> errors;
    connect(controller.get(), &DownloadController::error, this,
            [&errors](const TaskInfo& info) { errors.append(info); });

    start({model("/a.bin", data)});
    QTRY_COMPARE_WITH_TIMEOUT(errors.size(), 1, kWaitMs);

    QCOMPARE(errors.first().GetErrorCode(), 6099);
    QCOMPARE(errors.first().GetErrorString(), QStringLiteral("unknown error"));
    QCOMPARE(events->Count(QStringLiteral("cancelled(")), 0);
    QVERIFY(!entries().contains(QStringLiteral("a.bin")));
}

void tst_ControllerEndToEnd::refusesANameThatLeavesTheFolder()
{
    QDir(folder->path()).mkdir(QStringLiteral("inner"));
    const QByteArray data = content(10);
    server->on("/..%5Coutside.bin",
               [data](const HttpRequest& request) { return HttpResponse::content(request, data); });
    QVector<TaskInfo> errors;
    connect(controller.get(), &DownloadController::error, this,
            [&errors](const TaskInfo& info) { errors.append(info); });

    DownloadTaskModel file;
    file.Init(server->urlText("/..%5Coutside.bin"), path(QStringLiteral("inner")), QString(), QString(), data.size());
    start({file});
    QTRY_COMPARE_WITH_TIMEOUT(errors.size(), 1, kWaitMs);

    QCOMPARE(errors.first().GetErrorCode() / 1000, 7);
    QCOMPARE(entries(), QStringList());
    QVERIFY(QDir(path(QStringLiteral("inner"))).isEmpty());
}

void tst_ControllerEndToEnd::survivesItsDeletionInAHandler()
{
    const QByteArray data = content(100000);
    server->serve("/a.bin", data);
    const QPointer<DownloadController> alive(controller.get());
    connect(controller.get(), &DownloadController::md5Started, this, [this] { controller.reset(); });

    start({model("/a.bin", data)});
    QTRY_VERIFY_WITH_TIMEOUT(!alive, kWaitMs);

    // Nobody listens any more, but the engine finishes what it was given.
    QTRY_COMPARE_WITH_TIMEOUT(fileContent(path(QStringLiteral("a.bin"))), data, kWaitMs);
}

void tst_ControllerEndToEnd::startsTheNextGroupInAHandler()
{
    const QByteArray first = content(1000);
    const QByteArray second = content(2000, 2);
    server->serve("/first.bin", first);
    server->serve("/second.bin", second);
    QVector<int> finished;
    connect(controller.get(), &DownloadController::finish, this, [&](int id) {
        finished.append(id);
        if (finished.size() == 1)
            start({model("/second.bin", second)});
    });

    start({model("/first.bin", first)});
    const int firstGroup = group;
    QTRY_COMPARE_WITH_TIMEOUT(finished.size(), 2, kWaitMs);

    QCOMPARE(finished, (QVector<int>{firstGroup, firstGroup + 1}));
    QCOMPARE(fileContent(path(QStringLiteral("second.bin"))), second);
}

QTEST_GUILESS_MAIN(tst_ControllerEndToEnd)
#include "tst_ControllerEndToEnd.moc"

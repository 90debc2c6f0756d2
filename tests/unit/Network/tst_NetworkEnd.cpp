// SPDX-License-Identifier: MIT
// How a process ends with a download under way whose manager is a static object: that is destroyed after the
// application, and after what the library has made since the launcher began.
#include "Network/DownloadManager.h"
#include "ScriptedHttpServer.h"
#include "TaskProbe.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <cstring>
#include <memory>

namespace {

constexpr int kProcessMs = 20000;

// Makes this program a launcher that returns from main while it downloads. Two arguments follow: the folder and the
// URL of the file.
constexpr char kLeaveManager[] = "leave-manager";

std::unique_ptr<DownloadManager> g_manager;

DownloadTaskModel fileOf(char** argv)
{
    DownloadTaskModel model;
    model.Init(QString::fromLocal8Bit(argv[3]), QString::fromLocal8Bit(argv[2]), QString(), QString(), 0);
    return model;
}

// Leaves with the transfer of a manager's file under way.
int leaveManager(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    g_manager = std::make_unique<DownloadManager>(nullptr, QStringLiteral("end"));
    qint64 bytes = 0;
    QObject::connect(g_manager.get(), &DownloadManager::progress, &application,
                     [&bytes](qint64 done) { bytes = done; });
    const int id = g_manager->SetTask({fileOf(argv)}, DownloadPriority::Normal, -1);
    g_manager->StartDownloadTask(id, {}, QString());
    return QTest::qWaitFor([&bytes] { return bytes > 0; }, kProcessMs) ? 0 : 1;
}

} // namespace

class tst_NetworkEnd : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void staticManagerIsDestroyedLast();
};

void tst_NetworkEnd::staticManagerIsDestroyedLast()
{
    const QTemporaryDir folder;
    ScriptedHttpServer server;
    server.always("/file.bin", HttpResponse::ok(someContent(200000)).rate(20000));

    QProcess process;
    process.start(QCoreApplication::applicationFilePath(),
                  {QLatin1String(kLeaveManager), folder.path(), server.urlText("/file.bin")});
    QVERIFY2(process.waitForFinished(2 * kProcessMs), qPrintable(process.errorString()));
    const QByteArray complaints = process.readAllStandardError();
    QVERIFY2(process.exitStatus() == QProcess::NormalExit, complaints.constData());
    QVERIFY2(process.exitCode() == 0, complaints.constData());
    QVERIFY(QFileInfo(folder.filePath(QStringLiteral("file.bin_tmp"))).size() > 0);
}

int main(int argc, char** argv)
{
    if (argc == 4 && std::strcmp(argv[1], kLeaveManager) == 0)
        return leaveManager(argc, argv);
    const QCoreApplication application(argc, argv);
    tst_NetworkEnd test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_NetworkEnd.moc"

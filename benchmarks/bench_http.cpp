// SPDX-License-Identifier: MIT
// One measured run of the HTTP back-end or of what it is compared with, in a process of its own, so that time and
// memory are those of this run alone. Driven by scripts/lib/bench_http.py.
//   bench_http get URL FOLDER SIZE              one file, without MD5
//   bench_http bare URL FILE                    the same with nothing but the network layer, and the same buffer
//   bench_http md5 FILE                         the digest of a file
//   bench_http group URL FOLDER COUNT SIZE MD5  files URL0, URL1 ...; prints milliseconds
//   bench_http settask COUNT FOLDER             prints milliseconds
//   bench_http limit URL FOLDER KIBPS SECONDS   prints the bytes that arrived within that time
#include "Network/DownloadGroupTask.h"
#include "Network/DownloadManager.h"
#include "OrvelCommon/Testing.h"
#include "Tool/MD5CheckWorker.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTimer>

#include <cstdio>

namespace {

constexpr qint64 kReadBufferBytes = 51200;

/// \brief The most memory that this process has had, in KiB, as the kernel counts it. What wait4() tells of a process
/// counts the memory of the one that started it, too.
void printPeak()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return;
    const QList<QByteArray> lines = status.readAll().split('\n');
    for (const QByteArray& line : lines) {
        if (line.startsWith("VmHWM:"))
            std::printf("peak %s\n", line.mid(6).trimmed().split(' ').first().constData());
    }
}

int fail(const QString& reason)
{
    std::fprintf(stderr, "%s\n", qPrintable(reason));
    return 1;
}

/// \brief Runs a group to its end.
int run(const QVector<DownloadTaskModel>& models)
{
    DownloadManager manager(nullptr, QStringLiteral("bench"));
    QObject::connect(&manager, &DownloadManager::finish, &manager, [] { QCoreApplication::exit(0); });
    QObject::connect(&manager, &DownloadManager::error, &manager, [](const TaskInfo& info) {
        QCoreApplication::exit(fail(QStringLiteral("%1 %2").arg(info.GetErrorCode()).arg(info.GetErrorString())));
    });
    QMetaObject::invokeMethod(
        &manager, [&] { manager.StartDownloadTask(-1, models, QString()); }, Qt::QueuedConnection);
    return QCoreApplication::exec();
}

DownloadTaskModel modelOf(const QString& url, const QString& folder, const QString& md5, qint64 size)
{
    DownloadTaskModel model;
    model.Init(url, folder, md5, QString(), size);
    return model;
}

int get(const QStringList& arguments)
{
    return run({modelOf(arguments.at(0), arguments.at(1), QString(), arguments.at(2).toLongLong())});
}

int bare(const QStringList& arguments)
{
    QFile file(arguments.at(1));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append))
        return fail(file.errorString());
    QNetworkAccessManager network;
    QNetworkReply* reply = network.get(QNetworkRequest(QUrl(arguments.at(0))));
    reply->setReadBufferSize(kReadBufferBytes);
    QObject::connect(reply, &QNetworkReply::readyRead, &file, [&] { file.write(reply->readAll()); });
    QObject::connect(reply, &QNetworkReply::finished, &file, [&] {
        file.write(reply->readAll());
        file.close();
        QCoreApplication::exit(reply->error() == QNetworkReply::NoError ? 0 : fail(reply->errorString()));
    });
    return QCoreApplication::exec();
}

int md5(const QStringList& arguments)
{
    MD5CheckWorker worker;
    std::printf("%s\n", qPrintable(worker.GetMd5(arguments.at(0))));
    return 0;
}

int group(const QStringList& arguments)
{
    QVector<DownloadTaskModel> models;
    const int count = arguments.at(2).toInt();
    for (int i = 0; i < count; ++i)
        models << modelOf(arguments.at(0) + QString::number(i), arguments.at(1), arguments.at(4),
                          arguments.at(3).toLongLong());
    QElapsedTimer timer;
    timer.start();
    const int code = run(models);
    std::printf("%lld\n", timer.elapsed());
    return code;
}

int setTask(const QStringList& arguments)
{
    QVector<DownloadTaskModel> models;
    const int count = arguments.at(0).toInt();
    for (int i = 0; i < count; ++i)
        models << modelOf(QStringLiteral("http://127.0.0.1/packages/file%1.bin").arg(i), arguments.at(1), QString(), 1);
    DownloadManager manager(nullptr, QStringLiteral("bench"));
    QElapsedTimer timer;
    timer.start();
    manager.SetTask(models, Normal, -1);
    std::printf("%lld", timer.restart());
    // A second group, all of whose files are known already.
    manager.SetTask(models, Normal, -1);
    std::printf(" %lld\n", timer.elapsed());
    return 0;
}

int limit(const QStringList& arguments)
{
    const qint64 size = qint64(1) << 40;
    DownloadManager manager(nullptr, QStringLiteral("bench"));
    manager.SetSpeedLimit(arguments.at(2).toLongLong());
    QMetaObject::invokeMethod(
        &manager,
        [&] { manager.StartDownloadTask(-1, {modelOf(arguments.at(0), arguments.at(1), QString(), size)}, QString()); },
        Qt::QueuedConnection);
    QTimer::singleShot(arguments.at(3).toInt() * 1000, Qt::PreciseTimer, &manager, [&] {
        const QString name = arguments.at(0).section(QLatin1Char('/'), -1);
        std::printf("%lld\n", QFileInfo(arguments.at(1) + QLatin1Char('/') + name + QStringLiteral("_tmp")).size());
        QCoreApplication::exit(0);
    });
    return QCoreApplication::exec();
}

struct Command
{
    const char* name;
    int arguments;
    int (*run)(const QStringList&);
};

constexpr Command kCommands[] = {
    {"get", 3, get},     {"bare", 2, bare},       {"md5", 1, md5},
    {"group", 5, group}, {"settask", 2, setTask}, {"limit", 4, limit},
};

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    Orvel::Common::SetLogSink([](const Orvel::Common::LogRecord&) {});
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    for (const Command& command : kCommands) {
        if (!arguments.isEmpty() && arguments.first() == QLatin1String(command.name) &&
            arguments.size() == command.arguments + 1) {
            QElapsedTimer timer;
            timer.start();
            const int code = command.run(arguments.mid(1));
            // Without the end of the process, which waits for name servers that are still being asked.
            std::printf("wall %lld\n", timer.elapsed());
            printPeak();
            return code;
        }
    }
    return fail(QStringLiteral("wrong arguments"));
}

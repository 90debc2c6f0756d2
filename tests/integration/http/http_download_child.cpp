// SPDX-License-Identifier: MIT
// http_download_child FOLDER URL MD5 SIZE: downloads one file with the HTTP back-end and prints how it ended, "finish"
// or "error CODE STATUS NETWORK-ERROR MESSAGE". A process of its own, so that a test can kill it or give it another
// disk.
#include "Network/DownloadManager.h"
#include "OrvelCommon/Testing.h"

#include <QCoreApplication>

#include <cstdio>

namespace {

void end(int exitCode, const QString& line)
{
    std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
    QCoreApplication::exit(exitCode);
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 5)
        return 2;
    Orvel::Common::SetLogSink([](const Orvel::Common::LogRecord&) {});
    DownloadTaskModel model;
    model.Init(arguments.at(2), arguments.at(1), arguments.at(3), QString(), arguments.at(4).toLongLong());
    DownloadManager manager(nullptr, QStringLiteral("child"));
    QObject::connect(&manager, &DownloadManager::finish, &manager, [] { end(0, QStringLiteral("finish")); });
    QObject::connect(&manager, &DownloadManager::error, &manager, [](const TaskInfo& info) {
        end(1, QStringLiteral("error %1 %2 %3 %4")
                   .arg(info.GetErrorCode())
                   .arg(info.GetStatusCode())
                   .arg(info.GetNetErrorCode())
                   .arg(info.GetErrorString()));
    });
    // From the event loop, where the exit is heard.
    QMetaObject::invokeMethod(
        &manager, [&] { manager.StartDownloadTask(-1, {model}, QString()); }, Qt::QueuedConnection);
    return QCoreApplication::exec();
}

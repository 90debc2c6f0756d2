// SPDX-License-Identifier: MIT
// http_download_child FOLDER URL MD5 SIZE: downloads one file with the HTTP back-end. A process of its own, so that the
// test can kill it.
#include "Network/DownloadManager.h"

#include <QCoreApplication>

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 5)
        return 2;
    DownloadTaskModel model;
    model.Init(arguments.at(2), arguments.at(1), arguments.at(3), QString(), arguments.at(4).toLongLong());
    DownloadManager manager(nullptr, QStringLiteral("child"));
    QObject::connect(&manager, &DownloadManager::finish, &manager, [] { QCoreApplication::exit(0); });
    QObject::connect(&manager, &DownloadManager::error, &manager, [] { QCoreApplication::exit(1); });
    // From the event loop, where the exit is heard.
    QMetaObject::invokeMethod(
        &manager, [&] { manager.StartDownloadTask(-1, {model}, QString()); }, Qt::QueuedConnection);
    return QCoreApplication::exec();
}

// SPDX-License-Identifier: MIT
#include "Network/Md5Check.h"

#include "Tool/MD5CheckWorker.h"

namespace {

constexpr unsigned long kStopIntervalMs = 1;

} // namespace

Md5Check::Md5Check(const QString& path, const QString& salt, QObject* owner,
                   const std::function<void(const QString&)>& deliver)
    : md5Worker(new MD5CheckWorker)
{
    md5Worker->SetFilePath(path);
    md5Worker->SetMD5Salt(salt);
    md5Worker->moveToThread(&md5Thread);
    QObject::connect(&md5Thread, &QThread::started, md5Worker, &MD5CheckWorker::onStartMD5);
    QObject::connect(md5Worker, &MD5CheckWorker::md5Checkfinished, owner, deliver, Qt::QueuedConnection);
    md5Thread.start(QThread::InheritPriority);
}

Md5Check::~Md5Check()
{
    QObject::disconnect(&md5Thread, nullptr, md5Worker, nullptr);
    md5Worker->disconnect();
    md5Thread.quit();
    // Asked again and again: a computation that is just about to begin sets the flag itself, and one request
    // before that would be lost.
    do {
        md5Worker->SetRunning(false);
    } while (!md5Thread.wait(kStopIntervalMs));
    delete md5Worker;
}

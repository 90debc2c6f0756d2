// SPDX-License-Identifier: MIT
#include "Tool/MD5CheckWorker.h"

#include "QCommLog.h"

#include <QCryptographicHash>
#include <QFile>

#include <array>

namespace {

// One read, and so the longest way to a stop request.
constexpr int kReadBytes = 10240;

QByteArray salted(const QByteArray& digest, const QString& salt)
{
    if (salt.isEmpty())
        return digest;
    return QCryptographicHash::hash(digest + salt.toLatin1(), QCryptographicHash::Md5).toHex();
}

} // namespace

MD5CheckWorker::MD5CheckWorker(QObject* parent) : QObject(parent)
{
}

MD5CheckWorker::~MD5CheckWorker() = default;

QString MD5CheckWorker::GetMd5(const QString& path)
{
    filePath = path;
    running.store(true, std::memory_order_relaxed);

    QFile file(filePath);
    // Unbuffered: the reads are large enough, and the hash takes them straight from our buffer.
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return QString();

    QCryptographicHash hash(QCryptographicHash::Md5);
    std::array<char, kReadBytes> buffer{};
    while (running.load(std::memory_order_relaxed)) {
        const qint64 count = file.read(buffer.data(), kReadBytes);
        if (count < 0)
            qWarning("MD5CheckWorker read data failed, file pos: %lld", file.pos());
        if (count <= 0)
            break;
        hash.addData(buffer.data(), static_cast<int>(count));
    }
    if (!running.load(std::memory_order_relaxed)) {
        QCOMM_LOG(LogLevel::Trace, "MD5CheckWorker::GetMd5") << " md5 checker finish get md5 with checker thread exit";
    }
    file.close();
    return QString::fromLatin1(salted(hash.result().toHex(), md5Salt));
}

void MD5CheckWorker::onStartMD5()
{
    Q_EMIT md5Checkfinished(GetMd5(filePath));
}

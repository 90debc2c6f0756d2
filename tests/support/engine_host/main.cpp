// SPDX-License-Identifier: MIT
// A process that downloads one list with the engine, to be killed, or to end in the middle, by tests.
//
//   engine_host MODULE LIST OUT [--config JSON] [--no-app] [--chunk] [--exit-after BYTES | --return-after BYTES]
//
// MODULE is the engine's file, LIST a file with a download list, or with --chunk the request of a chunk task. The final
// callback's text goes to the file OUT. --no-app runs without an application object. --exit-after calls exit() from the
// main thread once so many bytes are on disk, --return-after returns from main(). Exit code: 0 for a group that ended
// Success, or was left as asked; 1 for another end; 2 when nothing could be started.

#include "VantorApi.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLibrary>

#include <condition_variable>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>

namespace {

struct Options
{
    QString module;
    QString list;
    QString out;
    QByteArray config;
    bool application = true;
    bool chunk = false;
    qint64 exitAfter = -1;
    qint64 returnAfter = -1;
};

struct Progress
{
    std::mutex mutex;
    std::condition_variable changed;
    std::string status;
    std::string text;
    qint64 bytes = 0;
};

// Never destroyed: the engine may still call while the process ends.
Progress& progress()
{
    static Progress* const instance = new Progress;
    return *instance;
}

bool isEnd(const std::string& status)
{
    return status == "Success" || status == "Failed" || status == "Cancelled" || status == "Duplicated";
}

void onGroup(const char*, const char* data)
{
    const QJsonObject group = QJsonDocument::fromJson(data).object();
    qint64 bytes = 0;
    const QJsonArray items = group.value(QStringLiteral("download_items")).toArray();
    for (const QJsonValue& item : items) {
        bytes += static_cast<qint64>(item[QStringLiteral("existing_byte_count")].toDouble() +
                                     item[QStringLiteral("written_byte_count")].toDouble());
    }
    Progress& p = progress();
    const std::lock_guard<std::mutex> lock(p.mutex);
    p.status = group.value(QStringLiteral("status")).toString().toStdString();
    p.text = data;
    p.bytes = bytes;
    p.changed.notify_all();
}

void onChunk(const char*, const char* data)
{
    const QJsonObject response = QJsonDocument::fromJson(data).object();
    Progress& p = progress();
    const std::lock_guard<std::mutex> lock(p.mutex);
    p.status = response.value(QStringLiteral("status")).toString().toStdString();
    p.text = data;
    p.bytes = static_cast<qint64>(response.value(QStringLiteral("current_download_byte")).toDouble());
    p.changed.notify_all();
}

Options parse(int argc, char** argv)
{
    Options options;
    options.module = QString::fromLocal8Bit(argv[1]);
    options.list = QString::fromLocal8Bit(argv[2]);
    options.out = QString::fromLocal8Bit(argv[3]);
    for (int i = 4; i < argc; ++i) {
        const std::string option = argv[i];
        if (option == "--no-app") {
            options.application = false;
        } else if (option == "--chunk") {
            options.chunk = true;
        } else if (option == "--config" && i + 1 < argc) {
            options.config = argv[++i];
        } else if (option == "--exit-after" && i + 1 < argc) {
            options.exitAfter = std::atoll(argv[++i]);
        } else if (option == "--return-after" && i + 1 < argc) {
            options.returnAfter = std::atoll(argv[++i]);
        }
    }
    return options;
}

bool startDownload(const Options& options)
{
    QFile list(options.list);
    if (!list.open(QIODevice::ReadOnly)) {
        return false;
    }
    QLibrary module(options.module);
    const auto init = reinterpret_cast<decltype(&Vantor_InitEnv)>(module.resolve("Vantor_InitEnv"));
    const auto onGroupTask =
        reinterpret_cast<decltype(&Vantor_SetGroupTaskCallback)>(module.resolve("Vantor_SetGroupTaskCallback"));
    const auto setList = reinterpret_cast<decltype(&Vantor_SetDownloadList)>(module.resolve("Vantor_SetDownloadList"));
    const auto onChunkTask =
        reinterpret_cast<decltype(&Vantor_SetChunkTaskCallback)>(module.resolve("Vantor_SetChunkTaskCallback"));
    const auto startChunk = reinterpret_cast<decltype(&Vantor_StartChunkTask)>(module.resolve("Vantor_StartChunkTask"));
    if (init == nullptr || onGroupTask == nullptr || setList == nullptr || onChunkTask == nullptr ||
        startChunk == nullptr) {
        return false;
    }
    init("", options.config.constData(), 3, 1);
    onGroupTask(onGroup);
    onChunkTask(onChunk);
    if (options.chunk) {
        startChunk(list.readAll().constData(), "");
    } else {
        setList(list.readAll().constData(), "");
    }
    return true;
}

bool reached(const Progress& p, qint64 bytes)
{
    return bytes >= 0 && p.bytes >= bytes;
}

int waitForEnd(const Options& options)
{
    Progress& p = progress();
    std::unique_lock<std::mutex> lock(p.mutex);
    p.changed.wait(lock,
                   [&] { return isEnd(p.status) || reached(p, options.exitAfter) || reached(p, options.returnAfter); });
    if (!isEnd(p.status)) {
        lock.unlock();
        if (options.exitAfter >= 0) {
            std::exit(0);
        }
        return 0;
    }
    QFile out(options.out);
    if (out.open(QIODevice::WriteOnly)) {
        out.write(p.text.data(), static_cast<qint64>(p.text.size()));
    }
    return p.status == "Success" ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 4) {
        return 2;
    }
    const Options options = parse(argc, argv);
    std::unique_ptr<QCoreApplication> application;
    if (options.application) {
        application = std::make_unique<QCoreApplication>(argc, argv);
    }
    return startDownload(options) ? waitForEnd(options) : 2;
}

// SPDX-License-Identifier: MIT
// An engine that plays a part, for tests of the example launcher: which one, the environment variable
// LAUNCHER_TEST_PART says. It transfers nothing; files that are to be "finished" are laid ready by the test.
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>
#include <QVector>
#include <QtGlobal>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#ifdef _WIN32
#define PART_EXPORT extern "C" __declspec(dllexport)
#else
#define PART_EXPORT extern "C" __attribute__((visibility("default")))
#endif

using SingleCallback = void (*)(const char* group, const char* task, const char* data);
using GuidCallback = void (*)(const char* guid, const char* data);
using TextCallback = void (*)(const char* data);
using LogHandler = void (*)(int, const char*, int, int, const char*);

namespace {

constexpr char kGroup[] = "group";
constexpr qint64 kBytesPerFile = 10 * 1024 * 1024;
constexpr auto kPause = std::chrono::milliseconds(50);

struct Stage
{
    std::mutex mutex;
    std::condition_variable changed;
    bool cancelled = false; // guarded by the mutex
    SingleCallback single = nullptr;
    GuidCallback group = nullptr;
};

// Never destroyed: the actor is still on the stage when the process ends.
Stage& stage()
{
    static auto* const instance = new Stage;
    return *instance;
}

/// \brief Lets some time pass. \return true when the group was cancelled
bool pauseUntilCancelled(std::chrono::milliseconds pause = kPause)
{
    std::unique_lock<std::mutex> lock(stage().mutex);
    return stage().changed.wait_for(lock, pause, [] { return stage().cancelled; });
}

QByteArray text(const QJsonObject& object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QJsonObject file(const QString& url, const char* status, qint64 written, qint64 verified = 0)
{
    return {{QStringLiteral("guid"), url},
            {QStringLiteral("group_guid"), QLatin1String(kGroup)},
            {QStringLiteral("url"), url},
            {QStringLiteral("status"), QLatin1String(status)},
            {QStringLiteral("size"), kBytesPerFile},
            {QStringLiteral("existing_byte_count"), 1024},
            {QStringLiteral("written_byte_count"), written},
            {QStringLiteral("verified_byte_count"), verified},
            {QStringLiteral("verified_speed_byte"), 50 * 1024 * 1024}};
}

QJsonObject failed(const QString& url, const char* errorKind, int code, const char* message, bool completed)
{
    QJsonObject object = file(url, "Failed", 0);
    object.insert(QStringLiteral("completed"), completed);
    object.insert(QLatin1String(errorKind), QJsonObject{{QStringLiteral("error_code"), code},
                                                        {QStringLiteral("message"), QLatin1String(message)}});
    return object;
}

class Actor
{
public:
    explicit Actor(const QByteArray& downloadList)
    {
        const QJsonObject list = QJsonDocument::fromJson(downloadList).object();
        const QJsonArray items = list.value(QStringLiteral("download_items")).toArray();
        for (const QJsonValue item : items)
            m_urls.append(item.toObject().value(QStringLiteral("url")).toString());
    }

    void play(const QString& part) const
    {
        if (part == QLatin1String("finish"))
            finish();
        else if (part == QLatin1String("retry"))
            retry();
        else if (part == QLatin1String("fail"))
            fail();
        else if (part == QLatin1String("duplicated"))
            sendGroup("Duplicated", "Pending", 0);
        else if (part == QLatin1String("slow"))
            progressUntilCancelled("Cancelled");
        else if (part == QLatin1String("fail-when-stopped"))
            progressUntilCancelled("Failed");
        else if (part == QLatin1String("cancelled"))
            sendGroup("Cancelled", "Cancelled", 0);
        else if (part == QLatin1String("deaf"))
            progressForever();
        // Any other part, "silent" for instance: nothing is ever heard.
    }

private:
    void send(const QJsonObject& object) const
    {
        stage().single(kGroup, object.value(QStringLiteral("guid")).toString().toUtf8().constData(),
                       text(object).constData());
    }

    void sendGroup(const char* groupStatus, const char* fileStatus, qint64 written, qint64 verified = 0) const
    {
        QJsonArray files;
        for (const QString& url : m_urls)
            files.append(file(url, fileStatus, written, verified));
        const QJsonObject object{{QStringLiteral("guid"), QLatin1String(kGroup)},
                                 {QStringLiteral("status"), QLatin1String(groupStatus)},
                                 {QStringLiteral("download_items"), files}};
        stage().group(kGroup, text(object).constData());
    }

    void finish() const
    {
        const qint64 toFetch = kBytesPerFile - 1024;
        for (int quarter = 0; quarter <= 4; ++quarter) {
            sendGroup("Progressing", "Downloading", quarter == 4 ? toFetch - 1 : toFetch / 4 * quarter);
            pauseUntilCancelled();
        }
        sendGroup("Verifying", "Verifying", toFetch, kBytesPerFile / 2);
        // Longer than a second, so that a display that is refreshed once per second shows it.
        pauseUntilCancelled(std::chrono::milliseconds(1300));
        sendGroup("Success", "Success", toFetch, kBytesPerFile);
    }

    void retry() const
    {
        QJsonObject object = failed(m_urls.at(0), "url_net_error", 901, "the transfer ended early", false);
        object.insert(QStringLiteral("current_retry_times"), 3);
        send(object);
        finish();
    }

    // As the library asks for it: a file that failed for good makes it cancel the group.
    void fail() const
    {
        send(failed(m_urls.at(0), "checksum_check_error", 1, "MD5 differs", true));
        QJsonObject refused = failed(m_urls.at(1), "url_net_error", 404, "not found", true);
        refused.insert(QStringLiteral("url_response_info"), QJsonObject{{QStringLiteral("http_status_code"), 404}});
        send(refused);
        while (!pauseUntilCancelled())
            continue;
        sendGroup("Cancelled", "Cancelled", 0);
    }

    void progressUntilCancelled(const char* end) const
    {
        qint64 written = 0;
        do {
            written = qMin<qint64>(written + 4096, kBytesPerFile / 2);
            sendGroup("Progressing", "Downloading", written);
        } while (!pauseUntilCancelled());
        sendGroup(end, end, written);
    }

    void progressForever() const
    {
        for (;;) {
            sendGroup("Progressing", "Downloading", 4096);
            std::this_thread::sleep_for(kPause);
        }
    }

    QVector<QString> m_urls;
};

} // namespace

PART_EXPORT void Vantor_InitEnv(const char*, const char*, int, int)
{
}

PART_EXPORT void Vantor_SetConfig(const char*)
{
}

PART_EXPORT const char* Vantor_SetDownloadList(const char* downloadList, const char*)
{
    const Actor actor{QByteArray(downloadList)};
    std::thread([actor] {
        // The library has to learn the group's guid before the first callback.
        pauseUntilCancelled();
        actor.play(qEnvironmentVariable("LAUNCHER_TEST_PART"));
    }).detach();
    return kGroup;
}

PART_EXPORT void Vantor_Release(const char*)
{
}

PART_EXPORT void Vantor_Cancel(const char*)
{
    const std::lock_guard<std::mutex> lock(stage().mutex);
    stage().cancelled = true;
    stage().changed.notify_all();
}

PART_EXPORT void Vantor_RemoveCallback()
{
}

PART_EXPORT const char* Vantor_StartChunkTask(const char*, const char*)
{
    return "";
}

PART_EXPORT void Vantor_CancelChunkTask(const char*)
{
}

PART_EXPORT void Vantor_SetEngineStateCallback(TextCallback)
{
}

PART_EXPORT void Vantor_SetSingleTaskCallback(SingleCallback callback)
{
    stage().single = callback;
}

PART_EXPORT void Vantor_SetGroupTaskCallback(GuidCallback callback)
{
    stage().group = callback;
}

PART_EXPORT void Vantor_SetLogHandler(LogHandler)
{
}

PART_EXPORT void Vantor_SetChunkTaskCallback(GuidCallback)
{
}

// SPDX-License-Identifier: MIT
#include "EngineClient.h"

#include <QJsonDocument>
#include <QLibrary>

#include <algorithm>

namespace {

QJsonObject parsed(const char* data)
{
    return QJsonDocument::fromJson(data).object();
}

QString statusOf(const QJsonObject& object)
{
    return object.value(QStringLiteral("status")).toString();
}

template<typename Function>
bool resolve(QLibrary& library, const char* name, Function& function)
{
    function = reinterpret_cast<Function>(library.resolve(name));
    return function != nullptr;
}

} // namespace

EngineClient& EngineClient::instance()
{
    // Never destroyed: the engine may call until the process is gone.
    static auto* const client = new EngineClient;
    return *client;
}

bool EngineClient::load(const QString& modulePath)
{
    QLibrary library(modulePath);
    const bool complete =
        resolve(library, "Vantor_InitEnv", initEnv) && resolve(library, "Vantor_SetConfig", setConfig) &&
        resolve(library, "Vantor_SetDownloadList", setDownloadList) && resolve(library, "Vantor_Release", release) &&
        resolve(library, "Vantor_Cancel", cancel) && resolve(library, "Vantor_RemoveCallback", removeCallback) &&
        resolve(library, "Vantor_StartChunkTask", startChunkTask) &&
        resolve(library, "Vantor_CancelChunkTask", cancelChunkTask) &&
        resolve(library, "Vantor_SetEngineStateCallback", setEngineStateCallback) &&
        resolve(library, "Vantor_SetSingleTaskCallback", setSingleTaskCallback) &&
        resolve(library, "Vantor_SetGroupTaskCallback", setGroupTaskCallback) &&
        resolve(library, "Vantor_SetLogHandler", setLogHandler) &&
        resolve(library, "Vantor_SetChunkTaskCallback", setChunkTaskCallback);
    m_error = library.errorString();
    return complete;
}

void EngineClient::install()
{
    setEngineStateCallback(onState);
    setSingleTaskCallback(onSingleTask);
    setGroupTaskCallback(onGroupTask);
    setChunkTaskCallback(onChunkTask);
}

void EngineClient::clear()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_events.clear();
    m_hook = nullptr;
    m_clock.start();
}

void EngineClient::setHook(std::function<void(const Event&)> hook)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_hook = std::move(hook);
}

QVector<EngineClient::Event> EngineClient::events() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return QVector<Event>(m_events.cbegin(), m_events.cend());
}

QVector<EngineClient::Event> EngineClient::events(Event::Kind kind, const QString& guid) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    QVector<Event> matching;
    std::copy_if(m_events.cbegin(), m_events.cend(), std::back_inserter(matching),
                 [&](const Event& event) { return event.kind == kind && event.guid == guid; });
    return matching;
}

QStringList EngineClient::groupStatuses(const QString& guid) const
{
    QStringList statuses;
    const QVector<Event> callbacks = events(Event::Kind::Group, guid);
    for (const Event& event : callbacks) {
        const QString status = statusOf(event.data);
        if (statuses.isEmpty() || statuses.constLast() != status) {
            statuses.append(status);
        }
    }
    return statuses;
}

QVector<QJsonObject> EngineClient::fileTexts(const QString& guid, const QString& url) const
{
    QVector<QJsonObject> texts;
    const QVector<Event> callbacks = events(Event::Kind::Single, guid);
    for (const Event& event : callbacks) {
        if (event.data.value(QStringLiteral("url")).toString() == url) {
            texts.append(event.data);
        }
    }
    return texts;
}

QStringList EngineClient::fileStatuses(const QString& guid, const QString& url) const
{
    QStringList statuses;
    const QVector<QJsonObject> texts = fileTexts(guid, url);
    for (const QJsonObject& text : texts) {
        statuses.append(statusOf(text));
    }
    return statuses;
}

QJsonObject EngineClient::lastGroup(const QString& guid) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto last = std::find_if(m_events.crbegin(), m_events.crend(), [&guid](const Event& event) {
        return event.kind == Event::Kind::Group && event.guid == guid;
    });
    return last == m_events.crend() ? QJsonObject() : last->data;
}

QJsonObject EngineClient::lastItem(const QString& guid, const QString& url) const
{
    const QJsonArray items = lastGroup(guid).value(QStringLiteral("download_items")).toArray();
    for (const QJsonValue& item : items) {
        if (item[QStringLiteral("url")].toString() == url) {
            return item.toObject();
        }
    }
    return {};
}

QString EngineClient::endStatus(const QString& guid) const
{
    const QString status = statusOf(lastGroup(guid));
    const QStringList ends{QStringLiteral("Success"), QStringLiteral("Failed"), QStringLiteral("Cancelled"),
                           QStringLiteral("Duplicated")};
    return ends.contains(status) ? status : QString();
}

QString EngineClient::submit(const QJsonArray& items, const QString& rootPath)
{
    const QJsonObject list{{QStringLiteral("root_path"), rootPath},
                           {QStringLiteral("download_items"), items},
                           {QStringLiteral("business_tag"), QString()}};
    return submitText(QJsonDocument(list).toJson(QJsonDocument::Compact));
}

QString EngineClient::submitText(const QByteArray& text)
{
    return QString::fromUtf8(setDownloadList(text.constData(), ""));
}

void EngineClient::record(Event event)
{
    std::function<void(const Event&)> hook;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        event.atMs = m_clock.elapsed();
        m_events.push_back(event);
        hook = m_hook;
    }
    if (hook) {
        hook(event);
    }
}

void EngineClient::onState(const char* data)
{
    Event event;
    event.kind = Event::Kind::State;
    event.data = parsed(data);
    instance().record(event);
}

void EngineClient::onSingleTask(const char* groupGuid, const char* taskGuid, const char* data)
{
    Event event;
    event.kind = Event::Kind::Single;
    event.guid = QString::fromUtf8(groupGuid);
    event.taskGuid = QString::fromUtf8(taskGuid);
    event.data = parsed(data);
    instance().record(event);
}

void EngineClient::onGroupTask(const char* guid, const char* data)
{
    Event event;
    event.kind = Event::Kind::Group;
    event.guid = QString::fromUtf8(guid);
    event.data = parsed(data);
    instance().record(event);
}

void EngineClient::onChunkTask(const char* guid, const char* data)
{
    Event event;
    event.kind = Event::Kind::Chunk;
    event.guid = QString::fromUtf8(guid);
    event.data = parsed(data);
    instance().record(event);
}

void EngineClient::onLog(int severity, const char*, int, int messageStart, const char* message)
{
    Event event;
    event.kind = Event::Kind::Log;
    event.severity = severity;
    event.message = QString::fromUtf8(message + messageStart);
    instance().record(event);
}

// SPDX-License-Identifier: MIT
#pragma once

#include "VantorApi.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <QVector>

#include <functional>
#include <mutex>
#include <vector>

/// The engine module, loaded at run time, with its thirteen functions and a record of all its callbacks.
/// One per process, because the callbacks have no context argument. The record may be read from any thread.
class EngineClient
{
public:
    struct Event
    {
        enum class Kind { State, Single, Group, Chunk, Log };
        Kind kind = Kind::State;
        QString guid;     ///< of the group or chunk task
        QString taskGuid; ///< of the file
        QJsonObject data; ///< the text, parsed
        qint64 atMs = 0;  ///< since clear()
        int severity = 0; ///< log lines only
        QString message;  ///< log lines only
    };

    static EngineClient& instance();

    /// \return false, with errorString(), when the module or one of its functions cannot be found.
    bool load(const QString& modulePath);
    QString errorString() const { return m_error; }

    /// Installs the four callbacks that are recorded.
    void install();
    /// Forgets the record and the hook.
    void clear();

    QVector<Event> events() const;
    /// The events of one group, of one kind, in order.
    QVector<Event> events(Event::Kind kind, const QString& guid) const;
    /// Called on the engine's thread for each event after it was recorded; empty for none.
    void setHook(std::function<void(const Event&)> hook);

    /// Statuses of the group callbacks, repetitions left out.
    QStringList groupStatuses(const QString& guid) const;
    /// Statuses of one file's callbacks.
    QStringList fileStatuses(const QString& guid, const QString& url) const;
    /// The single-task callbacks of one file.
    QVector<QJsonObject> fileTexts(const QString& guid, const QString& url) const;
    /// The last group callback; empty when there was none.
    QJsonObject lastGroup(const QString& guid) const;
    /// The file object of the last group callback.
    QJsonObject lastItem(const QString& guid, const QString& url) const;
    /// "Success", "Failed", "Cancelled" or "Duplicated"; empty while the group runs.
    QString endStatus(const QString& guid) const;

    /// Submits a list and returns the guid.
    QString submit(const QJsonArray& items, const QString& rootPath = {});
    QString submitText(const QByteArray& text);

    decltype(&Vantor_InitEnv) initEnv = nullptr;
    decltype(&Vantor_SetConfig) setConfig = nullptr;
    decltype(&Vantor_SetDownloadList) setDownloadList = nullptr;
    decltype(&Vantor_Release) release = nullptr;
    decltype(&Vantor_Cancel) cancel = nullptr;
    decltype(&Vantor_RemoveCallback) removeCallback = nullptr;
    decltype(&Vantor_StartChunkTask) startChunkTask = nullptr;
    decltype(&Vantor_CancelChunkTask) cancelChunkTask = nullptr;
    decltype(&Vantor_SetEngineStateCallback) setEngineStateCallback = nullptr;
    decltype(&Vantor_SetSingleTaskCallback) setSingleTaskCallback = nullptr;
    decltype(&Vantor_SetGroupTaskCallback) setGroupTaskCallback = nullptr;
    decltype(&Vantor_SetLogHandler) setLogHandler = nullptr;
    decltype(&Vantor_SetChunkTaskCallback) setChunkTaskCallback = nullptr;

    static void onLog(int severity, const char* file, int line, int messageStart, const char* message);

private:
    EngineClient() = default;

    static void onState(const char* data);
    static void onSingleTask(const char* groupGuid, const char* taskGuid, const char* data);
    static void onGroupTask(const char* guid, const char* data);
    static void onChunkTask(const char* guid, const char* data);
    void record(Event event);

    QString m_error;
    mutable std::mutex m_mutex;
    std::vector<Event> m_events; ///< not shared with the copies handed out
    std::function<void(const Event&)> m_hook;
    QElapsedTimer m_clock;
};

// SPDX-License-Identifier: MIT
#include "VantorApi.h"

#include "Engine.h"

#include <QByteArray>

using VantorEngine::Engine;

namespace {

QByteArray copied(const char* text)
{
    return {text}; // null gives an empty array
}

} // namespace

void Vantor_InitEnv(const char* path, const char* config, int logLevel, int logDst)
{
    Engine::instance().initEnv(copied(path), copied(config), logLevel, logDst);
}

void Vantor_SetConfig(const char* config)
{
    Engine::instance().setConfig(copied(config));
}

const char* Vantor_SetDownloadList(const char* downloadList, const char* extra)
{
    Q_UNUSED(extra)
    return Engine::instance().setDownloadList(copied(downloadList));
}

void Vantor_Release(const char* groupGuid)
{
    Engine::instance().release(copied(groupGuid));
}

void Vantor_Cancel(const char* groupGuid)
{
    Engine::instance().cancel(copied(groupGuid));
}

void Vantor_RemoveCallback(void)
{
    Engine::instance().callbacks().removeAll();
}

const char* Vantor_StartChunkTask(const char* request, const char* extra)
{
    Q_UNUSED(extra)
    return Engine::instance().startChunkTask(copied(request));
}

void Vantor_CancelChunkTask(const char* guid)
{
    Engine::instance().cancelChunkTask(copied(guid));
}

void Vantor_SetEngineStateCallback(VantorStateCallback callback)
{
    Engine::instance().setStateCallback(callback);
}

void Vantor_SetSingleTaskCallback(VantorSingleTaskCallback callback)
{
    Engine::instance().callbacks().setSingleTask(callback);
}

void Vantor_SetGroupTaskCallback(VantorGuidCallback callback)
{
    Engine::instance().callbacks().setGroupTask(callback);
}

void Vantor_SetLogHandler(VantorLogHandler handler)
{
    Engine::instance().callbacks().setLogHandler(handler);
}

void Vantor_SetChunkTaskCallback(VantorGuidCallback callback)
{
    Engine::instance().callbacks().setChunkTask(callback);
}

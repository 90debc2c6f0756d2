// SPDX-License-Identifier: MIT
// An engine of thirteen empty functions and no run-time library of its own, so that it can be unloaded and its
// references counted.
#if defined(_WIN32)
#define ENGINE_EXPORT extern "C" __declspec(dllexport)
#else
#define ENGINE_EXPORT extern "C" __attribute__((visibility("default")))
#endif

ENGINE_EXPORT void Vantor_InitEnv(const char* /*path*/, const char* /*config*/, int /*logLevel*/, int /*logDst*/)
{
}

ENGINE_EXPORT void Vantor_SetConfig(const char* /*config*/)
{
}

ENGINE_EXPORT const char* Vantor_SetDownloadList(const char* /*downloadList*/, const char* /*extra*/)
{
    return "";
}

ENGINE_EXPORT void Vantor_Release(const char* /*text*/)
{
}

ENGINE_EXPORT void Vantor_Cancel(const char* /*groupGuid*/)
{
}

ENGINE_EXPORT void Vantor_RemoveCallback()
{
}

ENGINE_EXPORT const char* Vantor_StartChunkTask(const char* /*request*/, const char* /*extra*/)
{
    return "";
}

ENGINE_EXPORT void Vantor_CancelChunkTask(const char* /*guid*/)
{
}

ENGINE_EXPORT void Vantor_SetEngineStateCallback(void (* /*callback*/)(const char*))
{
}

ENGINE_EXPORT void Vantor_SetSingleTaskCallback(void (* /*callback*/)(const char*, const char*, const char*))
{
}

ENGINE_EXPORT void Vantor_SetGroupTaskCallback(void (* /*callback*/)(const char*, const char*))
{
}

ENGINE_EXPORT void Vantor_SetLogHandler(void (* /*handler*/)(int, const char*, int, int, const char*))
{
}

ENGINE_EXPORT void Vantor_SetChunkTaskCallback(void (* /*callback*/)(const char*, const char*))
{
}

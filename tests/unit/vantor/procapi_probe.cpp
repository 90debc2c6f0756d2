// SPDX-License-Identifier: MIT
// A module without a run-time library of its own, so that it can be unloaded and its references counted.
#if defined(_WIN32)
#define PROBE_EXPORT extern "C" __declspec(dllexport)
#else
#define PROBE_EXPORT extern "C" __attribute__((visibility("default")))
#endif

PROBE_EXPORT int ProcApiProbe_Add(int a, int b)
{
    return a + b;
}

PROBE_EXPORT const char* ProcApiProbe_Text()
{
    return "text";
}

// SPDX-License-Identifier: MIT
// A process for tests to find and to kill.
//
//   process_child PID
//
// Waits until the process PID, its parent, has ended. With PROCESS_CHILD_RECORD in the environment it writes its own
// command line to that file instead, in UTF-16, and ends with the code 77: so it can stand in for another program.

#include <windows.h>

#include <cstdlib>

namespace {

constexpr DWORD kPathCharacters = 1024;
constexpr int kRecorded = 77;
constexpr int kNotRecorded = 78;

int record(const wchar_t* path)
{
    const HANDLE file = CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return kNotRecorded;
    const wchar_t* const line = GetCommandLineW();
    const DWORD bytes = static_cast<DWORD>(lstrlenW(line)) * static_cast<DWORD>(sizeof(wchar_t));
    DWORD written = 0;
    WriteFile(file, line, bytes, &written, nullptr);
    CloseHandle(file);
    return written == bytes ? kRecorded : kNotRecorded;
}

} // namespace

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR commandLine, int)
{
    wchar_t path[kPathCharacters] = {};
    const DWORD length = GetEnvironmentVariableW(L"PROCESS_CHILD_RECORD", path, kPathCharacters);
    if (length > 0 && length < kPathCharacters)
        return record(path);
    const HANDLE parent = OpenProcess(SYNCHRONIZE, FALSE, static_cast<DWORD>(std::atoi(commandLine)));
    if (!parent)
        return 1;
    WaitForSingleObject(parent, INFINITE);
    return 0;
}

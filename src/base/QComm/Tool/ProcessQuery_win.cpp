// SPDX-License-Identifier: MIT
#include "Tool/ProcessQuery_win.h"

#include <algorithm>
#include <array>
#include <cwchar>
#include <functional>
#include <string>
#include <vector>

namespace {

using ProcessQuery::Api;

// Longer paths are cut, as launchers expect.
constexpr DWORD kPathCharacters = 260;
constexpr DWORD kLongestPath = 32768;

class Snapshot
{
public:
    explicit Snapshot(const Api& api) : m_api(api), m_handle(api.createSnapshot(TH32CS_SNAPPROCESS, 0)) {}
    ~Snapshot()
    {
        if (m_handle != INVALID_HANDLE_VALUE)
            m_api.closeHandle(m_handle);
    }
    Snapshot(const Snapshot&) = delete;
    Snapshot& operator=(const Snapshot&) = delete;

    bool first(PROCESSENTRY32W* entry) const
    {
        return m_handle != INVALID_HANDLE_VALUE && m_api.firstProcess(m_handle, entry);
    }
    bool next(PROCESSENTRY32W* entry) const { return m_api.nextProcess(m_handle, entry); }

private:
    const Api& m_api;
    const HANDLE m_handle;
};

/// \brief Calls `visit` with the id of each process of this name, until it returns false.
/// \return false when the processes could not be listed
bool forEachNamed(const QString& exeName, const Api& api, const std::function<bool(int)>& visit)
{
    if (exeName.isEmpty())
        return false;
    const Snapshot snapshot(api);
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof(entry);
    if (!snapshot.first(&entry))
        return false;
    const std::wstring name = exeName.toStdWString();
    do {
        if (_wcsicmp(entry.szExeFile, name.c_str()) == 0 && !visit(static_cast<int>(entry.th32ProcessID)))
            break;
    } while (snapshot.next(&entry));
    return true;
}

using Path = std::array<wchar_t, kPathCharacters>;

// For systems that give a module's name only to those who may also read the memory of the process.
void readImageName(HANDLE process, Path* path, const Api& api)
{
    std::vector<wchar_t> whole(kLongestPath);
    DWORD length = kLongestPath;
    if (api.imageName(process, 0, whole.data(), &length))
        std::copy_n(whole.data(), std::min(length, kPathCharacters), path->data());
}

} // namespace

int ProcessQuery::Count(const QString& exeName, const Api& api)
{
    int count = 0;
    const bool listed = forEachNamed(exeName, api, [&count](int) {
        ++count;
        return true;
    });
    return listed ? count : -1;
}

ProcessOperator::ProcessStatus ProcessQuery::Status(const QString& exeName, const Api& api)
{
    bool found = false;
    const bool listed = forEachNamed(exeName, api, [&found](int) {
        found = true;
        return false;
    });
    if (!listed)
        return ProcessOperator::StatusError;
    return found ? ProcessOperator::Running : ProcessOperator::NotRunning;
}

QList<int> ProcessQuery::Ids(const QString& exeName, const Api& api)
{
    QList<int> ids;
    forEachNamed(exeName, api, [&ids](int id) {
        ids.append(id);
        return true;
    });
    return ids;
}

QString ProcessQuery::PathOf(int pid, const Api& api)
{
    const HANDLE process = api.openProcess(PROCESS_QUERY_INFORMATION, FALSE, static_cast<DWORD>(pid));
    if (!process)
        return QString();
    Path path{};
    if (api.moduleFileName(process, nullptr, path.data(), kPathCharacters) == 0)
        readImageName(process, &path, api);
    api.closeHandle(process);
    // A path that was cut is not always terminated.
    const auto end = std::find(path.cbegin(), path.cend(), L'\0');
    return QString::fromWCharArray(path.data(), static_cast<int>(end - path.cbegin()));
}

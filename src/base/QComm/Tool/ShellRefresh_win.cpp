// SPDX-License-Identifier: MIT
#include "Tool/ShellRefresh_win.h"

namespace {

// Read by other windows after the call has returned, so it has to stay.
const wchar_t* const kWhatChanged = L"Environment";

void refreshFolder(int folder, const ShellRefresh::Api& api)
{
    LPITEMIDLIST items = nullptr;
    if (FAILED(api.getFolderLocation(nullptr, folder, nullptr, 0, &items)))
        return;
    api.changeNotify(SHCNE_UPDATEDIR, SHCNF_IDLIST, items, nullptr);
    api.taskMemFree(items);
}

} // namespace

void ShellRefresh::Run(const Api& api)
{
    refreshFolder(CSIDL_STARTMENU, api);
    refreshFolder(CSIDL_COMMON_STARTMENU, api);
    api.changeNotify(SHCNE_ASSOCCHANGED, SHCNF_IDLIST, nullptr, nullptr);
    // Posted on purpose: a sent message would wait for every window on the desktop.
    api.postMessage(HWND_BROADCAST, WM_SETTINGCHANGE, 0, reinterpret_cast<LPARAM>(kWhatChanged));
}

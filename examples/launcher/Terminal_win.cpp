// SPDX-License-Identifier: MIT
#include "Terminal.h"

#include <windows.h>

namespace {

constexpr int kUsualColumns = 80;

HANDLE handleOf(Terminal::Stream stream)
{
    return GetStdHandle(stream == Terminal::Stream::Output ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

bool isConsole(HANDLE handle)
{
    DWORD mode = 0;
    return GetConsoleMode(handle, &mode) != 0;
}

// Files and pipes take any number of bytes at a time, but not necessarily all of them at once.
void writeBytes(HANDLE handle, const QByteArray& bytes)
{
    int done = 0;
    while (done < bytes.size()) {
        DWORD written = 0;
        if (!WriteFile(handle, bytes.constData() + done, static_cast<DWORD>(bytes.size() - done), &written, nullptr) ||
            written == 0)
            return;
        done += static_cast<int>(written);
    }
}

} // namespace

void Terminal::useUtf8()
{
    // File names are UTF-16 here, consoles are written to in UTF-16, and everything else in UTF-8.
}

bool Terminal::isTerminal(Stream stream)
{
    return isConsole(handleOf(stream));
}

int Terminal::columns()
{
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (!GetConsoleScreenBufferInfo(handleOf(Stream::Output), &info))
        return kUsualColumns;
    const int width = info.srWindow.Right - info.srWindow.Left + 1;
    return width > 0 ? width : kUsualColumns;
}

void Terminal::write(Stream stream, const QString& text)
{
    const HANDLE handle = handleOf(stream);
    if (!isConsole(handle)) {
        writeBytes(handle, text.toUtf8());
        return;
    }
    DWORD written = 0;
    WriteConsoleW(handle, text.utf16(), static_cast<DWORD>(text.size()), &written, nullptr);
}

// SPDX-License-Identifier: MIT
#include "Terminal.h"

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr int kUsualColumns = 80;

FILE* fileOf(Terminal::Stream stream)
{
    return stream == Terminal::Stream::Output ? stdout : stderr;
}

} // namespace

void Terminal::useUtf8()
{
    // Without a language setting, as in a bare container, Qt would turn every character of a file name that is
    // not ASCII into a question mark.
    if (std::setlocale(LC_ALL, "") && std::strcmp(nl_langinfo(CODESET), "ANSI_X3.4-1968") != 0)
        return;
    setenv("LC_ALL", "C.UTF-8", 1);
}

bool Terminal::isTerminal(Stream stream)
{
    return isatty(fileno(fileOf(stream))) == 1;
}

int Terminal::columns()
{
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0)
        return kUsualColumns;
    return size.ws_col;
}

void Terminal::write(Stream stream, const QString& text)
{
    FILE* file = fileOf(stream);
    const QByteArray bytes = text.toLocal8Bit();
    std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), file);
    std::fflush(file);
}

// SPDX-License-Identifier: MIT
// Plays the part of the 7-Zip program, as a script tells it. The environment names two files:
//
//   FAKE_7Z_REPORT   written first, UTF-8: this program's path, its process id, then the arguments, one a line
//   FAKE_7Z_SCRIPT   one command a line:
//     out HEX        bytes to standard output, in one write
//     err HEX        bytes to standard error, in one write
//     mark FILE      makes a file, to tell how far the script is
//     wait FILE      goes on when that file is there
//     drain          reads standard input to its end
//     exit CODE      ends; 0 at the end of the script
//     crash          ends as a program does that the system takes down

#include <QCoreApplication>
#include <QFile>
#include <QTextStream>
#include <QThread>

#include <cstdio>
#include <cstdlib>

#ifdef Q_OS_WIN
#include <windows.h>

#include <fcntl.h>
#include <io.h>
#endif

namespace {

constexpr unsigned long kPollMs = 2;

void useBinaryStreams()
{
#ifdef Q_OS_WIN
    _setmode(_fileno(stdout), _O_BINARY);
    _setmode(_fileno(stderr), _O_BINARY);
#endif
}

[[noreturn]] void crash()
{
#ifdef Q_OS_WIN
    constexpr UINT kAccessViolation = 0xC0000005U;
    TerminateProcess(GetCurrentProcess(), kAccessViolation);
#endif
    std::abort();
}

void writeReport(const QString& path)
{
    // Renamed at the end: whoever sees it, sees all of it.
    QFile file(path + QStringLiteral(".new"));
    if (!file.open(QIODevice::WriteOnly))
        return;
    const QStringList lines =
        QStringList{QCoreApplication::applicationFilePath(), QString::number(QCoreApplication::applicationPid())} +
        QCoreApplication::arguments().mid(1);
    file.write(lines.join(QLatin1Char('\n')).toUtf8());
    file.close();
    QFile::remove(path);
    file.rename(path);
}

void write(std::FILE* stream, const QByteArray& bytes)
{
    std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), stream);
    std::fflush(stream);
}

void drain()
{
    while (std::fgetc(stdin) != EOF) {
    }
}

int play(const QString& command, const QString& argument)
{
    constexpr int kGoOn = -1;
    if (command == QLatin1String("exit"))
        return argument.toInt();
    if (command == QLatin1String("crash"))
        crash();
    if (command == QLatin1String("out")) {
        write(stdout, QByteArray::fromHex(argument.toLatin1()));
    } else if (command == QLatin1String("err")) {
        write(stderr, QByteArray::fromHex(argument.toLatin1()));
    } else if (command == QLatin1String("drain")) {
        drain();
    } else if (command == QLatin1String("mark")) {
        QFile(argument).open(QIODevice::WriteOnly);
    } else if (command == QLatin1String("wait")) {
        while (!QFile::exists(argument))
            QThread::msleep(kPollMs);
    }
    return kGoOn;
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    useBinaryStreams();
    writeReport(qEnvironmentVariable("FAKE_7Z_REPORT"));
    QFile script(qEnvironmentVariable("FAKE_7Z_SCRIPT"));
    if (!script.open(QIODevice::ReadOnly))
        return 99;
    const QStringList lines = QString::fromUtf8(script.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    for (const QString& line : lines) {
        const int code = play(line.section(QLatin1Char(' '), 0, 0), line.section(QLatin1Char(' '), 1));
        if (code >= 0)
            return code;
    }
    return 0;
}

// SPDX-License-Identifier: MIT
#include "Interrupt.h"

#include <QSocketNotifier>

#include <atomic>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <unistd.h>

namespace {

// A signal handler may do next to nothing, so it writes a byte into a pipe that the event loop reads.
int readEnd = -1;
std::atomic<int> writeEnd{-1};
static_assert(std::atomic<int>::is_always_lock_free, "used in a signal handler");

void onSignal(int /*number*/)
{
    const int savedErrno = errno;
    const char byte = 1;
    // A full pipe already says that somebody wants to stop.
    [[maybe_unused]] const ssize_t ignored = ::write(writeEnd.load(), &byte, 1);
    errno = savedErrno;
}

void handle(int number, void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(number, &action, nullptr);
}

bool openPipe()
{
    int ends[2];
    if (::pipe(ends) != 0)
        return false;
    for (const int end : ends) {
        fcntl(end, F_SETFD, FD_CLOEXEC);
        fcntl(end, F_SETFL, O_NONBLOCK);
    }
    readEnd = ends[0];
    writeEnd = ends[1];
    return true;
}

} // namespace

Interrupt::Interrupt(QObject* parent) : QObject(parent)
{
    if (!openPipe())
        return;
    auto* notifier = new QSocketNotifier(readEnd, QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &Interrupt::onWake);
    handle(SIGINT, onSignal);
    handle(SIGTERM, onSignal);
}

Interrupt::~Interrupt()
{
    if (readEnd == -1)
        return;
    handle(SIGINT, SIG_DFL);
    handle(SIGTERM, SIG_DFL);
    ::close(writeEnd.exchange(-1));
    ::close(readEnd);
    readEnd = -1;
}

void Interrupt::onWake()
{
    char byte = 0;
    while (::read(readEnd, &byte, 1) == 1)
        Q_EMIT requested();
}

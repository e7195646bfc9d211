// SPDX-License-Identifier: BSD-2-Clause
#include "video/interrupt.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <string.h>
#include <unistd.h>

#include <atomic>

namespace {

std::atomic<bool> gInterrupted{false};
std::atomic<int> gSignal{0};
std::atomic<const char *> gText{nullptr};
int gPipe[2] = {-1, -1};

void Wake() {
    gInterrupted = true;
    // Stays in the pipe: whoever polls later is woken too.
    if (gPipe[1] >= 0 && write(gPipe[1], "", 1) < 0) return;
}

void OnSignal(int number) {
    int before = errno;
    // Not by SA_RESETHAND, which would leave the other of the two signals caught.
    signal(SIGINT, SIG_DFL);
    signal(SIGTERM, SIG_DFL);
    gSignal = number;
    Wake();
    const char *text = gText;
    if (text && write(STDERR_FILENO, text, strlen(text)) < 0) errno = before;
    errno = before;
}

} // namespace

void CatchInterrupts() {
    if (pipe2(gPipe, O_CLOEXEC | O_NONBLOCK) != 0) gPipe[0] = gPipe[1] = -1;
    struct sigaction action = {};
    action.sa_handler = OnSignal;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

void SayOnSignal(const char *text) { gText = text; }

void Interrupt() { Wake(); }

bool Interrupted() { return gInterrupted; }

int InterruptSignal() { return gSignal; }

int InterruptFile() { return gPipe[0]; }

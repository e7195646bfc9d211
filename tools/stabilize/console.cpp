// SPDX-License-Identifier: BSD-2-Clause
#include "stabilize/console.h"

#include <math.h>
#include <stdio.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>

#include "video/interrupt.h"
#include "video/picture.h"

namespace {

const double kBarSeconds = 0.1;
const double kLineSeconds = 5;

std::string TimeText(double seconds) {
    int whole = (int)std::min(ceil(seconds), 360000.0);
    char text[32];
    if (whole >= 3600)
        snprintf(text, sizeof(text), "%d:%02d:%02d", whole / 3600, whole / 60 % 60, whole % 60);
    else
        snprintf(text, sizeof(text), "%d:%02d", whole / 60, whole % 60);
    return text;
}

// Columns of the terminal, less one: a full line would wrap. A large number when it is unknown.
size_t LineColumns() {
    winsize size = {};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col < 2) return 1000;
    return size.ws_col - 1u;
}

// A bar as wide as there is room, for `share` of the whole.
std::string BarText(double share, size_t room) {
    const size_t least = 8;
    const size_t most = 30;
    const size_t frame = strlen("[] ");
    if (room < least + frame) return "";
    size_t width = std::min(most, room - frame);
    auto filled = (size_t)(share * (double)width);
    return "[" + std::string(filled, '#') + std::string(width - filled, '-') + "] ";
}

} // namespace

Console::Console(bool quiet) : mQuiet(quiet), mTerminal(isatty(STDERR_FILENO) == 1) {
    if (quiet) return;
    SayOnSignal(mTerminal
                    ? "\r\033[Kquorvel-stabilize: finishing the output, another Ctrl-C ends at once\n"
                    : "quorvel-stabilize: finishing the output, another signal ends at once\n");
}

double Console::Seconds() const { return std::chrono::duration<double>(Clock::now() - mBegin).count(); }

void Console::Note(const std::string &text) {
    std::lock_guard<std::mutex> lock(mMutex);
    mNotes.push_back(text);
    if (mQuiet) return;
    ClearBar();
    fprintf(stderr, "quorvel-stabilize: note: %s\n", text.c_str());
}

void Console::ClearBar() {
    if (mBarShown) fputs("\r\033[K", stderr);
    mBarShown = false;
}

std::string Console::ProgressText(int64_t frames, int64_t total) const {
    double rate = (double)frames / std::max(Seconds(), 1e-3);
    char text[160];
    if (total <= 0 || frames > total) { // estimates may be short
        snprintf(text, sizeof(text), "%s, %.1f fps", CountText(frames, "frame").c_str(), rate);
        return text;
    }
    std::string left = rate > 0 ? TimeText((double)(total - frames) / rate) : "?";
    snprintf(text, sizeof(text), "%lld of %s, %.1f fps, ETA %s", (long long)frames,
             CountText(total, "frame").c_str(), rate, left.c_str());
    return text;
}

std::string Console::BarLine(int64_t frames, int64_t total) const {
    std::string text = ProgressText(frames, total);
    size_t columns = LineColumns();
    if (text.size() >= columns) return text.substr(0, columns);
    if (total <= 0 || frames > total) return text;
    return BarText((double)frames / (double)total, columns - text.size()) + text;
}

void Console::Progress(int64_t frames, int64_t total) {
    if (mQuiet) return;
    Clock::time_point now = Clock::now();
    double since = std::chrono::duration<double>(now - mShown).count();
    if (since < (mTerminal ? kBarSeconds : kLineSeconds)) return;
    std::lock_guard<std::mutex> lock(mMutex);
    mShown = now;
    if (mTerminal)
        fprintf(stderr, "\r\033[K%s", BarLine(frames, total).c_str());
    else
        fprintf(stderr, "quorvel-stabilize: %s\n", ProgressText(frames, total).c_str());
    fflush(stderr);
    mBarShown = mTerminal;
}

void Console::Done(const std::string &text) {
    std::lock_guard<std::mutex> lock(mMutex);
    ClearBar();
    if (mTerminal && !mQuiet) fprintf(stderr, "%s\n", text.c_str());
}

// SPDX-License-Identifier: BSD-2-Clause
#include "stabilize/console.h"

#include <math.h>
#include <stdio.h>
#include <unistd.h>

#include <algorithm>

namespace {

const int kBarWidth = 30;
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

} // namespace

Console::Console(bool quiet) : mQuiet(quiet), mTerminal(isatty(STDERR_FILENO) == 1) {}

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

std::string Console::ProgressText(int64_t frames, int64_t total, bool bar) const {
    double rate = (double)frames / std::max(Seconds(), 1e-3);
    char text[160];
    if (total <= 0 || frames > total) { // estimates may be short
        snprintf(text, sizeof(text), "%lld frames, %.1f fps", (long long)frames, rate);
        return text;
    }
    std::string left = rate > 0 ? TimeText((double)(total - frames) / rate) : "?";
    std::string drawn;
    if (bar) {
        auto filled = (size_t)(frames * kBarWidth / total);
        drawn = "[" + std::string(filled, '#') + std::string(kBarWidth - filled, '-') + "] ";
    }
    snprintf(text, sizeof(text), "%s%lld of %lld frames, %.1f fps, ETA %s", drawn.c_str(),
             (long long)frames, (long long)total, rate, left.c_str());
    return text;
}

void Console::Progress(int64_t frames, int64_t total) {
    if (mQuiet) return;
    Clock::time_point now = Clock::now();
    double since = std::chrono::duration<double>(now - mShown).count();
    if (since < (mTerminal ? kBarSeconds : kLineSeconds)) return;
    std::lock_guard<std::mutex> lock(mMutex);
    mShown = now;
    std::string text = ProgressText(frames, total, mTerminal);
    if (mTerminal)
        fprintf(stderr, "\r\033[K%s", text.c_str());
    else
        fprintf(stderr, "quorvel-stabilize: %s\n", text.c_str());
    fflush(stderr);
    mBarShown = mTerminal;
}

void Console::Done(const std::string &text) {
    std::lock_guard<std::mutex> lock(mMutex);
    ClearBar();
    if (mTerminal && !mQuiet) fprintf(stderr, "%s\n", text.c_str());
}

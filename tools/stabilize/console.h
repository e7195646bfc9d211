// SPDX-License-Identifier: BSD-2-Clause
// What the user sees on standard error while a video is worked on: notes, and how far it is.
#pragma once

#include <stdint.h>

#include <chrono>
#include <mutex>
#include <string>
#include <vector>

class Console {
  public:
    // On a terminal progress is a bar that is redrawn, elsewhere a line every few seconds.
    explicit Console(bool quiet);
    ~Console() { ClearBar(); }
    Console(const Console &) = delete;
    Console &operator=(const Console &) = delete;

    // Prints a line, from any thread.
    void Note(const std::string &text);
    // All of them, for the summary.
    std::vector<std::string> Notes() const { return mNotes; }

    // `total` is 0 when it is unknown.
    void Progress(int64_t frames, int64_t total);

    // The last line, on a terminal only.
    void Done(const std::string &text);

    double Seconds() const;

  private:
    using Clock = std::chrono::steady_clock;

    void ClearBar();
    std::string ProgressText(int64_t frames, int64_t total) const;
    std::string BarLine(int64_t frames, int64_t total) const;

    mutable std::mutex mMutex;
    std::vector<std::string> mNotes;
    bool mQuiet;
    bool mTerminal;
    bool mBarShown = false;
    Clock::time_point mBegin = Clock::now();
    Clock::time_point mShown = mBegin;
};

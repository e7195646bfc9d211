// SPDX-License-Identifier: BSD-2-Clause
// Long runs must not leak memory, threads or files. QUORVEL_SOAK=full (tests/soak.sh) runs 100,000
// small frames, 5,000 large ones and 10,000 handles; otherwise a fiftieth of that.
#include <gtest/gtest.h>
#include <dirent.h>
#include <malloc.h>
#include <stdlib.h>
#include <unistd.h>

#include <fstream>

#include "support/faults.h"
#include "support/run.h"

namespace {

int Count(const char *folder) {
    int count = 0;
    DIR *dir = opendir(folder);
    while (dir && readdir(dir)) count++;
    if (dir) closedir(dir);
    return count;
}

struct Footprint {
    long rss; // bytes
    int threads, files, live;
};

// A joined thread stays listed until the kernel has reaped it.
int CountThreads() {
    const int kOneThread = 3; // with . and ..
    int count = Count("/proc/self/task");
    for (int i = 0; i < 200 && count > kOneThread; i++) {
        usleep(1000);
        count = Count("/proc/self/task");
    }
    return count;
}

Footprint Measure() {
    long pages = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    return {resident * sysconf(_SC_PAGESIZE), CountThreads(), Count("/proc/self/fd"), Faults::Live()};
}

bool Full() {
    const char *soak = getenv("QUORVEL_SOAK");
    return soak && !strcmp(soak, "full");
}

void ExpectUnchanged(const Footprint &before, const char *what) {
    const Footprint after = Measure();
    printf("%s: RSS %+ld bytes, threads %+d, files %+d, allocations %+d\n", what,
           after.rss - before.rss, after.threads - before.threads, after.files - before.files,
           after.live - before.live);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    EXPECT_LT(after.rss - before.rss, 1 << 20);
    EXPECT_EQ(after.threads, before.threads);
#endif
    EXPECT_EQ(after.files, before.files);
    EXPECT_EQ(after.live, before.live);
}

// Plays the clip back and forth and returns the hash of the last frame. The first frames may allocate.
uint64_t LastFrame(const Case &c, const std::vector<Bytes> &clip, int frames, bool watch) {
    const Handle handle = MakeHandle(c.in, c.format);
    Bytes out((size_t)c.out.Frame());
    Footprint before = {};
    for (int i = 0; i < frames; i++) {
        const size_t n = clip.size(), k = (size_t)i % (2 * n - 2);
        if (i == std::min(100, frames / 2)) before = Measure();
        QEL_MVS_StabilizeFrame(handle.get(), clip[k < n ? k : 2 * n - 2 - k].data(), out.data());
    }
    if (watch) ExpectUnchanged(before, (c.Name() + " x " + std::to_string(frames)).c_str());
    return Hash(out);
}

TEST(Soak, FramesLeaveNothingBehind) {
    const struct {
        Size size;
        int frames;
    } kRuns[] = {{{176, 144}, 100000}, {{1920, 1080}, 5000}};
    for (const auto &run : kRuns) {
        const Case c = {run.size, run.size, 1, 3, Entry::Diff, 0};
        std::vector<Bytes> clip = ShakyClip(run.size, 9);
        const int frames = Full() ? run.frames : run.frames / 50;
        Faults::Reset();
        const uint64_t hash = LastFrame(c, clip, frames, true);
        Faults::KeepThreads(1);
        EXPECT_EQ(hash, LastFrame(c, clip, frames, false));
        printf("last frame %016llx, as with one thread\n", (unsigned long long)hash);
        Faults::Reset();
    }
}

TEST(Soak, HandlesLeaveNothingBehind) {
    const Size size = {320, 240};
    const Bytes frame = ShakyClip(size, 1)[0];
    Bytes out = frame;
    Footprint before = {};
    const int count = Full() ? 10000 : 200;
    for (int i = 0; i < count; i++) {
        if (i == std::min(100, count / 2)) before = Measure();
        const Handle handle = MakeHandle(size, i % 2);
        const uint8_t *in = i % 3 ? frame.data() : out.data(); // every third handle works in place
        for (int k = 0; k < 2; k++) QEL_MVS_StabilizeFrame(handle.get(), in, out.data());
    }
    ExpectUnchanged(before, (std::to_string(count) + " handles").c_str());
}

} // namespace

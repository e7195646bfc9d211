// SPDX-License-Identifier: BSD-2-Clause
// Threads that get in each other's way: handles and streams at once, and the waiting of block rows with
// every number of participants, on one core, interrupted anywhere.
#include <gtest/gtest.h>
#include <sched.h>
#include <string.h>

#include <thread>

#include "motion/motion.h"
#include "support/faults.h"
#include "support/run.h"

namespace {

#if defined(__SANITIZE_THREAD__)
const bool kRaces = true; // the sanitizer delays signals, and everything else
#else
const bool kRaces = false;
#endif

// Back and forth through a few frames, as one hash.
uint64_t Drive(const Case &c, const std::vector<Bytes> &clip, int frames) {
    Runner runner(c);
    uint64_t hash = Hash({});
    for (int i = 0; i < frames; i++) {
        const size_t k = (size_t)i % (2 * clip.size() - 2);
        hash = Hash(runner.Push(clip[k < clip.size() ? k : 2 * clip.size() - 2 - k]), hash);
    }
    return hash;
}

TEST(Threads, HandlesAndStreamsAtOnce) {
    const struct {
        Case c;
        int frames;
    } kWork[] = {{{{176, 144}, {176, 144}, 0, 3, Entry::Same, 1}, 800},
                 {{{320, 240}, {320, 240}, 1, 3, Entry::Diff, 0}, 500},
                 {{{400, 352}, {360, 316}, 2, 2, Entry::SeparateDiff, 0}, 200},
                 {{{648, 488}, {648, 488}, 1, 3, Entry::PitchSame, 0, 7}, 100},
                 {{{208, 160}, {208, 160}, 1, 3, Entry::Preview, 0}, 300},
                 {{{640, 480}, {640, 480}, 1, 3, Entry::Recording, 0}, 100}};
    std::vector<std::vector<Bytes>> clips;
    uint64_t alone[std::size(kWork)], together[std::size(kWork)];
    Faults::Reset();
    Faults::KeepParticipants(1);
    const int live = Faults::Live();
    for (const auto &work : kWork) {
        clips.push_back(ShakyClip(work.c.in, 6));
        alone[clips.size() - 1] = Drive(work.c, clips.back(), work.frames);
    }
    Faults::Reset();
    std::vector<std::thread> threads;
    for (size_t i = 0; i < std::size(kWork); i++)
        threads.emplace_back([&, i] { together[i] = Drive(kWork[i].c, clips[i], kWork[i].frames); });
    for (std::thread &thread : threads) thread.join();
    for (size_t i = 0; i < std::size(kWork); i++) EXPECT_EQ(alone[i], together[i]) << kWork[i].c;
    EXPECT_EQ(Faults::Live(), live);
}

struct OneCore {
    cpu_set_t all;
    explicit OneCore(bool yes) {
        sched_getaffinity(0, sizeof(all), &all);
        cpu_set_t one;
        CPU_ZERO(&one);
        for (int i = 0; i < CPU_SETSIZE && !CPU_COUNT(&one); i++)
            if (CPU_ISSET(i, &all)) CPU_SET(i, &one);
        if (yes) sched_setaffinity(0, sizeof(one), &one);
    }
    ~OneCore() { sched_setaffinity(0, sizeof(all), &all); }
};

// The records that the search leaves do not tell who worked when.
TEST(Threads, RowsWaitUnderAllCircumstances) {
    const Size size = {1280, 720};
    const std::vector<Bytes> clip = ShakyClip(size, 3);
    const Handle handle = MakeHandle(size, 1);
    MVS_Context *ctx = handle.get();
    const size_t bytes = (size_t)ctx->lBlockNum * sizeof(MVS_BlockMV);
    const auto search = [&](size_t frame) {
        GetBigShiftF0(ctx, clip[frame].data(), clip[frame - 1].data());
        BlockME32F0(ctx, clip[frame].data(), clip[frame - 1].data());
        return Bytes((uint8_t *)ctx->pBlockMV, (uint8_t *)ctx->pBlockMV + bytes);
    };
    Faults::Reset();
    Faults::KeepParticipants(1);
    const Bytes want[2] = {search(1), search(2)};
    int threads = Faults::Threads();
    for (int participants = 1; participants <= 4; participants++)
        for (int how = 0; how < 8; how++) {
            const OneCore core(how & 1);
            std::unique_ptr<Interruptions> interruptions;
            if ((how & 2) && !kRaces) interruptions = std::make_unique<Interruptions>();
            Faults::KeepParticipants(participants);
            Faults::Dawdle(how & 4);
            for (size_t i = 0; i < (kRaces ? 2 : 12); i++)
                ASSERT_EQ(search(1 + i % 2), want[i % 2])
                    << participants << " participants, how " << how;
        }
    EXPECT_GE(Faults::Threads(), threads);
    Faults::Reset();
}

} // namespace

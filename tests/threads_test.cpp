// SPDX-License-Identifier: BSD-2-Clause
// Threads that get in each other's way: handles and streams at once, and the waiting of block rows and
// of a frame's jobs with every number of participants, on one core, interrupted anywhere.
#include <gtest/gtest.h>
#include <sched.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <thread>

#include "motion/motion.h"
#include "platform/participants.h"
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

void UnderAllCircumstances(int fewest, const std::function<void(int)> &work) {
    for (int participants = fewest; participants <= 4; participants++)
        for (int how = 0; how < 8; how++) {
            SCOPED_TRACE(std::to_string(participants) + " participants, how " + std::to_string(how));
            const OneCore core(how & 1);
            std::unique_ptr<Interruptions> interruptions;
            if ((how & 2) && !kRaces) interruptions = std::make_unique<Interruptions>();
            Faults::Reset();
            Faults::KeepParticipants(participants);
            Faults::Dawdle(how & 4);
            ASSERT_NO_FATAL_FAILURE(work(participants));
            EXPECT_EQ(Faults::Running(), 0);
        }
    Faults::Reset();
}

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
    UnderAllCircumstances(1, [&](int) {
        for (size_t i = 0; i < (kRaces ? 2 : 12); i++) ASSERT_EQ(search(1 + i % 2), want[i % 2]);
    });
}

// Neither do frames: not the one that comes out, nor the one that is kept for the next.
TEST(Threads, FramesUnderAllCircumstances) {
    const Size size = {640, 480}, less = {560, 420};
    const std::vector<Bytes> clip = ShakyClip(size, 3);
    for (const Case &c : {Case{size, size, 2, 3, Entry::SeparateDiff, 0},
                          {size, size, 0, 3, Entry::Diff, 0},
                          {size, less, 0, 1, Entry::Diff, 0}}) {
        Faults::Reset();
        Faults::KeepParticipants(1);
        const RunResult want = RunClip(c, clip);
        ASSERT_EQ(want.frames.size(), clip.size()) << c;
        UnderAllCircumstances(2, [&](int) {
            Runner runner(c);
            for (size_t i = 0; i < clip.size(); i++) {
                ASSERT_EQ(runner.Push(clip[i]), want.frames[i]) << c << ' ' << i;
                const size_t kept = (size_t)(c.format ? size.Luma() : size.Frame());
                ASSERT_FALSE(memcmp(runner.Context()->pPrevFrame, clip[i].data(), kept))
                    << c << ' ' << i;
            }
        });
    }
}

struct Counted {
    static constexpr int kItems = 8;
    std::atomic<int> next{0}, finished{0}, byOthers{0};
    const std::thread::id caller = std::this_thread::get_id();
    static void *Work(void *argument) {
        Counted *job = (Counted *)argument;
        while (job->next++ < kItems) {
            const bool other = std::this_thread::get_id() != job->caller;
            usleep(other ? 300 : 100); // the caller has mostly to wait
            job->byOthers += other;
            job->finished++;
        }
        return nullptr;
    }
    bool Idle() const { return finished == std::min<int>(next, kItems); }
};

TEST(Threads, FramesStayAloneAfterThreadsThatDidNotCome) {
    const Size size = {640, 480};
    const std::vector<Bytes> clip = ShakyClip(size, 2);
    const OneCore unchanged(false);
    if (CPU_COUNT(&unchanged.all) < 2) GTEST_SKIP() << "one core";
    SetShares(65536, 0);
    Faults::Reset();
    Faults::KeepParticipants(1); // none comes
    const Handle handle = MakeHandle(size, 1);
    Bytes out = clip[0];
    std::vector<int> tried;
    for (size_t i = 0; i < 20; i++) {
        const int before = Faults::Threads();
        QEL_MVS_StabilizeFrame(handle.get(), clip[i % 2].data(), out.data());
        tried.push_back(Faults::Threads() > before);
    }
    EXPECT_EQ(tried, (std::vector<int>{1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0}));
    Faults::Reset();
    SetShares(65536, 4);
}

TEST(Threads, CrewServesEveryJob) {
    const int64_t kWorthAll = 1 << 20;
    int byOthers = 0, byOthersOfOwn = 0;
    UnderAllCircumstances(1, [&](int participants) {
        Counted called, shared[kCrewJobs], refused, last, own;
        Crew crew;
        BeginCrew(&crew, kWorthAll);
        EXPECT_TRUE(CallCrew(&crew, Counted::Work, &called));
        for (Counted &job : shared) {
            ShareJob(&crew, Counted::Work, &job, kWorthAll, false);
            EXPECT_EQ(job.finished, Counted::kItems);
            EXPECT_TRUE(called.Idle());
            byOthers += job.byOthers;
        }
        EXPECT_EQ(shared[kCrewJobs - 1].byOthers, 0); // one too many for the crew
        EXPECT_FALSE(CallCrew(&crew, Counted::Work, &refused));
        EndCrew(&crew);
        EXPECT_EQ(refused.next, 0);

        BeginCrew(&crew, kWorthAll);
        EXPECT_TRUE(CallCrew(&crew, Counted::Work, &last));
        EndCrew(&crew);
        EXPECT_EQ(last.finished, participants > 1 ? Counted::kItems : 0);

        ShareJob(nullptr, Counted::Work, &own, kWorthAll, false);
        EXPECT_EQ(own.finished, Counted::kItems);
        byOthersOfOwn += own.byOthers;
        BeginCrew(&crew, 0);
        EXPECT_FALSE(CallCrew(&crew, Counted::Work, &refused));
        EndCrew(&crew);
    });
    EXPECT_GT(byOthers, 0);
    EXPECT_GT(byOthersOfOwn, 0);
    SetShares(65536, 2); // one thread is a crew
    Crew crew;
    Counted called;
    const int threads = Faults::Threads();
    BeginCrew(&crew, kWorthAll);
    EXPECT_TRUE(CallCrew(&crew, Counted::Work, &called));
    EndCrew(&crew);
    EXPECT_EQ(called.finished, Counted::kItems);
    EXPECT_EQ(Faults::Threads(), threads + 1);
    SetShares(65536, 4);
    EXPECT_FALSE(CallCrew(nullptr, Counted::Work, nullptr));
}

} // namespace

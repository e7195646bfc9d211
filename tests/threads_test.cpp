// SPDX-License-Identifier: BSD-2-Clause
// Threads that get in each other's way: handles and streams at once, block rows and frames with every
// number of threads, on one core, delayed and interrupted anywhere. And the threads themselves: how
// many, when, and with what they start.
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <thread>

#include "motion/motion.h"
#include "platform/thread_policy.h"
#include "platform/workers.h"
#include "support/faults.h"
#include "support/refined_run.h"
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
    Faults::KeepThreads(1);
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
    for (int count = fewest; count <= 4; count++)
        for (int how = 0; how < 8; how++) {
            SCOPED_TRACE(std::to_string(count) + " threads, how " + std::to_string(how));
            const OneCore core(how & 1);
            std::unique_ptr<Interruptions> interruptions;
            if ((how & 2) && !kRaces) interruptions = std::make_unique<Interruptions>();
            Faults::Reset();
            Faults::KeepThreads(count);
            Faults::Dawdle(how & 4);
            ASSERT_NO_FATAL_FAILURE(work(count));
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
    ctx->stThreads.lMostThreads = 1;
    const Bytes want[2] = {search(1), search(2)};
    UnderAllCircumstances(1, [&](int count) {
        ctx->stThreads.lMostThreads = count;
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
        Faults::KeepThreads(1);
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

// Frames are measured on one thread and made on two others, all of one handle.
TEST(Threads, RefinedPlanesAtOnce) {
    const Size size = {640, 480};
    const std::vector<Bytes> clip = ShakyClip(size, 8);
    const auto measure = [&](MVS_Context *ctx, size_t i) {
        const MVS_Plane luma = PlaneOf(clip[i].data(), size.width, size.height);
        MVS_Compensation record = {};
        record.lSize = (int32_t)sizeof(record);
        EXPECT_TRUE(QEL_MVS_PushLuma(ctx, &luma) && QEL_MVS_PullCompensation(ctx, &record));
        return record;
    };
    const auto make = [&](MVS_Context *ctx, const MVS_Compensation &record, size_t i) {
        Bytes out((size_t)size.Luma());
        const MVS_Plane from = PlaneOf(clip[i].data(), size.width, size.height),
                        to = PlaneOf(out.data(), size.width, size.height);
        EXPECT_TRUE(QEL_MVS_CompensateFrame(ctx, &record, &from, &to, 1));
        return out;
    };
    std::vector<Bytes> want;
    for (int count = 1; count <= 4; count++) {
        Faults::Reset();
        Faults::KeepThreads(count);
        const Handle handle = MakeHandle(size, 1);
        ASSERT_TRUE(QEL_MVS_SetRefined(handle.get(), 1));
        std::vector<MVS_Compensation> records = {measure(handle.get(), 0)};
        for (size_t i = 0; i < clip.size(); i++) {
            Bytes out[2];
            const MVS_Compensation record = records.back();
            const auto one = [&] { out[0] = make(handle.get(), record, i); };
            const auto other = [&] { out[1] = make(handle.get(), record, i); };
            const auto next = [&] {
                if (i + 1 < clip.size()) records.push_back(measure(handle.get(), i + 1));
            };
            if (count == 1) {
                one(), other(), next();
            } else {
                std::thread first(one), second(other);
                next();
                first.join();
                second.join();
            }
            if (want.size() == i) want.push_back(out[0]);
            EXPECT_TRUE(out[0] == want[i] && out[1] == want[i]) << count << " threads, frame " << i;
        }
        EXPECT_EQ(Faults::Running(), 0);
        EXPECT_EQ(Faults::Threads() > 0, count > 1);
    }
    Faults::Reset();
}

// Items that the calling thread and the workers take from one counter.
struct Counted {
    static constexpr int kItems = 8;
    std::atomic<int> next{0}, finished{0}, byWorkers{0};
    const std::thread::id caller = std::this_thread::get_id();
    std::function<void()> onWorker = [] {};
    static void *Work(void *argument) {
        Counted *task = (Counted *)argument;
        while (task->next++ < kItems) {
            const bool worker = std::this_thread::get_id() != task->caller;
            if (worker) task->onWorker();
            usleep(worker ? 300 : 100); // the caller has mostly to wait
            task->byWorkers += worker;
            task->finished++;
        }
        return nullptr;
    }
};

struct WorkersDeleter {
    void operator()(Workers *workers) const { DestroyWorkers(workers); }
};
using OwnWorkers = std::unique_ptr<Workers, WorkersDeleter>;

TEST(Threads, WorkersServeEveryTask) {
    const OwnWorkers workers(CreateWorkers());
    int byWorkers = 0;
    UnderAllCircumstances(1, [&](int count) {
        StartWorkers(workers.get(), count - 1);
        for (int i = 0; i < 6; i++) {
            Counted task;
            RunParallel(workers.get(), Counted::Work, &task);
            EXPECT_EQ(task.finished, Counted::kItems);
            byWorkers += task.byWorkers;
            EXPECT_TRUE(count > 1 || task.byWorkers == 0);
        }
        if (count & 1) EndWorkers(workers.get());
        JoinWorkers(workers.get());
        EXPECT_EQ(Faults::Running(), 0);
    });
    EXPECT_GT(byWorkers, 0);
    // Without a task, and without a thread.
    StartWorkers(workers.get(), 3);
    JoinWorkers(workers.get());
    Faults::FailThread(-1);
    StartWorkers(workers.get(), 3);
    Counted alone;
    RunParallel(workers.get(), Counted::Work, &alone);
    EXPECT_FALSE(JoinWorkers(workers.get()));
    EXPECT_EQ(alone.finished, Counted::kItems);
    Faults::Reset();
}

TEST(Threads, AWorkerBlocksSignalsAndHasANameAndASmallStack) {
    const OwnWorkers workers(CreateWorkers());
    std::atomic<int> looked{0};
    for (int i = 0; i < 500 && !looked; i++) {
        Counted task;
        task.onWorker = [&] {
            sigset_t mask;
            pthread_sigmask(SIG_BLOCK, nullptr, &mask);
            for (int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS})
                EXPECT_FALSE(sigismember(&mask, fault)) << fault;
            for (int other : {SIGUSR1, SIGTERM, SIGINT, SIGALRM, SIGCHLD, SIGPROF})
                EXPECT_TRUE(sigismember(&mask, other)) << other;
            char name[16] = "";
            pthread_getname_np(pthread_self(), name, sizeof(name));
            EXPECT_STREQ(name, "quorvel");
            pthread_attr_t attributes;
            size_t bytes = 0;
            pthread_getattr_np(pthread_self(), &attributes);
            pthread_attr_getstacksize(&attributes, &bytes);
            pthread_attr_destroy(&attributes);
            EXPECT_TRUE(kRaces || bytes <= 131072) << bytes; // the sanitizer adds its own
            looked++;
        };
        StartWorkers(workers.get(), 1);
        RunParallel(workers.get(), Counted::Work, &task);
        JoinWorkers(workers.get());
    }
    EXPECT_GT(looked, 0);
    sigset_t mine;
    pthread_sigmask(SIG_BLOCK, nullptr, &mine);
    EXPECT_FALSE(sigismember(&mine, SIGUSR1)); // the caller's mask is its own again
}

// A thread for each share of the frame that is worth one, within the limit and the cores.
TEST(Threads, ThePolicyAsItIsShipped) {
    ThreadPolicy policy;
    InitThreadPolicy(&policy);
    policy.lCores = 8;
    EXPECT_EQ(WorkersFor(&policy, 1280 * 720), 0);
    EXPECT_EQ(WorkersFor(&policy, 1280 * 768), 1);
    EXPECT_EQ(WorkersFor(&policy, 1920 * 1080), 3);
    EXPECT_EQ(WorkersFor(&policy, 3840 * 2160), 3);
    policy.lCores = 2;
    EXPECT_EQ(WorkersFor(&policy, 3840 * 2160), 1);

    const Size size = {1280, 768};
    const std::vector<Bytes> clip = ShakyClip(size, 2);
    const MVS_InitParam param = {3, size.width, size.height, size.width, size.height, 1, 0};
    const Handle handle(QEL_MVS_CreateStabilizer(&param));
    handle->stThreads.lCores = 8;
    handle->stThreads.lBytesPerThread /= 2;
    Bytes out = clip[0];
    const struct {
        int32_t setting;
        int workers;
    } kCases[] = {{1, 0}, {2, 1}, {3, 2}, {4, 3}, {0, 3}};
    for (const auto &c : kCases) {
        ASSERT_EQ(QEL_MVS_SetThreads(handle.get(), c.setting), 1);
        EXPECT_EQ(WorkersForFrame(&handle->stThreads, size.Luma()), c.workers) << c.setting;
        Faults::Reset(); // the first worker starts the others, unless it comes too late
        QEL_MVS_StabilizeFrame(handle.get(), clip[0].data(), out.data());
        EXPECT_EQ(Faults::Threads() > 0, c.workers > 0) << c.setting;
        EXPECT_LE(Faults::Threads(), c.workers) << c.setting;
        handle->stThreads.lPauseLeft = 0;
    }
    for (int32_t bad : {-1, 5, INT32_MAX}) EXPECT_EQ(QEL_MVS_SetThreads(handle.get(), bad), 0);
    EXPECT_EQ(QEL_MVS_SetThreads(nullptr, 1), 0);
    EXPECT_EQ(handle->stThreads.lMostThreads, 4);
}

// Frames go without workers for a while after a late one, twice as long after each: threads that never
// come are late.
TEST(Threads, LateFramesAreFollowedByPauses) {
    const Size size = {640, 480};
    const std::vector<Bytes> clip = ShakyClip(size, 2);
    const Handle handle = MakeHandle(size, 1);
    handle->stThreads.lFirstPause = handle->stThreads.lNextPause = 8;
    Faults::Reset();
    Faults::FailThread(-1);
    Bytes out = clip[0];
    std::vector<int> pauses = {0};
    for (size_t i = 0; i < 8 + 16 + 32 + 4; i++) {
        const int before = Faults::Threads();
        QEL_MVS_StabilizeFrame(handle.get(), clip[i % 2].data(), out.data());
        if (Faults::Threads() > before)
            pauses.push_back(0);
        else
            pauses.back()++;
    }
    EXPECT_EQ(pauses, (std::vector<int>{0, 8, 16, 32, 0}));
    for (int i = 0; i < 9; i++) NoteFrame(&handle->stThreads, true);
    EXPECT_EQ(handle->stThreads.lPauseLeft, 1024);
    NoteFrame(&handle->stThreads, false);
    NoteFrame(&handle->stThreads, true);
    EXPECT_EQ(handle->stThreads.lPauseLeft, 8);
    Faults::Reset();
}

// A caller that is cancelled in the middle of a frame is cancelled after it: nothing is left behind.
TEST(Threads, CancellationWaitsForTheFrame) {
    const Size size = {640, 480};
    const std::vector<Bytes> clip = ShakyClip(size, 3);
    const Case c = {size, size, 1, 3, Entry::Diff, 0};
    const RunResult want = RunClip(c, clip);
    const int live = Faults::Live();
    {
        const Handle handle = MakeHandle(size, 1);
        for (size_t i = 0; i < clip.size(); i++) {
            const Bytes in = ToPairs(clip[i], size);
            Bytes out((size_t)size.Frame());
            std::atomic<bool> began{false}, returned{false}, survived{false};
            Faults::Dawdle(true);
            std::thread caller([&] {
                began = true;
                QEL_MVS_StabilizeFrame(handle.get(), in.data(), out.data());
                returned = true;
                pthread_testcancel();
                survived = true;
            });
            while (!began) sched_yield();
            pthread_cancel(caller.native_handle());
            caller.join();
            Faults::Dawdle(false);
            EXPECT_FALSE(survived);
            EXPECT_TRUE(returned); // nothing before the call is a cancellation point
            EXPECT_EQ(out, want.frames[i]);
            EXPECT_EQ(Faults::Running(), 0);
        }
    }
    EXPECT_EQ(Faults::Live(), live);
}

// Between two calls a handle has no threads.
TEST(Threads, BothProcessesGoOnAfterAFork) {
    const Size size = {640, 480};
    const std::vector<Bytes> clip = ShakyClip(size, 4);
    const RunResult want = RunClip({size, size, 1, 3, Entry::Diff, 0}, clip);
    const Handle handle = MakeHandle(size, 1);
    const auto push = [&](size_t i) {
        Bytes out((size_t)size.Frame());
        QEL_MVS_StabilizeFrame(handle.get(), ToPairs(clip[i], size).data(), out.data());
        return out == want.frames[i];
    };
    ASSERT_TRUE(push(0) && push(1));
    const pid_t child = fork();
    if (child == 0) _exit(push(2) && push(3) ? 0 : 1);
    EXPECT_TRUE(push(2) && push(3));
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

// The header's figure: a painted stack, and what of it was written.
TEST(Threads, AFrameNeedsLittleStack) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || !defined(__OPTIMIZE__)
    GTEST_SKIP() << "frames of other sizes";
#endif
    for (const Size size : {Size{1280, 720}, {192, 1200}, {640, 476}}) {
        const std::vector<Bytes> clip = ShakyClip(size, 3);
        std::vector<uint8_t> stack(262144, 0xA5);
        struct Work {
            const std::vector<Bytes> *clip;
            MVS_Context *ctx;
            Bytes out;
            static void *Run(void *argument) {
                Work *work = (Work *)argument;
                for (const Bytes &in : *work->clip)
                    QEL_MVS_StabilizeFrame(work->ctx, in.data(), work->out.data());
                return nullptr;
            }
        };
        const Handle handle = MakeHandle(size, 1);
        Work work = {&clip, handle.get(), clip[0]};
        pthread_attr_t attributes;
        pthread_attr_init(&attributes);
        pthread_attr_setstack(&attributes, stack.data(), stack.size());
        pthread_t thread;
        ASSERT_EQ(pthread_create(&thread, &attributes, Work::Run, &work), 0);
        pthread_join(thread, nullptr);
        pthread_attr_destroy(&attributes);
        const auto written =
            std::find_if(stack.begin(), stack.end(), [](uint8_t b) { return b != 0xA5; });
        EXPECT_LT(stack.end() - written, 16384) << size.width; // with the system's own part
    }
}

} // namespace

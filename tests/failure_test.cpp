// SPDX-License-Identifier: BSD-2-Clause
// What happens when memory, threads or locks cannot be had: null from creation; a frame untouched, or
// compensated as an unmeasured one; nothing lost, and the next frame measured as ever.
#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>
#include <functional>

#include "quorvel/memory.h"
#include "quorvel/threads.h"
#include "support/faults.h"
#include "support/refined_run.h"
#include "support/run.h"
#include "warp/warp.h"

namespace {

std::vector<Bytes> Pan(Size size, int32_t frames) {
    std::vector<Bytes> clip;
    for (int32_t i = 0; i < frames; i++) clip.push_back(Render(size, {i * 3 * 256, i * -2 * 256, 0}));
    return clip;
}

TEST(Failure, EveryAllocationOfCreation) {
    for (int32_t format = 0; format < 3; format++) {
        Faults::Reset();
        const int live = Faults::Live();
        ASSERT_TRUE(MakeHandle({320, 240}, format));
        const int count = Faults::Allocations();
        EXPECT_GE(count, 5 + (format ? 2 : 0));
        for (int n = 1; n <= count; n++) {
            Faults::FailAllocation(n);
            EXPECT_FALSE(MakeHandle({320, 240}, format)) << format << ' ' << n;
            EXPECT_EQ(Faults::Live(), live);
        }
        Faults::Reset();
    }
}

class FailingFrame : public testing::TestWithParam<Case> {
  protected:
    const Case c = GetParam();
    const std::vector<Bytes> clip = Pan(c.in, 12);

    // Luma and chroma of a frame that met a failure are each one of three: left, right, or centred.
    void CheckParts(const Bytes &got, const Bytes &input, const Bytes &right,
                    const Bytes &centred) const {
        Bytes left((size_t)c.out.Frame(), kUntouched);
        if (c.InPlace()) left = c.format ? ToPairs(input, c.in) : input;
        Bytes split = left; // the unstabilized columns are shown all the same
        if (c.entry == Entry::SplitDiff)
            for (int32_t r = 0; r < c.in.height; r++)
                memcpy(&split[(size_t)(r * c.in.width)], &input[(size_t)(r * c.in.width)], kSplit & ~1);
        for (auto part :
             {std::pair<int32_t, int32_t>{0, c.out.Luma()}, {c.out.Luma(), c.out.Frame()}}) {
            const auto Is = [&](const Bytes &whole) {
                return std::equal(got.begin() + part.first, got.begin() + part.second,
                                  whole.begin() + part.first);
            };
            EXPECT_TRUE(Is(left) || Is(split) || Is(right) || Is(centred))
                << "from byte " << part.first;
        }
    }
    bool CheckRun(int n, const RunResult &good, const std::vector<Bytes> &centred) const;
};

// One run whose n-th allocation fails; false when it has none.
bool FailingFrame::CheckRun(int n, const RunResult &good, const std::vector<Bytes> &centred) const {
    Faults::Reset();
    Faults::FailAllocation(n);
    Runner runner(c);
    const bool inCreation = Faults::Allocations() >= n;
    size_t rest = 3; // frames to look at from the failing one on
    for (size_t i = 0; runner.Ready() && i < clip.size() && rest; i++) {
        const bool before = Faults::Allocations() < n;
        const Bytes got = runner.Push(clip[i]);
        const bool hit = before && Faults::Allocations() >= n;
        if (Faults::Allocations() < n) {
            EXPECT_EQ(got, good.frames[i]);
            continue;
        }
        if (hit) CheckParts(got, clip[i], good.frames[i], centred[i]);
        if (--rest ||
            inCreation) { // of the camera's streams only: they stay as they are, or do without
            EXPECT_TRUE(!inCreation || got == ToPairs(clip[i], c.in) || got == good.frames[i]);
            continue;
        }
        const MVS_MotionInfo motion = runner.Motion(), &want = good.motion[i];
        EXPECT_EQ(motion.bMeasured, 1);
        EXPECT_EQ(motion.lMotionRow, want.lMotionRow);
        EXPECT_EQ(motion.lMotionCol, want.lMotionCol);
        EXPECT_EQ(motion.lMotionTheta, want.lMotionTheta);
    }
    return Faults::Allocations() >= n;
}

TEST_P(FailingFrame, EveryAllocationOfTwelveFrames) {
    const int live = Faults::Live();
    const RunResult good = RunClip(c, clip);
    ASSERT_EQ(good.frames.size(), clip.size());
    std::vector<Bytes> centred;
    for (const Bytes &frame : clip) centred.push_back(RunClip(c, {frame}).frames[0]);
    int n = 1;
    do {
        SCOPED_TRACE(n);
        if (!CheckRun(n, good, centred)) break;
        EXPECT_EQ(Faults::Live(), live);
    } while (!HasFailure() && ++n < 1000);
    EXPECT_GT(n, 12); // one a frame at least
    Faults::Reset();
}

INSTANTIATE_TEST_SUITE_P(
    Cases, FailingFrame,
    testing::Values(Case{{320, 240}, {320, 240}, 1, 3, Entry::Diff, 0},
                    Case{{320, 244}, {320, 244}, 1, 3, Entry::Same, 1},
                    Case{{200, 160}, {176, 144}, 0, 2, Entry::Diff, 0},
                    Case{{480, 352}, {432, 316}, 2, 2, Entry::SeparateDiff, 0},
                    Case{{320, 240}, {320, 240}, 2, 3, Entry::SeparateSame, 0},
                    Case{{320, 240}, {320, 240}, 1, 3, Entry::SplitDiff, 0},
                    Case{{320, 240}, {320, 240}, 0, 3, Entry::SplitSame, 1},
                    Case{{320, 240}, {320, 240}, 1, 3, Entry::Ex, 1},
                    Case{{320, 240}, {320, 240}, 1, 3, Entry::PitchDiff, 0, 5, true},
                    Case{{320, 240}, {320, 240}, 0, 3, Entry::PitchSame, 0, 5},
                    Case{{320, 240}, {320, 240}, 1, 3, Entry::Preview, 1},
                    Case{{320, 240}, {320, 240}, 1, 3, Entry::Recording, 0}));

// Threads that cannot be started, one or all of a run, and conditions that cannot be waited for, show
// in no frame.
TEST(Failure, ThreadsAndWaitsShowInNoFrame) {
    const Size size = {1280, 720};
    const std::vector<Bytes> clip = ShakyClip(size, 3);
    for (int e = 0; e < kEntries; e++) {
        Case c = {size, size, 1, 3, (Entry)e, 1};
        if (c.entry == Entry::SeparateDiff || c.entry == Entry::SeparateSame) c.format = 2;
        Faults::Reset();
        const RunResult all = RunClip(c, clip);
        const int threads = Faults::Threads();
        EXPECT_GT(threads, 0);
        Faults::FailThread(-1);
        EXPECT_EQ(all.frames, RunClip(c, clip).frames) << c << " no thread";
        Faults::FailThread(0);
        for (int count = 1; count < 4; count++) {
            Faults::KeepThreads(count);
            EXPECT_EQ(all.frames, RunClip(c, clip).frames) << c << ' ' << count;
        }
        Faults::KeepThreads(4);
        Faults::WakeEarly(true);
        EXPECT_EQ(all.frames, RunClip(c, clip).frames) << c << " early wakes";
        Faults::WakeEarly(false);
        for (int n = 1; n <= threads && c.entry == Entry::Same; n++) {
            Faults::FailThread(n);
            EXPECT_EQ(all.frames, RunClip(c, clip).frames) << c << " thread " << n;
            EXPECT_EQ(Faults::Running(), 0) << n; // also the workers after the one that failed
        }
    }
    Faults::Reset();
}

// A mutex that cannot be taken: the event says so and signals all the same; alone, a frame does not
// mind.
TEST(Failure, EveryLockOfAFrame) {
    const Size size = {320, 240};
    const Case c = {size, size, 1, 3, Entry::Diff, 0};
    const std::vector<Bytes> clip = Pan(size, 2);
    Faults::Reset();
    Faults::KeepThreads(1);
    const RunResult good = RunClip(c, clip);
    const int locks = Faults::Locks();
    EXPECT_GT(locks, 10);
    for (int n = 1; n <= locks; n++) {
        Faults::FailLock(n);
        const RunResult got = RunClip(c, clip);
        Faults::FailLock(0);
        EXPECT_EQ(good.frames, got.frames) << n;
    }
    void *event = zekMEventCreate(nullptr);
    Faults::FailLock(1);
    EXPECT_EQ(zekMEventSignal(event), QEL_EVENT_FAILED);
    EXPECT_EQ(zekMEventWait(event, -1), QEL_EVENT_OK);
    Faults::FailLock(1);
    EXPECT_EQ(zekMEventWait(event, 0), QEL_EVENT_FAILED);
    zekMEventDestroy(nullptr, event);
    Faults::Reset();
}

// A refined handle's life. A call that fails is made again, and must then do what it would have done.
struct RefinedLife {
    Size size;
    int32_t lookahead;
    bool frames; // by frame calls in place, else by planes
    int failed = 0;
    std::vector<Bytes> pictures = {}; // and records

    void Must(const std::function<bool()> &call) {
        if (call()) return;
        failed++;
        EXPECT_TRUE(call());
    }
    void Pull(MVS_Context *ctx) {
        MVS_Compensation record = {};
        record.lSize = (int32_t)sizeof(record);
        while (QEL_MVS_PullCompensation(ctx, &record)) {
            const uint8_t *bytes = (const uint8_t *)&record;
            pictures.emplace_back(bytes, bytes + sizeof(record));
            if (pictures.size() > 8) continue;
            Bytes in = Render(size, {0, 0, 0}), out((size_t)size.Luma(), kUntouched);
            const MVS_Plane from = PlaneOf(in.data(), size.width, size.height),
                            to = PlaneOf(out.data(), size.width, size.height);
            Must([&] {
                const bool made = QEL_MVS_CompensateFrame(ctx, &record, &from, &to, 1);
                EXPECT_TRUE(made || out == Bytes(out.size(), kUntouched));
                return made;
            });
            pictures.push_back(out);
        }
    }
    void Run(const std::vector<Bytes> &clip, int pushes) {
        const Handle handle = MakeHandle(size);
        MVS_Context *ctx = handle.get();
        if (!ctx) return;
        Must([&] { return QEL_MVS_SetRefined(ctx, 1); });
        Must([&] { return QEL_MVS_SetLookahead(ctx, lookahead); });
        for (int i = 0; i < pushes; i++) {
            Bytes frame = clip[(size_t)i % clip.size()];
            const Bytes before = frame;
            const MVS_Plane plane = PlaneOf(frame.data(), size.width, size.height);
            Must([&] {
                if (!frames) return QEL_MVS_PushLuma(ctx, &plane) == 1;
                QEL_MVS_StabilizeFrame_SameBuffer(ctx, frame.data());
                EXPECT_TRUE(ctx->lFrameCount == i + 1 || frame == before);
                return ctx->lFrameCount == i + 1;
            });
            if (frames) pictures.push_back(frame);
            Pull(ctx);
        }
        EXPECT_EQ(QEL_MVS_EndStream(ctx), !frames);
        Pull(ctx);
    }
};

TEST(Failure, EveryAllocationAndLockOfARefinedHandle) {
    const int live = Faults::Live();
    const struct {
        Size size;
        int32_t lookahead;
        bool frames;
        int pushes;
    } kLives[] = {{{64, 48}, 0, true, 4},
                  {{64, 48}, 0, false, 4},
                  {{64, 48}, 6, false, 12},
                  {{24, 20}, -1, false, 1030}}; // which need more memory
    for (const auto &c : kLives) {
        const std::vector<Bytes> clip = Pan(c.size, 9);
        const auto run = [&](int32_t lookahead) {
            RefinedLife life = {c.size, lookahead, c.frames};
            life.Run(clip, c.pushes);
            return life;
        };
        const std::vector<Bytes> alive = run(0).pictures; // what is shown without memory for a plan
        Faults::Reset();
        Faults::KeepThreads(1);
        const RefinedLife good = run(c.lookahead);
        const int allocations = Faults::Allocations(), locks = Faults::Locks();
        EXPECT_FALSE(good.failed);
        int failed = 0;
        for (int n = 1; n <= allocations; n++) {
            SCOPED_TRACE(testing::Message() << c.lookahead << ", allocation " << n);
            Faults::Reset();
            Faults::KeepThreads(1);
            Faults::FailAllocation(n);
            const RefinedLife got = run(c.lookahead);
            failed += got.failed;
            EXPECT_LE(got.failed, 1);
            EXPECT_TRUE(got.pictures == good.pictures || got.pictures.empty() ||
                        (c.lookahead < 0 && !got.failed && got.pictures == alive));
            EXPECT_EQ(Faults::Live(), live);
        }
        EXPECT_GT(failed, 5);
        for (int n = 1; n <= locks; n += 1 + locks / 20) {
            Faults::FailLock(n);
            const RefinedLife got = run(c.lookahead);
            Faults::FailLock(0);
            EXPECT_TRUE(got.pictures == good.pictures) << n;
        }
        EXPECT_EQ(Faults::Live(), live);
    }
    Faults::Reset();
}

// Outside of a frame a plane's warp makes its own lock; without one it leaves the plane.
TEST(Failure, APlaneWithoutItsLock) {
    const Size size = {320, 240};
    const Handle handle = MakeHandle(size, 1);
    Bytes in((size_t)size.Frame(), 50), out((size_t)size.Frame(), 9);
    Faults::Reset();
    Faults::FailAllocation(1);
    StabY_Rotation_4x4_7to8(handle.get(), in.data(), out.data(), 0, 0, 3584, 0);
    Faults::Reset();
    EXPECT_EQ(out, Bytes((size_t)size.Frame(), 9));
}

// Whatever mixture of entries a handle saw, it frees what is its own, once.
TEST(Failure, MixedEntriesLeaveNothing) {
    const Size s = {64, 48};
    const int live = Faults::Live();
    for (int order = 0; order < 4; order++) {
        Handle handle = MakeHandle(s);
        Bytes frame = Render(s, {0, 0, 0}), out = frame;
        for (int i = 0; i < 4; i++) {
            if ((order >> (i & 1)) & 1)
                QEL_MVS_StabilizeFrame_SameBuffer(handle.get(), frame.data());
            else
                QEL_MVS_StabilizeFrame_DiffBuffer(handle.get(), frame.data(), out.data());
        }
    }
    EXPECT_EQ(Faults::Live(), live);
}

} // namespace

// What happens when memory cannot be had: null from creation; a frame untouched, or compensated as an
// unmeasured one; nothing lost, and the next frame measured as ever.
#include <gtest/gtest.h>

#include <algorithm>

#include "support/faults.h"
#include "support/run.h"

namespace {

std::vector<Bytes> Pan(Size size, int32_t frames) {
    std::vector<Bytes> clip;
    for (int32_t i = 0; i < frames; i++) clip.push_back(Render(size, {i * 3 * 256, i * -2 * 256, 0}));
    return clip;
}

bool SamePart(const Bytes &a, const Bytes &b, int32_t from, int32_t to) {
    return std::equal(a.begin() + from, a.begin() + to, b.begin() + from);
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

class FailingFrame : public testing::TestWithParam<Case> {};

TEST_P(FailingFrame, EveryAllocation) {
    const Case c = GetParam();
    const std::vector<Bytes> clip = Pan(c.in, 4);
    const RunResult good = RunClip(c, clip);
    const int live = Faults::Live();
    for (size_t k = 0; k < 3; k += 2) {
        Faults::Reset();
        const Bytes centred = RunClip(c, {clip[k]}).frames[0];
        for (int n = 1;; n++) {
            Faults::Reset();
            Runner runner(c);
            for (size_t i = 0; i < k; i++) runner.Push(clip[i]);
            const int before = Faults::Allocations();
            Faults::FailAllocation(n);
            const Bytes got = runner.Push(clip[k]);
            if (Faults::Allocations() - before < n) break;
            Faults::FailAllocation(0);

            Bytes untouched((size_t)c.out.Frame(), kUntouched);
            if (c.entry == Entry::Same || c.entry == Entry::SeparateSame)
                untouched = c.format ? ToPairs(clip[k], c.in) : clip[k];
            for (auto part :
                 {std::pair<int32_t, int32_t>{0, c.out.Luma()}, {c.out.Luma(), c.out.Frame()}})
                EXPECT_TRUE(SamePart(got, untouched, part.first, part.second) ||
                            SamePart(got, good.frames[k], part.first, part.second) ||
                            SamePart(got, centred, part.first, part.second))
                    << "frame " << k << " allocation " << n << " part " << part.first;
            for (size_t i = k + 1; i < clip.size(); i++) runner.Push(clip[i]);
            const MVS_MotionInfo motion = runner.Motion(), want = good.motion.back();
            EXPECT_EQ(motion.bMeasured, 1);
            EXPECT_EQ(motion.lMotionRow, want.lMotionRow) << n;
            EXPECT_EQ(motion.lMotionCol, want.lMotionCol) << n;
            EXPECT_EQ(motion.lMotionTheta, want.lMotionTheta) << n;
        }
    }
    Faults::Reset();
    EXPECT_EQ(Faults::Live(), live);
}

INSTANTIATE_TEST_SUITE_P(Cases, FailingFrame,
                         testing::Values(Case{{320, 240}, {320, 240}, 1, 3, Entry::Diff, 0},
                                         Case{{320, 244}, {320, 244}, 1, 3, Entry::Same, 1},
                                         Case{{200, 160}, {176, 144}, 0, 2, Entry::Diff, 0},
                                         Case{{480, 352}, {432, 316}, 2, 2, Entry::SeparateDiff, 0},
                                         Case{{320, 240}, {320, 240}, 2, 3, Entry::SeparateSame, 0}));

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

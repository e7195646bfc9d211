// SPDX-License-Identifier: BSD-2-Clause
// Every entry point over a table of sizes, formats and modes: the luma is always that of the planar
// call from one buffer into another at the portable level, and the chroma is what its format promises.
#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>

#include "support/faults.h"
#include "support/run.h"
#include "support/sweep.h"

namespace {

bool Large(Size s) { return s.width >= 320 && s.height >= 240; }

// One frame's planes as a case's format stores them: the rows of a component lie Stride bytes apart.
struct Chroma {
    uint8_t *u, *v;
    int32_t step, stride, rows, columns;
    Chroma(uint8_t *frame, Size s, bool planar)
        : u(frame + s.Luma() + (planar ? 0 : 1)), v(frame + s.Luma() + (planar ? s.Luma() >> 2 : 0)),
          step(planar ? 1 : 2), stride(step * (s.width >> 1)), rows(s.height >> 1),
          columns(s.width >> 1) {}
    void Set(int32_t r, int32_t c, uint8_t uValue, uint8_t vValue) const {
        u[r * stride + c * step] = uValue;
        v[r * stride + c * step] = vValue;
    }
};

enum class Rule { AsLuma, Untouched, Interleaved, TopRows, TopRowsGreyBelow, Unchecked };

Rule ChromaRule(const Case &c) {
    const bool blocks = c.mode == 3 && Large(c.out) && c.in == c.out, byEight = c.out.height % 8 == 0;
    if (c.entry == Entry::Ex && c.format == 1) {
        if (c.mode != 3) return Rule::Unchecked; // a planar shift of pairs
        return blocks && !byEight ? Rule::Untouched : Rule::AsLuma;
    }
    if (c.fullChroma || c.mode != 3) return Rule::AsLuma;
    if (c.format == 0 && !Large(c.out)) return Rule::Untouched;
    if (!blocks) return Rule::AsLuma;
    if (!byEight) return c.format == 0 ? Rule::TopRows : Rule::TopRowsGreyBelow;
    return c.format == 0 ? Rule::Interleaved : Rule::AsLuma;
}

// What a call must leave in a buffer that held `out`: `full` is the planar frame with all chroma moved,
// `pairs` what the call made of the same bytes as NV21.
Bytes Expected(const Case &c, Bytes out, const Bytes &full, const Bytes &pairs, const Bytes &planarIn) {
    memcpy(out.data(), full.data(), (size_t)c.out.Luma());
    const Rule rule = ChromaRule(c);
    const Chroma to(out.data(), c.out, c.format == 0);
    Bytes source = full;
    const Chroma from(source.data(), c.out, true);
    const int32_t moved = rule == Rule::AsLuma ? to.rows
                          : rule == Rule::TopRows || rule == Rule::TopRowsGreyBelow
                              ? c.out.height / 8 * 4
                              : 0;
    for (int32_t r = 0; r < to.rows; r++)
        for (int32_t x = 0; x < to.columns; x++) {
            if (r < moved)
                to.Set(r, x, from.u[r * from.stride + x], from.v[r * from.stride + x]);
            else if (rule == Rule::TopRowsGreyBelow)
                to.Set(r, x, 128, 128);
        }
    if (rule == Rule::Interleaved)
        std::copy(pairs.begin() + c.out.Luma(), pairs.end(), out.begin() + c.out.Luma());

    const bool split = c.entry == Entry::SplitDiff || c.entry == Entry::SplitSame;
    if (split && c.in == c.out && c.in.width > kSplit) {
        Bytes in = planarIn;
        const Chroma show(in.data(), c.in, true);
        for (int32_t r = 0; r < c.in.height; r++)
            memcpy(&out.data()[r * c.in.width], &in.data()[r * c.in.width], kSplit & ~1);
        for (int32_t r = 0; r < to.rows; r++)
            for (int32_t x = 0; x < kSplit / 2; x++)
                to.Set(r, x, show.u[r * show.stride + x], show.v[r * show.stride + x]);
    }
    return out;
}

// One way of making a call that must not show in its result.
struct Way {
    CpuLevel level;
    Guarded::Side side;
    int32_t padding;
};

class Matrix : public testing::TestWithParam<Sizes> {
  protected:
    void RunMode(int32_t mode, const std::vector<Bytes> &clip);
    void Compare(const Case &c, const Way &way, const std::vector<Bytes> &clip);
    std::vector<Way> WaysFor(const Case &c);

    const Size in = GetParam().in, out = GetParam().out;
    RunResult full, pairs; // planar with all chroma moved, and the same bytes taken for NV21
    size_t turn = 0;
};

// One in turn; in the full sweep all, apart from the largest frames, which take each level once.
std::vector<Way> Matrix::WaysFor(const Case &c) {
    const std::vector<CpuLevel> levels = CpuLevels();
    const int32_t kPadding[] = {0, 1, 63};
    const bool pitched = c.entry == Entry::PitchDiff || c.entry == Entry::PitchSame;
    const auto inTurn = [&](CpuLevel level, size_t n) {
        return Way{level, (Guarded::Side)(n % 2), pitched ? kPadding[n % 3] : 0};
    };
    turn++;
    if (Sweep() != "full") return {inTurn(levels[turn % levels.size()], turn / levels.size())};
    std::vector<Way> ways;
    for (CpuLevel level : levels)
        for (size_t n = 0; n < (c.in.Luma() > 1000000 ? 1 : pitched ? 6 : 2); n++)
            ways.push_back(inTurn(level, n + turn));
    return ways;
}

void Matrix::Compare(const Case &c, const Way &way, const std::vector<Bytes> &clip) {
    const AtLevel level(way.level);
    const RunResult got = RunClip(c, clip, way.side);
    SCOPED_TRACE(testing::Message() << c << " level " << way.level << " side " << way.side);
    if (c.format > 0 && (in.width % 2 || out.width % 2)) {
        EXPECT_TRUE(got.frames.empty());
        return;
    }
    ASSERT_EQ(got.frames.size(), clip.size());
    const Rule rule = ChromaRule(c);
    const bool lumaOnly =
        rule == Rule::Unchecked || (rule == Rule::Interleaved && pairs.frames.empty());
    const ptrdiff_t length = lumaOnly ? out.Luma() : out.Frame();
    for (size_t i = 0; i < clip.size(); i++) {
        Bytes before((size_t)out.Frame(), kUntouched);
        if (c.InPlace()) {
            before = c.format ? ToPairs(clip[i], in) : clip[i];
            if (c.format == 2) { // luma and chroma each at the start of their buffers
                const Bytes pairsIn(before.begin() + in.Luma(), before.end());
                before.resize((size_t)in.Luma());
                before.resize((size_t)out.Luma(), kUntouched);
                before.insert(before.end(), pairsIn.begin(), pairsIn.end());
            }
            before.resize((size_t)out.Frame(), kUntouched);
            // The preview copies its buffer back as it is, with the half row behind an odd height's
            // chroma.
            if (c.entry == Entry::Preview && in.height % 2)
                std::fill(before.end() - in.width / 2, before.end(), (uint8_t)0);
        }
        const Bytes want = Expected(c, before, full.frames[i],
                                    pairs.frames.empty() ? before : pairs.frames[i], clip[i]);
        const auto at = std::mismatch(want.begin(), want.begin() + length, got.frames[i].begin());
        ASSERT_EQ(at.first - want.begin(), length) << " frame " << i;
        ASSERT_EQ(0, memcmp(&full.motion[i], &got.motion[i], sizeof(MVS_MotionInfo))) << " frame " << i;
    }
}

void Matrix::RunMode(int32_t mode, const std::vector<Bytes> &clip) {
    {
        const AtLevel portable(kCpuPortable);
        full = RunClip({in, out, 0, mode, Entry::Diff, 1}, clip);
        pairs = {};
        if (!full.frames.empty() && in.width % 2 == 0 && in == out) {
            std::vector<Bytes> asPairs;
            for (const Bytes &f : clip) asPairs.push_back(ToPlanar(f, in));
            pairs = RunClip({in, out, 1, mode, Entry::Diff, 0}, asPairs);
        }
    }
    const bool margin = in.width >= out.width * 11 / 10 && in.height >= out.height * 11 / 10;
    ASSERT_EQ(full.frames.size(), mode == 3 || margin ? clip.size() : 0u);
    if (full.frames.empty()) return;
    for (int32_t format = 0; format < 3; format++)
        for (int e = 0; e < kEntries; e++)
            for (int32_t chroma = 0; chroma < 2; chroma++) {
                Case c = {in, out, format, mode, (Entry)e, chroma};
                if (!c.Exists()) continue;
                for (const Way &way : WaysFor(c)) {
                    c.padding = way.padding;
                    c.bottomUp = way.padding && turn % 2;
                    Compare(c, way, clip);
                    if (HasFatalFailure()) return;
                }
            }
}

TEST_P(Matrix, EveryEntryGivesTheSamePicture) {
    const int live = Faults::Live();
    for (int32_t mode = 1; mode <= 3; mode++) {
        RunMode(mode, ShakyClip(in, in.Luma() > 1000000 ? 2 : 3));
        if (Sweep().empty()) continue;
        for (int kind = 0; kind < 2; kind++)
            if (in.Luma() <= 1000000 || (mode + kind) % 2 == 0) RunMode(mode, HostileClip(in, kind));
    }
    EXPECT_EQ(Faults::Live(), live);
}

INSTANTIATE_TEST_SUITE_P(Sizes, Matrix, testing::ValuesIn(SizesToSweep()),
                         [](const auto &param) { return param.param.Name(); });

TEST(Entries, MayBeMixed) {
    const Size s = {320, 240};
    const std::vector<Bytes> clip = ShakyClip(s, 8);
    const Case c = {s, s, 1, 3, Entry::Diff, 0};
    const RunResult plain = RunClip(c, clip);
    Runner runner(c);
    const Entry kOrder[8] = {Entry::SeparateDiff, Entry::Diff, Entry::SeparateSame, Entry::Same,
                             Entry::Diff,         Entry::Same, Entry::SeparateDiff, Entry::Same};
    for (size_t i = 0; i < 8; i++) {
        runner.Use(kOrder[i]);
        EXPECT_EQ(runner.Push(clip[i]), plain.frames[i]) << i;
    }
}

TEST(Entries, FormatsThatAnEntryDoesNotTake) {
    const Size s = {64, 48};
    const Bytes frame = Render(s, {0, 0, 0});
    for (const Case &c : {Case{s, s, 2, 3, Entry::Diff, 0}, Case{s, s, 2, 3, Entry::SplitDiff, 0},
                          Case{s, s, 3, 3, Entry::Diff, 0}, Case{s, s, 3, 3, Entry::SeparateDiff, 0}})
        EXPECT_EQ(RunClip(c, {frame}).frames[0], Bytes((size_t)s.Frame(), kUntouched)) << c;
    EXPECT_EQ(RunClip({s, s, 2, 3, Entry::Same, 0}, {frame}).frames[0], ToPairs(frame, s));
}

} // namespace

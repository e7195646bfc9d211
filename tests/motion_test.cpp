// SPDX-License-Identifier: BSD-2-Clause
// Motion estimation against plain searches written out from scratch, on pictures that reach their
// branches.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <functional>

#include "kernels.h"
#include "motion/motion.h"
#include "support/faults.h"
#include "support/run.h"

namespace {

using Cost = std::function<uint32_t(int32_t row, int32_t col)>;
using Allowed = std::function<bool(int32_t row, int32_t col)>;

struct Point {
    int32_t row, col;
};
const Point kMoves[4] = {
    {0, -1}, {0, 1}, {-1, 0}, {1, 0}}; // left, right, up, down; i ^ 1 is the way back

uint32_t Sad(const std::vector<Point> &pattern, const uint8_t *a, const uint8_t *b, int32_t pitch) {
    uint32_t sum = 0;
    for (const Point &p : pattern)
        sum += (uint32_t)abs(a[p.row * pitch + p.col] - b[p.row * pitch + p.col]);
    return sum;
}

// Runs of 8 pixels that step down the block; one pixel in 16 of a small block.
std::vector<Point> Pattern(int32_t block) {
    std::vector<Point> pattern;
    for (int32_t row = 0; row < block; row += 4)
        for (int32_t i = 0; i < (block == 32 ? 8 : 4); i++)
            pattern.push_back({row, block == 32 ? row / 4 % 4 * 8 + i : 4 * i});
    return pattern;
}

TEST(BlockCost, SumsItsPatternAndReadsNothingElse) {
    for (int32_t block : {16, 32}) {
        const std::vector<Point> pattern = Pattern(block);
        for (int32_t shift = 0; shift < 9; shift++) {
            const int32_t pitch = 40 + shift, last = block == 32 ? 28 * pitch + 32 : 12 * pitch + 13;
            const Bytes a = Noise(last, 1), b = Noise(last, 2);
            Guarded ga((size_t)last, Guarded::kAtEnd), gb((size_t)last, (Guarded::Side)(shift & 1));
            memcpy(ga.Data(), a.data(), a.size());
            memcpy(gb.Data(), b.data(), b.size());
            const uint32_t want = Sad(pattern, a.data(), b.data(), pitch);
            EXPECT_EQ(block == 32 ? GetSad32AlignF0(ga.Data(), gb.Data(), 4 * pitch + 8)
                                  : GetSad16F0(ga.Data(), gb.Data(), pitch),
                      want);
            if (block == 16) continue;
            uint32_t texture = 0;
            for (size_t i = 0; i < 64; i++) {
                const Point p = pattern[i], q = pattern[(i + 8) % 64];
                texture +=
                    (uint32_t)abs(a.data()[p.row * pitch + p.col] - a.data()[q.row * pitch + q.col]);
            }
            EXPECT_EQ(GetInnerSad32(ga.Data(), pitch), texture);
        }
    }
}

// Steps of `step` while one of the four neighbours is cheaper; `see` hears of every cost.
void Descend(const Cost &cost, const Allowed &allowed, int32_t step, Point *at, uint32_t *best,
             int *last, const std::function<void(uint32_t)> &see = {}) {
    for (;;) {
        int won = -1;
        for (int m = 0; m < 4; m++) {
            const Point p = {at->row + kMoves[m].row * step, at->col + kMoves[m].col * step};
            if (*last == (m ^ 1) || !allowed(p.row, p.col)) continue;
            const uint32_t c = cost(p.row, p.col);
            if (see) see(c);
            if (c < *best) {
                *best = c;
                won = m;
            }
        }
        if (won < 0) return;
        *at = {at->row + kMoves[won].row * step, at->col + kMoves[won].col * step};
        *last = won;
    }
}

// The whole-frame shift; the words it writes go into *out, which starts as a copy of the context.
int32_t PlainShift(const MVS_Context *ctx, MVS_Context *out, const uint8_t *cur, const uint8_t *prev) {
    const int32_t w = ctx->lInWidth, rx = ctx->lShiftRangeX, ry = ctx->lShiftRangeY;
    const int32_t areaW = w - 2 * rx, areaH = ctx->lInHeight - 2 * ry;
    const uint32_t n = (uint32_t)((areaW >> 2) * (areaH / 10));
    std::vector<Point> grid;
    for (int32_t r = 0; r == 0 || r < areaH / 10; r++)
        for (int32_t c = 0; c < std::max(areaW / 64, 1) * 16; c++)
            grid.push_back({ry + 10 * r, rx + 4 * c});
    const Cost cost = [&](int32_t dy, int32_t dx) { return Sad(grid, cur, prev + dy * w + dx, w); };
    const Allowed allowed = [&](int32_t dy, int32_t dx) { return abs(dy) <= ry && abs(dx) <= rx; };

    Point start = {ctx->lPrevRow, ctx->lPrevCol};
    if (ctx->lMode != 1)
        for (int32_t *v : {&start.row, &start.col}) *v = (*v < 0 ? -1 : 1) * ((abs(*v) + 512) / 1024);
    start = {std::min(std::max(start.row, -ry), ry), std::min(std::max(start.col, -rx), rx)};
    Point at = {0, 0};
    uint32_t best = cost(0, 0), ever = 0xFFFFFF;
    if (cost(start.row, start.col) < best) {
        at = start;
        best = cost(at.row, at.col);
    }
    const int32_t kFirst[] = {4, 4, 4, 8, 16, 32}, kSteps[] = {128, 64, 32, 16, 8, 4, 1};
    int last = -1;
    for (int round = 1; round <= 3; round++) {
        const int32_t first = round == 3 ? 1 : kFirst[ctx->lSizeLevel] * (round == 2 ? 4 : 1);
        for (int32_t step : kSteps) {
            if (step > first) continue;
            if (step < first) last = -1;
            Descend(cost, allowed, step, &at, &best, &last);
        }
        if (best < ever) {
            ever = best;
            out->lCurMotionRow = -at.row;
            out->lCurMotionCol = -at.col;
            out->lCurMotionTheta = 0;
        }
        out->bShiftReliable = 1;
        if (best <= 6 * n) return 1;
        if (round == 1) {
            int64_t diff = 0;
            for (const Point &p : grid)
                diff += cur[p.row * w + p.col] - prev[(p.row + at.row) * w + p.col + at.col];
            out->lShiftMeanDiff = (int32_t)llabs(diff);
            last = -1;
        }
        const uint32_t bar = 6 * n + (uint32_t)out->lShiftMeanDiff;
        out->bShiftReliable = out->lShiftMeanDiff <= (int32_t)(11 * n);
        if (best < bar) return 1;
        out->bShiftReliable = ctx->bShiftReliable;
        if (round == 3 && 3 * bar > best) return 1;
        at = {0, 0};
    }
    out->bShiftReliable = 0;
    return 0;
}

// Flat frames that differ by a level: every sum is a known multiple of the number of samples.
TEST(CoarseShift, Bars) {
    const Size s = {96, 43};
    const int32_t n = 16;
    for (int32_t level : {0, 6, 7, 11, 12, 155}) {
        const Handle ctx = MakeHandle(s);
        ctx->lShiftMeanDiff = -1;
        const Bytes prev((size_t)s.Frame(), 100), cur((size_t)s.Frame(), (uint8_t)(100 + level));
        EXPECT_EQ(GetBigShiftF0(ctx.get(), cur.data(), prev.data()), 1);
        EXPECT_EQ(ctx->lShiftSampleNum, n);
        EXPECT_EQ(ctx->lShiftMeanDiff, level > 6 ? level * n : -1); // not needed up to the first bar
        EXPECT_EQ(ctx->bShiftReliable, level <= 11 ? 1 : 0);
    }
    const Handle narrow = MakeHandle({92, 43}),
                 low = MakeHandle({96, 32}); // no room for a group, or a row
    const Bytes frame((size_t)s.Frame());
    for (MVS_Context *ctx : {narrow.get(), low.get()}) {
        ctx->lCurMotionRow = 77;
        EXPECT_EQ(GetBigShiftF0(ctx, frame.data(), frame.data()), 0);
        EXPECT_EQ(ctx->bShiftReliable, 0);
        EXPECT_EQ(ctx->lCurMotionRow, 77);
        EXPECT_EQ(ctx->pShiftPrevFrame, frame.data());
    }
}

// The previous frame's rows are +-v around the current frame's grey, so a shift by dy rows costs 16 * v
// and brightness says nothing. The second round ends with moves down; the third must not begin with one
// up.
TEST(CoarseShift, ThirdRoundRemembersTheLastMove) {
    const Size s = {93, 43};
    const Handle ctx = MakeHandle(s);
    const Bytes cur((size_t)s.Frame(), 100);
    for (int32_t lure : {90, 10}) {
        Bytes prev = cur;
        for (int32_t y = 0; y < s.height; y++)
            for (int32_t x = 0; x < s.width; x++) {
                const int32_t dy = y - ctx->lShiftRangeY;
                const int32_t v = dy == 8     ? 60
                                  : dy == -16 ? 50
                                  : dy == -15 ? 40
                                  : dy == -14 ? 30
                                  : dy == -1  ? lure
                                              : 90;
                prev.data()[y * s.width + x] = (uint8_t)(100 + (x & 4 ? v : -v));
            }
        ctx->lMode = 1;
        ctx->lPrevRow = 8;
        EXPECT_EQ(GetBigShiftF0(ctx.get(), cur.data(), prev.data()), 0);
        EXPECT_EQ(ctx->lCurMotionRow, 14);
    }
}

TEST(CoarseShift, LikeAPlainSearch) {
    int accepted = 0, refused = 0, unreliable = 0;
    for (Size s : {Size{176, 144}, Size{93, 43}, Size{330, 250}, Size{500, 420}, Size{900, 720}})
        for (int32_t i = 0; i < (s.width > 400 ? 30 : s.width < 100 ? 400 : 90); i++) {
            Random random;
            random.state += (uint64_t)(i * 7919 + s.width);
            Handle ctx = MakeHandle(s);
            const int32_t reach = i % 4 == 3 ? 6000 : 60;
            const Pose camera = {256 * random.In(-reach / 2, reach / 2), 256 * random.In(-reach, reach),
                                 0};
            const Bytes prev = i % 9 ? Render(s, {0, 0, 0}) : Noise(s.Frame(), (uint64_t)i);
            Bytes cur = i % 6 == 5 ? Noise(s.Frame(), 4)
                                   : Render(s, camera, i % 3 == 1 ? random.In(-30, 30) : 0);
            if (i % 15 == 7) std::fill(cur.begin(), cur.end(), (uint8_t)(i * 2)); // ties everywhere
            ctx->lMode = 1 + i % 3;
            ctx->lPrevRow = random.In(-40, 40) * (ctx->lMode == 1 ? 1 : 512);
            ctx->lPrevCol = random.In(-40, 40) * (ctx->lMode == 1 ? 1 : 512);
            ctx->bShiftReliable = 7;
            const MVS_Context start = *ctx;
            MVS_Context want = start;
            const int32_t result = PlainShift(&start, &want, cur.data(), prev.data());
            want.pShiftPrevFrame = prev.data();
            want.lShiftSampleNum =
                ((s.width - 2 * ctx->lShiftRangeX) >> 2) * ((s.height - 2 * ctx->lShiftRangeY) / 10);
            for (CpuLevel level : CpuLevels()) {
                *ctx = start;
                ctx->pKernels = want.pKernels = KernelsOf(level);
                EXPECT_EQ(GetBigShiftF0(ctx.get(), cur.data(), prev.data()), result) << i;
                EXPECT_EQ(0, memcmp(&want, ctx.get(), sizeof(want)))
                    << s.width << ' ' << i << ": " << ctx->lCurMotionRow << ',' << ctx->lCurMotionCol
                    << " for " << want.lCurMotionRow << ',' << want.lCurMotionCol << " level " << level;
            }
            accepted += result;
            refused += !result;
            unreliable += result && !want.bShiftReliable;
        }
    EXPECT_GT(accepted, 50);
    EXPECT_GT(refused, 10);
    EXPECT_GT(unreliable, 0);
}

MVS_BlockMV PlainSearch(int32_t block, const uint8_t *cur, const uint8_t *prev, Size s, Point origin,
                        Point at, const std::vector<MVS_BlockMV> &predictors) {
    const std::vector<Point> pattern = Pattern(block);
    const ptrdiff_t offset = (ptrdiff_t)origin.row * s.width + origin.col;
    const Cost cost = [&](int32_t dy, int32_t dx) {
        // Small blocks stop once they are half a frame away.
        if (block == 16 && (abs(at.row) > s.height / 2 || abs(at.col) > s.width / 2)) return UINT32_MAX;
        return Sad(pattern, cur + offset, prev + offset + dy * s.width + dx, s.width);
    };
    uint32_t best = cost(at.row, at.col), second = 0x0FFFFFFF;
    for (const MVS_BlockMV &p : predictors) {
        const int32_t y = origin.row + p.lMvRow, x = origin.col + p.lMvCol;
        if (!p.bValid || y < 0 || y > s.height - 29 || x < 0 || x > s.width - 32) continue;
        if (cost(p.lMvRow, p.lMvCol) >= best) continue;
        best = cost(p.lMvRow, p.lMvCol);
        at = {p.lMvRow, p.lMvCol};
    }
    // Moves right and down leave a pixel of the plane beyond the block; left and up go to the border.
    const Allowed allowed = [&](int32_t dy, int32_t dx) {
        const int32_t y = origin.row + dy, x = origin.col + dx;
        return (dx < at.col ? x >= 0 : dx == at.col || x + block <= s.width - 1) &&
               (dy < at.row ? y >= 0 : dy == at.row || y + block <= s.height - 1);
    };
    int last = -1;
    uint32_t bar = best;
    Descend(cost, allowed, 1, &at, &best, &last, [&](uint32_t c) {
        second = std::min(second, c < bar ? bar : c);
        bar = std::min(bar, c);
    });
    const bool good = best <= 256 && second != best;
    return {good || best >= 16, at.row, at.col};
}

// Scene, stripes that repeat exactly, a flat patch and noise; the second picture also loses its
// contrast.
Bytes Patchwork(Size s, Pose pose, bool weak) {
    Bytes frame = Render(s, pose);
    const Bytes noise = Noise(s.Luma(), weak ? 7 : 8);
    for (int32_t y = 0; y < s.height; y++)
        for (int32_t x = 0; x < s.width; x++) {
            uint8_t &p = frame.data()[y * s.width + x];
            if (x * 4 > s.width * 3 && y * 2 < s.height) p = (uint8_t)(x % 8 * 30 + (weak && y > 60));
            if (x * 4 > s.width * 3 && y * 3 > s.height * 2) p = 90;
            if (x * 4 < s.width && y * 2 > s.height) p = noise.data()[y * s.width + x];
            if (weak && x * 8 < s.width) p = (uint8_t)(p / 2 + 60);
        }
    return frame;
}

// The pattern is that of a whole block, whatever size is asked for.
TEST(BlockSearch, SmallSizesHaveNoMoreRoom) {
    const Size s = {320, 240};
    const Handle handle = MakeHandle(s);
    Guarded prev((size_t)s.Luma()), cur((size_t)s.Luma());
    const ptrdiff_t at = 192 * s.width + 128;
    for (int32_t i = 0; i < s.Luma(); i++) { // brighter downwards: a match lies 25 rows below
        prev.Data()[i] = (uint8_t)(i / s.width + i % 7);
        cur.Data()[i] = (uint8_t)(i / s.width + 25 + i % 7);
    }
    handle->lCurMotionRow = handle->lCurMotionCol = 0;
    for (int32_t size : {0, 16, 32})
        EXPECT_EQ(BlockLDME32(handle.get(), cur.Data() + at, prev.Data() + at, 6, 4, size).lMvRow, 15)
            << size;
}

TEST(BlockSearch, RecordsLikeOneThreadsPlainSearch) {
    int refused = 0, used = 0;
    for (Size s : {Size{201, 163}, Size{200, 161}, Size{177, 144}, Size{320, 240}, Size{333, 251},
                   Size{640, 480}})
        for (int32_t k = 0; k < 6; k++) {
            // The coarse shift, and what the picture has moved besides. The last one makes predictors
            // that end exactly at the lower and right border of a 320 x 240 frame.
            const Point kShifts[] = {{0, 0}, {3, -2}, {-9, 20}, {40, -33}, {-70, 1}, {40, 28}},
                        shift = kShifts[k];
            const Pose more = k < 5 ? Pose{300, 0, 900} : Pose{11 * 256, 4 * 256, 0};
            const Handle handle = MakeHandle(s);
            MVS_Context *ctx = handle.get();
            Guarded prev((size_t)s.Luma()), cur((size_t)s.Luma(), Guarded::kAtStart);
            memcpy(prev.Data(), Patchwork(s, {0, 0, 0}, false).data(), prev.Size());
            memcpy(cur.Data(),
                   Patchwork(s, {256 * shift.row + more.row, 256 * shift.col + more.col, more.theta},
                             k < 5)
                       .data(),
                   cur.Size());
            ctx->lCurMotionRow = -shift.row;
            ctx->lCurMotionCol = -shift.col;
            for (int32_t i = 0; i < ctx->lBlockNum; i++) ctx->pBlockMV[i] = {1, 3 * i, -i};

            const int32_t block = s.width > 200 ? 32 : 16, columns = s.width / block;
            std::vector<MVS_BlockMV> want((size_t)ctx->lBlockNum, MVS_BlockMV{0, 0, 0});
            if (block == 16) want.assign(ctx->pBlockMV, ctx->pBlockMV + ctx->lBlockNum);
            const auto low = [](int32_t v) { return v < 32 ? 32 : (v & ~31) + 32; };
            const auto high = [](int32_t size, int32_t v) {
                return std::min((size & ~31) - 64, (size + v - 32) & ~31);
            };
            int32_t valid = 0;
            for (int32_t i = 0; i < ctx->lBlockNum; i++) {
                const Point at = {i / columns * block, i % columns * block};
                MVS_BlockMV &record = want[(size_t)i];
                if (block == 32) {
                    const int32_t cy = -shift.row, cx = -shift.col;
                    if (at.row < low(cy) || at.row > high(s.height, cy)) continue;
                    if (at.col < low(cx) || at.col > high(s.width, cx)) continue;
                    if (GetInnerSad32(cur.Data() + at.row * s.width + at.col, s.width) < 64) continue;
                    std::vector<MVS_BlockMV> near = {want[(size_t)(i - columns)], want[(size_t)i - 1]};
                    if (i % columns < columns - 1) near.push_back(want[(size_t)(i - columns + 1)]);
                    record = PlainSearch(32, cur.Data(), prev.Data(), s, at, shift, near);
                } else {
                    const int32_t y = at.row + shift.row, x = at.col + shift.col;
                    record.bValid = 0;
                    if (y < 0 || x < 0 || y > s.height - 16 || x > s.width - 16) continue;
                    record = PlainSearch(16, cur.Data(), prev.Data(), s, at, shift, {});
                    if (abs(record.lMvCol) > s.width / 2 || abs(record.lMvRow) > s.height / 2)
                        record.bValid = 0;
                }
                valid += record.bValid;
                refused += !record.bValid;
                used += record.bValid && record.lMvCol != shift.col;
            }
            for (CpuLevel level : CpuLevels()) {
                ctx->pKernels = KernelsOf(level);
                ctx->stThreads.lMostThreads = level == kCpuPortable ? 1 : 4;
                for (int32_t i = 0; block == 16 && i < ctx->lBlockNum; i++)
                    ctx->pBlockMV[i] = {1, 3 * i, -i};
                const int32_t result = block == 32 ? BlockME32F0(ctx, cur.Data(), prev.Data())
                                                   : BlockME16F0(ctx, cur.Data(), prev.Data());
                EXPECT_EQ(result, valid > ctx->lBlockNum / 20 ? 1 : 0);
                EXPECT_EQ(0, memcmp(want.data(), ctx->pBlockMV, want.size() * sizeof(MVS_BlockMV)))
                    << s.width << ' ' << shift.row << " level " << level;
            }
            Faults::Reset();
        }
    EXPECT_GT(refused, 20);
    EXPECT_GT(used, 20);
    // No block of 16 is usable: not more than a twentieth, which is none.
    const Handle ctx = MakeHandle({64, 64});
    const Bytes flat(64 * 64, 90);
    EXPECT_EQ(BlockME16F0(ctx.get(), flat.data(), flat.data()), 0);
}

// Random pixels, pixels at their ends, and a jump from black to white; memory ends where a kernel's
// samples do.
TEST(TileKernels, EqualThePortableOnesAndReadNothingElse) {
    Random random;
    const auto fill = [&](const Guarded &g, int kind, uint8_t flat) {
        for (size_t i = 0; i < g.Size(); i++)
            g.Data()[i] = kind == 0   ? (uint8_t)random.Next()
                          : kind == 1 ? (uint8_t) - (int)(random.Next() & 1)
                                      : flat;
        g.ReadOnly();
    };
    for (CpuLevel level : CpuLevels())
        for (int32_t n = 0; n < 240; n++) {
            SCOPED_TRACE(testing::Message() << "level " << level << ", case " << n);
            const Kernels *fast = KernelsOf(level);
            const int32_t stride = kTile + 2 + n % 37, kind = n % 3, count = 1 + n % 120;
            const Guarded::Side side = (Guarded::Side)(n & 1), other = (Guarded::Side)(n >> 1 & 1);
            const size_t tile = (size_t)((kTile + 1) * stride + kTile);
            const Guarded cur(tile, side), prev(tile, other);
            fill(cur, kind, 0);
            fill(prev, kind, 255);
            TileSums want, got;
            TileSumsPortable(cur.Data() + stride, prev.Data() + stride, stride, &want);
            fast->pTileSums(cur.Data() + stride, prev.Data() + stride, stride, &got);
            EXPECT_EQ(memcmp(&want, &got, sizeof(want)), 0);

            const size_t patch = (size_t)((kPatch - 1) * stride + kPatch);
            const Guarded first(patch, side), second(patch, other);
            fill(first, kind, 255);
            fill(second, kind, 0);
            EXPECT_EQ(PatchErrorPortable(first.Data(), second.Data(), stride),
                      fast->pPatchError(first.Data(), second.Data(), stride));

            const int32_t width = 2 * count + n / 120;
            const Guarded fine((size_t)(width + 2 * count), side), coarse((size_t)count, other),
                same((size_t)count);
            fill(fine, kind, 255);
            HalveRowPortable(fine.Data(), width, same.Data(), count);
            fast->pHalveRow(fine.Data(), width, coarse.Data(), count);
            EXPECT_EQ(memcmp(same.Data(), coarse.Data(), (size_t)count), 0);
        }
}

// The handle's sample buffer has room for the smallest range, which a program may choose at any time,
// and not a byte more is written.
TEST(Coarse, SamplesFitAtTheSmallestRange) {
    for (const Size size : {Size{97, 61}, {176, 144}, {333, 211}, {1280, 720}}) {
        const std::vector<Bytes> clip = ShakyClip(size, 3);
        const Handle ctx = MakeHandle(size, 0);
        QEL_MVS_AnalyzeHW(ctx.get(), 1, 1);
        ASSERT_EQ(ctx->lShiftRangeX, 16);
        ASSERT_EQ(ctx->lShiftRangeY, 16);
        uint8_t *own = ctx->pSamples;
        for (Guarded::Side side : {Guarded::kAtEnd, Guarded::kAtStart}) {
            const Guarded samples(ctx->lSampleRoom, side);
            ctx->pSamples = samples.Data();
            Bytes out = clip[0];
            for (const Bytes &in : clip) QEL_MVS_StabilizeFrame(ctx.get(), in.data(), out.data());
        }
        EXPECT_GT(ctx->lShiftSampleNum, 0);
        ctx->pSamples = own;
    }
}

} // namespace

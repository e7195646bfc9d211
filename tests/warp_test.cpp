// SPDX-License-Identifier: BSD-2-Clause
// Warps against the plain formula for every sample, with the planes between guard pages.
#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>

#include "kernels.h"
#include "support/run.h"
#include "warp/mapping_kernels.h"
#include "warp/pixel_warp.h"
#include "warp/pixels.h"
#include "warp/warp.h"

namespace {

struct Map {
    int32_t r0, c0, z, s;
};

// A guarded plane of noise.
struct Plane : Guarded {
    explicit Plane(int32_t bytes, uint64_t seed = 0, Side side = kAtEnd)
        : Guarded((size_t)bytes, side) {
        if (seed)
            memcpy(Data(), Noise(bytes, seed).data(), (size_t)bytes);
        else
            memset(Data(), kUntouched, (size_t)bytes);
    }
    Bytes Copy() const { return Bytes(Data(), Data() + Size()); }
};

Map AnyMap(Random *random, Size in) {
    const int32_t side = 1024 * std::max(in.width, in.height);
    const int32_t step = random->In(0, 2) ? random->In(-90, 90) : random->In(-3, 3);
    return {random->In(-side, side), random->In(-side, side),
            random->In(0, 3) ? 896 : random->In(700, 1024), step};
}

// Base and quarters of a position; a warp's last base is `margin` from the end of the side.
void Locate(int32_t q10, int32_t size, int32_t margin, int32_t *base, int32_t *quarters) {
    const int32_t last = std::max(size - margin, 0);
    const bool inside = q10 >= 0 && q10 <= last * 1024;
    *base = inside ? q10 / 1024 : q10 < 0 ? 0 : last;
    *quarters = inside ? q10 / 256 % 4 : 0;
}

TEST(PixelWarp, EverySampleByTheFormula) {
    Random random;
    const Size kFrames[][2] = {{{1, 1}, {2, 2}},     {{1, 9}, {8, 4}},     {{9, 1}, {2, 9}},
                               {{2, 3}, {3, 2}},     {{3, 5}, {6, 6}},     {{64, 47}, {64, 47}},
                               {{90, 63}, {71, 50}}, {{40, 30}, {80, 66}}, {{80, 1}, {90, 6}}};
    for (const Size *size : kFrames)
        for (int32_t format = 0; format < 2; format++)
            for (int32_t i = 0; i < 40; i++) {
                const Size in = size[0], out = size[1];
                const Handle handle = MakeHandle(in, out, format);
                if (!handle) continue; // pairs in odd widths
                MVS_Context *ctx = handle.get();
                const Map m = i ? AnyMap(&random, in) : Map{0, 0, 1024, 0};
                Plane from(in.Frame(), 7 + (uint64_t)i, (Guarded::Side)(i & 1));
                Bytes want((size_t)out.Frame(), kUntouched);
                const uint8_t *y = from.Data(), *chroma = y + in.Luma();
                const int32_t cw = in.width / 2, ch = in.height / 2;
                for (int32_t k = 0; k < out.Luma(); k++) {
                    const int32_t row = k / out.width, col = k % out.width;
                    int32_t r, c, fy, fx;
                    Locate(m.r0 + m.z * row + m.s * col, in.height, 2, &r, &fy);
                    Locate(m.c0 + m.z * col - m.s * row, in.width, 2, &c, &fx);
                    const auto at = [&](int32_t dy,
                                        int32_t dx) { // a side of 1 has no neighbour and no fraction
                        return (int32_t)y[std::min(r + dy, in.height - 1) * in.width +
                                          std::min(c + dx, in.width - 1)];
                    };
                    const int32_t top = (at(0, 0) * (4 - fx) + at(0, 1) * fx) / 4;
                    const int32_t bottom = (at(1, 0) * (4 - fx) + at(1, 1) * fx) / 4;
                    want.data()[k] = (uint8_t)((top * (4 - fy) + bottom * fy) / 4);
                }
                for (int32_t k = 0; k < out.Chroma() && cw && ch; k++) {
                    const int32_t row = k / (out.width / 2), col = k % (out.width / 2);
                    int32_t r, c, f;
                    Locate(m.r0 + m.z * row + m.s * col, ch, 2, &r, &f);
                    Locate(m.c0 + m.z * col - m.s * row, cw, 2, &c, &f);
                    for (int32_t plane = 0; plane < 2; plane++)
                        if (format)
                            want.data()[out.Luma() + 2 * k + plane] = chroma[2 * (r * cw + c) + plane];
                        else
                            want.data()[out.Luma() + plane * (out.Luma() / 4) + k] =
                                chroma[plane * (in.Luma() / 4) + r * cw + c];
                }
                from.ReadOnly();
                for (CpuLevel level : CpuLevels()) {
                    Plane to(out.Frame());
                    ctx->pKernels = KernelsOf(level);
                    StabY_RotationF0(ctx, y, to.Data(), m.r0, m.c0, m.z, m.s);
                    ctx->pCurFrame = y;
                    ctx->pOutFrame = to.Data();
                    if (format)
                        StabC2_RotationF0(ctx, m.r0, m.c0, m.z, m.s);
                    else
                        StabC_RotationF0(ctx, chroma, to.Data() + out.Luma(), m.r0, m.c0, m.z, m.s);
                    ASSERT_EQ(to.Copy(), want)
                        << in.width << ' ' << out.width << ' ' << format << ' ' << i;
                }
            }
}

// Rows of every sample kind by each level's kernels, in two bands, against the definition. Maps go
// through the plane near its last row and column, with every step that the kernels take and some
// beyond.
TEST(PixelWarp, KernelsEqualTheDefinition) {
    Random random;
    const PixelKernel kDefinitions[] = {ClampedLumaPixels, ClampedNearestPixels, ClampedNearestPairs};
    for (int32_t i = 0; i < 3000; i++) {
        const int32_t kind = i % 3, bytes = kind == 2 ? 2 : 1, largest = i % 4 ? 90 : 20;
        const int32_t width = random.In(1, largest), height = random.In(1, largest);
        const int32_t count = random.In(1, 150), rows = random.In(1, 8);
        const int32_t stride = width * bytes + (i & 8 ? random.In(0, 40) : 0);
        const Plane from(stride * (height - 1) + width * bytes, 1 + (uint64_t)i % 9,
                         (Guarded::Side)(i >> 4 & 1));
        const Plane to(count * bytes * rows, 0, (Guarded::Side)(i >> 5 & 1));
        Plane want(count * bytes * rows);
        from.ReadOnly();

        const int32_t steep = i % 5 ? 60 : QEL_MOST_PIXEL_STEP + 2;
        WarpMap map = {0, 0, i % 7 ? random.In(0, QEL_MOST_PIXEL_STEP + 1) : QEL_MOST_PIXEL_STEP,
                       random.In(-steep, steep)};
        const int32_t x = random.In(0, count), y = random.In(0, rows); // lies inside the plane
        map.lR0 = 1024 * random.In(0, height) - random.In(0, 1023) - map.lZ * y - map.lS * x;
        map.lC0 = 1024 * random.In(0, width) - random.In(0, 1023) - map.lZ * x + map.lS * y;

        const PixelPlane plane = {from.Data(),
                                  stride,
                                  std::max(height - 2, 0),
                                  std::max(width - 2, 0),
                                  height > 1 ? stride : 0,
                                  width > 1};
        for (int32_t row = 0; row < rows; row++)
            kDefinitions[kind](&plane, want.Data() + row * count * bytes, map.lR0 + map.lZ * row,
                               map.lC0 - map.lS * row, map.lZ, map.lS, 0, count);
        for (CpuLevel level : CpuLevels()) {
            const Kernels *kernels = KernelsOf(level);
            const RowWarp rowsOf = kind == 0 ? WarpLumaRows : WarpNearestRows;
            const WarpPlane warp = {from.Data(), to.Data(), width,         height, count,
                                    rows,        stride,    count * bytes, bytes,  rows};
            memset(to.Data(), kUntouched, to.Size());
            rowsOf(kernels, &warp, &map, y, rows);
            ASSERT_EQ(std::count(to.Data(), to.Data() + y * count * bytes, kUntouched),
                      y * count * bytes);
            rowsOf(kernels, &warp, &map, 0, y);
            ASSERT_EQ(memcmp(to.Data(), want.Data(), to.Size()), 0) << level << ' ' << kind << ' ' << i;
        }
    }
}

// Offsets in quarters of the four samples of an axis, by start phase.
const int32_t kOffsets[4][4] = {{0, 3, 7, 10}, {1, 4, 8, 11}, {2, 5, 9, 12}, {3, 6, 10, 13}};

int32_t KernelSample(const uint8_t *src, ptrdiff_t stride, int32_t step, int32_t row, int32_t col) {
    const uint8_t *p = src + row / 4 * stride + col / 4 * step;
    const int32_t fy = row % 4, fx = col % 4;
    int32_t sum = (4 - fy) * (4 - fx) * p[0];
    if (fx) sum += (4 - fy) * fx * p[step];
    if (fy) sum += fy * (4 - fx) * p[stride];
    if (fx && fy) sum += fy * fx * p[stride + step];
    return sum / 16;
}

TEST(Kernels, ValuesAndFootprint) {
    const int32_t stride = 23;
    for (int32_t phase = 0; phase < 16; phase++)
        for (int32_t variant = 0; variant < 3; variant++)
            for (uint64_t seed = 1; seed < 40; seed++) {
                const int32_t a = phase / 4, b = phase % 4, step = variant == 2 ? 2 : 1;
                Plane src(stride * (a == 3 ? 4 : 3) + step * (b == 3 ? 4 : 3) + 1, seed);
                Plane dst(stride * 3 + step * 3 + 1);
                Bytes want = dst.Copy();
                for (int32_t i = 0; i < 4; i++)
                    for (int32_t k = 0; k < 4; k++)
                        want.data()[i * stride + k * step] = (uint8_t)KernelSample(
                            src.Data(), stride, step, kOffsets[a][i], kOffsets[b][k]);
                src.ReadOnly();
#define THREADED(a, b) mapping_block_4x4_7to8_##a##b##_OP,
                const MappingKernel kThreaded[16] = {QEL_FOR_EACH_PHASE(THREADED)};
                const MappingKernel *const kVariants[] = {kMappingKernels[0], kThreaded,
                                                          kMappingKernels[1]};
                kVariants[variant][phase](src.Data(), dst.Data(), stride);
                ASSERT_EQ(dst.Copy(), want) << phase << ' ' << variant;
            }
    // The tables name the exported kernels.
    EXPECT_EQ(kMappingKernels[0][1], mapping_block_4x4_7to8_01);
    EXPECT_EQ(kMappingKernels[1][14], mapping_block_4x4_7to8_32_OP_C2);
}

// One component of a plane by blocks, up to `rows` rows.
void PlainBlocks(const uint8_t *in, uint8_t *out, int32_t w, int32_t h, int32_t stride, int32_t step,
                 Map m, int32_t first, int32_t rows) {
    for (int32_t y = first; y < std::min(h, rows); y++)
        for (int32_t x = 0; x < w; x++) {
            int32_t r, c, fy, fx;
            Locate(m.r0 + 4 * m.z * (y / 4) + 4 * m.s * (x / 4), h, 5, &r, &fy);
            Locate(m.c0 + 4 * m.z * (x / 4) - 4 * m.s * (y / 4), w, 5, &c, &fx);
            out[y * stride + x * step] = (uint8_t)KernelSample(
                in + r * stride + c * step, stride, step, kOffsets[fy][y % 4], kOffsets[fx][x % 4]);
        }
}

TEST(BlockWarp, EverySampleOfEveryPass) {
    Random random;
    const std::vector<CpuLevel> levels = CpuLevels();
    for (Size s :
         {Size{10, 10}, Size{64, 48}, Size{67, 49}, Size{65, 46}, Size{130, 90}, Size{320, 240}})
        for (int32_t i = 0; i < 48; i++) {
            const AtLevel level(levels[(size_t)i / 2 % levels.size()]);
            const Map m = i ? AnyMap(&random, s) : Map{0, 0, 896, 0};
            const int32_t cw = s.width / 2, ch = s.height / 2, full = i & 1;
            const Handle planar = MakeHandle(s), pairs = MakeHandle(s, 1);
            Plane from(s.Frame(), 50 + (uint64_t)i);
            const uint8_t *chroma = from.Data() + s.Luma();
            from.ReadOnly();

            Plane normal(s.Frame()), shared(s.Frame());
            Bytes want = normal.Copy();
            PlainBlocks(from.Data(), want.data(), s.width, s.height, s.width, 1, m, 0, s.height);
            Bytes wantShared = want;
            for (int32_t plane = 0; plane < 2; plane++)
                PlainBlocks(chroma + plane * (s.Luma() / 4),
                            want.data() + s.Luma() + plane * (s.Luma() / 4), cw, ch, cw, 1, m, 0,
                            full ? ch : s.height / 8 * 4);
            QEL_MVS_SetFullChroma(planar.get(), full);
            StabY_Rotation_4x4_7to8_normal(planar.get(), from.Data(), normal.Data(), m.r0, m.c0, m.z,
                                           m.s);
            StabC_Rotation_4x4_7to8_normal(planar.get(), chroma, normal.Data() + s.Luma(), m.r0, m.c0,
                                           m.z, m.s);
            ASSERT_EQ(normal.Copy(), want) << s.width << ' ' << i;

            // Shared out: whole block rows only. Chroma as pairs where the width allows it.
            memset(wantShared.data() + s.height / 4 * 4 * s.width, kUntouched,
                   (size_t)(s.height % 4 * s.width));
            MVS_Context *ctx = pairs ? pairs.get() : planar.get();
            StabY_Rotation_4x4_7to8(ctx, from.Data(), shared.Data(), m.r0, m.c0, m.z, m.s);
            if (pairs) {
                for (int32_t k = 0; k < 2; k++)
                    PlainBlocks(chroma + k, wantShared.data() + s.Luma() + k, cw, ch, s.width, 2, m, 0,
                                s.height / 8 * 4);
                ctx->pCurFrame = from.Data();
                ctx->pOutFrame = shared.Data();
                StabC2_Rotation_4x4_7to8(ctx, nullptr, nullptr, m.r0, m.c0, m.z, m.s);
            }
            ASSERT_EQ(shared.Copy(), wantShared) << s.width << ' ' << i;

            Plane part(s.Luma());
            Bytes wantPart = part.Copy();
            PlainBlocks(from.Data(), wantPart.data(), s.width, s.height, s.width, 1, m, 4, 8);
            StabY_Rotation_4x4_7to8_block(ctx, from.Data(), part.Data(), m.r0, m.c0, 4 * m.z, 4 * m.s,
                                          1, 2);
            ASSERT_EQ(part.Copy(), wantPart);
        }
}

TEST(Shift, CropKeptInsideTheInput) {
    const Size in = {67, 53}, out = {50, 40};
    const Handle ctx = MakeHandle(in, out, 0);
    const Plane from(in.Frame(), 5);
    QEL_MVS_SetMode(ctx.get(), 1);
    const int32_t kComps[][4] = {{0, 0, 6, 8},           {1023, -1023, 6, 8},  {1024, -1024, 7, 7},
                                 {-1500, 2047, 5, 9},    {-7000, -9000, 0, 0}, {-90000, -90000, 0, 0},
                                 {90000, 90000, 13, 17}, {7168, 9216, 13, 17}};
    for (const auto &k : kComps) {
        ctx->lCompRow = k[0];
        ctx->lCompCol = k[1];
        Plane to(out.Frame());
        Bytes want = to.Copy();
        for (int32_t i = 0; i < out.Luma(); i++)
            want.data()[i] = from.Data()[(k[2] + i / 50) * 67 + k[3] + i % 50];
        for (int32_t i = 0; i < 2 * out.Chroma(); i++) {
            const int32_t plane = i / 500, row = k[2] / 2 + i % 500 / 25, col = k[3] / 2 + i % 25;
            want.data()[out.Luma() + plane * 500 + i % 500] =
                from.Data()[in.Luma() + plane * (in.Luma() / 4) + row * 33 + col];
        }
        StabilizeFrameM1F0(ctx.get(), from.Data(), to.Data());
        EXPECT_EQ(to.Copy(), want) << k[0] << ' ' << k[1];
    }
    const Handle small = MakeHandle({40, 60}, {50, 40}, 0);
    Plane to(out.Frame());
    StabilizeFrameM1F0(small.get(), from.Data(), to.Data());
    EXPECT_EQ(to.Copy(), Bytes(to.Size(), kUntouched));
}

// Whichever warp comes first in the life of a handle, its scratch planes are grey afterwards: what it
// reads there is grey, so what it writes there is too.
TEST(Chroma, ScratchIsGreyFromTheFirstWarpOn) {
    using Pass =
        void (*)(MVS_Context *, const uint8_t *, uint8_t *, int32_t, int32_t, int32_t, int32_t);
    using Whole = void (*)(MVS_Context *, const uint8_t *, uint8_t *);
    const Pass kPasses[] = {StabY_RotationF0,         StabC_RotationF0,
                            StabY_Rotation_4x4_7to8,  StabY_Rotation_4x4_7to8_normal,
                            StabC2_Rotation_4x4_7to8, StabC_Rotation_4x4_7to8_normal};
    const Whole kWholes[] = {StabilizeFrameM1F0, StabilizeFrameM2F0, StabilizeFrameM3F0};
    const Size size = {64, 44};
    const Bytes in = Noise(size.Frame(), 3), grey((size_t)size.Luma() / 2, 128);
    for (int32_t format : {1, 2})
        for (int32_t i = 0; i < 10; i++) {
            const Handle handle = MakeHandle(size, format);
            MVS_Context *ctx = handle.get();
            Bytes out(in.size());
            memset(ctx->pScratchInU, kUntouched, grey.size());
            memset(ctx->pScratchOutU, kUntouched, grey.size());
            ctx->pCurFrame = in.data();
            ctx->pOutFrame = out.data();
            if (i < 6) kPasses[i](ctx, in.data(), out.data(), 900, -700, 896, 9);
            if (i >= 6 && i < 9) kWholes[i - 6](ctx, in.data(), out.data());
            if (i == 9) StabC2_RotationF0(ctx, 900, -700, 896, 9);
            EXPECT_EQ(memcmp(ctx->pScratchInU, grey.data(), grey.size()), 0) << format << ' ' << i;
            EXPECT_EQ(memcmp(ctx->pScratchOutU, grey.data(), grey.size()), 0) << format << ' ' << i;
        }
}

TEST(Chroma, PairsAndSplit) {
    Plane planes(30, 3), pairs(30), show(96);
    UV_I420_to_NV21(planes.Data(), planes.Data() + 15, pairs.Data(), 5, 3);
    for (int32_t i = 0; i < 15; i++) {
        EXPECT_EQ(pairs.Data()[2 * i], planes.Data()[15 + i]);
        EXPECT_EQ(pairs.Data()[2 * i + 1], planes.Data()[i]);
    }
    Plane back(30);
    UV_NV21_to_I420(back.Data(), back.Data() + 15, pairs.Data(), 5, 3);
    EXPECT_EQ(back.Copy(), planes.Copy());
    const Bytes source = Noise(96, 9);
    const int32_t kSplits[][4] = {{0, 0, 0, 0}, {1, 0, 0, 0}, {5, 0, 4, 2},
                                  {7, 0, 6, 3}, {8, 0, 0, 0}, {4, 1, 0, 0}};
    for (const auto &k : kSplits) { // 8 x 8
        memset(show.Data(), 0, 96);
        const uint8_t *s = source.data();
        QEL_MVS_SplitterShow(s, s + 64, s + 80, show.Data(), show.Data() + 64, show.Data() + 80, 8, 8,
                             k[0], k[1]);
        for (int32_t i = 0; i < 96; i++)
            EXPECT_EQ(show.Data()[i], (i < 64 ? i % 8 < k[2] : i % 4 < k[3]) ? s[i] : 0)
                << k[0] << ' ' << i;
    }
}

} // namespace

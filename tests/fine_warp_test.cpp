// SPDX-License-Identifier: BSD-2-Clause
// The fine warp against the plain formula for every sample, with the planes between guard pages, and
// its maps against the rotation they stand for.
#include <gtest/gtest.h>
#include <math.h>
#include <string.h>

#include <algorithm>

#include "kernels.h"
#include "platform/trigonometry.h"
#include "support/run.h"
#include "warp/fine_pixels.h"
#include "warp/fine_warp.h"

namespace {

// A plane with padding and guard pages; a negative pitch turns it upside down.
struct Picture : Guarded {
    FinePlane plane;
    Picture(FinePlane layout, int32_t padding, bool up, Side side)
        : Guarded((size_t)((layout.lHeight - 1) * Pitch(layout, padding) + Pitch(layout, 0)), side,
                  kUntouched),
          plane(layout) {
        plane.lPitch = Pitch(layout, padding);
        plane.pSamples = Data();
        if (!up) return;
        plane.pSamples += plane.lPitch * (plane.lHeight - 1);
        plane.lPitch = -plane.lPitch;
    }
    static int32_t Pitch(const FinePlane &layout, int32_t padding) {
        return layout.lWidth * layout.lChannels * layout.lSampleBytes + padding;
    }
};

uint8_t *At(const FinePlane &plane, int64_t row, int64_t col, int32_t channel) {
    row = std::clamp<int64_t>(row, 0, plane.lHeight - 1);
    col = std::clamp<int64_t>(col, 0, plane.lWidth - 1);
    return plane.pSamples + row * plane.lPitch + (col * plane.lChannels + channel) * plane.lSampleBytes;
}

int32_t Read(const FinePlane &plane, int64_t row, int64_t col, int32_t channel) {
    uint16_t word;
    const uint8_t *p = At(plane, row, col, channel);
    if (plane.lSampleBytes == 1) return *p;
    memcpy(&word, p, 2);
    return word >> plane.lShift;
}

int64_t Linear(const FinePlane &in, int64_t r, int64_t c, int32_t channel) {
    const int64_t f = c >> 8 & 255, g = r >> 8 & 255;
    int64_t sum = 0, line[2];
    for (int32_t i = 0; i < 2; i++) {
        const int64_t a = Read(in, (r >> 16) + i, c >> 16, channel);
        const int64_t b = Read(in, (r >> 16) + i, (c >> 16) + 1, channel);
        line[i] = a * 128 + (((b - a) * f + 1) >> 1);
        sum += (a * (256 - f) + b * f) * (i ? g : 256 - g);
    }
    if (in.lSampleBytes == 2) return (sum + 32768) >> 16;
    return (line[0] + (((line[1] - line[0]) * g + 128) >> 8) + 64) >> 7;
}

int64_t Cubic(const FinePlane &in, int64_t r, int64_t c, int32_t channel) {
    int32_t across[4], down[4];
    r += 512;
    c += 512;
    FineWeights(c >> 10 & 63, across);
    FineWeights(r >> 10 & 63, down);
    int64_t sum = 0, rounded = 0;
    for (int32_t i = 0; i < 4; i++) {
        int64_t line = 0;
        for (int32_t j = 0; j < 4; j++)
            line += across[j] * Read(in, (r >> 16) + i - 1, (c >> 16) + j - 1, channel);
        sum += line * down[i];
        rounded += (line * down[i] + 32) >> 6;
    }
    return in.lSampleBytes == 2 ? (sum + 2048) >> 12 : (rounded + 32) >> 6;
}

// Q16, in wrapping arithmetic.
int64_t Position(int64_t first, int64_t perX, int64_t perY, int32_t x, int32_t y) {
    const uint64_t start =
        (uint64_t)first + (uint64_t)perY * (uint64_t)y + (uint64_t)perX * (uint64_t)(x / 16 * 16);
    return ((int64_t)start >> 16) + x % 16 * (perX >> 16);
}

void PlainWarp(const FinePass &pass, bool cubic) {
    const FinePlane &in = pass.stIn, &out = pass.stOut;
    const FineMap &m = pass.stMap;
    for (int32_t y = 0; y < out.lHeight; y++)
        for (int32_t k = 0; k < out.lWidth * out.lChannels; k++) {
            const int32_t x = k / out.lChannels, channel = k % out.lChannels;
            const int64_t c = Position(m.llC0, m.llCX, m.llCY, x, y);
            const int64_t r = Position(m.llR0, m.llRX, m.llRY, x, y);
            const int64_t value = cubic ? Cubic(in, r, c, channel) : Linear(in, r, c, channel);
            const int64_t most = (1 << in.lBits) - 1;
            const uint16_t word = (uint16_t)(std::clamp<int64_t>(value, 0, most) << in.lShift);
            if (in.lSampleBytes == 1)
                *At(out, y, x, channel) = (uint8_t)word;
            else
                memcpy(At(out, y, x, channel), &word, 2);
        }
}

int64_t Any64(Random *random) { return (int64_t)((uint64_t)random->Next() << 32 | random->Next()); }

// Most maps lead through the plane, by steps that the vector kernels take; some by any, some anywhere.
FineMap AnyMap(Random *random, const FinePlane &in, const FinePlane &out, int32_t i) {
    const auto any = [&](double lo, double hi) {
        return (int64_t)((lo + (hi - lo) * random->In(0, 65536) / 65536) * 4294967296.0);
    };
    if (i % 23 == 0)
        return {Any64(random), Any64(random), Any64(random),
                Any64(random), Any64(random), Any64(random)};
    FineMap m;
    m.llCX = i % 11 == 0  ? any(-3, 3)
             : i % 7 == 0 ? kMostFineStep
                          : any(0.001, in.lWidth > 12 ? 1.7 : 0.3);
    m.llRX = i % 13 == 0 ? any(-2, 2) : i % 5 == 0 ? any(-0.35, 0.35) : any(-0.01, 0.01);
    m.llCY = any(-0.3, 0.3);
    m.llRY = any(0.5, 1.5);
    const bool whole = i % 10 > 7; // meets whole pixels, or places just below, again and again
    if (whole)
        m = {0, (int64_t)random->In(4, 6) << 30,        0,
             0, random->In(-1, 1) * ((int64_t)1 << 30), (int64_t)1 << 32};
    const int64_t x = random->In(0, out.lWidth), y = random->In(0, out.lHeight);
    const int64_t unit = whole ? (int64_t)1 << 32 : 1;
    m.llC0 = (any(-2, in.lWidth + 1) - m.llCX * x - m.llCY * y) & -unit;
    m.llR0 = (any(-2, in.lHeight + 1) - m.llRX * x - m.llRY * y) & -unit;
    m.llC0 -= whole * random->In(0, 1) * (1 << 24);
    m.llR0 -= whole * random->In(0, 1) * (1 << 24);
    return m;
}

TEST(FineWarp, EverySampleByTheFormula) {
    Random random;
    for (int32_t i = 0; i < 4000; i++) {
        const bool wide = i % 4 == 3, cubic = i & 4;
        const int32_t largest = i % 5 ? 90 : 12, channels = i % 6 == 5 ? 3 : 1 << random.In(0, 2);
        const int32_t bits = wide ? random.In(8, 16) : 8, shift = wide ? random.In(0, 16 - bits) : 0;
        const FinePlane layout = {nullptr, 0, 0, 0, channels, wide ? 2 : 1, bits, shift};
        FinePlane in = layout, out = layout;
        in.lWidth = random.In(1, largest);
        in.lHeight = random.In(1, largest);
        out.lWidth = random.In(1, 90);
        out.lHeight = random.In(1, 8);
        const Picture from(in, random.In(0, 1) * random.In(0, 40), random.In(0, 1),
                           (Guarded::Side)random.In(0, 1));
        const Bytes noise = Noise((int32_t)from.Size(), 1 + (uint64_t)i);
        for (size_t k = 0; k < noise.size(); k++) // both ends of the range often
            from.Data()[k] = noise[k] < 64 ? 0 : noise[k] > 192 ? 255 : noise[k];
        from.ReadOnly();
        const Picture want(out, i & 8 ? 5 : 0, i & 16, Guarded::kAtEnd);
        FinePass pass = {from.plane, want.plane, AnyMap(&random, in, out, i)};
        PlainWarp(pass, cubic);
        for (CpuLevel level : CpuLevels()) {
            const Picture to(out, i & 8 ? 5 : 0, i & 16, (Guarded::Side)(i >> 5 & 1));
            pass.stOut = to.plane;
            const int32_t half = out.lHeight / 2;
            FineWarpRows(KernelsOf(level), &pass, cubic, half, out.lHeight);
            FineWarpRows(KernelsOf(level), &pass, cubic, 0, half);
            ASSERT_EQ(memcmp(to.Data(), want.Data(), to.Size()), 0)
                << level << ' ' << i << ' ' << cubic << ' ' << channels << ' ' << bits;
        }
    }
}

// The last run has another row behind its own in memory, the run before it has not.
TEST(FineWarp, ReadsNothingBehindThePlane) {
    for (int32_t i = 0; i < 4; i++) {
        const bool cubic = i & 1, up = i & 2;
        const Picture from({nullptr, 0, 64, 20, 1, 1, 8, 0}, 0, up, Guarded::kAtEnd);
        const Bytes noise = Noise((int32_t)from.Size(), 5);
        memcpy(from.Data(), noise.data(), noise.size());
        const FinePlane out = {nullptr, 0, 51, 1, 1, 1, 8, 0};
        const Picture want(out, 0, false, Guarded::kAtEnd), to(out, 0, false, Guarded::kAtEnd);
        const int64_t pixel = (int64_t)1 << 32, turn = up ? pixel / 50 : -pixel / 50;
        FineMap map = {13 * pixel, pixel, 0, (up ? 1 + cubic : 18 - cubic) * pixel, turn, 0};
        map.llR0 -= turn * 95 / 2; // pixels 47 and 48 lie on both sides of this row
        FinePass pass = {from.plane, want.plane, map};
        PlainWarp(pass, cubic);
        pass.stOut = to.plane;
        for (CpuLevel level : CpuLevels()) {
            FineWarpRows(KernelsOf(level), &pass, cubic, 0, 1);
            EXPECT_EQ(memcmp(to.Data(), want.Data(), to.Size()), 0) << level << ' ' << i;
        }
    }
}

// The planes of a picture at once, shared between threads.
TEST(FineWarp, PlanesOfAPicture) {
    const Handle handle = MakeHandle({640, 480});
    Random random;
    for (bool cubic : {false, true}) {
        std::vector<FinePass> passes, plain;
        std::vector<std::unique_ptr<Picture>> pictures;
        for (int32_t i = 0; i < 4; i++) {
            const FinePlane in = {nullptr, 0, 300 - 40 * i, 220 >> i, 1 + i, 1, 8, 0};
            const FinePlane out = {nullptr, 0, 280 - 60 * i, 250 >> i, 1 + i, 1, 8, 0};
            for (const FinePlane &layout : {in, out, out})
                pictures.push_back(std::make_unique<Picture>(layout, 3, false, Guarded::kAtEnd));
            const size_t last = pictures.size();
            Picture *from = pictures[last - 3].get();
            const Bytes noise = Noise((int32_t)from->Size(), 7);
            memcpy(from->Data(), noise.data(), noise.size());
            const FineMap map = AnyMap(&random, in, out, 1);
            passes.push_back({from->plane, pictures[last - 2]->plane, map});
            plain.push_back({from->plane, pictures[last - 1]->plane, map});
            PlainWarp(plain.back(), cubic);
        }
        FineWarp(handle.get(), passes.data(), 4, cubic);
        for (size_t i = 1; i < pictures.size(); i += 3)
            EXPECT_EQ(memcmp(pictures[i]->Data(), pictures[i + 1]->Data(), pictures[i]->Size()), 0);
    }
    const FinePlane out = {nullptr, 0, 20, 20, 1, 1, 8, 0};
    const Picture to(out, 0, false, Guarded::kAtEnd);
    const FinePass empty = {{nullptr, 0, 0, 0, 1, 1, 8, 0}, to.plane, {}};
    FineWarp(handle.get(), &empty, 1, false);
    EXPECT_EQ(Bytes(to.Data(), to.Data() + to.Size()), Bytes(to.Size(), kUntouched));
}

TEST(FineWarp, WeightsOfKeys) {
    const double a = -kSharpness / 8.0;
    for (int32_t phase = 0; phase < 64; phase++) {
        int32_t w[4];
        FineWeights(phase, w);
        EXPECT_EQ(w[0] + w[1] + w[2] + w[3], -64);
        for (int32_t i = 0; i < 4; i++) {
            const double d = fabs(i - 1 - phase / 64.0);
            const double keys =
                d <= 1 ? ((a + 2) * d - (a + 3)) * d * d + 1 : a * (((d - 5) * d + 8) * d - 4);
            EXPECT_NEAR(w[i], -64 * keys, i == 2 ? 1.5 : 0.51) << phase << ' ' << i;
            EXPECT_EQ(w[i] * 512, (int16_t)(w[i] * 512)); // what the vector kernels multiply by
        }
    }
}

// Each plane's map, through luma pixels, against the turned and scaled picture.
TEST(FineMap, EveryPlaneShowsTheSamePicture) {
    const FineSizes sizes = {1920, 1080, 1280, 720};
    const FineSampling kPlanes[] = {
        {0, 0, 0, 0}, {1, 1, 0, 2}, {1, 1, 2, 2}, {1, 0, 0, 0}, {2, 0, -3, 6}};
    const FineView kViews[] = {{0, 0, 0, 1}, {3.25, -7.5, 0.02, 0.9}, {-40, 11, -1.4, 1.5}};
    for (const FineView &view : kViews)
        for (const FineSampling &plane : kPlanes)
            for (int32_t x : {0, 100, 639})
                for (int32_t y : {0, 33, 359}) {
                    const double stepX = 1 << plane.lSubX, stepY = 1 << plane.lSubY;
                    const double outX = stepX * x + plane.lSiteX / 4.0 - 639.5;
                    const double outY = stepY * y + plane.lSiteY / 4.0 - 359.5;
                    const double inX =
                        959.5 + view.dCol +
                        view.dScale * (outX * cos(view.dTheta) - outY * sin(view.dTheta));
                    const double inY =
                        539.5 + view.dRow +
                        view.dScale * (outX * sin(view.dTheta) + outY * cos(view.dTheta));
                    const FineMap m = FineMapOf(&view, &sizes, &plane);
                    const double col = (double)(m.llC0 + m.llCX * x + m.llCY * y) / 4294967296.0;
                    const double row = (double)(m.llR0 + m.llRX * x + m.llRY * y) / 4294967296.0;
                    EXPECT_NEAR(col * stepX + plane.lSiteX / 4.0, inX, 1e-6);
                    EXPECT_NEAR(row * stepY + plane.lSiteY / 4.0, inY, 1e-6);
                }
    // A view that moves nothing copies; numbers out of range overflow nothing.
    const FineSizes same = {640, 480, 640, 480};
    const FineView none = {0, 0, 0, 1}, hostile = {NAN, INFINITY, 1e300, -1e300};
    const FineMap m = FineMapOf(&none, &same, &kPlanes[1]);
    const int64_t one = (int64_t)1 << 32;
    EXPECT_EQ((Bytes((const uint8_t *)&m, (const uint8_t *)(&m + 1))), ([&] {
                  const FineMap copy = {0, one, 0, 0, 0, one};
                  return Bytes((const uint8_t *)&copy, (const uint8_t *)(&copy + 1));
              }()));
    EXPECT_EQ(FineMapOf(&hostile, &same, &kPlanes[0]).llC0, 0);
}

TEST(Trigonometry, SineAndCosine) {
    for (int32_t i = -4000; i <= 4000; i++) {
        const double angle = i * 0.005;
        EXPECT_NEAR(Sine(angle), sin(angle), 1e-14) << angle;
        EXPECT_NEAR(Cosine(angle), cos(angle), 1e-14) << angle;
    }
    EXPECT_EQ(Sine(0), 0);
    EXPECT_EQ(Cosine(0), 1);
    EXPECT_EQ(Sine(NAN), 0);
}

} // namespace

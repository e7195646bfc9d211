// SPDX-License-Identifier: BSD-2-Clause
// Refined handles over a table of sizes and layouts, by planes and by frames: every instruction set
// measures and shows what the portable kernels do, with any pitch, and touches nothing but the planes.
#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>

#include "support/faults.h"
#include "support/pitched.h"
#include "support/refined_run.h"
#include "support/sweep.h"

namespace {

struct Part {
    int32_t channels, luma = 0, log2X = 0, log2Y = 0, siteX = 0, siteY = 0;
};

struct Layout {
    const char *name;
    int32_t bits, lowest;
    std::vector<Part> parts;
};

const Part kU = {1, 0, 1, 1, 0, 2}, kPairs = {2, 0, 1, 1, 0, 2}, kCentre = {1, 0, 1, 1, 2, 2};
const Layout kLayouts[] = {
    {"NV12", 8, 0, {{1}, kPairs}},
    {"I420", 8, 0, {{1}, kCentre, kCentre}},
    {"I422", 8, 0, {{1}, {1, 0, 1, 0}, {1, 0, 1, 0}}},
    {"NV16", 8, 0, {{1}, {2, 0, 1, 0}}},
    {"I444", 8, 0, {{1}, {1}, {1}}},
    {"grey", 8, 0, {{1}}},
    {"RGBA", 8, 0, {{4, 1}}},
    {"RGB", 8, 0, {{3, 1}}},
    {"UYVY", 8, 0, {{2, 1}}},
    {"P010", 10, 6, {{1}, kPairs}},
    {"I010", 10, 0, {{1}, kU, kU}},
    {"RGBA of 16 bits", 16, 0, {{4, 1}}},
    {"quarters and alpha", 8, 0, {{1}, {1, 0, 2, 2, -16, 16}, {1, 0, 2, 2, 16, -16}, {1}}}};

// One way of holding and handling a picture that must not show in the result.
struct Way {
    CpuLevel level = kCpuPortable;
    Guarded::Side side = Guarded::kAtEnd;
    int32_t padding = 0; // samples behind each row
    bool up = false;     // bottom row first
};

// Each plane between guard pages of its own.
struct Picture {
    std::vector<MVS_Plane> planes;
    std::vector<std::unique_ptr<PitchedPlane>> memory;

    Picture(const Layout &layout, Size size, bool roundUp, const Way &way) {
        const int32_t bytes = layout.bits > 8 ? 2 : 1;
        for (const Part &p : layout.parts) {
            const int32_t x = roundUp ? (1 << p.log2X) - 1 : 0, y = roundUp ? (1 << p.log2Y) - 1 : 0;
            const int32_t width = std::max((size.width + x) >> p.log2X, 1);
            const int32_t height = std::max((size.height + y) >> p.log2Y, 1);
            const int32_t row = width * p.channels * bytes, pitch = row + way.padding * bytes;
            memory.push_back(
                std::make_unique<PitchedPlane>(row, height, way.up ? -pitch : pitch, way.side));
            planes.push_back({(int32_t)sizeof(MVS_Plane), width, height, p.channels, p.luma, bytes,
                              layout.bits, layout.lowest, p.log2X, p.log2Y, p.siteX, p.siteY,
                              way.up ? -pitch : pitch, memory.back()->Top()});
        }
    }
    void Put(const std::vector<Bytes> &packed) {
        for (size_t i = 0; i < memory.size(); i++) {
            memory[i]->Put(packed[i].data());
            memory[i]->ReadOnly();
        }
    }
};

// The packed samples of a plane that shows the luma of a frame: the plane's luma has these 8 bits in
// its highest. What counts less, or not at all, is noise.
Bytes Samples(const MVS_Plane &p, const Bytes &frame, Size size) {
    Bytes bytes;
    uint32_t noise = 1;
    const int32_t above = p.lBits - 8 + p.lLowestBit;
    for (int32_t y = 0; y < p.lHeight; y++)
        for (int32_t x = 0; x < p.lWidth * p.lChannels; x++) {
            const int32_t row = std::min(y << p.lLog2Y, size.height - 1);
            const int32_t col = std::min(x / p.lChannels << p.lLog2X, size.width - 1);
            const uint8_t luma = frame[(size_t)(row * size.width + col)];
            const uint8_t value = (uint8_t)(luma ^ 37 * (x % p.lChannels - p.lLuma));
            noise = noise * 1664525 + 1013904223;
            const uint16_t word =
                (uint16_t)((uint32_t)value << above | (noise >> 16 & ((1u << above) - 1)));
            bytes.push_back(value);
            if (p.lSampleBytes == 1) continue;
            bytes.resize(bytes.size() + 1);
            memcpy(&bytes[bytes.size() - 2], &word, 2);
        }
    return bytes;
}

Handle MakeRefined(Sizes sizes, CpuLevel level, bool cubic) {
    const AtLevel at(level);
    Handle handle = MakeHandle(sizes.in, sizes.out, QEL_MVS_FORMAT_I420);
    EXPECT_TRUE(QEL_MVS_SetRefined(handle.get(), 1) && QEL_MVS_SetCubic(handle.get(), cubic));
    return handle;
}

// Measures a frame.
MVS_Compensation Measure(MVS_Context *ctx, const MVS_Plane &luma) {
    MVS_Compensation record = {};
    record.lSize = (int32_t)sizeof(record);
    EXPECT_TRUE(QEL_MVS_PushLuma(ctx, &luma) && QEL_MVS_PullCompensation(ctx, &record));
    return record;
}

// Packed, apart from gaps between rows: these are checked.
std::vector<Bytes> Compensate(const MVS_Context *ctx, const MVS_Compensation &record, const Picture &in,
                              const Picture &out) {
    std::vector<Bytes> packed;
    EXPECT_TRUE(QEL_MVS_CompensateFrame(ctx, &record, in.planes.data(), out.planes.data(),
                                        (int32_t)in.planes.size()));
    for (size_t i = 0; i < out.planes.size(); i++) {
        const MVS_Plane &p = out.planes[i];
        packed.emplace_back((size_t)(p.lWidth * p.lHeight * p.lChannels * p.lSampleBytes));
        EXPECT_TRUE(out.memory[i]->Get(packed.back().data())) << "gaps were written, plane " << i;
    }
    return packed;
}

class RefinedMatrix : public testing::TestWithParam<Sizes> {
  protected:
    RefinedMatrix();
    MVS_Compensation AnyRecord();
    std::vector<Way> Ways();
    void Planes(const Layout &layout, bool cubic);
    std::vector<Bytes> Shown(bool pairs);
    void Frames(Case c, bool cubic, const std::vector<Bytes> &shown);

    const Sizes sizes = GetParam();
    const Size in = sizes.in, out = sizes.out;
    const bool large = in.Luma() > 1000000, small = in.Luma() < 10000;
    const bool hasChroma = in.width > 1 && in.height > 1; // in frame calls
    const Handle plain = MakeRefined(sizes, kCpuPortable, false);
    Random random;
    std::vector<Bytes> clip;
    std::vector<MVS_Compensation> records; // as measured by the portable kernels
};

RefinedMatrix::RefinedMatrix() {
    random.state += (uint64_t)(in.width * 31 + in.height * 7 + out.width) << 20;
    clip = ShakyClip(in, large || Sweep().empty() ? 2 : 3);
    if (!Sweep().empty())
        for (const Bytes &frame : HostileClip(in, 0))
            if (!large || (Sweep() == "full" && clip.size() < 4)) clip.push_back(frame);
    for (const Bytes &frame : clip)
        records.push_back(Measure(plain.get(), PlaneOf(frame.data(), in.width, in.height)));
}

// Any one; in the full sweep one of each level, three with small frames.
std::vector<Way> RefinedMatrix::Ways() {
    const std::vector<CpuLevel> levels = CpuLevels();
    const int32_t kPadding[] = {0, 1, 63};
    const size_t all = levels.size() * 12, first = random.Next() % all;
    const size_t count = Sweep() != "full" ? 1 : levels.size() * (small ? 3 : 1);
    std::vector<Way> ways;
    for (size_t n = first; n < first + count; n++) {
        const size_t rest = n / levels.size();
        ways.push_back({levels[n % levels.size()], (Guarded::Side)(rest % 2), kPadding[rest / 2 % 3],
                        rest / 6 % 2 != 0});
    }
    return ways;
}

// In a corner or anywhere, turned so little that a row rises by a pixel or two, by much, or by any
// word.
MVS_Compensation RefinedMatrix::AnyRecord() {
    const int32_t kTurns[] = {(2 << 24) / out.width, 400000, 4000000, INT32_MAX};
    const int32_t kParts[] = {4, 300, 700, 900, 960, 1000, 1020, 1024};
    const double most = 65536 * std::min((double)in.width / out.width, (double)in.height / out.height);
    const auto shift = [&](int32_t side) {
        const bool low = random.In(0, 1);
        return random.In(0, 3) ? (low ? INT32_MIN : INT32_MAX) : random.In(-8192, 8192) * side;
    };
    MVS_Compensation record = records[0];
    record.lRow = shift(in.height);
    record.lCol = shift(in.width);
    record.lTheta = kTurns[random.In(0, 3)] / 64 * random.In(-64, 64);
    record.lStep = random.In(0, 9) ? (int32_t)(most * kParts[random.In(0, 7)] / 1024) : shift(0);
    return record;
}

void RefinedMatrix::Planes(const Layout &layout, bool cubic) {
    const bool upIn = random.In(0, 1), upOut = random.In(0, 1);
    const std::vector<Way> ways = Ways();
    std::vector<Handle> handles;
    for (const Way &way : ways) handles.push_back(MakeRefined(sizes, way.level, cubic));
    QEL_MVS_SetCubic(plain.get(), cubic);
    for (size_t i = 0; i < clip.size(); i++) {
        Picture from(layout, in, upIn, {});
        std::vector<Bytes> packed;
        for (const MVS_Plane &p : from.planes) packed.push_back(Samples(p, clip[i], in));
        from.Put(packed);
        std::vector<MVS_Compensation> views = {i % 2 && !small ? AnyRecord() : records[i]};
        while (small && views.size() < 5) views.push_back(AnyRecord());
        std::vector<std::vector<Bytes>> want;
        for (const MVS_Compensation &view : views)
            want.push_back(Compensate(plain.get(), view, from, Picture(layout, out, upOut, {})));
        for (size_t n = 0; n < ways.size(); n++) {
            const Way &way = ways[n], outWay = {way.level, way.side, 63 - way.padding, !way.up};
            SCOPED_TRACE(testing::Message() << layout.name << (cubic ? " cubic" : "") << " frame " << i
                                            << " level " << way.level << " side " << way.side
                                            << " padding " << way.padding << (way.up ? " up" : ""));
            Picture held(layout, in, upIn, way);
            held.Put(packed);
            const MVS_Compensation record = Measure(handles[n].get(), held.planes[0]);
            ASSERT_EQ(memcmp(&record, &records[i], sizeof(record)), 0);
            for (size_t k = 0; k < views.size(); k++)
                ASSERT_TRUE(Compensate(handles[n].get(), views[k], held,
                                       Picture(layout, out, upOut, outWay)) == want[k])
                    << views[k].lRow << ' ' << views[k].lCol << ' ' << views[k].lTheta << ' '
                    << views[k].lStep;
        }
    }
}

// What frame calls must make of the clip: what its planes show.
std::vector<Bytes> RefinedMatrix::Shown(bool pairs) {
    std::vector<Bytes> shown;
    for (size_t i = 0; i < clip.size(); i++) {
        Bytes frame = pairs ? ToPairs(clip[i], in) : clip[i];
        shown.emplace_back((size_t)out.Frame(), kUntouched);
        MVS_Plane from[3], to[3];
        const int32_t all = PlanesOfFrame(in, pairs, frame.data(), from);
        PlanesOfFrame(out, pairs, shown[i].data(), to);
        EXPECT_TRUE(QEL_MVS_CompensateFrame(plain.get(), &records[i], from, to, hasChroma ? all : 1));
    }
    return shown;
}

// Split frames have the input in their left columns.
void RefinedMatrix::Frames(Case c, bool cubic, const std::vector<Bytes> &shown) {
    const Way way = Ways()[0];
    c.padding = way.padding;
    c.bottomUp = way.up;
    const AtLevel level(way.level);
    Runner runner(c, way.side);
    ASSERT_TRUE(runner.Ready() && QEL_MVS_SetRefined(runner.Context(), 1));
    QEL_MVS_SetCubic(runner.Context(), cubic);
    const bool splits = c.entry == Entry::SplitDiff || c.entry == Entry::SplitSame;
    for (size_t i = 0; i < clip.size(); i++) {
        SCOPED_TRACE(testing::Message() << c << (cubic ? " cubic" : "") << " frame " << i << " level "
                                        << way.level << " side " << way.side);
        Bytes got = runner.Push(clip[i]), want = shown[i];
        Bytes frame = c.format ? ToPairs(clip[i], in) : clip[i];
        MVS_Plane from[3], to[3];
        PlanesOfFrame(in, c.format, frame.data(), from);
        const int32_t all = PlanesOfFrame(out, c.format, want.data(), to);
        for (int32_t k = 0; k < (hasChroma ? all : 1); k++) {
            const MVS_Plane &p = to[k];
            for (int32_t y = 0; splits && in == out && in.width > kSplit && y < p.lHeight; y++)
                memcpy(p.pPixels + y * p.llPitch, from[k].pPixels + y * p.llPitch,
                       (size_t)(k ? kSplit / 2 * p.lChannels : kSplit & ~1));
            const ptrdiff_t at = p.pPixels - want.data();
            ASSERT_EQ(memcmp(&got[(size_t)at], p.pPixels, (size_t)(p.llPitch * p.lHeight)), 0) << k;
        }
        ASSERT_TRUE(c.InPlace() || got == want); // with the bytes that belong to no plane
    }
}

// Of the largest frames some layouts; in the full sweep all, and small frames with both interpolations.
TEST_P(RefinedMatrix, PlanesOfEveryLayout) {
    const int live = Faults::Live();
    const bool full = Sweep() == "full";
    for (const Layout &layout : kLayouts) {
        if (large && !full && random.In(0, 3)) continue;
        const int32_t cubic = random.In(0, 1);
        for (int32_t more = 0; more < (full && small ? 2 : 1); more++) Planes(layout, cubic != more);
        if (HasFatalFailure()) return;
    }
    EXPECT_EQ(Faults::Live(), live);
}

TEST_P(RefinedMatrix, FramesThroughEveryEntry) {
    const int live = Faults::Live();
    const bool cubic = random.In(0, 1);
    QEL_MVS_SetCubic(plain.get(), cubic);
    const std::vector<Bytes> shown[] = {Shown(false), Shown(true)};
    for (int32_t format = 0; format < 3; format++)
        for (int entry = 0; entry < kEntries; entry++) {
            const Case c = {in, out, format, 3, (Entry)entry, 0};
            if (!c.Exists() || (format && (in.width | out.width) % 2)) continue;
            Frames(c, cubic, shown[format != 0]);
            if (HasFatalFailure()) return;
        }
    EXPECT_EQ(Faults::Live(), live);
}

// Views of half the size and larger ones too.
std::vector<Sizes> RefinedSizes() {
    std::vector<Sizes> sizes = SizesToSweep();
    for (Sizes more : {Sizes{{64, 20}, {51, 12}},
                       {{67, 30}, {40, 30}},
                       {{240, 160}, {106, 70}},
                       {{60, 40}, {200, 150}},
                       {{300, 90}, {64, 120}}})
        sizes.push_back(more);
    return sizes;
}

INSTANTIATE_TEST_SUITE_P(Sizes, RefinedMatrix, testing::ValuesIn(RefinedSizes()),
                         [](const auto &param) { return param.param.Name(); });

} // namespace

// SPDX-License-Identifier: BSD-2-Clause
// The calls of quorvel/refined.h with impossible planes, records and settings of any words, and in any
// order, with every plane between guard pages.
#include <gtest/gtest.h>
#include <stddef.h>
#include <string.h>

#include <algorithm>

#include "support/faults.h"
#include "support/refined_run.h"

namespace {

const int32_t kEnds[] = {INT32_MIN, INT32_MIN + 1, -65536, -1, 0, 1, 5, 1024, INT32_MAX - 1, INT32_MAX};

// A plane in memory of its own.
struct OwnPlane {
    std::unique_ptr<Guarded> memory;
    MVS_Plane plane;

    OwnPlane(MVS_Plane layout, Size picture, bool roundUp, int32_t padding, bool bottomUp,
             Guarded::Side side)
        : plane(layout) {
        const int32_t x = roundUp ? (1 << plane.lLog2X) - 1 : 0,
                      y = roundUp ? (1 << plane.lLog2Y) - 1 : 0;
        plane.lWidth = std::max((picture.width + x) >> plane.lLog2X, 1);
        plane.lHeight = std::max((picture.height + y) >> plane.lLog2Y, 1);
        const int32_t row = plane.lWidth * plane.lChannels * plane.lSampleBytes;
        const int32_t pitch = row + padding * plane.lSampleBytes, below = pitch * (plane.lHeight - 1);
        memory = std::make_unique<Guarded>((size_t)(below + row), side, kUntouched);
        plane.llPitch = bottomUp ? -pitch : pitch;
        plane.pPixels = memory->Data() + (bottomUp ? below : 0);
    }
    void Paint(Random *random) {
        for (size_t i = 0; i < memory->Size(); i++) memory->Data()[i] = (uint8_t)random->Next();
        memory->ReadOnly();
    }
    bool Untouched() const {
        return std::all_of(memory->Data(), memory->Data() + memory->Size(),
                           [](uint8_t b) { return b == kUntouched; });
    }
};

MVS_Plane Layout(int32_t channels, int32_t sampleBytes, int32_t log2X = 0, int32_t log2Y = 0) {
    MVS_Plane plane = PlaneOf(nullptr, 0, 0, channels);
    plane.lSampleBytes = sampleBytes;
    plane.lBits = sampleBytes == 1 ? 8 : 10;
    plane.lLowestBit = sampleBytes == 1 ? 0 : 6;
    plane.lLog2X = log2X;
    plane.lLog2Y = log2Y;
    return plane;
}
MVS_Plane AnyLayout(Random *random, bool luma) {
    MVS_Plane p = Layout(random->In(1, 4), random->In(1, 2), luma ? 0 : random->In(0, 2),
                         luma ? 0 : random->In(0, 2));
    p.lLuma = random->In(0, p.lChannels - 1);
    p.lSiteX = random->In(-16, 16);
    p.lSiteY = random->In(-16, 16);
    if (p.lSampleBytes == 1) return p;
    p.lBits = random->In(8, 16);
    p.lLowestBit = random->In(0, 16 - p.lBits);
    return p;
}

MVS_Compensation Record() {
    MVS_Compensation record = {};
    record.lSize = (int32_t)sizeof(record);
    record.lStep = 60000;
    return record;
}

// Each a plane with one impossible word.
std::vector<MVS_Plane> Spoilt(const MVS_Plane &good) {
    std::vector<MVS_Plane> planes;
    const struct {
        size_t offset;
        std::vector<int32_t> values;
    } kWords[] = {{offsetof(MVS_Plane, lSize),
                   {0, (int32_t)sizeof(MVS_Plane) - 1, (int32_t)sizeof(MVS_Plane) + 8, -1, INT32_MIN}},
                  {offsetof(MVS_Plane, lWidth), {0, -1, 16385, INT32_MIN, INT32_MAX}},
                  {offsetof(MVS_Plane, lHeight), {0, -1, 16385, INT32_MIN, INT32_MAX}},
                  {offsetof(MVS_Plane, lChannels), {0, -1, 5, INT32_MIN, INT32_MAX}},
                  {offsetof(MVS_Plane, lLuma), {-1, good.lChannels, INT32_MIN, INT32_MAX}},
                  {offsetof(MVS_Plane, lSampleBytes), {0, 3, 4, -1, INT32_MIN, INT32_MAX}},
                  {offsetof(MVS_Plane, lBits), {7, 17, 0, INT32_MIN, INT32_MAX}},
                  {offsetof(MVS_Plane, lLowestBit), {-1, 17 - good.lBits, INT32_MIN, INT32_MAX}},
                  {offsetof(MVS_Plane, lLog2X), {-1, 3, 31, 64, INT32_MIN, INT32_MAX}},
                  {offsetof(MVS_Plane, lLog2Y), {-1, 3, 31, 64, INT32_MIN, INT32_MAX}},
                  {offsetof(MVS_Plane, lSiteX), {-17, 17, INT32_MIN, INT32_MAX}},
                  {offsetof(MVS_Plane, lSiteY), {-17, 17, INT32_MIN, INT32_MAX}}};
    for (const auto &word : kWords)
        for (int32_t value : word.values) {
            planes.push_back(good);
            memcpy((uint8_t *)&planes.back() + word.offset, &value, sizeof(value));
        }
    const int64_t row = good.lWidth * good.lChannels * good.lSampleBytes;
    for (int64_t pitch : {INT64_MIN, INT64_MIN + 1, INT64_MAX, INT64_MAX - 1, (int64_t)INT32_MAX + 1,
                          -(int64_t)INT32_MAX - 1, (int64_t)0, row - good.lSampleBytes,
                          -row + good.lSampleBytes, row + 1}) {
        if (pitch == row + 1 && good.lSampleBytes == 1) continue;
        planes.push_back(good);
        planes.back().llPitch = pitch;
    }
    std::vector<uint8_t *> tops = {nullptr, (uint8_t *)(UINTPTR_MAX - 1)};
    if (good.lSampleBytes == 2) tops.push_back(good.pPixels + 1);
    for (uint8_t *top : tops) {
        planes.push_back(good);
        planes.back().pPixels = top;
    }
    return planes;
}

TEST(Hostile, ImpossiblePlanesAreRefused) {
    Random random;
    const Size size = {33, 21};
    const Handle handle = MakeHandle(size, 0), ordinary = MakeHandle(size, 0);
    ASSERT_TRUE(QEL_MVS_SetRefined(handle.get(), 1));
    const MVS_Compensation record = Record();
    for (const MVS_Plane &layout :
         {Layout(1, 1), Layout(4, 1), Layout(2, 2), Layout(1, 1, 1, 1), Layout(2, 2, 2, 1)}) {
        OwnPlane first(Layout(1, 1), size, false, 3, false, Guarded::kAtEnd),
            in(layout, size, true, 5, layout.lChannels == 2, Guarded::kAtStart),
            firstOut(Layout(1, 1), size, false, 0, true, Guarded::kAtEnd),
            out(layout, size, false, 1, layout.lChannels == 1, Guarded::kAtEnd);
        first.Paint(&random);
        in.Paint(&random);
        MVS_Plane from[5], to[5];
        std::fill(from, from + 5, first.plane);
        std::fill(to, to + 5, firstOut.plane);
        from[1] = in.plane;
        to[1] = out.plane;
        const auto refuses = [&](int32_t count) {
            return !QEL_MVS_CompensateFrame(handle.get(), &record, from, to, count);
        };
        size_t n = 0;
        for (const MVS_Plane &bad : Spoilt(in.plane)) {
            EXPECT_FALSE(QEL_MVS_PushLuma(handle.get(), &bad)) << n;
            from[1] = bad;
            EXPECT_TRUE(refuses(2)) << n++;
        }
        from[1] = in.plane;
        for (const MVS_Plane &bad : Spoilt(out.plane)) {
            to[1] = bad;
            EXPECT_TRUE(refuses(2)) << n++;
        }
        // Over the input, over itself, over the other plane by a byte, another layout.
        MVS_Plane below = out.plane, deep = out.plane;
        below.pPixels = firstOut.memory->Data() + firstOut.memory->Size() - layout.lSampleBytes;
        deep.lSiteX = 7;
        for (const MVS_Plane &bad : {in.plane, first.plane, firstOut.plane, below, deep}) {
            to[1] = bad;
            EXPECT_TRUE(refuses(2)) << n++;
        }
        to[1] = out.plane;
        for (int32_t count : {0, -1, 3, 5, INT32_MIN, INT32_MAX}) EXPECT_TRUE(refuses(count)) << count;
        EXPECT_TRUE(firstOut.Untouched() && out.Untouched());
        EXPECT_FALSE(refuses(2));
    }
    const MVS_Plane p = Layout(1, 1);
    EXPECT_FALSE(QEL_MVS_PushLuma(nullptr, &p) || QEL_MVS_PushLuma(handle.get(), nullptr) ||
                 QEL_MVS_PushLuma(ordinary.get(), &p));
    for (int i = 0; i < 5; i++)
        EXPECT_FALSE(QEL_MVS_CompensateFrame(i == 0   ? nullptr
                                             : i == 1 ? ordinary.get()
                                                      : handle.get(),
                                             i == 2 ? nullptr : &record, i == 3 ? nullptr : &p,
                                             i == 4 ? nullptr : &p, 1));
}

// A handle that is made, set, fed and asked in any order.
struct Life {
    Random *random;
    Size in, out;
    Handle handle;
    MVS_Context *ctx = handle.get();

    int32_t Any() {
        return random->In(0, 1)   ? kEnds[random->In(0, (int32_t)std::size(kEnds) - 1)]
               : random->In(0, 3) ? random->In(-1200, 4200)
                                  : (int32_t)random->Next();
    }
    OwnPlane Plane(const MVS_Plane &layout, Size size) {
        return OwnPlane(layout, size, random->In(0, 1), random->In(0, 9), random->In(0, 1),
                        (Guarded::Side)random->In(0, 1));
    }
    void Set() {
        const int32_t value = Any(), other = Any();
        switch (random->In(0, 8)) {
        case 0:
            QEL_MVS_SetRefined(ctx, random->In(0, 4) ? 1 : value);
            break;
        case 1:
            QEL_MVS_SetLookahead(ctx, random->In(0, 2) ? random->In(-1, 12) : value);
            break;
        case 2:
            QEL_MVS_SetWindow(ctx, value);
            break;
        case 3:
            QEL_MVS_SetStrength(ctx, value);
            break;
        case 4:
            QEL_MVS_SetRoll(ctx, random->In(0, 1));
            break;
        case 5:
            QEL_MVS_SetFrameRate(ctx, value, random->In(0, 1) ? random->In(0, 3) : other);
            break;
        case 6:
            QEL_MVS_SetCubic(ctx, random->In(0, 1));
            break;
        case 7:
            QEL_MVS_SetMode(ctx, value);
            break;
        default:
            QEL_MVS_Reset(ctx);
            if (random->In(0, 3) == 0) QEL_MVS_EndStream(ctx);
        }
    }
    void Push() {
        if (random->In(0, 3) == 0) return PushMotion();
        OwnPlane luma = Plane(AnyLayout(random, true), in);
        if (random->In(0, 1)) luma.Paint(random);
        QEL_MVS_PushLuma(ctx, &luma.plane);
    }
    void PushMotion() {
        Guarded memory(sizeof(MVS_Compensation));
        MVS_Compensation *record = (MVS_Compensation *)memory.Data();
        record->lSize = random->In(0, 7) ? (int32_t)sizeof(*record) : Any();
        for (int32_t *word :
             {&record->lFlags, &record->lMotionRow, &record->lMotionCol, &record->lMotionTheta})
            *word = Any();
        memory.ReadOnly();
        QEL_MVS_PushMotion(ctx, record);
    }
    void PullAndCompensate() {
        Guarded memory(sizeof(MVS_Compensation));
        MVS_Compensation *record = (MVS_Compensation *)memory.Data();
        record->lSize = random->In(0, 3) ? (int32_t)sizeof(*record) : Any();
        if (!QEL_MVS_PullCompensation(ctx, record) || random->In(0, 1))
            for (size_t i = 4; i < sizeof(*record); i += 4) {
                const int32_t word = Any();
                memcpy(memory.Data() + i, &word, 4);
            }
        memory.ReadOnly();
        std::vector<OwnPlane> from, to;
        std::vector<MVS_Plane> planes[2];
        for (int32_t i = random->In(1, 4); i > 0; i--) {
            const MVS_Plane layout = AnyLayout(random, false);
            from.push_back(Plane(layout, in));
            to.push_back(Plane(layout, out));
            from.back().Paint(random);
            planes[0].push_back(from.back().plane);
            planes[1].push_back(to.back().plane);
        }
        const bool good = ctx->pRefined && record->lSize >= (int32_t)sizeof(*record);
        EXPECT_EQ(QEL_MVS_CompensateFrame(ctx, record, planes[0].data(), planes[1].data(),
                                          (int32_t)from.size()),
                  good);
    }
    void Frame() {
        Guarded cur((size_t)in.Frame(), Guarded::kAtEnd, (uint8_t)random->Next()),
            to((size_t)out.Frame()), both((size_t)std::max(in.Frame(), out.Frame()));
        cur.ReadOnly();
        const MVS_FrameTriple triple = {cur.Data(), nullptr, to.Data()};
        const int32_t call = random->In(0, 3);
        if (call == 0) QEL_MVS_StabilizeFrame(ctx, cur.Data(), to.Data());
        if (call == 1) QEL_MVS_StabilizeFrame_SameBuffer(ctx, both.Data());
        if (call == 2) QEL_MVS_StabilizeFrameEx(ctx, &triple);
        if (call == 3) QEL_MVS_StabilizeFrame_DiffBufferSplitterShow(ctx, cur.Data(), to.Data(), Any());
    }
};

TEST(Hostile, RefinedCallsInAnyOrder) {
    Random random;
    const int live = Faults::Live();
    const Size kSizes[] = {{1, 1}, {2, 1}, {300, 1}, {1, 333}, {17, 40}, {101, 3}, {210, 130}};
    for (Size in : kSizes)
        for (int round = 0; round < 24; round++) {
            const Size out = round & 1 ? in : kSizes[random.In(0, (int32_t)std::size(kSizes) - 1)];
            const std::vector<CpuLevel> levels = CpuLevels();
            const AtLevel level(levels[(size_t)round % levels.size()]);
            Life life = {&random, in, out, MakeHandle(in, out, round % 3)};
            if (!life.handle) continue;
            const bool frames = round % 4 == 3;
            QEL_MVS_SetRefined(life.ctx, 1);
            for (int i = 0; i < 30; i++) {
                if (i < 6 || random.In(0, 5) == 0) life.Set();
                if (frames || random.In(0, 9) == 0)
                    life.Frame();
                else if (random.In(0, 2))
                    life.Push();
                else
                    life.PullAndCompensate();
            }
        }
    EXPECT_EQ(Faults::Live(), live);
    const Handle ended = MakeHandle({64, 48});
    const OwnPlane luma(Layout(1, 1), {64, 48}, false, 0, false, Guarded::kAtEnd);
    EXPECT_TRUE(QEL_MVS_SetRefined(ended.get(), 1) && QEL_MVS_EndStream(ended.get()));
    QEL_MVS_SetLookahead(ended.get(), 5); // does not begin another stream
    EXPECT_FALSE(QEL_MVS_PushLuma(ended.get(), &luma.plane));
    MVS_Compensation record = Record();
    EXPECT_FALSE(QEL_MVS_PullCompensation(nullptr, &record) || QEL_MVS_EndStream(nullptr) ||
                 QEL_MVS_Reset(nullptr) || QEL_MVS_SetCubic(nullptr, 1) ||
                 QEL_MVS_SetFrameRate(nullptr, 30, 1) || QEL_MVS_SetRefined(nullptr, 0));
}

} // namespace

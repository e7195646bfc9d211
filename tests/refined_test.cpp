// SPDX-License-Identifier: BSD-2-Clause
// Refined handles: what they measure and show, by planes and by frames.
#include "quorvel/refined.h"

#include <gtest/gtest.h>
#include <math.h>
#include <string.h>

#include <algorithm>
#include <functional>

#include "clipgen/camera_path.h"
#include "clipgen/scene.h"
#include "kernels.h"
#include "support/run.h"

namespace {

const Size kSize = {640, 360};
const int32_t kShown = 896; // of 1024 of each side

Handle Refined(Size in, Size out, int32_t format = QEL_MVS_FORMAT_NV21) {
    Handle handle = MakeHandle(in, out, format);
    EXPECT_TRUE(QEL_MVS_SetRefined(handle.get(), 1));
    return handle;
}

MVS_Plane PlaneOf(uint8_t *pixels, int32_t width, int32_t height, int32_t channels = 1,
                  int32_t log2 = 0) {
    return {
        (int32_t)sizeof(MVS_Plane), width, height, channels, 0, 1, 8, 0, log2, log2, 0, log2 ? 2 : 0,
        (int64_t)width * channels,  pixels};
}

// Chroma that is grey.
Bytes Picture(const Scene &scene, const CameraPose &pose, Size size) {
    Bytes frame((size_t)size.Frame(), 128);
    scene.RenderLuma(pose, size.width, size.height, frame.data());
    return frame;
}

CameraPath Hand(double pan = 0, double shake = 4) {
    PathOptions options;
    options.pan = pan;
    options.shake = shake;
    return CameraPath(options);
}

int32_t Push(MVS_Context *ctx, Bytes &frame, Size size) {
    const MVS_Plane plane = PlaneOf(frame.data(), size.width, size.height);
    return QEL_MVS_PushLuma(ctx, &plane);
}

bool Pull(MVS_Context *ctx, MVS_Compensation *record) {
    *record = {};
    record->lSize = (int32_t)sizeof(*record);
    return QEL_MVS_PullCompensation(ctx, record);
}

// The records of all frames of a clip.
std::vector<MVS_Compensation> RecordsOf(MVS_Context *ctx, Size size, int frames,
                                        const std::function<Bytes(int)> &picture) {
    std::vector<MVS_Compensation> records;
    MVS_Compensation record;
    for (int i = 0; i < frames; i++) {
        Bytes frame = picture(i);
        EXPECT_TRUE(Push(ctx, frame, size));
        while (Pull(ctx, &record)) records.push_back(record);
    }
    EXPECT_TRUE(QEL_MVS_EndStream(ctx));
    while (Pull(ctx, &record)) records.push_back(record);
    EXPECT_EQ(records.size(), (size_t)frames);
    return records;
}

// RMS of measured minus true motion: pixels along an axis, and milliradians.
void ErrorOf(const std::vector<MVS_Compensation> &records, const CameraPath &path, double *pixels,
             double *milliradians) {
    double squares = 0, turns = 0;
    for (size_t i = 1; i < records.size(); i++) {
        const PoseMotion truth = MotionBetween(path.Pose((int)i - 1), path.Pose((int)i));
        const double row = records[i].lMotionRow / 65536.0 - truth.row;
        const double col = records[i].lMotionCol / 65536.0 - truth.col;
        squares += (row * row + col * col) / 2;
        turns += pow(records[i].lMotionTheta / 16777.216 - truth.theta * 1000, 2);
    }
    *pixels = sqrt(squares / (double)(records.size() - 1));
    *milliradians = sqrt(turns / (double)(records.size() - 1));
}

TEST(Refined, MeasuresFractionsOfPixels) {
    const Scene scene(3);
    const CameraPath path = Hand(20);
    Random random;
    struct {
        const char *name;
        std::function<void(Bytes &, int)> change;
        double pixels, milliradians;
    } const cases[] = {
        {"clean", [](Bytes &, int) {}, 0.03, 0.1},
        {"noise",
         [&](Bytes &frame, int) {
             for (int i = 0; i < kSize.Luma(); i++) {
                 int32_t sum = 0; // a standard deviation of 8
                 for (int k = 0; k < 4; k++) sum += random.In(-14, 14);
                 frame[(size_t)i] = (uint8_t)std::clamp(frame[(size_t)i] + sum / 2, 0, 255);
             }
         },
         0.06, 0.25},
        {"low contrast",
         [&](Bytes &frame, int) {
             for (int i = 0; i < kSize.Luma(); i++)
                 frame[(size_t)i] = (uint8_t)(140 + (frame[(size_t)i] - 128) / 10 + random.In(0, 1));
         },
         0.06, 0.25},
        {"flicker",
         [](Bytes &frame, int n) {
             for (int i = 0; i < kSize.Luma(); i++)
                 frame[(size_t)i] = (uint8_t)(frame[(size_t)i] * (n % 2 ? 85 : 100) / 100);
         },
         0.1, 0.25},
        {"half of it flat",
         [](Bytes &frame, int) { std::fill_n(frame.begin(), kSize.Luma() / 2, (uint8_t)235); }, 0.03,
         0.1},
        {"object",
         [](Bytes &frame, int n) { // two fifths of the picture show something else, which moves
             for (int y = 0; y < kSize.height; y++)
                 for (int x = 40; x < 40 + kSize.width * 2 / 5; x++)
                     frame[(size_t)(y * kSize.width + x)] =
                         (uint8_t)(90 + ((x - 5 * n) / 11 % 2 + y / 9 % 3) * 40);
         },
         0.06, 0.25}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        const Handle handle = Refined(kSize, kSize);
        double pixels = 9, milliradians = 9;
        ErrorOf(RecordsOf(handle.get(), kSize, 12,
                          [&](int i) {
                              Bytes frame = Picture(scene, path.Pose(i), kSize);
                              c.change(frame, i);
                              return frame;
                          }),
                path, &pixels, &milliradians);
        EXPECT_LT(pixels, c.pixels);
        EXPECT_LT(milliradians, c.milliradians);
    }
}

// Gravel or a lawn: nothing of it is left in the small pictures that the search begins with.
TEST(Refined, FollowsTextureThatIsFineOnly) {
    const int side = 560, margin = 100, blur = 2;
    Random random;
    std::vector<int> field((size_t)(side * side)), sums(field.size());
    for (int &sample : field) sample = random.In(-4000, 4000);
    for (int pass = 0; pass < 4; pass++) { // along rows and columns in turn
        for (size_t i = 0; i < field.size(); i++) {
            sums[i] = 0;
            for (int k = -blur; k <= blur; k++) {
                const size_t step = pass % 2 ? side : 1;
                sums[i] += field[(i + field.size() + (size_t)k * step) % field.size()];
            }
        }
        for (size_t i = 0; i < field.size(); i++) field[i] = sums[i] / (2 * blur + 1);
    }
    const int rows[] = {0, 5, -2, -8, -1, 4, 4, 10, 3}, cols[] = {0, -6, -1, 4, 9, 3, -4, 0, 6};
    const Handle handle = Refined(kSize, kSize);
    const std::vector<MVS_Compensation> records = RecordsOf(handle.get(), kSize, 9, [&](int i) {
        Bytes frame((size_t)(kSize.Luma() * 3 / 2), 128);
        for (int y = 0; y < kSize.height; y++)
            for (int x = 0; x < kSize.width; x++) {
                const size_t from = (size_t)((y + margin + rows[i]) * side + x + margin + cols[i]);
                frame[(size_t)(y * kSize.width + x)] =
                    (uint8_t)std::clamp(128 + field[from] / 8, 0, 255);
            }
        return frame;
    });
    for (size_t i = 1; i < records.size(); i++) {
        EXPECT_EQ(records[i].lFlags, QEL_MVS_MEASURED);
        EXPECT_NEAR(records[i].lMotionRow / 65536.0, rows[i] - rows[i - 1], 0.2);
        EXPECT_NEAR(records[i].lMotionCol / 65536.0, cols[i] - cols[i - 1], 0.2);
    }
}

TEST(Refined, KnowsRestFlashesAndCuts) {
    const Scene scene(3);
    const CameraPath path = Hand();
    const auto noisy = [](Bytes frame, int n) {
        const Bytes noise = Noise(kSize.Luma(), (uint64_t)n + 1);
        for (size_t i = 0; i < noise.size(); i++)
            frame[i] = (uint8_t)(frame[i] / 2 + 60 + noise[i] % 8);
        return frame;
    };
    const Handle still = Refined(kSize, kSize);
    for (const MVS_Compensation &record : RecordsOf(still.get(), kSize, 20, [&](int i) {
             return noisy(Picture(scene, path.Pose(0), kSize), i);
         }))
        EXPECT_EQ(record.lMotionRow | record.lMotionCol | record.lMotionTheta, 0) << record.llFrame;
    const Handle dark = Refined(kSize, kSize);
    for (const MVS_Compensation &record : RecordsOf(
             dark.get(), kSize, 20, [&](int i) { return noisy(Bytes((size_t)kSize.Frame(), 0), i); }))
        EXPECT_EQ(record.lRow | record.lCol | record.lTheta, 0) << record.llFrame;

    // A flash moves nothing: the frame after it is compared with the one before.
    const Handle flash = Refined(kSize, kSize);
    const auto flashed = RecordsOf(flash.get(), kSize, 12, [&](int i) {
        return i == 6 ? Bytes((size_t)kSize.Frame(), 250) : Picture(scene, path.Pose(i), kSize);
    });
    EXPECT_EQ(flashed[6].lRow, flashed[5].lRow);
    EXPECT_EQ(flashed[6].lCol, flashed[5].lCol);
    const PoseMotion across = MotionBetween(path.Pose(5), path.Pose(7));
    EXPECT_NEAR(flashed[7].lMotionRow / 65536.0, across.row, 0.1);
    EXPECT_NEAR(flashed[7].lMotionCol / 65536.0, across.col, 0.1);

    // A cut starts in the middle, at once where the brightness stays, else a frame later.
    for (int32_t darker : {0, 60}) {
        const Handle cut = Refined(kSize, kSize);
        const auto records = RecordsOf(cut.get(), kSize, 12, [&](int i) {
            Bytes frame = Picture(scene, path.Pose(i), kSize);
            if (i >= 6) std::reverse(frame.begin(), frame.begin() + kSize.Luma());
            for (int k = 0; i >= 6 && k < kSize.Luma(); k++)
                frame[(size_t)k] = (uint8_t)std::max(frame[(size_t)k] - darker, 0);
            return frame;
        });
        for (int i = 1; i < 12; i++) {
            const bool starts = i == (darker ? 7 : 6);
            EXPECT_EQ(records[(size_t)i].lFlags & QEL_MVS_NEW_SCENE, starts ? QEL_MVS_NEW_SCENE : 0)
                << i;
            if (starts) {
                EXPECT_EQ(records[(size_t)i].lRow | records[(size_t)i].lCol, 0);
            }
        }
        EXPECT_EQ(records[6].lFlags & QEL_MVS_MEASURED, 0);
    }
}

// A later picture is a calmer one.
TEST(Refined, LookaheadCalmsPictures) {
    const Scene scene(3);
    const CameraPath path = Hand(240, 6);
    double bends[4] = {};
    const int32_t lookaheads[] = {0, 15, 30, -1};
    for (int k = 0; k < 4; k++) {
        SCOPED_TRACE(lookaheads[k]);
        const Handle handle = Refined(kSize, kSize);
        EXPECT_TRUE(QEL_MVS_SetLookahead(handle.get(), lookaheads[k]));
        const auto records = RecordsOf(handle.get(), kSize, 75,
                                       [&](int i) { return Picture(scene, path.Pose(i), kSize); });
        std::vector<double> shown;
        for (size_t i = 0; i < records.size(); i++) {
            const MVS_Compensation &r = records[i];
            EXPECT_EQ(r.llFrame, (int64_t)i + 1);
            EXPECT_NEAR(r.lStep / 65536.0, kShown / 1024.0, 1e-4);
            shown.push_back(path.Pose((int)i).x + r.lCol / 65536.0);
        }
        for (size_t i = 12; i < shown.size(); i++)
            bends[k] += pow(shown[i] - 2 * shown[i - 1] + shown[i - 2], 2);
    }
    EXPECT_LT(bends[1], bends[0] / 2);
    EXPECT_LT(bends[2], bends[1] * 1.02);
    EXPECT_LT(bends[3], bends[2] / 2);
}

// Frames and planes, in place or not, at every instruction set and number of threads: one result.
TEST(Refined, FramesAndPlanesAgree) {
    const Size out = {640, 352};
    const auto clip = ShakyClip(kSize, 4);
    for (int32_t cubic : {0, 1}) {
        std::vector<Bytes> want;
        for (int32_t threads : {1, 2, 4}) {
            const Handle handle = Refined(kSize, out, QEL_MVS_FORMAT_I420);
            QEL_MVS_SetCubic(handle.get(), cubic);
            QEL_MVS_SetThreads(handle.get(), threads);
            for (size_t i = 0; i < clip.size(); i++) {
                Bytes to((size_t)out.Frame());
                QEL_MVS_StabilizeFrame(handle.get(), clip[i].data(), to.data());
                if (threads == 1)
                    want.push_back(to);
                else
                    EXPECT_EQ(Hash(to), Hash(want[i])) << threads << " threads, frame " << i;
            }
        }
        for (CpuLevel level : CpuLevels()) {
            const AtLevel at(level);
            const Handle handle = Refined(kSize, out, QEL_MVS_FORMAT_NV21);
            QEL_MVS_SetCubic(handle.get(), cubic);
            for (size_t i = 0; i < clip.size(); i++) {
                Bytes pairs = ToPairs(clip[i], kSize), to((size_t)out.Frame());
                ASSERT_TRUE(Push(handle.get(), pairs, kSize));
                MVS_Compensation record;
                ASSERT_TRUE(Pull(handle.get(), &record));
                const MVS_Plane from[] = {
                    PlaneOf(pairs.data(), kSize.width, kSize.height),
                    PlaneOf(pairs.data() + kSize.Luma(), kSize.width / 2, kSize.height / 2, 2, 1)};
                const MVS_Plane into[] = {
                    PlaneOf(to.data(), out.width, out.height),
                    PlaneOf(to.data() + out.Luma(), out.width / 2, out.height / 2, 2, 1)};
                ASSERT_TRUE(QEL_MVS_CompensateFrame(handle.get(), &record, from, into, 2));
                EXPECT_EQ(Hash(to), Hash(ToPairs(want[i], out)))
                    << "level " << level << ", frame " << i;
            }
        }
        // In place the buffer has the larger of both sizes.
        const Handle handle = Refined(kSize, out, QEL_MVS_FORMAT_I420);
        QEL_MVS_SetCubic(handle.get(), cubic);
        for (size_t i = 0; i < clip.size(); i++) {
            Bytes frame = clip[i];
            QEL_MVS_StabilizeFrame_SameBuffer(handle.get(), frame.data());
            frame.resize((size_t)out.Frame());
            EXPECT_EQ(Hash(frame), Hash(want[i])) << "in place, frame " << i;
        }
    }
}

// The same picture in other layouts is measured alike, and moved alike.
TEST(Refined, TakesPlanesOfAnyLayout) {
    const auto clip = ShakyClip(kSize, 3);
    const Handle plain = Refined(kSize, kSize), wide = Refined(kSize, kSize),
                 rgba = Refined(kSize, kSize);
    for (Bytes frame : clip) {
        const int32_t n = kSize.Luma(), w = kSize.width, h = kSize.height;
        std::vector<uint16_t> deep((size_t)n), deepOut((size_t)n, 0xFFFF);
        Bytes four((size_t)n * 4, 7), fourOut((size_t)n * 4), out((size_t)n);
        for (int32_t i = 0; i < n; i++) {
            deep[(size_t)i] = (uint16_t)(frame[(size_t)i] << 8);
            four[(size_t)(4 * i + 1)] = frame[(size_t)i];
        }
        MVS_Plane from = PlaneOf(frame.data(), w, h), into = PlaneOf(out.data(), w, h);
        MVS_Plane from10 = from, into10, from4 = PlaneOf(four.data(), w, h, 4), into4;
        from10.lSampleBytes = 2;
        from10.lBits = 10;
        from10.lLowestBit = 6;
        from10.llPitch = -2 * w; // the last row first
        from10.pPixels = (uint8_t *)(deep.data() + (size_t)w * (size_t)(h - 1));
        std::vector<uint16_t> turned((size_t)n);
        for (int32_t y = 0; y < h; y++)
            memcpy(turned.data() + (size_t)y * (size_t)w, deep.data() + (size_t)(h - 1 - y) * (size_t)w,
                   2 * (size_t)w);
        deep = turned;
        from10.pPixels = (uint8_t *)(deep.data() + (size_t)w * (size_t)(h - 1));
        into10 = from10;
        into10.llPitch = 2 * w;
        into10.pPixels = (uint8_t *)deepOut.data();
        from4.lLuma = 1;
        into4 = from4;
        into4.pPixels = fourOut.data();
        MVS_Compensation record, record10, record4;
        ASSERT_TRUE(QEL_MVS_PushLuma(plain.get(), &from) && Pull(plain.get(), &record));
        ASSERT_TRUE(QEL_MVS_PushLuma(wide.get(), &from10) && Pull(wide.get(), &record10));
        ASSERT_TRUE(QEL_MVS_PushLuma(rgba.get(), &from4) && Pull(rgba.get(), &record4));
        EXPECT_EQ(memcmp(&record, &record10, sizeof(record)), 0);
        EXPECT_EQ(memcmp(&record, &record4, sizeof(record)), 0);
        ASSERT_TRUE(QEL_MVS_CompensateFrame(plain.get(), &record, &from, &into, 1));
        ASSERT_TRUE(QEL_MVS_CompensateFrame(plain.get(), &record, &from10, &into10, 1));
        ASSERT_TRUE(QEL_MVS_CompensateFrame(plain.get(), &record, &from4, &into4, 1));
        for (int32_t i = 0; i < n; i++) {
            EXPECT_NEAR(deepOut[(size_t)i] / 256.0, out[(size_t)i], 1.01) << i;
            EXPECT_EQ(deepOut[(size_t)i] & 63, 0);
            EXPECT_EQ(fourOut[(size_t)(4 * i + 1)], out[(size_t)i]);
            EXPECT_EQ(fourOut[(size_t)(4 * i + 3)], 7);
            if (HasFailure()) return;
        }
    }
}

// Bits outside of a sample's own do no harm: they are not measured, and the output has none.
TEST(Refined, TakesWordsWithOtherBits) {
    const uint16_t kOwn = 0x1FFE;
    const Handle clean = Refined(kSize, kSize), dirty = Refined(kSize, kSize);
    for (const Bytes &frame : ShakyClip(kSize, 3)) {
        const size_t n = (size_t)kSize.Luma();
        const Bytes noise = Noise(2 * (int32_t)n, 3);
        std::vector<uint16_t> words(n), more(n), out(n);
        memcpy(more.data(), noise.data(), noise.size());
        for (size_t i = 0; i < n; i++) {
            words[i] = (uint16_t)(frame[i] << 5);
            more[i] = (uint16_t)((more[i] & ~kOwn) | words[i]);
        }
        const auto plane = [](std::vector<uint16_t> &pixels) {
            MVS_Plane p = PlaneOf((uint8_t *)pixels.data(), kSize.width, kSize.height);
            p.lSampleBytes = 2;
            p.lBits = 12;
            p.lLowestBit = 1;
            p.llPitch *= 2;
            return p;
        };
        const MVS_Plane from = plane(words), fromMore = plane(more), into = plane(out);
        MVS_Compensation record, recordMore;
        ASSERT_TRUE(QEL_MVS_PushLuma(clean.get(), &from) && Pull(clean.get(), &record));
        ASSERT_TRUE(QEL_MVS_PushLuma(dirty.get(), &fromMore) && Pull(dirty.get(), &recordMore));
        EXPECT_EQ(memcmp(&record, &recordMore, sizeof(record)), 0);
        for (int32_t cubic : {0, 1}) {
            QEL_MVS_SetCubic(dirty.get(), cubic);
            ASSERT_TRUE(QEL_MVS_CompensateFrame(dirty.get(), &record, &fromMore, &into, 1));
            EXPECT_EQ(std::count_if(out.begin(), out.end(), [](int w) { return w & ~kOwn; }), 0);
        }
    }
}

// Too small to be measured, or so long that halving would leave no row.
TEST(Refined, TakesEverySize) {
    for (Size size : {Size{2, 2}, Size{640, 4}, Size{16384, 64}, Size{4, 16384}}) {
        SCOPED_TRACE(size.width);
        const Handle handle = Refined(size, size);
        Bytes frame = Noise(size.Frame(), 5);
        for (int i = 0; i < 3; i++) QEL_MVS_StabilizeFrame(handle.get(), frame.data(), frame.data());
        EXPECT_EQ(handle->lFrameCount, 3);
    }
}

TEST(Refined, SettingsHoldBeforeTheFirstFrameOnly) {
    const Handle handle = MakeHandle(kSize, kSize, QEL_MVS_FORMAT_NV21);
    MVS_Context *ctx = handle.get();
    EXPECT_FALSE(QEL_MVS_SetLookahead(ctx, 5) || QEL_MVS_SetCubic(ctx, 1) || QEL_MVS_Reset(ctx));
    EXPECT_FALSE(QEL_MVS_SetRefined(ctx, 2) || QEL_MVS_SetRefined(nullptr, 1));
    EXPECT_TRUE(QEL_MVS_SetRefined(ctx, 1));
    EXPECT_FALSE(QEL_MVS_SetMode(ctx, 3));
    const struct {
        int32_t (*set)(MVS_Context *, int32_t);
        int32_t low, high;
    } settings[] = {{QEL_MVS_SetLookahead, -1, 240},
                    {QEL_MVS_SetWindow, 615, 1003},
                    {QEL_MVS_SetStrength, 256, 4096},
                    {QEL_MVS_SetRoll, 0, 1}};
    for (const auto &s : settings) {
        EXPECT_TRUE(s.set(ctx, s.low) && s.set(ctx, s.high));
        EXPECT_FALSE(s.set(ctx, s.low - 1) || s.set(ctx, s.high + 1) || s.set(nullptr, s.low));
    }
    EXPECT_TRUE(QEL_MVS_SetFrameRate(ctx, 30000, 1001) && QEL_MVS_SetFrameRate(ctx, 1000, 1));
    EXPECT_FALSE(QEL_MVS_SetFrameRate(ctx, 1, 2) || QEL_MVS_SetFrameRate(ctx, 1001, 1) ||
                 QEL_MVS_SetFrameRate(ctx, 30, 0));
    EXPECT_TRUE(QEL_MVS_SetLookahead(ctx, 0));
    Bytes frame((size_t)kSize.Frame(), 90), before = frame;
    EXPECT_TRUE(Push(ctx, frame, kSize));
    for (const auto &s : settings) EXPECT_FALSE(s.set(ctx, s.low));
    EXPECT_FALSE(QEL_MVS_SetFrameRate(ctx, 25, 1) || QEL_MVS_SetRefined(ctx, 0));
    EXPECT_TRUE(QEL_MVS_SetCubic(ctx, 1) && QEL_MVS_Reset(ctx));
    QEL_MVS_StabilizeFrame(ctx, before.data(), frame.data()); // it serves planes
    EXPECT_EQ(frame, before);
    const Handle frames = Refined(kSize, kSize), later = Refined(kSize, kSize);
    Bytes to((size_t)kSize.Frame(), 3);
    QEL_MVS_StabilizeFrame(frames.get(), frame.data(), to.data());
    EXPECT_EQ(to[0], 90);
    EXPECT_FALSE(Push(frames.get(), frame, kSize) || QEL_MVS_EndStream(frames.get()));
    EXPECT_TRUE(QEL_MVS_SetLookahead(later.get(), 10));
    to.assign(to.size(), 3);
    QEL_MVS_StabilizeFrame(later.get(), frame.data(), to.data()); // frame calls do not wait
    EXPECT_EQ(to[0], 3);
}

} // namespace

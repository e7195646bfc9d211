// SPDX-License-Identifier: BSD-2-Clause
// The paths of refined handles, mostly from motions alone: no picture is made.
#include <gtest/gtest.h>
#include <math.h>
#include <string.h>

#include <algorithm>
#include <functional>

#include "api/refined.h"
#include "clipgen/camera_path.h"
#include "clipgen/scene.h"
#include "support/faults.h"
#include "support/refined_run.h"

namespace {

using Records = std::vector<MVS_Compensation>;

struct PathSettings {
    int32_t lookahead = 0, window = 896, framesPerSecond = 30;
};

Handle Refined(Size in, Size out, const PathSettings &settings) {
    Handle handle = MakeHandle(in, out, 0);
    MVS_Context *ctx = handle.get();
    EXPECT_TRUE(QEL_MVS_SetRefined(ctx, 1) && QEL_MVS_SetLookahead(ctx, settings.lookahead) &&
                QEL_MVS_SetWindow(ctx, settings.window) &&
                QEL_MVS_SetFrameRate(ctx, settings.framesPerSecond, 1));
    return handle;
}

MVS_Compensation Empty() {
    MVS_Compensation record = {};
    record.lSize = (int32_t)sizeof(record);
    return record;
}

MVS_Compensation MotionRecord(double row, double col, double theta) {
    MVS_Compensation record = Empty();
    record.lFlags = QEL_MVS_MEASURED;
    record.lMotionRow = (int32_t)lround(row * 65536);
    record.lMotionCol = (int32_t)lround(col * 65536);
    record.lMotionTheta = (int32_t)lround(theta * 16777216);
    return record;
}

Records MotionsOf(const CameraPath &path, int frames) {
    Records motions;
    for (int i = 0; i < frames; i++) {
        const PoseMotion m = MotionBetween(path.Pose(std::max(i - 1, 0)), path.Pose(i));
        motions.push_back(MotionRecord(m.row, m.col, m.theta));
    }
    return motions;
}

void Pull(MVS_Context *ctx, Records *records) {
    MVS_Compensation record = Empty();
    while (QEL_MVS_PullCompensation(ctx, &record)) records->push_back(record);
}

// The records of all frames, each of which is pushed as it may be.
Records RecordsOf(MVS_Context *ctx, int frames, const std::function<bool(int)> &push) {
    Records records;
    for (int i = 0; i < frames; i++) {
        EXPECT_TRUE(push(i));
        Pull(ctx, &records);
    }
    EXPECT_TRUE(QEL_MVS_EndStream(ctx));
    Pull(ctx, &records);
    EXPECT_EQ(records.size(), (size_t)frames);
    return records;
}

Records Replay(MVS_Context *ctx, const Records &motions) {
    return RecordsOf(ctx, (int)motions.size(),
                     [&](int i) { return QEL_MVS_PushMotion(ctx, &motions[(size_t)i]) == 1; });
}

FineView ViewOf(const MVS_Compensation &r) {
    return {r.lCol / 65536.0, r.lRow / 65536.0, r.lTheta / 16777216.0, r.lStep / 65536.0};
}

// How far the outermost samples of the output lie outside the area of the input's pixels; below 0: none
// does.
double Outside(const FineView &view, Size in, Size out) {
    double outside = -1e9;
    for (int corner = 0; corner < 4; corner++) {
        const double x = (corner & 1 ? 0.5 : -0.5) * (out.width - 1) * view.dScale;
        const double y = (corner & 2 ? 0.5 : -0.5) * (out.height - 1) * view.dScale;
        const double col = view.dCol + x * cos(view.dTheta) - y * sin(view.dTheta);
        const double row = view.dRow + x * sin(view.dTheta) + y * cos(view.dTheta);
        outside = std::max({outside, fabs(col) - in.width / 2.0, fabs(row) - in.height / 2.0});
    }
    return outside;
}

PathOptions Shake(double pixels, double roll, double pan, PathKind kind = PathKind::Hand) {
    PathOptions options;
    options.kind = kind;
    options.shake = pixels;
    options.roll = roll;
    options.pan = pan;
    return options;
}

TEST(Path, EverySampleLiesInTheInput) {
    const struct {
        Size in, out;
    } kSizes[] = {{{640, 360}, {640, 360}}, {{640, 360}, {1280, 720}}, {{641, 357}, {399, 399}},
                  {{31, 57}, {31, 57}},     {{96, 200}, {50, 120}},    {{2, 2}, {2, 2}},
                  {{16384, 64}, {8192, 32}}};
    for (const auto &size : kSizes)
        for (int32_t window : {615, 896, 1003})
            for (int32_t lookahead : {0, 15, -1})
                for (double roll : {0.002, 0.05}) {
                    SCOPED_TRACE(testing::Message() << size.in.width << 'x' << size.in.height << ' '
                                                    << window << ' ' << lookahead << ' ' << roll);
                    const double side = std::min(size.in.width, size.in.height);
                    const Handle handle = Refined(size.in, size.out, {lookahead, window, 30});
                    const CameraPath path(Shake(side / 12, roll, side, PathKind::StopAndGo));
                    for (const auto &record : Replay(handle.get(), MotionsOf(path, 90))) {
                        EXPECT_LE(Outside(ViewOf(record), size.in, size.out), 0) << record.llFrame;
                        const FineView view = ViewOfRecord(handle.get(), &record);
                        EXPECT_LE(Outside(view, size.in, size.out), 0) << record.llFrame;
                    }
                }
    Random random;
    const Handle handle = Refined(kSizes[0].in, kSizes[0].out, {});
    for (int i = 0; i < 20000; i++) { // records of any words
        const auto &size = kSizes[(size_t)i % std::size(kSizes)];
        MVS_Context ctx = *handle;
        ctx.lInWidth = size.in.width, ctx.lInHeight = size.in.height;
        ctx.lOutWidth = size.out.width, ctx.lOutHeight = size.out.height;
        MVS_Compensation record = Empty();
        for (int32_t *word : {&record.lRow, &record.lCol, &record.lTheta, &record.lStep})
            *word = (int32_t)random.Next() >> random.In(0, 31);
        EXPECT_LE(Outside(ViewOfRecord(&ctx, &record), size.in, size.out), 0) << i;
    }
}

// Second differences of the path that is shown, over `step` frames either way, the larger of both axes.
std::vector<double> BendsOf(const CameraPath &path, const Records &records, size_t step = 1) {
    std::vector<CameraPose> poses;
    for (size_t i = 0; i < records.size(); i++) {
        const FineView view = ViewOf(records[i]);
        poses.push_back(PoseOfCut(path.Pose((double)i), {view.dRow, view.dCol, view.dTheta}, 1));
    }
    std::vector<double> bends;
    for (size_t i = 2 * step; i < poses.size(); i++) {
        const CameraPose &middle = poses[i - step], &before = poses[i - 2 * step];
        bends.push_back(std::max(fabs(poses[i].x - 2 * middle.x + before.x),
                                 fabs(poses[i].y - 2 * middle.y + before.y)));
    }
    return bends;
}

double Rms(const std::vector<double> &values) {
    double sum = 0;
    for (double value : values) sum += value * value;
    return sqrt(sum / (double)values.size());
}

// A long scene is planned in pieces: nobody sees where one ends, and memory stays within bounds.
TEST(Path, LongScenesInBoundedMemory) {
    const Size size = {640, 360};
    const int kFrames = 9000;
    for (int32_t framesPerSecond : {30, 240}) {
        PathOptions options = Shake(12, 0.004, 300, PathKind::StopAndGo);
        options.framesPerSecond = framesPerSecond;
        const CameraPath path(options);
        const Records motions = MotionsOf(path, kFrames);
        const Handle handle = Refined(size, size, {0, 896, framesPerSecond});
        Faults::Reset();
        const size_t start = Faults::Bytes();
        EXPECT_TRUE(QEL_MVS_SetLookahead(handle.get(), -1));
        for (const MVS_Compensation &motion : motions) QEL_MVS_PushMotion(handle.get(), &motion);
        EXPECT_LE(Faults::MostBytes() - start, kFrames * 41u);
        EXPECT_TRUE(QEL_MVS_EndStream(handle.get()));
        EXPECT_LE(Faults::Bytes() - start, kFrames * 65u);
        EXPECT_LE(Faults::MostBytes() - start, kFrames * 65u + 4096 * 540u);
        Records records;
        Pull(handle.get(), &records);
        ASSERT_EQ(records.size(), (size_t)kFrames);
        std::vector<double> bends = BendsOf(path, records);
        const int step = 4096 - std::min(10 * framesPerSecond, 2048);
        double seam = 0;
        for (int n = 1; n <= 2; n++)
            for (int i = n * step - 6; i < n * step + 2; i++) seam = std::max(seam, bends[(size_t)i]);
        std::sort(bends.begin(), bends.end());
        EXPECT_LE(seam, bends[bends.size() * 99 / 100]);
        for (const MVS_Compensation &record : records)
            EXPECT_LE(Outside(ViewOf(record), size, size), 0) << record.llFrame;
    }
}

TEST(Path, MemoryOfAHandle) {
    for (Size size : {Size{160, 120}, Size{854, 480}, Size{1280, 720}, Size{1920, 1080}}) {
        SCOPED_TRACE(size.width);
        const double luma = size.Luma(), pyramids = luma * 8 / 3;
        const Handle handle = MakeHandle(size);
        const size_t start = Faults::Bytes();
        const auto used = [&] { return (double)(Faults::Bytes() - start); };
        EXPECT_TRUE(QEL_MVS_SetRefined(handle.get(), 1));
        const double refined = used();
        EXPECT_LE(refined, pyramids + std::max(31e3, luma / 50));
        EXPECT_GE(refined, pyramids * 0.9);
        for (int32_t lookahead : {5, 30, 240}) {
            EXPECT_TRUE(QEL_MVS_SetLookahead(handle.get(), lookahead));
            EXPECT_NEAR(used() - refined, 600.0 * lookahead + 91e3, 2e3) << lookahead;
        }
        EXPECT_TRUE(QEL_MVS_SetLookahead(handle.get(), 0));
        Bytes frame = Noise(size.Frame(), 3), out = frame;
        QEL_MVS_StabilizeFrame(handle.get(), frame.data(), out.data());
        EXPECT_EQ(used(), refined);
        QEL_MVS_StabilizeFrame_SameBuffer(handle.get(), frame.data());
        EXPECT_EQ(used(), refined + luma * 1.5);
    }
}

// A lookahead of as many seconds calms a path as much at a high rate.
TEST(Path, HighRatesAreAsCalm) {
    const Size size = {640, 360};
    for (int32_t part : {2, 5}) { // of a second
        double shake[2];
        for (int32_t k = 0; k < 2; k++) {
            const int32_t framesPerSecond = k ? 120 : 30;
            PathOptions options = Shake(6, 0.004, 60);
            options.framesPerSecond = framesPerSecond;
            const CameraPath path(options);
            const Handle handle = Refined(size, size, {framesPerSecond / part, 896, framesPerSecond});
            const Records records = Replay(handle.get(), MotionsOf(path, 6 * framesPerSecond));
            shake[k] = Rms(BendsOf(path, records, (size_t)framesPerSecond / 5));
        }
        EXPECT_NEAR(shake[1] / shake[0], 1, 0.25) << part;
    }
}

// A measured stream with a flash and a cut, planned again with other settings, is what measuring with
// these gives, but for the rounding of the motions.
TEST(Path, ReplayIsLikeMeasuring) {
    const Size size = {160, 120};
    const Scene scene(3);
    const CameraPath path(Shake(2, 0.004, 30));
    const auto picture = [&](int i) {
        Bytes luma((size_t)size.Luma(), 250);
        if (i != 20) scene.RenderLuma(path.Pose(i), size.width, size.height, luma.data());
        return i < 40 ? luma : Bytes(luma.rbegin(), luma.rend());
    };
    const auto measure = [&](const PathSettings &settings) {
        const Handle handle = Refined(size, size, settings);
        return RecordsOf(handle.get(), 60, [&](int i) {
            const Bytes luma = picture(i);
            const MVS_Plane plane = PlaneOf(luma.data(), size.width, size.height);
            return QEL_MVS_PushLuma(handle.get(), &plane) == 1;
        });
    };
    const Records motions = measure({});
    EXPECT_EQ(motions[20].lFlags, QEL_MVS_HELD);
    EXPECT_EQ(motions[40].lFlags, QEL_MVS_NEW_SCENE);
    for (int32_t lookahead : {0, 15, -1}) {
        const PathSettings settings = {lookahead, 800, 25};
        const Records want = measure(settings);
        const Handle handle = Refined(size, size, settings);
        const Records got = Replay(handle.get(), motions);
        int32_t most = 0;
        for (size_t i = 0; i < want.size(); i++) {
            EXPECT_EQ(got[i].lFlags, want[i].lFlags) << i;
            EXPECT_EQ(got[i].llFrame, want[i].llFrame);
            EXPECT_EQ(got[i].lStep, want[i].lStep);
            EXPECT_EQ(got[i].lMotionRow, want[i].lMotionRow);
            EXPECT_EQ(got[i].lMotionCol, want[i].lMotionCol);
            EXPECT_EQ(got[i].lMotionTheta, want[i].lMotionTheta);
            most = std::max({most, abs(got[i].lRow - want[i].lRow), abs(got[i].lCol - want[i].lCol),
                             abs(got[i].lTheta - want[i].lTheta)});
        }
        EXPECT_LE(most, 5); // 65536ths of a pixel
    }
}

// Motions of any words: the view stays inside, and the path answers to what follows.
TEST(Path, HostileMotions) {
    Random random;
    const Size kSizes[] = {{640, 360}, {31, 57}, {2, 2}};
    for (int round = 0; round < 72; round++) {
        const Size size = kSizes[round % 3];
        const int32_t lookahead = std::vector<int32_t>{0, 15, -1}[(size_t)(round / 3 % 3)];
        const int32_t mostShift = round / 9 % 4 ? 31 : 0; // 0: all words are large
        const Handle handle = Refined(size, size, {lookahead, random.In(615, 1003), 30});
        Records motions;
        for (int i = 0; i < 200; i++) {
            MVS_Compensation record = Empty();
            for (int32_t *word : {&record.lFlags, &record.lMotionRow, &record.lMotionCol,
                                  &record.lMotionTheta, &record.lRow, &record.lStep})
                *word = (int32_t)random.Next() >> random.In(0, mostShift);
            if (round % 2) record.lFlags = QEL_MVS_MEASURED;
            if (i >= 100) record = MotionRecord(0, i == 180 ? size.width / 8.0 : 0, 0);
            motions.push_back(record);
        }
        const Records records = Replay(handle.get(), motions);
        for (const MVS_Compensation &record : records)
            EXPECT_LE(Outside(ViewOf(record), size, size), 0) << round << ' ' << record.llFrame;
        EXPECT_TRUE(size.width == 2 || records[181].lCol != records[179].lCol) << round;
    }
}

// At a frame a second a step of the spring is long: it must still calm the path.
TEST(Path, LowRatesAreCalm) {
    const Size size = {640, 360};
    for (int32_t framesPerSecond : {1, 2, 3, 8})
        for (int32_t strength : {256, 1024}) {
            SCOPED_TRACE(testing::Message() << framesPerSecond << ' ' << strength);
            PathOptions options = Shake(strength == 256 ? 12 : 30, 0.005, 0);
            options.framesPerSecond = framesPerSecond;
            const CameraPath path(options);
            const Handle handle = Refined(size, size, {0, 896, framesPerSecond});
            EXPECT_TRUE(QEL_MVS_SetStrength(handle.get(), strength));
            const Records records = Replay(handle.get(), MotionsOf(path, 300));
            for (const MVS_Compensation &record : records)
                EXPECT_LE(Outside(ViewOf(record), size, size), 0) << record.llFrame;
            const double shaken = Rms(BendsOf(path, Records(records.size(), Empty())));
            EXPECT_LE(Rms(BendsOf(path, records)), shaken * 0.75);
        }
}

TEST(Path, MotionsAndLumaMayAlternate) {
    const Size size = {160, 120};
    const Handle handle = Refined(size, size, {}), ordinary = MakeHandle(size, 0),
                 frames = Refined(size, size, {}), ended = Refined(size, size, {});
    MVS_Context *ctx = handle.get();
    Bytes luma = Noise(size.Frame(), 5);
    const MVS_Plane plane = PlaneOf(luma.data(), size.width, size.height);
    MVS_Compensation motion = MotionRecord(1.5, -2, 0.001), small = motion, record = Empty();
    small.lSize--;
    const auto flags = [&](int32_t pushed) {
        return pushed && QEL_MVS_PullCompensation(ctx, &record) ? record.lFlags : -1;
    };
    EXPECT_EQ(flags(QEL_MVS_PushMotion(ctx, &motion)), QEL_MVS_NEW_SCENE); // as every first frame
    EXPECT_EQ(record.lMotionRow | record.lMotionCol | record.lMotionTheta, 0);
    EXPECT_EQ(flags(QEL_MVS_PushMotion(ctx, &motion)), QEL_MVS_MEASURED);
    MVS_MotionInfo info = {};
    info.lSize = (int32_t)sizeof(info);
    EXPECT_TRUE(QEL_MVS_GetMotion(ctx, &info));
    EXPECT_EQ(info.lFrameNumber, 2);
    EXPECT_EQ(info.lMotionRow, 1536);
    EXPECT_EQ(info.lMotionCol, -2048);
    EXPECT_EQ(info.lMotionTheta, 66);
    EXPECT_TRUE(info.bMeasured && info.bShiftReliable && !info.lBlocksValid && !info.lBlocksKept);
    EXPECT_EQ(flags(QEL_MVS_PushLuma(ctx, &plane)), QEL_MVS_NEW_SCENE);
    EXPECT_EQ(flags(QEL_MVS_PushLuma(ctx, &plane)), QEL_MVS_MEASURED);
    EXPECT_EQ(flags(QEL_MVS_PushMotion(ctx, &motion)), QEL_MVS_MEASURED);
    EXPECT_TRUE(QEL_MVS_Reset(ctx));
    EXPECT_EQ(flags(QEL_MVS_PushMotion(ctx, &motion)), QEL_MVS_NEW_SCENE);
    motion.lFlags |= QEL_MVS_HELD;
    EXPECT_EQ(flags(QEL_MVS_PushMotion(ctx, &motion)), QEL_MVS_HELD);
    EXPECT_EQ(record.lMotionRow | record.lMotionCol | record.lMotionTheta, 0);

    const int32_t count = ctx->lFrameCount;
    QEL_MVS_StabilizeFrame_SameBuffer(frames.get(), luma.data());
    EXPECT_TRUE(QEL_MVS_EndStream(ended.get()));
    EXPECT_FALSE(QEL_MVS_PushMotion(nullptr, &motion) || QEL_MVS_PushMotion(ctx, nullptr) ||
                 QEL_MVS_PushMotion(ctx, &small) || QEL_MVS_PushMotion(ordinary.get(), &motion) ||
                 QEL_MVS_PushMotion(frames.get(), &motion) || QEL_MVS_PushMotion(ended.get(), &motion));
    for (int i = 0; i < 16; i++) EXPECT_TRUE(QEL_MVS_PushMotion(ctx, &motion));
    EXPECT_FALSE(QEL_MVS_PushMotion(ctx, &motion)); // too many wait
    EXPECT_EQ(ctx->lFrameCount, count + 16);
}

} // namespace

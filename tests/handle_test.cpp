// SPDX-License-Identifier: BSD-2-Clause
// Geometry and initial state of a handle, its settings, and bad arguments.
#include <gtest/gtest.h>
#include <string.h>

#include "smooth/smooth.h"
#include "support/run.h"

namespace {

TEST(Handle, CropAndZoom) {
    const struct {
        Size in, out;
        int32_t cropX, cropY, scale, step, blocks;
    } kTable[] = {{{1280, 720}, {1280, 720}, 80, 45, 1170, 896, 880},
                  {{200, 201}, {200, 201}, 12, 12, 1170, 896, 144}, // blocks of 16 pixels
                  {{201, 201}, {201, 201}, 12, 12, 1170, 896, 36},  // of 32
                  {{1920, 1080}, {1792, 984}, 120, 67, 1092, 960, 1980},
                  {{1920, 1080}, {1600, 900}, 160, 90, 1024, 1024, 1980}, // crops only
                  {{1920, 1080}, {1600, 1080}, 160, 67, 1170, 896, 1980}, // too little margin in height
                  {{160, 160}, {139, 139}, 10, 10, 1024, 1024, 100}, // a sixteenth: enough in height
                  {{100, 80}, {120, 80}, 6, 5, 1404, 746, 30}};      // larger output
    for (const auto &t : kTable) {
        const Handle ctx = MakeHandle(t.in, t.out, 0);
        SCOPED_TRACE(testing::Message() << t.in.width << "x" << t.in.height << " " << t.out.width);
        EXPECT_EQ(ctx->lCropX, t.cropX);
        EXPECT_EQ(ctx->lCropY, t.cropY);
        EXPECT_EQ(ctx->lZoomScale, t.scale);
        EXPECT_EQ(ctx->lZoomStep, t.step);
        EXPECT_EQ(ctx->lBlockNum, t.blocks);
    }
}

// Both sides of each threshold; portrait frames mirror landscape ones.
TEST(Handle, SizeLevelAndSearchRange) {
    const Handle ctx = MakeHandle({64, 64});
    const int32_t kLevels[][3] = {{200, 900, 1}, {201, 300, 2},   {201, 201, 2},   {400, 301, 2},
                                  {401, 300, 2}, {401, 301, 3},   {800, 701, 3},   {801, 700, 3},
                                  {801, 701, 4}, {1400, 1001, 4}, {1401, 1000, 4}, {1401, 1001, 5}};
    for (const auto &l : kLevels)
        for (int i = 0; i < 2; i++) {
            QEL_MVS_AnalyzeHW(ctx.get(), l[i], l[1 - i]);
            EXPECT_EQ(ctx->lSizeLevel, l[2]) << l[0];
        }
    const int32_t kRanges[][2] = {{23, 16}, {24, 24},  {39, 24},   {40, 40},   {79, 40},
                                  {80, 80}, {159, 80}, {160, 160}, {239, 160}, {240, 240}};
    for (const auto &r : kRanges)
        for (int i = 0; i < 2; i++) { // an eighth of the long side, a sixth of the short one
            const int32_t side[2] = {8 * r[0] + 7, 6 * r[0] + 5};
            QEL_MVS_AnalyzeHW(ctx.get(), side[i], side[1 - i]);
            EXPECT_EQ(ctx->lShiftRangeX, r[1]);
            EXPECT_EQ(ctx->lShiftRangeY, r[1]);
        }
    QEL_MVS_AnalyzeHW(ctx.get(), 1920, 1080);
    EXPECT_EQ(ctx->lShiftRangeX, 240);
    EXPECT_EQ(ctx->lShiftRangeY, 160);
    QEL_MVS_AnalyzeHW(ctx.get(), 1080, 1920);
    EXPECT_EQ(ctx->lShiftRangeX, 160);
    EXPECT_EQ(ctx->lShiftRangeY, 240);
}

TEST(Handle, SmootherStartsAfresh) {
    const Handle ctx = MakeHandle({1920, 1080}, {1792, 984}, 0);
    ctx->lCropX = 64;
    ctx->lCropY = 48;
    InitKalmanFilter(ctx.get());
    KalmanSideBlock *side = ctx->pSideBlock;
    const Bytes fresh((uint8_t *)side, (uint8_t *)(side + 1));
    EXPECT_EQ(side->stAxisRow.st.llDevLimit, 48 * 1024);
    EXPECT_EQ(side->stAxisCol.st.llDevLimit, 64 * 1024);
    EXPECT_EQ(side->stAxisTheta.llMarginRaw, 54); // 48 * 1024 / 896, below 64 * 1024 / 492
    memset(side, 0x55, sizeof(*side));
    const MVS_MotionTriple none = ResetGmvQueue(ctx.get());
    EXPECT_EQ(none.lRow | none.lCol | none.lTheta, 0);
    EXPECT_EQ(memcmp(side, fresh.data(), fresh.size()), 0);
}

TEST(Handle, RefusesBadParameters) {
    for (Size in : {Size{0, 8}, Size{8, 0}, Size{-8, 8}, Size{16385, 8}, Size{8, 16385}})
        EXPECT_FALSE(MakeHandle(in, {8, 8}, 0)) << in.width;
    for (Size out : {Size{1, 8}, Size{8, 1}, Size{16385, 8}, Size{8, 16385}})
        EXPECT_FALSE(MakeHandle({8, 8}, out, 0)) << out.width;
    for (int32_t format : {1, 2}) {
        EXPECT_FALSE(MakeHandle({9, 8}, {8, 8}, format));
        EXPECT_FALSE(MakeHandle({8, 8}, {9, 8}, format));
        EXPECT_TRUE(MakeHandle({8, 9}, {8, 7}, format));
    }
    EXPECT_TRUE(MakeHandle({16384, 1}, {2, 2}, 0));
    EXPECT_EQ(QEL_MVS_CreateStabilizer(nullptr), nullptr);
    QEL_MVS_DestroyStabilizer(nullptr);
    QEL_MVS_AnalyzeHW(nullptr, 8, 8);
}

TEST(Handle, Settings) {
    const Handle ctx = MakeHandle({110, 88}, {100, 80}, 0), tight = MakeHandle({109, 88}, {100, 80}, 0);
    EXPECT_EQ(QEL_MVS_SetMode(tight.get(), 1) | QEL_MVS_SetMode(nullptr, 3), 0);
    EXPECT_EQ(QEL_MVS_SetMode(ctx.get(), 0) | QEL_MVS_SetMode(ctx.get(), 4), 0);
    EXPECT_EQ(QEL_MVS_SetFullChroma(ctx.get(), 2) | QEL_MVS_SetFullChroma(nullptr, 1), 0);
    EXPECT_EQ(QEL_MVS_SetMode(ctx.get(), 2), 1);
    EXPECT_EQ(ctx->lZoomStep, 1024);
    EXPECT_EQ(ctx->lCropX, 5);
    EXPECT_EQ(ctx->pSideBlock->stAxisCol.st.llDevLimit, 5 * 1024);
    EXPECT_EQ(QEL_MVS_SetMode(ctx.get(), 3), 1);
    EXPECT_EQ(ctx->lCropX, 6);
    EXPECT_EQ(ctx->lZoomStep, 985);
    EXPECT_EQ(QEL_MVS_SetFullChroma(ctx.get(), 1), 1);

    MVS_MotionInfo info;
    memset(&info, 0x55, sizeof(info));
    info.lSize = (int32_t)sizeof(info) - 1;
    EXPECT_EQ(QEL_MVS_GetMotion(ctx.get(), &info), 0);
    EXPECT_EQ(info.lFrameNumber, 0x55555555);
    info.lSize = (int32_t)sizeof(info) + 8; // a record of a newer version
    EXPECT_EQ(QEL_MVS_GetMotion(ctx.get(), &info), 1);
    EXPECT_EQ(info.lFrameNumber, 0);
    EXPECT_EQ(info.lSize, (int32_t)sizeof(info) + 8);
    EXPECT_EQ(QEL_MVS_GetMotion(nullptr, &info) | QEL_MVS_GetMotion(ctx.get(), nullptr), 0);

    const Bytes in = Render({110, 88}, {0, 0, 0});
    Bytes out(12000);
    QEL_MVS_StabilizeFrame(ctx.get(), in.data(), out.data());
    EXPECT_EQ(QEL_MVS_SetMode(ctx.get(), 1), 0); // too late: a frame has passed
    EXPECT_EQ(ctx->lMode, 3);
}

TEST(Handle, IgnoresNullFrames) {
    for (int32_t format = 0; format < 3; format++) {
        const Handle handle = MakeHandle({64, 48}, format);
        MVS_Context *ctx = handle.get();
        const Bytes frame = Noise(64 * 48 * 3 / 2, 1);
        Bytes kept = frame;
        uint8_t *p = kept.data();
        QEL_MVS_StabilizeFrame(ctx, nullptr, p);
        QEL_MVS_StabilizeFrame(ctx, p, nullptr);
        QEL_MVS_StabilizeFrame(nullptr, p, p);
        QEL_MVS_StabilizeFrameSplitterShow(ctx, nullptr, p, 8);
        QEL_MVS_StabilizeFrameSeparateBuffer(ctx, nullptr, p, nullptr, p);
        QEL_MVS_StabilizeFrameSeparateBuffer(nullptr, p, p, p, p);
        QEL_MVS_StabilizeFrame_SameBuffer(ctx, nullptr);
        QEL_MVS_StabilizeFrame_Separate_SameBuffer(nullptr, p, p);
        QEL_MVS_StabilizeFrameEx(ctx, nullptr);
        const MVS_FrameTriple noCurrent = {nullptr, p, p}, noOutput = {p, p, nullptr},
                              noPrevious = {p, nullptr, p};
        QEL_MVS_StabilizeFrameEx(ctx, &noCurrent);
        QEL_MVS_StabilizeFrameEx(ctx, &noOutput);
        ctx->lFrameCount = 1;
        QEL_MVS_StabilizeFrameEx(ctx, &noPrevious);
        EXPECT_EQ(kept, frame);
        EXPECT_EQ(ctx->lFrameCount, 1);
        const MVS_FrameTriple whole = {frame.data(), frame.data(), p};
        QEL_MVS_StabilizeFrameEx(ctx, &whole); // must forget its frames
        EXPECT_EQ(ctx->lFrameCount, 2);
        EXPECT_EQ(ctx->pCurFrame, nullptr);
        EXPECT_EQ(ctx->pOutFrame, nullptr);
    }
}

} // namespace

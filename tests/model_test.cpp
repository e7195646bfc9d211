// SPDX-License-Identifier: BSD-2-Clause
// Block vectors to one motion: small examples worked out by hand, and fields of vectors of a known
// model.
#include <gtest/gtest.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "kernels.h"
#include "model/model.h"
#include "support/guarded.h"
#include "support/run.h"

namespace {

// Sets the first records of a handle and clears the others.
void SetBlocks(MVS_Context *ctx, const std::vector<MVS_BlockMV> &blocks) {
    memset(ctx->pBlockMV, 0, (size_t)ctx->lBlockNum * sizeof(MVS_BlockMV));
    std::copy(blocks.begin(), blocks.end(), ctx->pBlockMV);
    memset(ctx->pRowProj, 0, (size_t)ctx->lRowProjLen * 4);
    memset(ctx->pColProj, 0, (size_t)ctx->lColProjLen * 4);
}

MVS_ShiftTriple Shift(MVS_Context *ctx, int revision, const std::vector<MVS_BlockMV> &blocks) {
    SetBlocks(ctx, blocks);
    const auto function = revision == 1   ? GetPreciseShiftM1
                          : revision == 2 ? GetPreciseShiftM2
                                          : GetPreciseShiftM3;
    return function(ctx, ctx->pBlockMV, ctx->lInHeight, ctx->lInWidth);
}

#define EXPECT_SHIFT(got, row, col, valid)                                                             \
    do {                                                                                               \
        const MVS_ShiftTriple st = got;                                                                \
        EXPECT_EQ(st.lShiftRow, row);                                                                  \
        EXPECT_EQ(st.lShiftCol, col);                                                                  \
        EXPECT_EQ(st.bShiftValid, valid);                                                              \
    } while (0)

TEST(Translation, Median) {
    const int32_t hist[] = {0, 2, 1, 0, 1};
    EXPECT_EQ(GetMediumValue(hist, 5, 4), 1); // the lower of the two in the middle
    EXPECT_EQ(GetMediumValue(hist, 5, 5), 2);
    EXPECT_EQ(GetMediumValue(hist, 5, 9), 0); // never reached
    EXPECT_EQ(GetMediumValue(hist, 5, 0), 0);
    EXPECT_EQ(GetMediumValue(hist, 0, 4), 0);
}

TEST(Translation, MeanAroundTheMedian) {
    const Handle small = MakeHandle({256, 192}), large = MakeHandle({1920, 1080});
    const std::vector<MVS_BlockMV> four = {{1, -2, 7}, {0, 90, 90}, {1, 1, 7}, {1, 1, 8}, {1, 3, 12}};
    EXPECT_SHIFT(Shift(small.get(), 1, four), 1, 7, 1);
    EXPECT_SHIFT(Shift(small.get(), 2, four), 1024, 22 * 1024 / 3, 1);
    EXPECT_SHIFT(Shift(small.get(), 3, four), 1024, 7168, 1); // spans 0 and 0: 192 / 240, 256 / 320
    EXPECT_SHIFT(Shift(large.get(), 3, four), 3 * 1024 / 4, 34 * 256, 1); // spans 4 and 6
    EXPECT_SHIFT(Shift(small.get(), 2, {{1, 0, 7}, {1, 0, 7}, {1, 0, 8}, {1, 0, 9}}), 0, 22 * 1024 / 3,
                 1);
    EXPECT_SHIFT(Shift(MakeHandle({96, 256}).get(), 1, {{1, 200, 3}}), 200, 3,
                 1); // more rows than columns
    // Half a pixel is no motion in mode 1; the quotient is cut toward zero.
    EXPECT_SHIFT(Shift(small.get(), 2, {{1, 0, 0}, {1, 1, -1}}), 0, -0, 1);
    EXPECT_SHIFT(Shift(small.get(), 2, {{1, 0, 0}, {1, 1, -1}, {1, 1, -1}}), 682, -682, 1);
    // Vectors beyond the histograms do not count, nor do bins beyond their ends.
    EXPECT_SHIFT(Shift(large.get(), 3, {{1, 1081, 0}, {1, 0, -1921}, {1, -1080, 1920}}), -1080 * 1024,
                 1920 * 1024, 1);
    small->lCurMotionRow = 3;
    small->lCurMotionCol = -4;
    EXPECT_SHIFT(Shift(small.get(), 1, {{0, 5, 5}}), -3, 4, 0);
    EXPECT_SHIFT(Shift(small.get(), 2, {}), -3072, 4096, 0);
    EXPECT_SHIFT(Shift(small.get(), 3, {}), -3072, 4096, 0);
    EXPECT_EQ(GetGlobalMotionM1(small.get()), 1);
    EXPECT_EQ(small->lCurMotionRow, -3072);
}

TEST(Rotation, SortedList) {
    int32_t list[8] = {0};
    for (int32_t v : {5, 3, 7, 5, 1, 9, 7}) SortPush(list, v);
    const int32_t want[8] = {7, 1, 3, 5, 5, 7, 7, 9};
    EXPECT_EQ(0, memcmp(list, want, sizeof(list)));
}

TEST(Rotation, SlopesOfRows) {
    const int32_t disp[] = {1, 50, 3, -2}, pos[] = {16, 48, 80, 112}, all[] = {1, 0, 1, 1},
                  one[] = {0, 0, 1, 0};
    const int32_t none[4] = {0};
    // n 3, Sx 208, Sy 2, Sxx 19200, Sxy 32: (96 - 416) / (57600 - 43264), Q16 toward zero.
    EXPECT_EQ(CalculateThetaRow(disp, pos, all, 4), -1462);
    EXPECT_EQ(CalculateThetaRow(disp, pos, one, 4), 0);
    EXPECT_EQ(CalculateThetaRow(disp, pos, none, 4), QEL_NOT_MEASURED);
    // Rows of slope 1/32 (the vectors' columns move the positions), of a single block, and of none.
    MVS_BlockMV blocks[9] = {{1, 4, 0}, {1, 5, 0}, {1, 6, 0}, {0, 9, 9}, {1, 9, 0}, {0, 0, 0}};
    EXPECT_EQ(GetTheta32(blocks, 100, 96), 1024);
    blocks[2] = {1, 6, 64}; // positions 16, 48, 144: n Sxy - Sx Sy = 3504 - 3120, n Sxx - Sx^2 = 26624
    EXPECT_EQ(GetTheta32(blocks, 100, 96), 945 / 2);
    blocks[6] = {1, 0, 0};
    blocks[7] = {1, 2, 0}; // and one of slope 1/16 at the bottom
    EXPECT_EQ(GetTheta32(blocks, 100, 96), (945 + 4096) / 3);
    EXPECT_EQ(GetTheta32(blocks, 100, 31), 0);
}

TEST(Rotation, MedianOfSmallBlocks) {
    // Blocks at dx -24, -8, 8, 24 and dy 0; the vectors' rows give a = -1024 * row.
    MVS_BlockMV blocks[4] = {{1, 0, 0}, {1, 1, 0}, {1, 1, 0}, {1, 3, 0}};
    EXPECT_EQ(GetTheta16(blocks, 64, 16, 0, 0), 128); // 0, -128, 128, 128: the upper middle
    blocks[0].bValid = 0;
    blocks[3] = {1, 0, 10}; // b * dx / 1024 lengthens the distance: the angle stays 0
    EXPECT_EQ(GetTheta16(blocks, 64, 16, 0, 0), 0);
    blocks[1].bValid = blocks[3].bValid = 0;
    blocks[2] = {1, 1, 8}; // distance 0: skipped, and its record is taken for the next column
    EXPECT_EQ(GetTheta16(blocks, 64, 16, 0, 0), 1024 * 24 / (576 - 192));
    EXPECT_EQ(GetTheta16(blocks, 64, 15, 0, 0), 0);
    EXPECT_EQ(GetTheta16(blocks, 32, 16, 0, 0), 0);
}

// Vectors of a model on a frame's 32-pixel grid, rounded to whole pixels.
std::vector<MVS_BlockMV> Field(Size size, double row, double col, double theta) {
    std::vector<MVS_BlockMV> blocks;
    for (int32_t r = 0; r < size.height / 32; r++)
        for (int32_t c = 0; c < size.width / 32; c++) {
            const double dy = 32 * r + 16 - size.height / 2, dx = 32 * c + 16 - size.width / 2;
            blocks.push_back({1, (int32_t)lround(row + theta * dx), (int32_t)lround(col - theta * dy)});
        }
    return blocks;
}

TEST(Inliers, DropsWhatIsThreePixelsOff) {
    // One block at (-15, -15) from the centre: a theta of 640 predicts -150 for the row, 150 for the
    // column.
    const int32_t kCases[][5] = {
        {0, 0, 0, 1, 0},      {3095, 0, 0, 1, 9354},
        {3096, 0, 0, 0, 0},   {0, -3095, 0, 1, 9354},
        {0, -3096, 0, 0, 0},  {3245, 0, 640, 1, 9375},
        {3246, 0, 640, 0, 0}, {0, 2945, 640, 1, 9375},
        {0, 2946, 640, 0, 0}, {-3096, 0, 0, 0, 0},
        {0, 3096, 0, 0, 0},   {-3095, 0, 1, 1, 9354}}; // a part of a unit is cut toward zero
    for (const auto &k : kCases) {
        MVS_BlockMV block = {1, 0, 0};
        int32_t inliers = -1;
        EXPECT_EQ(CheckBlockMV(&block, 63, 63, k[0], k[1], k[2], &inliers), k[4])
            << k[0] << ' ' << k[1];
        EXPECT_EQ(inliers, k[3]);
        EXPECT_EQ(block.bValid, k[3]);
    }
    MVS_BlockMV far = {1, 4, -5};
    EXPECT_EQ(GetLSEError(&far, 32, 32, 1024, 0, 0), (3072 * 3072 + 5120 * 5120) / 1024);
    int32_t inliers = -1;
    EXPECT_EQ(CheckBlockMV(&far, 64, 31, 0, 0, 0, &inliers), 0);
    EXPECT_EQ(inliers, 0);
}

TEST(Inliers, KernelsEqualThePortableOne) {
    Random random{11};
    const int32_t kWild[] = {0, 1, -1, 47, -48, 2097151, -2097152, INT32_MAX, INT32_MIN};
    const auto any = [&] { return random.In(0, 3) ? random.In(-60, 60) : kWild[random.In(0, 8)]; };
    for (CpuLevel level : CpuLevels())
        for (int32_t count = 0; count <= kRowErrorBlocks; count += count < 40 ? 1 : 43) {
            Guarded blocks((size_t)count * sizeof(MVS_BlockMV), Guarded::kAtEnd);
            Guarded rows((size_t)count * sizeof(int32_t), Guarded::kAtEnd);
            auto *block = (MVS_BlockMV *)blocks.Data();
            auto *row = (int32_t *)rows.Data();
            for (int32_t i = 0; i < count; i++) {
                block[i] = {random.In(0, 2) ? any() : 0, any(), any()};
                row[i] = (int32_t)((uint32_t)any() * (random.In(0, 1) ? 1000u : 1u));
            }
            const int32_t col = any();
            EXPECT_EQ(KernelsOf(level)->pRowError(block, count, row, col),
                      RowErrorPortable(block, count, row, col))
                << level << ' ' << count;
            for (int32_t i = 0; i < count; i++) // all terms as large, or as far below zero, as they get
                block[i] = {1, 0, count % 2 ? 0 : 32};
            std::fill(row, row + count, count % 2 ? 46340 : 32768);
            EXPECT_EQ(KernelsOf(level)->pRowError(block, count, row, count % 2 ? 46340 : 0),
                      RowErrorPortable(block, count, row, count % 2 ? 46340 : 0));
        }
    // Columns beyond what a kernel takes at once.
    const Size wide = {32 * (kRowErrorBlocks + 9), 64};
    const std::vector<MVS_BlockMV> blocks = Field(wide, 3, 5, 0.002);
    int32_t inliers;
    std::vector<MVS_BlockMV> checked = blocks;
    const int32_t error =
        CheckBlockMV(checked.data(), wide.width, wide.height, 3072, 5120, 131, &inliers);
    EXPECT_EQ(inliers, (int32_t)blocks.size());
    EXPECT_EQ(GetLSEError(blocks.data(), wide.width, wide.height, 3072, 5120, 131), error);
}

TEST(Inliers, FindsTheAngleFromBothSides) {
    for (Size size : {Size{640, 480}, Size{1280, 720}, Size{1920, 1080}})
        for (int32_t theta = 0; theta < 2600; theta += 190) {
            const std::vector<MVS_BlockMV> blocks = Field(size, 2, -3, theta / 65536.0);
            for (int32_t start : {theta - 300, theta + 300}) {
                const int32_t error =
                    GetLSEError(blocks.data(), size.width, size.height, 2048, -3072, start);
                const MVS_ThetaFit fit = EstimateTheta(blocks.data(), size.width, size.height, 2048,
                                                       -3072, start, error, 128, 4);
                EXPECT_NEAR(fit.lTheta, theta, 100) << size.width;
                EXPECT_EQ(fit.lShiftRow, 2048);
                EXPECT_EQ(fit.lShiftCol, -3072);
                EXPECT_EQ(fit.lError,
                          GetLSEError(blocks.data(), size.width, size.height, 2048, -3072, fit.lTheta));
                for (int32_t d : {-8, 8})
                    EXPECT_GE(GetLSEError(blocks.data(), size.width, size.height, 2048, -3072,
                                          fit.lTheta + d),
                              fit.lError);
            }
        }
    // Both sides equally good, and better than what was known: closer before moving.
    MVS_BlockMV still[2] = {{1, 0, 0}, {1, 0, 0}};
    const MVS_ThetaFit fit = EstimateTheta(still, 64, 32, 0, 0, 0, 50000, 128, 4);
    EXPECT_EQ(fit.lTheta, 0);
    EXPECT_EQ(fit.lError, 50000);
    EXPECT_EQ(EstimateTheta(still, 64, 32, 0, 0, 0, 50000, 0, -1).lTheta, 0);
    MVS_BlockMV uneven[20] = {}; // at 8 either way the error is 1; at 4 it is 0 upward and 1 downward
    uneven[4] = uneven[13] = {1, 0, 0};
    EXPECT_EQ(EstimateTheta(uneven, 640, 32, 21, 0, 0, 50000, 8, 4).lTheta, 4);
}

TEST(GlobalMotion, NeedsAFortiethOfTheBlocks) {
    const Handle handle = MakeHandle({1920, 1080});
    MVS_Context *ctx = handle.get();
    for (int32_t count : {48, 49}) {
        std::vector<MVS_BlockMV> blocks(1980);
        for (int32_t i = 0; i < count; i++) blocks[(size_t)(600 + i * 17)] = {1, 6, -9};
        SetBlocks(ctx, blocks);
        ctx->lCurMotionTheta = 99;
        EXPECT_EQ(GetGlobalMotionM3(ctx), 1);
        EXPECT_EQ(ctx->lCurMotionRow, count == 49 ? 6 * 1024 : 0);
        EXPECT_EQ(ctx->lCurMotionCol, count == 49 ? -9 * 1024 : 0);
        EXPECT_EQ(ctx->lCurMotionTheta, 0);
    }
}

TEST(GlobalMotion, RefinesTheAngleOfWideFramesOnly) {
    const Size wide = {416, 320}, narrow = {400, 320};
    for (Size size : {wide, narrow}) {
        const Handle ctx = MakeHandle(size);
        const std::vector<MVS_BlockMV> blocks = Field(size, 0, 0, 1400 / 65536.0);
        SetBlocks(ctx.get(), blocks);
        GetGlobalMotionM3(ctx.get());
        const int32_t slope = GetTheta32(blocks.data(), size.width, size.height);
        EXPECT_EQ(ctx->lCurMotionTheta == slope, size == narrow);
        EXPECT_NEAR(ctx->lCurMotionTheta, 1400, size == wide ? 100 : 400);
    }
}

} // namespace

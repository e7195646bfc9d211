// SPDX-License-Identifier: BSD-2-Clause
// The exported stages with arguments that no frame produces: maps beyond all bounds, vectors of any
// length, filters fed with anything. Planes are guarded; portable and vector code must agree.
#include <string.h>

#include <vector>

#include "input.h"
#include "kernels.h"
#include "model/model.h"
#include "motion/motion.h"
#include "smooth/smooth.h"
#include "warp/warp.h"

namespace {

void Measure(Input *input, MVS_Context *ctx) {
    const int32_t luma = ctx->lInLumaSize;
    const Guarded cur((size_t)luma, Guarded::kAtStart), prev((size_t)luma);
    Paint(input, cur.Data(), cur.Size(), ctx->lInWidth, ctx->lInHeight);
    Paint(input, prev.Data(), prev.Size(), ctx->lInWidth, ctx->lInHeight);
    cur.ReadOnly();
    prev.ReadOnly();
    ctx->lPrevRow = input->Number();
    ctx->lPrevCol = input->Number();
    if (input->Byte() & 1) QEL_MVS_AnalyzeHW(ctx, input->Number(), input->Number());
    GetBigShiftF0(ctx, cur.Data(), prev.Data());
    ctx->lCurMotionRow = input->Number();
    ctx->lCurMotionCol = input->Number();
    (ctx->lInWidth > 200 ? BlockME32F0 : BlockME16F0)(ctx, cur.Data(), prev.Data());
}

// As many records as the frame has blocks, with any contents.
void Model(Input *input, MVS_Context *ctx) {
    MVS_BlockMV *blocks = ctx->pBlockMV;
    for (int32_t i = 0; i < ctx->lBlockNum; i++)
        blocks[i] = {input->Byte() & 1, input->Number(), input->Number()};
    const int32_t width = ctx->lInWidth, height = ctx->lInHeight;
    const int32_t row = input->Number(), col = input->Number(), theta = input->Number();
    GetPreciseShiftM1(ctx, blocks, row, col);
    GetPreciseShiftM2(ctx, blocks, row, col);
    GetTheta32(blocks, width, height);
    if (width <= 200) GetTheta16(blocks, width, height, row, col);
    int32_t inliers = -1;
    const int32_t error = CheckBlockMV(blocks, width, height, row, col, theta, &inliers);
    MUST(inliers >= 0 && inliers <= ctx->lBlockNum);
    EstimateTheta(blocks, width, height, row, col, theta, error, input->In(1, 1000), input->In(0, 9));
    GetGlobalMotionM3(ctx);
}

// Equal sizes leave a margin; the compensation must stay inside.
void Smooth(Input *input, MVS_Context *ctx) {
    const bool equal = ctx->lInWidth == ctx->lOutWidth && ctx->lInHeight == ctx->lOutHeight;
    for (int32_t i = input->In(1, 40); i > 0; i--) {
        ctx->lCurMotionRow = input->Number();
        ctx->lCurMotionCol = input->Number();
        ctx->lCurMotionTheta = input->Number();
        SmoothGlobalMotionM3(ctx, input->Byte() % 8 != 0);
        if (equal) MUST(abs(ctx->lCompRow) <= ctx->lCropY * 1024 + 1);
        if (equal) MUST(abs(ctx->lCompCol) <= ctx->lCropX * 1024 + 1);
    }
    ctx->pSideBlock->stAxisRow.st.llP00 = (int64_t)input->Number() * input->Number();
    ctx->pSideBlock->lGainShiftTheta = input->Number();
    ctx->pSideBlock->lPredictModeRow = input->In(-1, 3);
    SmoothGlobalMotionM3(ctx, 1);
    InitKalmanFilter(ctx);
}

// Whatever the map, no warp touches a byte outside the planes, and every level writes the same.
void Warp(Input *input, MVS_Context *ctx) {
    const Guarded in(ctx->lInFrameSize);
    Paint(input, in.Data(), in.Size(), ctx->lInWidth, ctx->lInHeight);
    in.ReadOnly();
    const int32_t r = input->Number(), c = input->Number(), s = input->Number();
    const int32_t z = input->Byte() & 1 ? 896 : input->Number();
    const uint8_t which = input->Byte();
    const CpuLevel levels[2] = {kCpuPortable, input->Level()};
    uint64_t hash[2];
    for (int i = 0; i < 2; i++) {
        const Guarded out(ctx->lOutFrameSize, which & 128 ? Guarded::kAtStart : Guarded::kAtEnd,
                          kUntouched);
        ctx->pKernels = KernelsOf(levels[i]);
        ctx->pCurFrame = in.Data();
        ctx->pOutFrame = out.Data();
        const uint8_t *luma = in.Data(), *chroma = luma + ctx->lInLumaSize;
        uint8_t *outLuma = out.Data(), *outChroma = outLuma + ctx->lOutLumaSize;
        if (which & 1) StabY_RotationF0(ctx, luma, outLuma, r, c, z, s);
        if (which & 2) StabC_RotationF0(ctx, chroma, outChroma, r, c, z, s);
        if (which & 4) StabC2_RotationF0(ctx, r, c, z, s);
        if (which & 8)
            StabFrame_ShiftingNoZoomF0(ctx, luma, outLuma, r, c, 0, ctx->lOutWidth, ctx->lInWidth);
        if (which & 16) StabY_Rotation_4x4_7to8_normal(ctx, luma, outLuma, r, c, z, s);
        if (which & 32) StabC_Rotation_4x4_7to8_normal(ctx, chroma, outChroma, r, c, z, s);
        if (which & 64) {
            StabY_Rotation_4x4_7to8(ctx, luma, outLuma, r, c, z, s);
            StabC2_Rotation_4x4_7to8(ctx, chroma, outChroma, r, c, z, s);
        }
        hash[i] = Hash(Bytes(out.Data(), out.Data() + out.Size()));
    }
    MUST(hash[0] == hash[1]);
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input input = {data, data + size};
    const uint8_t shape = input.Byte();
    const Size in = {input.In(1, 300), input.In(1, 200)};
    const Size out = shape & 16 ? Size{input.In(2, 300), input.In(2, 200)} : in;
    const Handle handle = MakeHandle(in, out, (shape >> 2) % 3);
    if (!handle) return 0;
    QEL_MVS_SetFullChroma(handle.get(), shape >> 7);
    static void (*const kStages[])(Input *, MVS_Context *) = {Measure, Model, Smooth, Warp};
    do kStages[input.Byte() & 3](&input, handle.get());
    while (!input.Empty());
    return 0;
}

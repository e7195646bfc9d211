// SPDX-License-Identifier: BSD-2-Clause
// Calls every exported function with arguments and a handle whose words are at the ends of their
// ranges. Each call must return, touch no byte outside its buffers and leave the handle usable; the
// sanitizers watch the arithmetic.
#include <ctype.h>
#include <gtest/gtest.h>
#include <string.h>

#include <fstream>
#include <set>

#include "model/model.h"
#include "motion/motion.h"
#include "pipeline/pipeline.h"
#include "quorvel/camera.h"
#include "quorvel/memory.h"
#include "quorvel/refined.h"
#include "quorvel/threads.h"
#include "smooth/smooth.h"
#include "support/faults.h"
#include "support/pitched.h"
#include "support/run.h"
#include "warp/mapping_kernels.h"
#include "warp/warp.h"

namespace {

const int32_t kEnds[] = {
    INT32_MIN, INT32_MIN + 1, -65536, -16385, -1025,         -1,       0, 1, 2, 3, 31, 64,
    1024,      16384,         16385,  65536,  INT32_MAX - 1, INT32_MAX};

// A handle, its frames between guard pages, and a source of hostile values.
struct Box {
    Size in, out;
    Handle handle;
    MVS_Context *ctx;
    Guarded cur, prev, to;
    Random *random;

    Box(Size inSize, Size outSize, int32_t format, Random *source)
        : in(inSize), out(outSize), handle(MakeHandle(in, out, format)), ctx(handle.get()),
          cur((size_t)in.Frame()), prev((size_t)in.Frame(), Guarded::kAtStart), to((size_t)out.Frame()),
          random(source) {
        memcpy(cur.Data(), Render(in, {0, 0, 0}).data(), cur.Size());
        memcpy(prev.Data(), Render(in, {700, -900, 40}).data(), prev.Size());
        cur.ReadOnly();
        prev.ReadOnly();
    }
    int32_t Any() { // an end, a small number, or anything
        const int32_t kind = random->In(0, 9);
        return kind < 5   ? kEnds[random->In(0, (int32_t)std::size(kEnds) - 1)]
               : kind < 9 ? random->In(-300, 300)
                          : (int32_t)random->Next();
    }
    int64_t Any64() {
        return random->In(0, 2) ? Any() : (int64_t)Any() * ((int64_t)1 << random->In(0, 32));
    }
    MVS_BlockMV *Blocks() {
        for (int32_t i = 0; i < std::max(ctx->lBlockNum, 1); i++)
            ctx->pBlockMV[i] = {random->In(0, 3), Any(), Any()};
        return ctx->pBlockMV;
    }
    // Spoils every word that one stage takes from another.
    void Upset() {
        int32_t *const kWords[] = {&ctx->lCurMotionRow, &ctx->lCurMotionCol,  &ctx->lCurMotionTheta,
                                   &ctx->lCompRow,      &ctx->lCompCol,       &ctx->lCompTheta,
                                   &ctx->lPrevRow,      &ctx->lPrevCol,       &ctx->lPrevTheta,
                                   &ctx->lFrameCount,   &ctx->lShiftMeanDiff, &ctx->lShiftSampleNum};
        for (int32_t *word : kWords) *word = Any();
        for (int32_t i = 0; i < 2; i++) {
            int32_t *hist = i ? ctx->pColProj : ctx->pRowProj;
            for (int32_t k = 0; k < (i ? ctx->lColProjLen : ctx->lRowProjLen); k++)
                hist[k] = Any() >> 1;
        }
        KalmanSideBlock *side = ctx->pSideBlock;
        int64_t *const kAxes[] = {&side->stAxisRow.st.llPos, &side->stAxisCol.st.llPos,
                                  &side->stAxisTheta.st.llPos};
        for (int64_t *axis : kAxes)
            for (size_t i = 0; i < sizeof(KalmanState) / sizeof(int64_t); i++) axis[i] = Any64();
        int32_t *const kSide[] = {&side->lPredictModeRow,   &side->lPredictModeCol,
                                  &side->lPredictModeTheta, &side->lAdaptCountdown,
                                  &side->lGainShiftRow,     &side->lGainShiftCol,
                                  &side->lGainShiftTheta,   &side->bFollowMode};
        for (int32_t *word : kSide) *word = Any();
        ctx->pCurFrame = cur.Data();
        ctx->pOutFrame = to.Data();
        Blocks();
    }
};

void Model(Box *b) {
    const int32_t w = b->in.width, h = b->in.height;
    const auto any = [b] { return b->Any(); };
    std::vector<int32_t> hist(64), pos(64), valid(64);
    for (size_t i = 0; i < 64; i++) hist[i] = any(), pos[i] = any(), valid[i] = any() & 1;
    GetMediumValue(hist.data(), b->random->In(-1, 64), any());
    CalculateThetaRow(hist.data(), pos.data(), valid.data(), b->random->In(-1, 64));
    int32_t list[40] = {0}, inliers;
    for (int i = 0; i < 39; i++) SortPush(list, any());
    GetPreciseShiftM1(b->ctx, b->Blocks(), any(), any());
    GetPreciseShiftM2(b->ctx, b->Blocks(), any(), any());
    GetPreciseShiftM3(b->ctx, b->Blocks(), h, w);
    if (w > 200) GetTheta32(b->Blocks(), w, h);
    if (w <= 200) GetTheta16(b->Blocks(), w, h, any(), any());
    GetTheta32(b->Blocks(), any() & 31, any());
    GetLSEError(b->Blocks(), w, h, any(), any(), any());
    EstimateTheta(b->Blocks(), w, h, any(), any(), any(), any(), 1 << b->random->In(4, 30), 15);
    CheckBlockMV(b->Blocks(), w, h, any(), any(), any(), &inliers);
    b->Upset();
    GetGlobalMotionM1(b->ctx);
    b->Upset();
    GetGlobalMotionM3(b->ctx);
}

void Smoothing(Box *b) {
    const auto any = [b] { return b->Any(); };
    KalmanFilterOnePos(b->ctx, any(), any(), any());
    b->Upset();
    AddGmvQueueM3(b->ctx, any(), any(), any());
    ReviseKFCurPos(any(), any(), any(), any(), any(), any(), b->ctx);
    int64_t meas = b->Any64(), smooth = b->Any64();
    CheckKFPos(&meas, &smooth);
    b->Upset();
    SmoothGlobalMotionM3(b->ctx, any());
    b->Upset();
    b->ctx->lCropX = any();
    b->ctx->lCropY = any();
    SmoothGlobalMotionM3(b->ctx, 1);
    InitKalmanFilter(b->ctx);
    b->ctx->lCropX = b->ctx->lCropY = 5;
    ResetGmvQueue(b->ctx);
}

void Motion(Box *b) {
    MVS_Context *ctx = b->ctx;
    const uint8_t *cur = b->cur.Data(), *prev = b->prev.Data();
    const int32_t w = b->in.width, h = b->in.height;
    QEL_MVS_AnalyzeHW(ctx, b->Any(), b->Any());
    GetBigShiftF0(ctx, cur, prev);
    QEL_MVS_AnalyzeHW(ctx, w, h);
    // One whole group and one sampled row at the frame's end; more rows than fit into memory are
    // refused.
    MMemFree(nullptr, GetCurBuffer(cur, w - 10, h - 10, 0, b->Any() & 0xFFFF));
    EXPECT_EQ(GetCurBuffer(cur, w - 10, h - 10, 0, INT32_MAX), nullptr);
    uint8_t *samples = GetCurBuffer(cur, w - 10, h - 10, 10, 0);
    GetGlobalSADAlignF0(samples, prev, w - 10, h - 10, 10);
    GetBigMeanF0(samples, prev, w - 10, h - 10, 10);
    MMemFree(nullptr, samples);
    const int32_t row = b->random->In(0, h / 32 - 1), col = b->random->In(0, w / 32 - 1);
    const ptrdiff_t at = 32 * row * w + 32 * col;
    // The patterns' last samples are the planes' last.
    GetSad32AlignF0(cur + (h - 29) * w - 32, prev + (h - 29) * w - 32, 4 * w + 8);
    GetInnerSad32(cur + (h - 29) * w - 32, w);
    GetSad16F0(cur + (h - 13) * w - 13, prev + (h - 13) * w - 13, w);
    b->Upset();
    BlockLDME32(ctx, cur + at, prev + at, row, col, b->Any());
    BlockLDME32(ctx, cur, prev, b->Any() | INT32_MIN, b->Any(), 32);
    const int32_t r = b->Any(), c = b->Any();
    const bool inside =
        r >= -32 * row && r <= h - 32 * row - 16 && c >= -32 * col && c <= w - 32 * col - 16;
    BlockLDME16F0(ctx, cur + at, prev + at + (inside ? r * w + c : 0), 32 * row, 32 * col, r, c, w, h);
    for (const auto search : {BlockME32F0, BlockME16F0, BlockMotionEstimation}) {
        b->Upset();
        search(ctx, cur, prev);
    }
}

void Warps(Box *b) {
    MVS_Context *ctx = b->ctx;
    const uint8_t *cur = b->cur.Data();
    uint8_t *to = b->to.Data();
    const auto any = [b] { return b->Any(); };
    b->Upset();
    ctx->bFullChroma = any() & 1;
    ctx->bChromaInScratch = ctx->pScratchInU && (any() & 1);
    for (const auto stabilize :
         {StabilizeFrameM1F0, StabilizeFrameM2F0, StabilizeFrameM3F0, StabilizeFrameM3F0WithoutOpt,
          StabilizeFrameM3F0WithOpt, StabilizeFrameM3Large}) {
        b->Upset();
        stabilize(ctx, cur, to);
    }
    for (int i = 0; i < 4; i++)
        StabFrame_ShiftingNoZoomF0(ctx, cur, to, any(), any(), any(), i ? b->out.width : any(),
                                   i ? b->in.width : any());
    const uint8_t *chroma = cur + b->in.Luma();
    uint8_t *toChroma = to + b->out.Luma();
    for (const auto warp : {StabY_RotationF0, StabY_Rotation_4x4_7to8, StabY_Rotation_4x4_7to8_normal})
        warp(ctx, cur, to, any(), any(), any(), any());
    for (const auto warp : {StabC_RotationF0, StabC2_Rotation_4x4_7to8, StabC_Rotation_4x4_7to8_normal})
        warp(ctx, chroma, toChroma, any(), any(), any(), any());
    StabC2_RotationF0(ctx, any(), any(), any(), any());
    for (int32_t z : {any(), 3584, 4096}) {
        StabY_Rotation_4x4_7to8_block(ctx, cur, to, any(), any(), z, any(), any(), any());
        StabC2_Rotation_4x4_7to8_block(ctx, chroma, toChroma, any(), any(), z, any(), any(), any());
    }
    ctx->bChromaInScratch = 0;
}

TEST(Hostile, StagesWithEveryWordAtItsEnds) {
    Random random;
    struct {
        Size in, out;
        int32_t format;
    } kBoxes[] = {{{353, 289}, {353, 289}, 0},
                  {{352, 288}, {352, 288}, 1},
                  {{200, 160}, {176, 144}, 2},
                  {{96, 80}, {200, 161}, 1},
                  {{416, 301}, {320, 240}, 1}};
    for (const auto &box : kBoxes)
        for (int round = 0; round < 12; round++) {
            const std::vector<CpuLevel> levels = CpuLevels();
            const AtLevel level(levels[(size_t)round % levels.size()]);
            Box b(box.in, box.out, box.format, &random);
            Model(&b);
            Smoothing(&b);
            Motion(&b);
            Warps(&b);
            for (const auto driver : {DeshakerM1, DeshakerM2, DeshakerM3}) {
                b.Upset();
                if (b.out.width > b.in.width && driver != DeshakerM3) continue;
                driver(b.ctx, b.cur.Data(), b.prev.Data(), b.to.Data());
            }
        }
}

TEST(Hostile, ParametersAtTheirEnds) {
    const int live = Faults::Live();
    const MVS_InitParam good = {3, 66, 50, 64, 48, 1, 0};
    for (size_t field = 0; field < 7; field++)
        for (int32_t value : kEnds)
            for (int32_t mode = 1; mode <= 3; mode++) {
                MVS_InitParam param = good;
                memcpy((uint8_t *)&param + 4 * field, &value, 4);
                const Handle handle(QEL_MVS_CreateStabilizer(&param));
                if (!handle) continue;
                QEL_MVS_SetMode(handle.get(), mode);
                const Size in = {param.lInWidth, param.lInHeight},
                           out = {param.lOutWidth, param.lOutHeight};
                Guarded from((size_t)in.Frame()), to((size_t)out.Frame());
                from.ReadOnly();
                const MVS_FrameTriple triple = {from.Data(), from.Data(), to.Data()};
                QEL_MVS_StabilizeFrame(handle.get(), from.Data(), to.Data());
                QEL_MVS_StabilizeFrameEx(handle.get(), &triple);
            }
    Handle handle = MakeHandle({330, 264}, {300, 240}, 1);
    Guarded frame((size_t)Size{330, 264}.Frame());
    MVS_MotionInfo info = {};
    for (int32_t value : kEnds) {
        EXPECT_EQ(QEL_MVS_SetMode(handle.get(), value),
                  (value >= 1 && value <= 3 && !handle->lFrameCount));
        EXPECT_EQ(QEL_MVS_SetFullChroma(handle.get(), value), value == 0 || value == 1);
        EXPECT_EQ(QEL_MVS_SetThreads(handle.get(), value), value >= 0 && value <= 4);
        info.lSize = value;
        EXPECT_EQ(QEL_MVS_GetMotion(handle.get(), &info), value >= (int32_t)sizeof(info));
        QEL_MVS_AnalyzeHW(handle.get(), value, 100 - (value >> 1));
        QEL_MVS_StabilizeFrameSplitterShow(handle.get(), frame.Data(), frame.Data(), value);
        QEL_MVS_StabilizeFrame_SameBufferSplitterShow(handle.get(), frame.Data(), value);
        for (int32_t other : kEnds)
            QEL_MVS_SplitterShow(frame.Data(), frame.Data(), frame.Data(), frame.Data(), frame.Data(),
                                 frame.Data(), 64, 32, value, other);
        UV_NV21_to_I420(frame.Data(), frame.Data(), frame.Data(), value, value < 0 ? 64 : 0);
        UV_I420_to_NV21(frame.Data(), frame.Data(), frame.Data(), 0, value);
    }
    EXPECT_EQ(QEL_MVS_GetVersion(nullptr), nullptr);
    MVS_Version version;
    EXPECT_EQ(QEL_MVS_GetVersion(&version), &version);
    QEL_MVS_DestroyStabilizer(nullptr);
    handle.reset();
    EXPECT_EQ(Faults::Live(), live);
}

// With one row any pitch not below the row's length will do; with two rows too short a pitch is
// refused.
TEST(Hostile, PitchesAndStreamsAtTheirEnds) {
    const int live = Faults::Live();
    for (int32_t value : kEnds)
        for (int i = 0; i < 4; i++) {
            const Size row = {64, 1}, two = {64, 2};
            PitchedFrame frame(two, i & 1, 0, false, Guarded::kAtEnd),
                to(two, i & 1, 0, false, Guarded::kAtStart);
            Guarded packed((size_t)row.Frame());
            MVS_PitchImage image = frame.image;
            for (int k = 0; k < 3; k++)
                if (value > -64 && value < 64) image.lPitch[k] = value;
            MVS_Context *ctx = QEL_MVS_CreateStabilizerPitch(image);
            ASSERT_TRUE(ctx);
            QEL_MVS_StabilizeFramePitch(ctx, image, to.image);
            QEL_MVS_StabilizeFrame_SameBufferPitch(ctx, image);
            QEL_MVS_StabilizeFrame_DiffBufferPitch(ctx, image, to.image);
            QEL_MVS_DestroyStabilizerPitch(ctx);
            const Handle oneRow = MakeHandle(row, two, i & 1);
            uint8_t *half = to.planes[1]->Top(); // one row of luma has no chroma: not null is enough
            image.lPitch[0] = image.lPitch[1] = image.lPitch[2] = value;
            image.pPlane[1] = image.pPlane[2] = half;
            CopyI420FromPitchBuf(oneRow.get(), packed.Data(), image);
            CopyNV21FromPitchBuf(oneRow.get(), packed.Data(), image);
            CopyI420ToPitchBuf(oneRow.get(), packed.Data(), image);
            CopyNV21ToPitchBuf(oneRow.get(), packed.Data(), image);
            image.lWidth = value;
            image.lHeight = i;
            QEL_MVS_DestroyStabilizerPitch(QEL_MVS_CreateStabilizerPitch(image));
            uint8_t *p = frame.image.pPlane[0];
            const int32_t width = value > 32 ? 32 : value, pitch = value < 0 && value > -64 ? 0 : value;
            I420_uyvy_conversion_c(p, half, half, packed.Data(), width, 1, pitch);
            uyvy_I420_conversion_c(packed.Data(), p, half, half, width, 1, pitch);
            I420_uyvy_conversion_c(p, half, half, packed.Data(), 32, value < 1 ? value : 0, 64);

            uint8_t one = 7;
            for (const auto run : {runVideoStabilizer, runVideoStabilizer_recording}) {
                run(&one, value > 16384 ? value : -1, i);
                run(nullptr, value, value);
                if (value < 1) run(&one, 320, value);
            }
            for (const auto init :
                 {init_quorvel_videostabilizer, init_quorvel_videostabilizer_recording})
                init(value == 1 || value < 0 || value > 16384 ? value : 2, i);
            for (const auto set : {set_quorvel_videostabilizer_full_chroma,
                                   set_quorvel_videostabilizer_full_chroma_recording}) {
                EXPECT_EQ(set(value), value == 0 || value == 1);
                set(0);
            }
            uninit_quorvel_videostabilizer();
            uninit_quorvel_videostabilizer_recording();
            EXPECT_EQ(one, 7);
        }
    EXPECT_EQ(Faults::Live(), live);
}

// The record is open to its caller, who may overwrite the mode and the format between two frames.
TEST(Hostile, ModeAndFormatChangedBetweenFrames) {
    Random random;
    for (Size in : {Size{330, 264}, {200, 160}, {363, 267}}) {
        const Size out = {in.width * 10 / 11 & ~1, in.height * 10 / 11};
        for (int32_t made = 0; made < 3; made++)
            for (Size to : {in, out}) {
                if (made && in.width % 2) continue;
                Box b(in, to, made, &random);
                QEL_MVS_SetRefined(b.ctx, random.In(0, 1));
                Guarded inUV((size_t)in.Luma()), outUV((size_t)in.Luma()), same((size_t)in.Frame());
                for (int i = 0; i < 60; i++) {
                    b.ctx->lInFormat = random.In(0, 3);
                    b.ctx->lMode = to == out ? random.In(-1, 4) : 3;
                    QEL_MVS_SetMode(b.ctx, random.In(0, 4));
                    QEL_MVS_SetFullChroma(b.ctx, random.In(0, 2));
                    const MVS_FrameTriple triple = {b.cur.Data(), b.prev.Data(), b.to.Data()};
                    const uint8_t *cur = i & 1 ? b.cur.Data() : b.prev.Data();
                    switch (random.In(0, 7)) {
                    case 0:
                        QEL_MVS_StabilizeFrame(b.ctx, cur, b.to.Data());
                        break;
                    case 1:
                        QEL_MVS_StabilizeFrame_SameBuffer(b.ctx, same.Data());
                        break;
                    case 2:
                        QEL_MVS_StabilizeFrame_DiffBuffer(b.ctx, cur, b.to.Data());
                        break;
                    case 3:
                        QEL_MVS_StabilizeFrameEx(b.ctx, &triple);
                        break;
                    case 4:
                        QEL_MVS_StabilizeFrame_DiffBufferSplitterShow(b.ctx, cur, b.to.Data(), b.Any());
                        break;
                    case 5:
                        QEL_MVS_StabilizeFrame_Separate_SameBuffer(b.ctx, same.Data(), inUV.Data());
                        break;
                    case 6:
                        QEL_MVS_StabilizeFrame_Separate_DiffBuffer(b.ctx, cur, inUV.Data(), b.to.Data(),
                                                                   outUV.Data());
                        break;
                    default:
                        QEL_MVS_StabilizeFrameSeparateBuffer(b.ctx, cur, inUV.Data(), b.to.Data(),
                                                             nullptr);
                    }
                }
            }
    }
}

TEST(Hostile, PoolsAndBytes) {
    for (int32_t length : kEnds) {
        if (length > 1024) continue;
        Guarded memory(length > 0 ? (size_t)length : 0);
        void *pool = MMemMgrCreate(memory.Data(), length);
        EXPECT_EQ(pool != nullptr, length > 16) << length;
        for (int32_t size : kEnds) {
            const uint32_t bytes = (uint32_t)size;
            void *p = MMemAllocStatic(pool, bytes), *q = pool ? MMemAlloc(pool, 8) : nullptr;
            if (p) MMemSet(p, size, std::min(bytes, 1024u));
            if (q) q = MMemRealloc(pool, q, bytes) ? nullptr : q;
            MMemReallocStatic(pool, p, bytes ^ 0x80000000u);
            MMemFreeStatic(pool, (uint8_t *)p + 4 * (size & 1));
            if (pool) MMemFree(pool, p);
            EXPECT_LE(GetMaxAllocMemSize(pool), std::max(length, 2));
        }
        MMemMgrDestroy(pool);
    }
    Guarded from(96), to(96);
    for (uint32_t count : {0u, 96u}) {
        MMemCpy(to.Data(), from.Data(), count);
        MMemMove(to.Data() + 96 - count, from.Data(), count);
        EXPECT_EQ(MMemCmp(to.Data(), from.Data(), count), 0);
    }
    void *event = zekMEventCreate(nullptr);
    for (int32_t timeout : kEnds) {
        if (timeout == -1) zekMEventSignal(event);
        EXPECT_EQ(zekMEventWait(event, timeout), QEL_EVENT_OK);
    }
    zekMEventSignal(event);
    zekMEventDestroy(nullptr, event);
    zekMThreadExit(zekMThreadCreate(nullptr, event));
    zekMThreadDestory(0);
}

// Each kernel reads and writes its own samples only, whatever the stride.
TEST(Hostile, KernelsBetweenGuardPages) {
    const auto run = [](const char *name, MappingKernel kernel, int32_t rowPhase, int32_t colPhase,
                        int32_t step) {
        for (int32_t stride : {4 * step + step, 17, 16384})
            for (Guarded::Side side : {Guarded::kAtEnd, Guarded::kAtStart}) {
                const int32_t rows = rowPhase == 3 ? 5 : 4, cols = colPhase == 3 ? 5 : 4;
                Guarded src((size_t)(stride * (rows - 1) + step * (cols - 1) + 1), side, 255);
                Guarded dst((size_t)(stride * 3 + step * 3 + 1), side, 0);
                src.ReadOnly();
                kernel(src.Data(), dst.Data(), stride);
                EXPECT_EQ(dst.Data()[0], 255);
                EXPECT_EQ(dst.Data()[dst.Size() - 1], 255) << name;
                EXPECT_EQ(dst.Data()[step * 3 + 1], 0) << name;
            }
    };
#define RUN_KERNELS(a, b)                                                                              \
    run("mapping_block_4x4_7to8_" #a #b, mapping_block_4x4_7to8_##a##b, a, b, 1);                      \
    run("mapping_block_4x4_7to8_" #a #b "_OP", mapping_block_4x4_7to8_##a##b##_OP, a, b, 1);           \
    run("mapping_block_4x4_7to8_" #a #b "_OP_C2", mapping_block_4x4_7to8_##a##b##_OP_C2, a, b, 2);
    QEL_FOR_EACH_PHASE(RUN_KERNELS)
}

std::set<std::string> WordsOf(const char *path) {
    std::set<std::string> words;
    std::string word;
    std::ifstream file(path);
    for (char c; file.get(c);) {
        if (isalnum((unsigned char)c) || c == '_') {
            word += c;
        } else {
            words.insert(word);
            word.clear();
        }
    }
    return words;
}

// This file and hostile_planes_test.cpp name every export. The tests above call the functions, except
// for the bodies of jobs that only the library can make (thread_BlockME32F0, BlockME32F0_BlockMT,
// thread_StabY_Rotation_4x4_7to8, thread_StabC2_Rotation_4x4_7to8). The variables are hVStabilizer,
// vs_param, lWidth, lHeight, output, yuv420, hVStabilizer_recording, vs_param_recording,
// lWidth_recording, lHeight_recording, output_recording and yuv420_recording.
TEST(Hostile, LeavesOutNoExport) {
    std::set<std::string> words = WordsOf(QUORVEL_SOURCE_DIR "/tests/hostile_test.cpp");
    words.merge(WordsOf(QUORVEL_SOURCE_DIR "/tests/hostile_planes_test.cpp"));
    std::ifstream file(QUORVEL_SOURCE_DIR "/src/exports.txt");
    int functions = 0;
    for (std::string name; std::getline(file, name);) {
        if (name.empty() || name[0] == '#') continue;
        if (name.compare(0, 14, "mapping_block_") == 0) continue; // named by QEL_FOR_EACH_PHASE
        EXPECT_TRUE(words.count(name)) << name;
        functions++;
    }
    EXPECT_GT(functions, 100);
}

} // namespace

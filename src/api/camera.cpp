// SPDX-License-Identifier: BSD-2-Clause
// The camera service's two streams.
#include "quorvel/camera.h"

#include <stdlib.h>
#include <string.h>

#include "api/api.h"
#include "api/camera_log.h"
#include "platform/buffers.h"
#include "size_rules.h"

// Each variable of the state has two names. The wrapper uses the one with the prefix; the exported one
// is an alias, so that a program's variable of that name changes nothing here. In the archive the alias
// is weak, so that it does not collide with the program's.
#ifdef QUORVEL_ARCHIVE
#define QEL_ALIAS(name) __attribute__((weak, alias("quorvel_" #name)))
#else
#define QEL_ALIAS(name) __attribute__((alias("quorvel_" #name)))
#endif
#define QEL_STATE(type, name)                                                                          \
    extern "C" {                                                                                       \
    type quorvel_##name;                                                                               \
    extern type name QEL_ALIAS(name);                                                                  \
    }

QEL_STATE(MVS_Context *, hVStabilizer)
QEL_STATE(MVS_InitParam, vs_param)
QEL_STATE(int32_t, lWidth)
QEL_STATE(int32_t, lHeight)
QEL_STATE(uint8_t *, output)
QEL_STATE(uint8_t *, yuv420)
QEL_STATE(MVS_Context *, hVStabilizer_recording)
QEL_STATE(MVS_InitParam, vs_param_recording)
QEL_STATE(int32_t, lWidth_recording)
QEL_STATE(int32_t, lHeight_recording)
QEL_STATE(uint8_t *, output_recording)
QEL_STATE(uint8_t *, yuv420_recording)

namespace {

const int32_t kDebug = 3, kError = 6;
const int32_t kDefaultWidth = 1280, kDefaultHeight = 720;

// The state of one stream.
struct Stream {
    MVS_Context **ppHandle;
    MVS_InitParam *pParam;
    int32_t *pWidth, *pHeight;
    uint8_t **ppFirst, **ppSecond; // frame buffers; the preview has only the first
    int32_t *pFullChroma;
};

int32_t lFullChroma, lFullChromaRecording; // outlive the streams' handles

Stream Preview() {
    return {&quorvel_hVStabilizer, &quorvel_vs_param, &quorvel_lWidth, &quorvel_lHeight,
            &quorvel_output,       nullptr,           &lFullChroma};
}
Stream Recording() {
    return {&quorvel_hVStabilizer_recording,
            &quorvel_vs_param_recording,
            &quorvel_lWidth_recording,
            &quorvel_lHeight_recording,
            &quorvel_output_recording,
            &quorvel_yuv420_recording,
            &lFullChromaRecording};
}

uint8_t *AllocFrame(int32_t lFrameWidth, int32_t lFrameHeight) {
    if (lFrameWidth > kMaxSide || lFrameHeight > kMaxSide) return nullptr;
    const size_t lSize = (size_t)((uint32_t)lFrameWidth * (uint32_t)lFrameHeight * 3 >> 1);
    return (uint8_t *)AllocFilled((uint32_t)lSize, 0);
}

void Init(const Stream &stStream, int32_t lFrameWidth, int32_t lFrameHeight) {
    const int32_t w = lFrameWidth ? lFrameWidth : kDefaultWidth;
    const int32_t h = lFrameHeight ? lFrameHeight : kDefaultHeight;
    *stStream.pWidth = w;
    *stStream.pHeight = h;
    *stStream.pParam = {3, w, h, w, h, QEL_MVS_FORMAT_NV21, 1};
    __android_log_print(kDebug, nullptr, "ZEK, vs_param, mode=%d, width=%d, height=%d, format=%d", 3, w,
                        h, 1);
    if (!*stStream.ppHandle) {
        __android_log_print(kError, nullptr, "ZEK_API, CreateStabilizer");
        *stStream.ppHandle = QEL_MVS_CreateStabilizer(stStream.pParam);
        QEL_MVS_SetFullChroma(*stStream.ppHandle, *stStream.pFullChroma);
    }
    if (stStream.ppSecond) *stStream.ppSecond = AllocFrame(w, h);
    *stStream.ppFirst = AllocFrame(w, h);
}

int32_t Uninit(const Stream &stStream) {
    __android_log_print(kDebug, nullptr, "ZEK uninit_quorvel_videostabilizer");
    if (*stStream.ppHandle) {
        __android_log_print(kError, nullptr, "ZEK_API, DestroyStabilizer");
        QEL_MVS_DestroyStabilizer(*stStream.ppHandle);
        *stStream.ppHandle = nullptr;
    }
    free(*stStream.ppFirst);
    *stStream.ppFirst = nullptr;
    if (stStream.ppSecond) {
        free(*stStream.ppSecond);
        *stStream.ppSecond = nullptr;
    }
    return __android_log_print(kDebug, nullptr, "ZEK uninit_quorvel_videostabilizer end");
}

int32_t SetFullChroma(const Stream &stStream, int32_t bFull) {
    if (bFull != 0 && bFull != 1) return 0;
    *stStream.pFullChroma = bFull;
    QEL_MVS_SetFullChroma(*stStream.ppHandle, bFull);
    return 1;
}

// A second init changes the stream's size but keeps the handle, whose size may then be another one.
bool IsSetUpFor(const Stream &stStream, int32_t lFrameWidth, int32_t lFrameHeight) {
    if (*stStream.pWidth != lFrameWidth || *stStream.pHeight != lFrameHeight) return false;
    const MVS_Context *pCtx = *stStream.ppHandle;
    return !pCtx || (pCtx->lInWidth == lFrameWidth && pCtx->lInHeight == lFrameHeight);
}

size_t FrameBytes(int32_t lFrameWidth, int32_t lFrameHeight) {
    return (size_t)((int64_t)lFrameWidth * lFrameHeight * 3 / 2);
}

} // namespace

int32_t init_quorvel_videostabilizer(int32_t lFrameWidth, int32_t lFrameHeight) {
    if (lFrameWidth < 0 || lFrameHeight < 0) return 0;
    __android_log_print(kDebug, nullptr, "ZEK, init_quorvel_videostabilizer");
    Init(Preview(), lFrameWidth, lFrameHeight);
    __android_log_print(kDebug, nullptr, "ZEK, init_quorvel_videostabilizer");
    return 0;
}

// The last line is that of the preview: programs that parse the log expect it.
int32_t init_quorvel_videostabilizer_recording(int32_t lFrameWidth, int32_t lFrameHeight) {
    if (lFrameWidth < 0 || lFrameHeight < 0) return 0;
    __android_log_print(kDebug, nullptr, "ZEK, init_quorvel_videostabilizer_recording");
    Init(Recording(), lFrameWidth, lFrameHeight);
    __android_log_print(kDebug, nullptr, "ZEK, init_quorvel_videostabilizer");
    return 0;
}

int32_t uninit_quorvel_videostabilizer(void) { return Uninit(Preview()); }

int32_t uninit_quorvel_videostabilizer_recording(void) { return Uninit(Recording()); }

int32_t set_quorvel_videostabilizer_full_chroma(int32_t bFull) {
    return SetFullChroma(Preview(), bFull);
}

int32_t set_quorvel_videostabilizer_full_chroma_recording(int32_t bFull) {
    return SetFullChroma(Recording(), bFull);
}

int32_t runVideoStabilizer(uint8_t *pFrame, int32_t lFrameWidth, int32_t lFrameHeight) {
    if (!pFrame || lFrameWidth < 1 || lFrameHeight < 1) return 0;
    if (!IsSetUpFor(Preview(), lFrameWidth, lFrameHeight)) {
        uninit_quorvel_videostabilizer();
        init_quorvel_videostabilizer(lFrameWidth, lFrameHeight);
    }
    const bool bDone =
        quorvel_output && StabilizeWholeFrame(quorvel_hVStabilizer, pFrame, quorvel_output);
    __android_log_print(kDebug, nullptr, "ZEK_API, StabilizeFrame %s", bDone ? "finish" : "not done");
    if (bDone) memcpy(pFrame, quorvel_output, FrameBytes(lFrameWidth, lFrameHeight));
    return 0;
}

int32_t runVideoStabilizer_recording(uint8_t *pFrame, int32_t lFrameWidth, int32_t lFrameHeight) {
    if (!pFrame || lFrameWidth < 1 || lFrameHeight < 1) return 0;
    if (!IsSetUpFor(Recording(), lFrameWidth, lFrameHeight)) {
        uninit_quorvel_videostabilizer_recording();
        init_quorvel_videostabilizer_recording(lFrameWidth, lFrameHeight);
    }
    if (!quorvel_hVStabilizer_recording || !quorvel_yuv420_recording) return 0;
    const size_t lBytes = FrameBytes(lFrameWidth, lFrameHeight);
    memcpy(quorvel_yuv420_recording, pFrame, lBytes);
    QEL_MVS_StabilizeFrame(quorvel_hVStabilizer_recording, quorvel_yuv420_recording,
                           quorvel_yuv420_recording);
    memcpy(pFrame, quorvel_yuv420_recording, lBytes);
    return 0;
}

// SPDX-License-Identifier: BSD-2-Clause
// What the JavaScript module calls. One instance of the module serves one stabilizer, in a memory of
// its own, which is released with the instance: frames that are done are kept here, for the next ones.
//
// Frames lie plane after plane, without gaps. The caller fills the frame of WebInput and calls WebPush,
// then WebPull until it returns 0: each time there is an output frame and its record.
#include <stdint.h>
#include <stdlib.h>

#include <quorvel/refined.h>

#define WEB_CALL extern "C" __attribute__((visibility("default")))

namespace {

const int kMostPlanes = 4;

// Written by JavaScript as 32-bit words, in this order.
struct Settings {
    int32_t width, height;
    int32_t sampleBytes, bits;
    int32_t luma; // channel of the first plane
    int32_t planes;
    struct {
        int32_t channels, log2X, log2Y;
    } plane[kMostPlanes];
    int32_t siteX, siteY; // of subsampled planes
    int32_t standard, paired;
    int32_t lookahead, window, strength, roll, cubic;
    int32_t rateNumerator, rateDenominator;
};

// Read by JavaScript as 32-bit words, in this order. Q16 pixels and Q24 radians.
struct Record {
    int32_t flags;
    int32_t row, col, theta, step;
    int32_t motionRow, motionCol, motionTheta;
};

// A frame, with its pixels behind this record.
struct alignas(16) Frame {
    Frame *next;
};
uint8_t *Pixels(Frame *frame) { return (uint8_t *)(frame + 1); }

Settings settings;
Record record;
MVS_Context *context;
MVS_Compensation compensation;
bool hasCompensation; // pulled, output not yet made
bool hasOutput;       // of the standard path
bool used, ended;

size_t frameBytes;
Frame *input, *output;
Frame *oldest, *newest; // frames that wait
Frame *spare;

// Plane i of a frame with these pixels. With null its address is the offset in a frame.
MVS_Plane PlaneOf(uint8_t *pixels, int i) {
    MVS_Plane plane = {};
    for (int k = 0; k <= i; k++) {
        const auto &shape = settings.plane[k];
        pixels += plane.llPitch * plane.lHeight;
        plane.lWidth = (settings.width + (1 << shape.log2X) - 1) >> shape.log2X;
        plane.lHeight = (settings.height + (1 << shape.log2Y) - 1) >> shape.log2Y;
        plane.llPitch = (int64_t)plane.lWidth * shape.channels * settings.sampleBytes;
    }
    plane.lSize = (int32_t)sizeof(plane);
    plane.lChannels = settings.plane[i].channels;
    plane.lLuma = i == 0 ? settings.luma : 0;
    plane.lSampleBytes = settings.sampleBytes;
    plane.lBits = settings.bits;
    plane.lLog2X = settings.plane[i].log2X;
    plane.lLog2Y = settings.plane[i].log2Y;
    plane.lSiteX = plane.lLog2X > 0 ? settings.siteX : 0;
    plane.lSiteY = plane.lLog2Y > 0 ? settings.siteY : 0;
    plane.pPixels = pixels;
    return plane;
}

Frame *NewFrame() {
    Frame *frame = spare;
    if (frame)
        spare = frame->next;
    else
        frame = (Frame *)malloc(sizeof(Frame) + frameBytes);
    if (frame) frame->next = nullptr;
    return frame;
}

void GiveBack(Frame *frame) {
    frame->next = spare;
    spare = frame;
}

bool SetUp() {
    if (settings.standard) return QEL_MVS_SetFullChroma(context, 1);
    return QEL_MVS_SetRefined(context, 1) &&
           QEL_MVS_SetFrameRate(context, settings.rateNumerator, settings.rateDenominator) &&
           QEL_MVS_SetWindow(context, settings.window) &&
           QEL_MVS_SetStrength(context, settings.strength) && QEL_MVS_SetRoll(context, settings.roll) &&
           QEL_MVS_SetCubic(context, settings.cubic) &&
           QEL_MVS_SetLookahead(context, settings.lookahead);
}

// A handle for the next stream.
bool Renew() {
    const int32_t format =
        settings.standard && settings.paired ? QEL_MVS_FORMAT_NV21 : QEL_MVS_FORMAT_I420;
    const MVS_InitParam param = {
        3, settings.width, settings.height, settings.width, settings.height, format, 0};
    QEL_MVS_DestroyStabilizer(context);
    context = QEL_MVS_CreateStabilizer(&param);
    used = ended = false;
    if (context && SetUp()) return true;
    QEL_MVS_DestroyStabilizer(context);
    context = nullptr;
    return false;
}

bool PushStandard() {
    MVS_MotionInfo info = {};
    info.lSize = (int32_t)sizeof(info);
    QEL_MVS_GetMotion(context, &info);
    const int32_t before = info.lFrameNumber;
    QEL_MVS_StabilizeFrame(context, Pixels(input), Pixels(output));
    QEL_MVS_GetMotion(context, &info);
    if (info.lFrameNumber == before) return false;
    const int32_t flags = info.bMeasured ? QEL_MVS_MEASURED : QEL_MVS_NEW_SCENE; // the path starts anew
    record = {flags,           info.lCompRow * 64,   info.lCompCol * 64,   info.lCompTheta * 256,
              65536 / 16 * 14, info.lMotionRow * 64, info.lMotionCol * 64, info.lMotionTheta * 256};
    hasOutput = true;
    return true; // `input` stays, for the next frame
}

bool PushRefined() {
    const MVS_Plane luma = PlaneOf(Pixels(input), 0);
    if (!QEL_MVS_PushLuma(context, &luma)) return false;
    if (newest)
        newest->next = input;
    else
        oldest = input;
    newest = input;
    input = nullptr;
    return true;
}

bool MakeOutput() {
    MVS_Plane from[kMostPlanes], to[kMostPlanes];
    for (int i = 0; i < settings.planes; i++) {
        from[i] = PlaneOf(Pixels(oldest), i);
        to[i] = PlaneOf(Pixels(output), i);
    }
    return QEL_MVS_CompensateFrame(context, &compensation, from, to, settings.planes);
}

} // namespace

WEB_CALL Settings *WebSettings() { return &settings; }
WEB_CALL Record *WebRecord() { return &record; }
WEB_CALL uint8_t *WebOutput() { return Pixels(output); }

// Begins with what WebSettings holds; 0: impossible, or not enough memory.
WEB_CALL int WebCreate() {
    const MVS_Plane last = PlaneOf(nullptr, settings.planes - 1);
    frameBytes = (size_t)last.pPixels + (size_t)(last.llPitch * last.lHeight);
    output = NewFrame();
    return output && Renew();
}

// Where the next frame goes; null: no memory.
WEB_CALL uint8_t *WebInput() {
    if ((!context || (ended && !oldest)) && !Renew()) return nullptr;
    if (!input) input = NewFrame();
    return input ? Pixels(input) : nullptr;
}

// Takes the frame of WebInput; 0: no memory, it was not taken.
WEB_CALL int WebPush() {
    const bool taken = settings.standard ? PushStandard() : PushRefined();
    if (taken) used = true;
    return taken;
}

// 1: an output and its record; 0: none yet; -1: no memory, may be tried again.
WEB_CALL int WebPull() {
    if (settings.standard) {
        const bool had = hasOutput;
        hasOutput = false;
        return had;
    }
    compensation.lSize = (int32_t)sizeof(compensation);
    if (!hasCompensation) hasCompensation = QEL_MVS_PullCompensation(context, &compensation);
    if (!hasCompensation) return 0;
    if (!MakeOutput()) return -1;
    hasCompensation = false;
    Frame *done = oldest;
    oldest = done->next;
    if (!oldest) newest = nullptr;
    GiveBack(done);
    record = {compensation.lFlags,     compensation.lRow,        compensation.lCol,
              compensation.lTheta,     compensation.lStep,       compensation.lMotionRow,
              compensation.lMotionCol, compensation.lMotionTheta};
    return 1;
}

// Lets the frames that wait be pulled. The next frame begins a stream.
WEB_CALL void WebEnd() {
    if (!used) return;
    if (!settings.standard) QEL_MVS_EndStream(context);
    ended = true;
}

// The next frame begins a scene.
WEB_CALL void WebReset() {
    if (settings.standard)
        ended = used;
    else
        QEL_MVS_Reset(context);
}

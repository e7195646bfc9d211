// SPDX-License-Identifier: BSD-2-Clause
// Whole lives of handles: any parameters, any settings, and frames through any mixture of entry points,
// each frame between guard pages. Portable code and one level of vector instructions must write the
// same bytes.
#include <string.h>

#include <algorithm>
#include <memory>

#include "input.h"
#include "quorvel/camera.h"
#include "quorvel/pitch.h"
#include "quorvel/refined.h"
#include "support/pitched.h"

extern "C" int __android_log_print(int, const char *, const char *, ...) { return 1; } // silence

namespace {

const int kMaxCalls = 10;

using Buffer = std::unique_ptr<Guarded>;

struct Life {
    Input input;
    Guarded::Side side;
    MVS_Context *ctx;
    Size in, out;
    int32_t format;
    Buffer previous; // frame, for the calls that take it from their caller
    uint64_t hash;

    Buffer Make(int32_t bytes) { return std::make_unique<Guarded>((size_t)bytes, side, kUntouched); }
    Buffer Frame(int32_t bytes) {
        Buffer frame = Make(bytes);
        Paint(&input, frame->Data(), frame->Size(), in.width, in.height);
        return frame;
    }
    void Record(const Guarded &buffer) {
        hash = Hash(Bytes(buffer.Data(), buffer.Data() + buffer.Size()), hash);
    }
};

Size AnySize(Input *input) {
    static const int16_t kSides[4][4] = {
        {1, 40, 1, 40}, {300, 440, 200, 340}, {200, 660, 32, 260}, {92, 220, 34, 180}};
    const uint8_t kind = input->Byte();
    const int16_t *side = kSides[kind & 3];
    const Size size = {input->In(side[0], side[1]), input->In(side[2], side[3])};
    return kind & 4 ? size : Size{(size.width + 1) & ~1, (size.height + 1) & ~1};
}

// One frame through a packed call: plain, split screen, with the previous frame given, or with separate
// luma and chroma. With the other formats the separate call gets whole frames as luma.
void PackedFrame(Life *life, uint8_t call) {
    const int entry = call & 3;
    const bool apart = entry == 3 && life->format == QEL_MVS_FORMAT_NV21_SEPARATE;
    const bool inPlace = entry != 2 && call & 8;
    const int32_t in = life->in.Frame(), out = life->out.Frame();
    const int32_t inY = apart ? life->in.Luma() : in, outY = apart ? life->out.Luma() : out;
    const int32_t room = inPlace ? std::max(inY, outY) : inY;
    const int32_t roomUV = inPlace ? std::max(in - inY, out - outY) : in - inY;
    Buffer y = life->Frame(room), uv = life->Frame(roomUV), toY = life->Make(outY),
           toUV = life->Make(out - outY);
    if (!inPlace) {
        y->ReadOnly();
        uv->ReadOnly();
    }
    const uint8_t *from = call & 32 ? nullptr : y->Data();
    uint8_t *to = inPlace ? y->Data() : toY->Data();
    const int32_t split = call & 16 ? life->input.Number() : life->in.width / 3;
    const MVS_FrameTriple triple = {from, life->previous ? life->previous->Data() : nullptr, to};
    if (entry == 0) QEL_MVS_StabilizeFrame(life->ctx, from, to);
    if (entry == 1) QEL_MVS_StabilizeFrameSplitterShow(life->ctx, from, to, split);
    if (entry == 2) QEL_MVS_StabilizeFrameEx(life->ctx, &triple);
    if (entry == 3)
        QEL_MVS_StabilizeFrameSeparateBuffer(life->ctx, from, uv->Data(), to,
                                             inPlace ? uv->Data() : toUV->Data());
    for (const Buffer *buffer : {&y, &uv, &toY, &toUV}) life->Record(**buffer);
    if (!apart) life->previous = std::move(y);
}

// Two pitched images to stabilize, and one of any layout to copy; the padding of the rows must stay.
void Pitched(Life *life, uint8_t call) {
    if (!life->ctx) return;
    const int32_t layout = call & 4 ? QEL_MVS_FORMAT_I420 : QEL_MVS_FORMAT_NV21;
    std::unique_ptr<PitchedFrame> made[3];
    for (auto &frame : made) {
        const int32_t format = &frame == &made[2] || life->format > 1 ? layout : life->format;
        const uint8_t how = life->input.Byte();
        frame = std::make_unique<PitchedFrame>(life->in, format, how >> 2, how & 1, life->side);
        Buffer pixels = life->Frame(life->in.Frame());
        frame->Put(Bytes(pixels->Data(), pixels->Data() + pixels->Size()));
    }
    MVS_PitchImage in = made[0]->image, other = made[2]->image;
    Buffer packed = life->Frame(life->in.Frame());
    if (call & 16) in.lPitch[call >> 6] = life->in.width / 2 - 1;
    if (call & 32) other.pPlane[call >> 7] = nullptr;
    QEL_MVS_StabilizeFramePitch(life->ctx, in, call & 1 ? in : made[1]->image);
    if (call & 2)
        (layout ? CopyNV21FromPitchBuf : CopyI420FromPitchBuf)(life->ctx, packed->Data(), other);
    if (call & 8) (layout ? CopyNV21ToPitchBuf : CopyI420ToPitchBuf)(life->ctx, packed->Data(), other);
    life->Record(*packed);
    for (const auto &frame : made) {
        Bytes pixels((size_t)life->in.Frame(), kUntouched);
        MUST(frame->Get(&pixels));
        life->hash = Hash(pixels, life->hash);
    }
}

void Camera(Life *life, uint8_t call) {
    const int32_t width = call & 1 ? 2 * life->input.In(1, 60) : life->in.width;
    const int32_t height = life->in.height;
    if (call & 2)
        (call & 4 ? uninit_quorvel_videostabilizer : uninit_quorvel_videostabilizer_recording)();
    if (call & 16)
        (call & 8 ? set_quorvel_videostabilizer_full_chroma
                  : set_quorvel_videostabilizer_full_chroma_recording)(call >> 5);
    Buffer frame = life->Frame(Size{width, height}.Frame());
    (call & 8 ? runVideoStabilizer : runVideoStabilizer_recording)(frame->Data(), width, height);
    life->Record(*frame);
}

// Conversions there and back, which need no handle.
void Convert(Life *life, uint8_t call) {
    const int32_t w = life->in.width, h = life->in.height, pairs = w >> 1, rows = h >> 1,
                  pitch = 2 * w + call;
    Buffer in = life->Frame(w * h + 2 * pairs * rows), out = life->Make(w * h + 2 * pairs * rows);
    Buffer packed = life->Make(pitch * (h - 1) + 2 * w), both = life->Make(2 * pairs * rows);
    uint8_t *y = in->Data(), *u = y + w * h, *v = u + pairs * rows;
    uint8_t *y2 = out->Data(), *u2 = y2 + w * h, *v2 = u2 + pairs * rows;
    I420_uyvy_conversion_c(y, u, v, packed->Data(), w, h, pitch);
    uyvy_I420_conversion_c(packed->Data(), y2, u2, v2, w, h, pitch);
    MUST(w % 2 || !memcmp(y, y2, in->Size()));
    UV_I420_to_NV21(u, v, both->Data(), pairs, rows);
    UV_NV21_to_I420(u2, v2, both->Data(), pairs, rows);
    MUST(!memcmp(u, u2, 2 * (size_t)(pairs * rows)));
    QEL_MVS_SplitterShow(y, u, v, y2, u2, v2, w, h, life->input.Number(), 0);
}

void Setting(Life *life, uint8_t call) {
    Input *input = &life->input;
    const int32_t first = input->Number(), second = input->Number();
    QEL_MVS_SetFullChroma(life->ctx, call & 1 ? first : 1);
    QEL_MVS_SetMode(life->ctx, call & 2 ? second : call >> 6);
    if (call & 4) QEL_MVS_AnalyzeHW(life->ctx, first, second);
    const MVS_InitParam param = {3, first, second, 64, 48, life->format, 0};
    if (first < 600 && second < 600) QEL_MVS_DestroyStabilizer(QEL_MVS_CreateStabilizer(&param));
}

// A plane of a picture in memory of its own.
struct OwnPlane {
    Buffer memory;
    MVS_Plane layout, plane; // before and after it was spoilt

    bool Holds(const MVS_Plane &p) const {
        const double row = (double)p.lWidth * p.lChannels * p.lSampleBytes;
        const double last = (double)p.llPitch * ((double)p.lHeight - 1);
        const double top = (double)(p.pPixels - memory->Data());
        return row >= 0 && p.lHeight > 0 && top >= 0 && top + last >= 0 &&
               std::max(top, top + last) + row <= (double)memory->Size();
    }
    // Changes a word, while the plane stays within its memory.
    void Spoil(Input *input) {
        MVS_Plane other = plane;
        const uint8_t word = input->Byte() % 13;
        const int32_t value = input->Number();
        if (word < 12) memcpy((uint8_t *)&other + 4 * word, &value, 4);
        if (word == 12) other.llPitch = value;
        if (Holds(other)) plane = other;
    }
};

OwnPlane MakePlane(Life *life, Size picture, const MVS_Plane *layout, bool paint) {
    Input *input = &life->input;
    MVS_Plane p = {};
    const uint8_t kind = input->Byte(), how = input->Byte();
    p = {
        (int32_t)sizeof(p), 0, 0, 1 + (kind & 3), 0, 1 + (kind >> 2 & 1), 8, 0, 0, 0, 0, 0, 0, nullptr};
    if (p.lSampleBytes == 2) p.lBits = input->In(8, 16), p.lLowestBit = input->In(0, 16 - p.lBits);
    if (kind & 8) p.lLog2X = input->In(0, 2), p.lLog2Y = input->In(0, 2);
    if (kind & 16) p.lSiteX = input->In(-16, 16), p.lSiteY = input->In(-16, 16);
    p.lLuma = p.lChannels / 2;
    if (layout) p = *layout;
    const int32_t x = how & 1 ? (1 << p.lLog2X) - 1 : 0, y = how & 2 ? (1 << p.lLog2Y) - 1 : 0;
    p.lWidth = std::max((picture.width + x) >> p.lLog2X, 1);
    p.lHeight = std::max((picture.height + y) >> p.lLog2Y, 1);
    const int32_t row = p.lWidth * p.lChannels * p.lSampleBytes;
    const int32_t pitch = row + (how >> 4) * p.lSampleBytes, below = pitch * (p.lHeight - 1);
    OwnPlane own = {life->Make(below + row), p, p};
    if (paint) Paint(input, own.memory->Data(), own.memory->Size(), row, p.lHeight);
    if (paint) own.memory->ReadOnly();
    own.plane.llPitch = how & 4 ? -pitch : pitch;
    own.plane.pPixels = own.memory->Data() + (how & 4 ? below : 0);
    if (how & 8) own.Spoil(input);
    return own;
}

// Settings, then a frame by planes: measured, pulled, made.
void Planes(Life *life, uint8_t call) {
    Input *input = &life->input;
    if (call & 1) QEL_MVS_SetRefined(life->ctx, 1);
    if (call & 2) {
        QEL_MVS_SetLookahead(life->ctx, input->In(-1, 9));
        QEL_MVS_SetWindow(life->ctx, input->In(600, 1010));
        QEL_MVS_SetStrength(life->ctx, input->Number());
        QEL_MVS_SetFrameRate(life->ctx, input->Number(), input->Number());
        QEL_MVS_SetRoll(life->ctx, input->In(0, 1));
    }
    if (call & 4) QEL_MVS_SetCubic(life->ctx, input->In(0, 1));
    if (call & 8) QEL_MVS_Reset(life->ctx);
    for (int i = input->In(0, 3); i > 0; i--) {
        const OwnPlane luma = MakePlane(life, life->in, nullptr, true);
        QEL_MVS_PushLuma(life->ctx, &luma.plane);
    }
    if (call & 16) QEL_MVS_EndStream(life->ctx);
    Guarded memory(sizeof(MVS_Compensation));
    MVS_Compensation *record = (MVS_Compensation *)memory.Data();
    record->lSize = (int32_t)sizeof(*record) - (call >> 7);
    if (!QEL_MVS_PullCompensation(life->ctx, record) || call & 32)
        *record = {record->lSize,
                   0,
                   0,
                   input->Number(),
                   input->Number(),
                   input->Number(),
                   input->Number(),
                   call & 128,
                   0,
                   0,
                   0};
    life->Record(memory);
    OwnPlane from[2] = {MakePlane(life, life->in, nullptr, true),
                        MakePlane(life, life->in, nullptr, true)};
    OwnPlane to[2] = {MakePlane(life, life->out, &from[0].layout, false),
                      MakePlane(life, life->out, &from[1].layout, false)};
    const MVS_Plane in[2] = {from[0].plane, from[1].plane};
    const MVS_Plane out[2] = {to[0].plane, call & 64 ? to[0].plane : to[1].plane};
    const bool made = QEL_MVS_CompensateFrame(life->ctx, record, in, out, 2);
    MUST(!made || !(call & 64));
    for (const OwnPlane &plane : to) life->Record(*plane.memory);
}

// A motion in place of a frame.
void Motion(Life *life, uint8_t call) {
    Input *input = &life->input;
    if (call & 1) QEL_MVS_SetRefined(life->ctx, 1);
    if (call & 2) QEL_MVS_SetLookahead(life->ctx, input->In(-1, 9));
    Guarded memory(sizeof(MVS_Compensation));
    MVS_Compensation *record = (MVS_Compensation *)memory.Data();
    record->lSize = (int32_t)sizeof(*record) - (call >> 7);
    record->lFlags = input->Byte();
    for (int32_t *word : {&record->lMotionRow, &record->lMotionCol, &record->lMotionTheta})
        *word = input->Number();
    memory.ReadOnly();
    QEL_MVS_PushMotion(life->ctx, record);
    if (call & 4) QEL_MVS_EndStream(life->ctx);
}

uint64_t Live(const uint8_t *data, size_t size, bool portable) {
    Life life = {{data, data + size}, Guarded::kAtEnd, nullptr, {}, {}, 0, nullptr, ::Hash({})};
    Input *input = &life.input;
    const uint8_t shape = input->Byte();
    const CpuLevel level = input->Level();
    lWidth = lWidth_recording = 0; // forgets the camera's streams
    set_quorvel_videostabilizer_full_chroma(0);
    set_quorvel_videostabilizer_full_chroma_recording(0);
    const AtLevel at(portable ? kCpuPortable : level);
    life.side = shape & 1 ? Guarded::kAtStart : Guarded::kAtEnd;
    life.format = (shape >> 1) % 4; // 3 is no format
    life.in = life.out = AnySize(input);
    if (shape & 8) life.out = AnySize(input);
    if (shape & 16) life.out = {life.in.width * 10 / 11, life.in.height * 10 / 11};
    const bool pitched = shape & 32;
    const MVS_InitParam param = {
        3, life.in.width, life.in.height, life.out.width, life.out.height, life.format, 0};
    const MVS_PitchImage image = {life.format, life.in.width, life.in.height, {}, {}};
    if (pitched) life.out = life.in;
    life.ctx = pitched ? QEL_MVS_CreateStabilizerPitch(image) : QEL_MVS_CreateStabilizer(&param);
    QEL_MVS_SetMode(life.ctx, shape >> 6);
    for (int i = 0; i < kMaxCalls && !input->Empty(); i++) {
        const uint8_t call = input->Byte();
        static void (*const kCalls[16])(Life *, uint8_t) = {
            Setting, Camera,  Convert, Pitched, Pitched, Pitched, nullptr, nullptr,
            nullptr, nullptr, nullptr, nullptr, nullptr, Motion,  Planes,  Planes};
        const auto make = kCalls[input->Byte() & 15];
        (make ? make : PackedFrame)(&life, call);
        Guarded motion(sizeof(MVS_MotionInfo));
        MVS_MotionInfo *info = (MVS_MotionInfo *)motion.Data();
        info->lSize = (int32_t)sizeof(*info) + (call >> 7);
        QEL_MVS_GetMotion(life.ctx, info);
        life.Record(motion);
    }
    QEL_MVS_DestroyStabilizer(life.ctx);
    uninit_quorvel_videostabilizer();
    uninit_quorvel_videostabilizer_recording();
    return life.hash;
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    MUST(Live(data, size, true) == Live(data, size, false));
    return 0;
}

// SPDX-License-Identifier: BSD-2-Clause
#include "support/run.h"

#include <string.h>

#include <algorithm>
#include <ostream>
#include <stdexcept>

#include "quorvel/camera.h"
#include "support/pitched.h"

std::atomic<int32_t> &ThreadsOfHandles() {
    static std::atomic<int32_t> threads{4};
    return threads;
}

// Small tasks are shared out too, on any machine, and a late frame is followed by no pause: the shipped
// policy is tested by itself.
static void ShareSmallTasks(MVS_Context *ctx) {
    if (ctx) ctx->stThreads = {ThreadsOfHandles(), 65536, 4, 0, 0, 0};
}

std::string Case::Name() const {
    static const char *const kEntry[kEntries] = {"diff",      "same",      "sepdiff",  "sepsame",
                                                 "splitdiff", "splitsame", "ex",       "pitchdiff",
                                                 "pitchsame", "preview",   "recording"};
    std::string s = std::to_string(in.width) + "x" + std::to_string(in.height);
    if (!(in == out)) s += "-" + std::to_string(out.width) + "x" + std::to_string(out.height);
    return s + "/f" + std::to_string(format) + "/m" + std::to_string(mode) + "/" + kEntry[(int)entry] +
           (fullChroma ? "/full" : "") + (padding ? "/pad" + std::to_string(padding) : "") +
           (bottomUp ? "/up" : "");
}

bool Case::Exists() const {
    switch (entry) {
    case Entry::PitchDiff:
    case Entry::PitchSame:
        return format < 2 && mode == 3 && in == out;
    case Entry::Preview:
    case Entry::Recording:
        return format == 1 && mode == 3 && in == out;
    default:
        return format < 2 || entry == Entry::SeparateDiff || entry == Entry::SeparateSame;
    }
}

bool Case::InPlace() const {
    return entry == Entry::Same || entry == Entry::SeparateSame || entry == Entry::SplitSame ||
           entry == Entry::PitchSame || entry == Entry::Preview || entry == Entry::Recording;
}

std::ostream &operator<<(std::ostream &os, const Case &c) { return os << c.Name(); }

std::vector<CpuLevel> CpuLevels() {
    std::vector<CpuLevel> levels;
    for (int32_t level = 0; level < kCpuLevels; level++) {
#ifdef QEL_NEON
        if (level != kCpuPortable && level != kCpuNeon)
            continue; // other processors' are taken for portable
#endif
        const AtLevel at((CpuLevel)level);
        if (ChooseCpuLevel() == level) levels.push_back((CpuLevel)level);
    }
    return levels;
}

Handle MakeHandle(Size in, Size out, int32_t format) {
    const MVS_InitParam param = {3, in.width, in.height, out.width, out.height, format, 1};
    Handle handle(QEL_MVS_CreateStabilizer(&param));
    ShareSmallTasks(handle.get());
    return handle;
}

uint64_t RunResult::Hash() const {
    uint64_t h = ::Hash({});
    for (const Bytes &f : frames) h = ::Hash(f, h);
    return h;
}

Runner::Runner(const Case &c, Guarded::Side side) : mCase(c), mSide(side) {
    if (c.entry == Entry::Preview)
        init_quorvel_videostabilizer(c.in.width, c.in.height);
    else if (c.entry == Entry::Recording)
        init_quorvel_videostabilizer_recording(c.in.width, c.in.height);
    else if (c.entry == Entry::PitchDiff || c.entry == Entry::PitchSame)
        mHandle.reset(QEL_MVS_CreateStabilizerPitch(
            {c.format, c.in.width, c.in.height, {nullptr, nullptr, nullptr, nullptr}, {0, 0, 0, 0}}));
    else
        mHandle = MakeHandle(c.in, c.out, c.format);
    ShareSmallTasks(Context());
    mReady = Context() && QEL_MVS_SetMode(Context(), c.mode);
    QEL_MVS_SetFullChroma(Context(), c.fullChroma);
}

Runner::~Runner() {
    if (mCase.entry == Entry::Preview) uninit_quorvel_videostabilizer();
    if (mCase.entry == Entry::Recording) uninit_quorvel_videostabilizer_recording();
}

MVS_Context *Runner::Context() const {
    return mCase.entry == Entry::Preview     ? hVStabilizer
           : mCase.entry == Entry::Recording ? hVStabilizer_recording
                                             : mHandle.get();
}

MVS_MotionInfo Runner::Motion() const {
    MVS_MotionInfo info = {};
    info.lSize = (int32_t)sizeof(info);
    QEL_MVS_GetMotion(Context(), &info);
    return info;
}

Bytes Runner::Push(const Bytes &planar) {
    const Bytes frame = mCase.format == 0 ? planar : ToPairs(planar, mCase.in);
    if (mCase.entry == Entry::PitchDiff || mCase.entry == Entry::PitchSame) return Pitched(frame);
    return mCase.InPlace() ? InPlace(frame) : Apart(frame);
}

Bytes Runner::Pitched(const Bytes &frame) {
    const bool inPlace = mCase.InPlace();
    PitchedFrame in(mCase.in, mCase.format, mCase.padding, mCase.bottomUp, mSide);
    PitchedFrame to(mCase.in, mCase.format, inPlace ? 0 : 63 - mCase.padding, !mCase.bottomUp, mSide);
    in.Put(frame);
    if (!inPlace) in.ReadOnly();
    QEL_MVS_StabilizeFramePitch(mHandle.get(), in.image, inPlace ? in.image : to.image);
    Bytes out = inPlace ? frame : Bytes(frame.size(), kUntouched);
    if (!(inPlace ? in : to).Get(&out)) throw std::runtime_error("padding was written");
    return out;
}

// Luma and chroma are guarded apart where the entry takes them apart.
Bytes Runner::InPlace(const Bytes &frame) {
    const bool separate = mCase.format == 2;
    const size_t inLuma = separate ? (size_t)mCase.in.Luma() : frame.size();
    const size_t outAll = (size_t)mCase.out.Frame(),
                 outLuma = separate ? (size_t)mCase.out.Luma() : outAll;
    Guarded y(std::max(inLuma, outLuma), mSide, kUntouched);
    Guarded uv(std::max(frame.size() - inLuma, outAll - outLuma), mSide, kUntouched);
    memcpy(y.Data(), frame.data(), inLuma);
    memcpy(uv.Data(), frame.data() + inLuma, frame.size() - inLuma);
    MVS_Context *ctx = mHandle.get();
    if (mCase.entry == Entry::SeparateSame)
        QEL_MVS_StabilizeFrameSeparateBuffer(ctx, y.Data(), uv.Data(), y.Data(), uv.Data());
    else if (mCase.entry == Entry::SplitSame)
        QEL_MVS_StabilizeFrameSplitterShow(ctx, y.Data(), y.Data(), kSplit);
    else if (mCase.entry == Entry::Preview)
        runVideoStabilizer(y.Data(), mCase.in.width, mCase.in.height);
    else if (mCase.entry == Entry::Recording)
        runVideoStabilizer_recording(y.Data(), mCase.in.width, mCase.in.height);
    else
        QEL_MVS_StabilizeFrame(ctx, y.Data(), y.Data());
    Bytes out(y.Data(), y.Data() + outLuma);
    out.insert(out.end(), uv.Data(), uv.Data() + (outAll - outLuma));
    return out;
}

Bytes Runner::Apart(const Bytes &frame) {
    const bool separate = mCase.format == 2;
    const size_t inLuma = separate ? (size_t)mCase.in.Luma() : frame.size();
    const size_t outAll = (size_t)mCase.out.Frame(),
                 outLuma = separate ? (size_t)mCase.out.Luma() : outAll;
    auto in = std::make_unique<Guarded>(inLuma, mSide);
    Guarded inUV(frame.size() - inLuma, mSide);
    memcpy(in->Data(), frame.data(), inLuma);
    memcpy(inUV.Data(), frame.data() + inLuma, frame.size() - inLuma);
    in->ReadOnly();
    inUV.ReadOnly();
    Guarded y(outLuma, mSide, kUntouched), uv(outAll - outLuma, mSide, kUntouched);
    MVS_Context *ctx = mHandle.get();
    if (mCase.entry == Entry::SeparateDiff)
        QEL_MVS_StabilizeFrameSeparateBuffer(ctx, in->Data(), inUV.Data(), y.Data(), uv.Data());
    else if (mCase.entry == Entry::SplitDiff)
        QEL_MVS_StabilizeFrameSplitterShow(ctx, in->Data(), y.Data(), kSplit);
    else if (mCase.entry == Entry::Ex) {
        const MVS_FrameTriple triple = {in->Data(), mPrevious ? mPrevious->Data() : nullptr, y.Data()};
        QEL_MVS_StabilizeFrameEx(ctx, &triple);
        mPrevious = std::move(in);
    } else
        QEL_MVS_StabilizeFrame(ctx, in->Data(), y.Data());
    Bytes out(y.Data(), y.Data() + outLuma);
    out.insert(out.end(), uv.Data(), uv.Data() + (outAll - outLuma));
    return out;
}

RunResult RunClip(const Case &c, const std::vector<Bytes> &planarClip, Guarded::Side side) {
    RunResult result;
    Runner runner(c, side);
    for (const Bytes &frame : planarClip) {
        if (!runner.Ready()) break;
        result.frames.push_back(runner.Push(frame));
        result.motion.push_back(runner.Motion());
    }
    return result;
}

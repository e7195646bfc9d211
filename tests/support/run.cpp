#include "support/run.h"

#include <string.h>

#include <algorithm>
#include <ostream>

#include "platform/participants.h"

// Jobs are shared out at sizes that tests can afford; the library's own size is in participants.h.
const int shareSmallJobs = (SetBytesOfOne(65536), 0);

std::string Case::Name() const {
    static const char *const kEntry[] = {"diff",      "same",      "sepdiff", "sepsame",
                                         "splitdiff", "splitsame", "ex"};
    std::string s = std::to_string(in.width) + "x" + std::to_string(in.height);
    if (!(in == out)) s += "-" + std::to_string(out.width) + "x" + std::to_string(out.height);
    return s + "/f" + std::to_string(format) + "/m" + std::to_string(mode) + "/" + kEntry[(int)entry] +
           (fullChroma ? "/full" : "");
}

std::ostream &operator<<(std::ostream &os, const Case &c) { return os << c.Name(); }

std::vector<CpuLevel> CpuLevels() {
    std::vector<CpuLevel> levels;
    for (int32_t level = 0; level < kCpuLevels; level++) {
        const AtLevel at((CpuLevel)level);
        if (ChooseCpuLevel() == level) levels.push_back((CpuLevel)level);
    }
    return levels;
}

Handle MakeHandle(Size in, Size out, int32_t format) {
    const MVS_InitParam param = {3, in.width, in.height, out.width, out.height, format, 1};
    return Handle(QEL_MVS_CreateStabilizer(&param));
}

uint64_t RunResult::Hash() const {
    uint64_t h = ::Hash({});
    for (const Bytes &f : frames) h = ::Hash(f, h);
    return h;
}

Runner::Runner(const Case &c, Guarded::Side side)
    : mCase(c), mSide(side), mHandle(MakeHandle(c.in, c.out, c.format)) {
    if (!mHandle) return;
    QEL_MVS_SetFullChroma(mHandle.get(), c.fullChroma);
    if (!QEL_MVS_SetMode(mHandle.get(), c.mode)) mHandle.reset();
}

MVS_MotionInfo Runner::Motion() const {
    MVS_MotionInfo info = {};
    info.lSize = (int32_t)sizeof(info);
    QEL_MVS_GetMotion(mHandle.get(), &info);
    return info;
}

Bytes Runner::Push(const Bytes &planar) {
    const Bytes frame = mCase.format == 0 ? planar : ToPairs(planar, mCase.in);
    switch (mCase.entry) {
    case Entry::Same:
    case Entry::SeparateSame:
    case Entry::SplitSame:
        return InPlace(frame);
    default:
        return Apart(frame);
    }
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

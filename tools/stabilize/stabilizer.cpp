#include "stabilize/stabilizer.h"

#include <string>

namespace {

// The modes without zoom move a crop about inside the input, which takes a margin.
std::string MarginText(PictureSize in, PictureSize out, int mode) {
    PictureSize largest = EvenPart({in.width * 10 / 11, in.height * 10 / 11});
    std::string text = "--mode " + std::to_string(mode) +
                       " needs an input of at least 11/10 of the output, " + SizeText(in) +
                       " is too small for " + SizeText(out);
    if (largest.width < 2 || largest.height < 2) return text + "; use --mode 3";
    return text + "; give --out-size " + SizeText(largest) + " or less, or use --mode 3";
}

} // namespace

Stabilizer::Stabilizer(PictureSize in, PictureSize out, PixelLayout layout, int mode) {
    MVS_InitParam param = {};
    param.lMode = mode;
    param.lInWidth = in.width;
    param.lInHeight = in.height;
    param.lOutWidth = out.width;
    param.lOutHeight = out.height;
    param.lFormat = layout == PixelLayout::NV21 ? QEL_MVS_FORMAT_NV21 : QEL_MVS_FORMAT_I420;
    mContext.reset(QEL_MVS_CreateStabilizer(&param));
    if (!mContext)
        throw VideoError(
            "cannot stabilize " + SizeText(in) + " to " + SizeText(out) +
            ": not a supported size, or not enough memory; try a smaller video or --out-size");
    if (!QEL_MVS_SetMode(mContext.get(), mode)) throw VideoError(MarginText(in, out, mode));
    QEL_MVS_SetFullChroma(mContext.get(), 1);
}

void Stabilizer::Run(const Frame &input, Frame &output) {
    QEL_MVS_StabilizeFrame(mContext.get(), input.pixels.Data(), output.pixels.Data());
    // A frame the library had no memory for is not counted, and its output was not written.
    if (Motion().lFrameNumber == mFrameCount)
        throw VideoError("not enough memory to stabilize a video of this size");
    mFrameCount = Motion().lFrameNumber;
    output.parameters = input.parameters;
}

MVS_MotionInfo Stabilizer::Motion() const {
    MVS_MotionInfo info = {};
    info.lSize = (int32_t)sizeof(info);
    QEL_MVS_GetMotion(mContext.get(), &info);
    return info;
}

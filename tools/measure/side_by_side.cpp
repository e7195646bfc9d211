// SPDX-License-Identifier: BSD-2-Clause
#include "measure/side_by_side.h"

#include <string.h>

#include <algorithm>

namespace {

const uint8_t kBlackLuma = 16;
const uint8_t kGreyChroma = 128;

// Where the samples of one chroma plane lie within a frame.
struct ChromaSamples {
    size_t start;
    size_t step;
};

ChromaSamples FindChroma(const StreamInfo &info, int plane) {
    size_t luma = LumaBytes(info.size);
    if (info.layout == PixelLayout::NV21) return {luma + (plane == 0 ? 1u : 0u), 2};
    return {luma + (plane == 0 ? 0 : ChromaPlaneBytes(info.size)), 1};
}

} // namespace

SideBySide::SideBySide(const StreamInfo &left, const StreamInfo &right) : mLeft(left), mRight(right) {
    mSize = {left.size.width + right.size.width, std::max(left.size.height, right.size.height)};
}

void SideBySide::Join(const Frame &left, const Frame &right, Frame &joined) const {
    uint8_t *pixels = joined.pixels.Data();
    if (mLeft.size.height != mRight.size.height) {
        memset(pixels, kBlackLuma, LumaBytes(mSize));
        memset(pixels + LumaBytes(mSize), kGreyChroma, 2 * ChromaPlaneBytes(mSize));
    }
    Place(left, mLeft, 0, joined);
    Place(right, mRight, mLeft.size.width, joined);
}

void SideBySide::Place(const Frame &frame, const StreamInfo &info, int column, Frame &joined) const {
    size_t width = (size_t)info.size.width;
    size_t height = (size_t)info.size.height;
    size_t pitch = (size_t)mSize.width;
    const uint8_t *in = frame.pixels.Data();
    uint8_t *out = joined.pixels.Data() + column;
    for (size_t y = 0; y < height; y++) memcpy(out + y * pitch, in + y * width, width);
    for (int plane = 0; plane < 2; plane++) {
        ChromaSamples samples = FindChroma(info, plane);
        const uint8_t *from = in + samples.start;
        size_t planeStart = LumaBytes(mSize) + (plane == 0 ? 0 : ChromaPlaneBytes(mSize));
        uint8_t *to = joined.pixels.Data() + planeStart + column / 2;
        for (size_t y = 0; y < height / 2; y++, to += pitch / 2)
            for (size_t x = 0; x < width / 2; x++, from += samples.step) to[x] = *from;
    }
}

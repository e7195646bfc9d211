// SPDX-License-Identifier: BSD-2-Clause
#include "support/pitched.h"

#include <stdlib.h>
#include <string.h>

#include "support/run.h"

PitchedPlane::PitchedPlane(int32_t width, int32_t height, int32_t pitch, Guarded::Side side)
    : mWidth(width), mHeight(height), mPitch(pitch),
      mMemory(height ? (size_t)abs(pitch) * (size_t)(height - 1) + (size_t)width : 0, side,
              kUntouched) {}

uint8_t *PitchedPlane::Top() const {
    return mMemory.Data() + (mPitch < 0 && mHeight ? (ptrdiff_t)-mPitch * (mHeight - 1) : 0);
}

void PitchedPlane::Put(const uint8_t *packed) {
    for (int32_t y = 0; mWidth && y < mHeight; y++) memcpy(Row(y), packed + y * mWidth, (size_t)mWidth);
}

bool PitchedPlane::Get(uint8_t *packed) const {
    Bytes rest(mMemory.Data(), mMemory.Data() + mMemory.Size());
    for (int32_t y = 0; mWidth && y < mHeight; y++) { // nowhere to copy planes of no width
        memcpy(packed + y * mWidth, Row(y), (size_t)mWidth);
        memset(rest.data() + (Row(y) - mMemory.Data()), kUntouched, (size_t)mWidth);
    }
    return rest == Bytes(mMemory.Size(), kUntouched);
}

PitchedFrame::PitchedFrame(Size size, int32_t format, int32_t padding, bool bottomUp,
                           Guarded::Side side) {
    const int32_t rows = size.height >> 1, half = size.width >> 1, luma = size.Luma();
    const struct {
        int32_t width, height, offset;
    } kPlanes[3] = {{size.width, size.height, 0},
                    {format == 1 ? size.width : half, rows, luma},
                    {half, rows, luma + (luma >> 2)}};
    image.lFormat = format;
    image.lWidth = size.width;
    image.lHeight = size.height;
    for (int32_t i = 0; i < (format == 1 ? 2 : 3); i++) {
        const int32_t pitch = kPlanes[i].width + padding;
        planes.push_back(std::make_unique<PitchedPlane>(kPlanes[i].width, kPlanes[i].height,
                                                        bottomUp ? -pitch : pitch, side));
        mOffsets.push_back((size_t)kPlanes[i].offset);
        image.pPlane[i] = planes.back()->Top();
        image.lPitch[i] = bottomUp ? -pitch : pitch;
    }
}

void PitchedFrame::Put(const Bytes &frame) {
    for (size_t i = 0; i < planes.size(); i++) planes[i]->Put(frame.data() + mOffsets[i]);
}

bool PitchedFrame::Get(Bytes *frame) const {
    bool whole = true;
    for (size_t i = 0; i < planes.size(); i++) whole &= planes[i]->Get(frame->data() + mOffsets[i]);
    return whole;
}

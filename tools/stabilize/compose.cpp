// SPDX-License-Identifier: BSD-2-Clause
#include "stabilize/compose.h"

#include <string.h>

#include <algorithm>

namespace {

// Of 8-bit samples.
const int kWhite = 235;
const int kGrey = 128;

size_t Offset(const PlaneShape &plane, Corner corner) {
    int pixelBytes = plane.pitch / plane.pixels;
    return plane.start + (size_t)(corner.row >> plane.log2Y) * (size_t)plane.pitch +
           (size_t)(corner.column >> plane.log2X) * (size_t)pixelBytes;
}

size_t RowBytes(const PlaneShape &plane, int columns) {
    return (size_t)(columns >> plane.log2X) * (size_t)(plane.pitch / plane.pixels);
}

void CopyPart(const Frame &from, PictureSize fromSize, Corner fromCorner, Frame &to, PictureSize toSize,
              Corner toCorner, PictureSize part, const PixelLayout &layout) {
    std::vector<PlaneShape> in = PlanesOf(fromSize, layout), out = PlanesOf(toSize, layout);
    for (size_t i = 0; i < in.size(); i++)
        CopyPlane(from.pixels.Data() + Offset(in[i], fromCorner), in[i].pitch,
                  to.pixels.Data() + Offset(out[i], toCorner), out[i].pitch,
                  RowBytes(in[i], part.width), part.height >> in[i].log2Y);
}

void FillRow(uint8_t *bytes, size_t count, int value, const PixelLayout &layout) {
    if (layout.SampleBytes() == 1) {
        memset(bytes, value, count);
        return;
    }
    auto sample = (uint16_t)(value << (layout.bits - 8));
    for (size_t i = 0; i < count; i += sizeof(sample)) memcpy(bytes + i, &sample, sizeof(sample));
}

void DrawLine(Frame &frame, PictureSize size, const PixelLayout &layout, Corner corner,
              PictureSize line) {
    for (const PlaneShape &plane : PlanesOf(size, layout)) {
        uint8_t *bytes = frame.pixels.Data() + Offset(plane, corner);
        for (int row = 0; row < line.height >> plane.log2Y; row++, bytes += plane.pitch)
            FillRow(bytes, RowBytes(plane, line.width), plane.start == 0 ? kWhite : kGrey, layout);
    }
}

// Of a picture that players turn, what they show on the left are its last columns or its rows.
bool IsSideways(int rotation) { return rotation == 90 || rotation == 270; }
bool LeftIsFirst(int rotation) { return rotation == 0 || rotation == 270; }

// The part of a picture that is shown from column `from` on, `columns` wide.
struct Strip {
    Strip(PictureSize size, int rotation, int from, int columns) : part(size) {
        bool sideways = IsSideways(rotation);
        int &side = sideways ? part.height : part.width;
        (sideways ? corner.row : corner.column) = LeftIsFirst(rotation) ? from : side - from - columns;
        side = columns;
    }

    Corner corner;
    PictureSize part;
};

} // namespace

Corner MiddleCorner(PictureSize whole, PictureSize window) {
    return {(whole.width - window.width) / 2 & ~1, (whole.height - window.height) / 2 & ~1};
}

void CopyMiddle(const Frame &whole, PictureSize wholeSize, Frame &middle, PictureSize size,
                const PixelLayout &layout) {
    CopyPart(whole, wholeSize, MiddleCorner(wholeSize, size), middle, size, {}, size, layout);
}

int ShownWidth(PictureSize size, int rotation) {
    return IsSideways(rotation) ? size.height : size.width;
}

PictureSize JoinedSize(PictureSize size, int rotation) {
    (IsSideways(rotation) ? size.height : size.width) *= 2;
    return size;
}

void ShowSplit(const Frame &input, PictureSize inSize, Frame &output, PictureSize outSize,
               const View &view, int column) {
    column = std::min(column, ShownWidth(outSize, view.rotation) - kLineColumns) & ~1;
    Strip left(outSize, view.rotation, 0, column);
    Corner middle = MiddleCorner(inSize, outSize);
    CopyPart(input, inSize, {middle.column + left.corner.column, middle.row + left.corner.row}, output,
             outSize, left.corner, left.part, view.layout);
    Strip line(outSize, view.rotation, column, kLineColumns);
    DrawLine(output, outSize, view.layout, line.corner, line.part);
}

void ShowSideBySide(const Frame &input, PictureSize inSize, const Frame &output, PictureSize outSize,
                    const View &view, Frame &joined) {
    PictureSize size = JoinedSize(outSize, view.rotation);
    int half = ShownWidth(outSize, view.rotation);
    Strip left(size, view.rotation, 0, half);
    Strip right(size, view.rotation, half, half);
    CopyPart(input, inSize, MiddleCorner(inSize, outSize), joined, size, left.corner, outSize,
             view.layout);
    CopyPart(output, outSize, {}, joined, size, right.corner, outSize, view.layout);
}

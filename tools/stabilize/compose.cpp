// SPDX-License-Identifier: BSD-2-Clause
#include "stabilize/compose.h"

#include <string.h>

#include <algorithm>

namespace {

const uint8_t kWhite = 235;
const uint8_t kGrey = 128;

// A plane of a packed frame: luma columns >> shift are its bytes in a row, luma rows >> rowShift its
// rows.
struct Plane {
    size_t start;
    int shift;
    int rowShift;
};

struct Planes {
    Planes(PictureSize size, PixelLayout layout) {
        bool pairs = layout == PixelLayout::NV21;
        plane[0] = {0, 0, 0};
        plane[1] = {LumaBytes(size), pairs ? 0 : 1, 1};
        plane[2] = {LumaBytes(size) + ChromaPlaneBytes(size), 1, 1};
        count = pairs ? 2 : 3;
    }

    Plane plane[3];
    int count;
};

size_t Offset(const Plane &plane, PictureSize size, Corner corner) {
    size_t pitch = (size_t)(size.width >> plane.shift);
    return plane.start + (size_t)(corner.row >> plane.rowShift) * pitch +
           (size_t)(corner.column >> plane.shift);
}

void CopyPart(const Frame &from, PictureSize fromSize, Corner fromCorner, Frame &to, PictureSize toSize,
              Corner toCorner, PictureSize part, PixelLayout layout) {
    Planes in(fromSize, layout);
    Planes out(toSize, layout);
    for (int i = 0; i < in.count; i++) {
        int shift = in.plane[i].shift;
        CopyPlane(from.pixels.Data() + Offset(in.plane[i], fromSize, fromCorner),
                  fromSize.width >> shift, to.pixels.Data() + Offset(out.plane[i], toSize, toCorner),
                  toSize.width >> shift, (size_t)(part.width >> shift),
                  part.height >> in.plane[i].rowShift);
    }
}

void DrawLine(Frame &frame, PictureSize size, PixelLayout layout, Corner corner, PictureSize line) {
    Planes planes(size, layout);
    for (int i = 0; i < planes.count; i++) {
        const Plane &plane = planes.plane[i];
        uint8_t *bytes = frame.pixels.Data() + Offset(plane, size, corner);
        for (int row = 0; row < line.height >> plane.rowShift;
             row++, bytes += size.width >> plane.shift)
            memset(bytes, i == 0 ? kWhite : kGrey, (size_t)(line.width >> plane.shift));
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
                PixelLayout layout) {
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

// SPDX-License-Identifier: BSD-2-Clause
#include "stabilize/compose.h"

#include <string.h>

#include <algorithm>

namespace {

const uint8_t kWhite = 235;
const uint8_t kGrey = 128;
const int kLineColumns = 2;

// A plane of a packed frame. Positions are those of the luma; a column takes `shift` bits less bytes.
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

void DrawLine(Frame &frame, PictureSize size, PixelLayout layout, int column) {
    Planes planes(size, layout);
    for (int i = 0; i < planes.count; i++) {
        const Plane &plane = planes.plane[i];
        uint8_t *bytes = frame.pixels.Data() + Offset(plane, size, {column, 0});
        for (int row = 0; row < size.height >> plane.rowShift;
             row++, bytes += size.width >> plane.shift)
            memset(bytes, i == 0 ? kWhite : kGrey, (size_t)(kLineColumns >> plane.shift));
    }
}

} // namespace

Corner MiddleCorner(PictureSize whole, PictureSize window) {
    return {(whole.width - window.width) / 2 & ~1, (whole.height - window.height) / 2 & ~1};
}

void ShowSplit(const Frame &input, PictureSize inSize, Frame &output, PictureSize outSize,
               PixelLayout layout, int column) {
    column = std::min(column, outSize.width - kLineColumns) & ~1;
    CopyPart(input, inSize, MiddleCorner(inSize, outSize), output, outSize, {},
             {column, outSize.height}, layout);
    DrawLine(output, outSize, layout, column);
}

void ShowSideBySide(const Frame &input, PictureSize inSize, const Frame &output, PictureSize outSize,
                    PixelLayout layout, Frame &joined) {
    PictureSize joinedSize = {outSize.width * 2, outSize.height};
    CopyPart(input, inSize, MiddleCorner(inSize, outSize), joined, joinedSize, {}, outSize, layout);
    CopyPart(output, outSize, {}, joined, joinedSize, {outSize.width, 0}, outSize, layout);
}

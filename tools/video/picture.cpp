// SPDX-License-Identifier: BSD-2-Clause
#include "video/picture.h"

#include <string.h>
#include <strings.h>

bool ParseNumber(const std::string &text, int limit, int &value) {
    if (text.empty()) return false;
    int64_t sum = 0;
    for (char c : text) {
        if (c < '0' || c > '9') return false;
        sum = sum * 10 + (c - '0');
        if (sum > limit) return false;
    }
    value = (int)sum;
    return sum > 0;
}

bool ParseSize(const std::string &text, PictureSize &size) {
    size_t cross = text.find('x');
    if (cross == std::string::npos) return false;
    PictureSize parsed;
    if (!ParseNumber(text.substr(0, cross), kMaxSide, parsed.width)) return false;
    if (!ParseNumber(text.substr(cross + 1), kMaxSide, parsed.height)) return false;
    size = parsed;
    return true;
}

std::string EvenSizeFault(const std::string &text) {
    PictureSize size;
    if (!ParseSize(text, size))
        return "'" + text + "' is no size, give WxH with sides up to " + std::to_string(kMaxSide);
    if (!IsEven(size)) return text + " has an odd side, 4:2:0 frames need even ones";
    return "";
}

std::string SizeText(PictureSize size) {
    return std::to_string(size.width) + "x" + std::to_string(size.height);
}

std::string CountText(int64_t count, const std::string &thing) {
    return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

bool EndsWith(const std::string &text, const char *ending) {
    size_t length = strlen(ending);
    return text.size() >= length && strcasecmp(text.c_str() + text.size() - length, ending) == 0;
}

size_t LumaBytes(PictureSize size) { return (size_t)size.width * (size_t)size.height; }

size_t ChromaPlaneBytes(PictureSize size) {
    return (size_t)((size.width + 1) / 2) * (size_t)((size.height + 1) / 2);
}

size_t FrameBytes(PictureSize size, const PixelLayout &layout) {
    const PlaneShape last = PlanesOf(size, layout).back();
    return last.start + (size_t)last.pitch * (size_t)last.rows;
}

std::vector<PlaneShape> PlanesOf(PictureSize size, const PixelLayout &layout) {
    std::vector<PlaneShape> planes((size_t)layout.planes);
    size_t start = 0;
    for (PlaneShape &plane : planes) {
        if (start > 0) {
            plane.log2X = layout.log2X;
            plane.log2Y = layout.log2Y;
            plane.channels = layout.planes == 2 ? 2 : 1;
        }
        plane.start = start;
        plane.pixels = (size.width + (1 << plane.log2X) - 1) >> plane.log2X;
        plane.rows = (size.height + (1 << plane.log2Y) - 1) >> plane.log2Y;
        plane.pitch = plane.pixels * plane.channels * layout.SampleBytes();
        start += (size_t)plane.pitch * (size_t)plane.rows;
    }
    return planes;
}

void TakeFrameNotes(Frame &from, Frame &to) {
    to.parameters = from.parameters;
    to.time = from.time;
    to.duration = from.duration;
    to.restart = from.restart;
    to.packets.swap(from.packets);
    from.packets.clear();
}

void CopyPixels(const Frame &from, Frame &to) {
    memcpy(to.pixels.Data(), from.pixels.Data(), from.pixels.Size());
}

void CopyPlane(const uint8_t *from, ptrdiff_t fromPitch, uint8_t *to, ptrdiff_t toPitch,
               size_t rowBytes, int rows) {
    if (fromPitch == toPitch && (size_t)fromPitch == rowBytes) {
        memcpy(to, from, rowBytes * (size_t)rows);
        return;
    }
    for (int row = 0; row < rows; row++, from += fromPitch, to += toPitch) memcpy(to, from, rowBytes);
}

// SPDX-License-Identifier: BSD-2-Clause
#include "stabilize/thumbnail.h"

#include <math.h>
#include <string.h>

#include <algorithm>
#include <utility>

namespace {

const int kTaps = 4;         // samples each way whose mean is a pixel: enough for a small picture
const int kHeaderBytes = 54; // of a BMP file, before its pixels

// The upper 8 bits; x and y count pixels of the picture.
int SampleAt(const Frame &frame, const PixelLayout &layout, const PlaneShape &plane, int channel, int x,
             int y) {
    const uint8_t *row =
        frame.pixels.Data() + plane.start + (size_t)(y >> plane.log2Y) * (size_t)plane.pitch;
    const size_t at = (size_t)(x >> plane.log2X) * (size_t)plane.channels + (size_t)channel;
    if (layout.SampleBytes() == 1) return row[at];
    uint16_t value = 0;
    memcpy(&value, row + 2 * at, sizeof(value));
    return value >> (layout.bits - 8);
}

// Y, U and V of a pixel of the stored picture are added to the sum.
void AddPixel(const Frame &frame, const PixelLayout &layout, const std::vector<PlaneShape> &planes,
              int x, int y, int (&sum)[3]) {
    sum[0] += SampleAt(frame, layout, planes[0], 0, x, y);
    for (int i = 1; i < 3; i++) {
        if (layout.planes == 1)
            sum[i] += 128;
        else if (layout.planes == 2) // V comes before U
            sum[i] += SampleAt(frame, layout, planes[1], 2 - i, x, y);
        else
            sum[i] += SampleAt(frame, layout, planes[(size_t)i], 0, x, y);
    }
}

uint8_t Byte(double value) { return (uint8_t)lround(std::clamp(value, 0.0, 255.0)); }

// Blue, green, red.
void StoreColour(const int (&sum)[3], bool fullRange, bool bt709, uint8_t *to) {
    const double count = kTaps * kTaps;
    const double luma = fullRange ? sum[0] / count : (sum[0] / count - 16) * 255 / 219;
    const double gain = fullRange ? 1 : 255.0 / 224;
    const double u = (sum[1] / count - 128) * gain, v = (sum[2] / count - 128) * gain;
    to[0] = Byte(luma + (bt709 ? 1.8556 : 1.772) * u);
    to[1] = Byte(luma - (bt709 ? 0.1873 : 0.3441) * u - (bt709 ? 0.4681 : 0.7141) * v);
    to[2] = Byte(luma + (bt709 ? 1.5748 : 1.402) * v);
}

// Where a point of the shown picture lies in the stored one, both as parts of their sides.
std::pair<double, double> Turned(double right, double down, int rotation) {
    if (rotation == 90) return {down, 1 - right};
    if (rotation == 180) return {1 - right, 1 - down};
    if (rotation == 270) return {1 - down, right};
    return {right, down};
}

PictureSize ThumbnailSize(const PictureShape &shape) {
    double width = shape.size.width * (shape.sampleAspect > 0 ? shape.sampleAspect : 1);
    double height = shape.size.height;
    if (shape.rotation % 180 != 0) std::swap(width, height);
    const double scale = std::min({kMostThumbnail.width / width, kMostThumbnail.height / height, 1.0});
    return {std::max(1, (int)lround(width * scale)), std::max(1, (int)lround(height * scale))};
}

void Put(std::string &file, size_t at, uint32_t value) {
    for (size_t i = 0; i < 4; i++) file[at + i] = (char)(value >> 8 * i & 255);
}

// A file whose pixels are black: rows from the bottom up, each filled up to 4 bytes.
std::string BlackFile(PictureSize size, size_t rowBytes) {
    std::string file(kHeaderBytes + rowBytes * (size_t)size.height, '\0');
    file[0] = 'B';
    file[1] = 'M';
    Put(file, 2, (uint32_t)file.size());
    Put(file, 10, kHeaderBytes);
    Put(file, 14, 40); // bytes of the second header, which begins here
    Put(file, 18, (uint32_t)size.width);
    Put(file, 22, (uint32_t)size.height);
    Put(file, 26, 1 | 24 << 16); // planes, bits a pixel
    return file;
}

std::string Base64(const std::string &bytes) {
    const char *const digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (size_t at = 0; at < bytes.size(); at += 3) {
        uint32_t three = 0;
        for (size_t i = 0; i < 3; i++)
            three = three << 8 | (at + i < bytes.size() ? (uint8_t)bytes[at + i] : 0);
        for (size_t i = 0; i < 4; i++)
            text += at + i > bytes.size() ? '=' : digits[three >> (18 - 6 * i) & 63];
    }
    return text;
}

} // namespace

Thumbnail MakeThumbnail(const Frame &frame, const PictureShape &shape) {
    const std::vector<PlaneShape> planes = PlanesOf(shape.size, shape.layout);
    const PictureSize size = ThumbnailSize(shape);
    const size_t rowBytes = ((size_t)size.width * 3 + 3) / 4 * 4;
    std::string file = BlackFile(size, rowBytes);
    auto pixel = [&](int column, int row) {
        int sum[3] = {};
        for (int tap = 0; tap < kTaps * kTaps; tap++) {
            const int tapColumn = tap % kTaps, tapRow = tap / kTaps;
            const double right = (column + (tapColumn + 0.5) / kTaps) / size.width;
            const double down = (row + (tapRow + 0.5) / kTaps) / size.height;
            const auto [x, y] = Turned(right, down, shape.rotation);
            AddPixel(frame, shape.layout, planes, (int)(x * shape.size.width),
                     (int)(y * shape.size.height), sum);
        }
        const size_t at =
            kHeaderBytes + (size_t)(size.height - 1 - row) * rowBytes + (size_t)column * 3;
        StoreColour(sum, shape.fullRange, shape.bt709, (uint8_t *)&file[at]);
    };
    for (int row = 0; row < size.height; row++)
        for (int column = 0; column < size.width; column++) pixel(column, row);
    return {size, "data:image/bmp;base64," + Base64(file)};
}

// SPDX-License-Identifier: BSD-2-Clause
// Sizes, pixel layouts and frame buffers shared by everything that reads or writes video.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

// A fault of a file or of its contents; the text is one line for the user.
class VideoError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// What a frame's samples are: planes one behind the other, luma first, all of them without padding.
struct PixelLayout {
    int planes = 3; // 1: luma alone; 2: and pairs of V and U; 3: and a plane each of U and V
    int bits = 8;   // of a sample; with more than 8 it takes two bytes, from bit 0 on
    int log2X = 1;  // 0 or 1: a chroma sample is 2^log2X pixels wide
    int log2Y = 1;  // and 2^log2Y high

    int SampleBytes() const { return bits > 8 ? 2 : 1; }
    bool operator==(const PixelLayout &other) const {
        return planes == other.planes && bits == other.bits && log2X == other.log2X &&
               log2Y == other.log2Y;
    }
    bool operator!=(const PixelLayout &other) const { return !(*this == other); }

    static const PixelLayout I420;
    static const PixelLayout NV21;
};
inline const PixelLayout PixelLayout::I420 = {3, 8, 1, 1};
inline const PixelLayout PixelLayout::NV21 = {2, 8, 1, 1};

struct Rational {
    int num = 0;
    int den = 1;

    double Value() const { return (double)num / den; }
};

struct PictureSize {
    int width = 0;
    int height = 0;

    bool operator==(const PictureSize &other) const {
        return width == other.width && height == other.height;
    }
    bool operator!=(const PictureSize &other) const { return !(*this == other); }
};

// No side is longer than this: a header with more is taken for damage, not for a reason to allocate.
const int kMaxSide = 16384;

// "640x480", digits only, both sides 1..kMaxSide.
bool ParseSize(const std::string &text, PictureSize &size);

// Why the text of a size option is no even size; empty when it is one.
std::string EvenSizeFault(const std::string &text);

std::string SizeText(PictureSize size);

// "1 frame", "2 frames".
std::string CountText(int64_t count, const std::string &thing);

// In capitals or not, as in names of files.
bool EndsWith(const std::string &text, const char *ending);

// Plain decimal digits, 1..limit.
bool ParseNumber(const std::string &text, int limit, int &value);

// Of 8-bit 4:2:0. Chroma planes have (width + 1) / 2 x (height + 1) / 2 samples.
size_t LumaBytes(PictureSize size);
size_t ChromaPlaneBytes(PictureSize size);

size_t FrameBytes(PictureSize size, const PixelLayout &layout = PixelLayout::I420);

struct PlaneShape {
    size_t start = 0; // of its first byte in the frame
    int pixels = 0;   // of a row, each of `channels` samples
    int rows = 0;
    int channels = 1;
    int pitch = 0; // bytes of a row
    int log2X = 0; // a pixel of it is 2^log2X of the picture's wide
    int log2Y = 0; // and 2^log2Y high
};
std::vector<PlaneShape> PlanesOf(PictureSize size, const PixelLayout &layout);

inline PictureSize EvenPart(PictureSize size) { return {size.width & ~1, size.height & ~1}; }
inline bool IsEven(PictureSize size) { return size == EvenPart(size); }

// Bytes that start out uninitialised: a large frame costs no memory before it is filled. Aligned for
// vector instructions, with some bytes to spare behind the end.
class ByteBuffer {
  public:
    ByteBuffer() = default;
    explicit ByteBuffer(size_t size)
        : mData((uint8_t *)operator new(size + kAlignment, std::align_val_t(kAlignment))), mSize(size) {
    }

    uint8_t *Data() { return mData.get(); }
    const uint8_t *Data() const { return mData.get(); }
    size_t Size() const { return mSize; }

  private:
    static const size_t kAlignment = 64;
    struct Release {
        void operator()(uint8_t *data) const { operator delete(data, std::align_val_t(kAlignment)); }
    };

    std::unique_ptr<uint8_t, Release> mData;
    size_t mSize = 0;
};

// A piece of another stream (sound, subtitles) on its way from container to container.
struct AVPacket;
using PacketPtr = std::shared_ptr<AVPacket>;

const int64_t kNoTime = INT64_MIN;

// One picture without padding, and what the container said about this frame alone.
struct Frame {
    Frame() = default;
    explicit Frame(PictureSize size, const PixelLayout &layout = PixelLayout::I420)
        : pixels(FrameBytes(size, layout)) {}

    ByteBuffer pixels;
    std::string parameters;
    int64_t time = kNoTime;         // in units of the stream's time base
    int64_t duration = 0;           // 0: unknown
    bool restart = false;           // has nothing to do with the frame before it
    std::vector<PacketPtr> packets; // of other streams, to be written before this frame
};

// Everything but the pixels; the packets are taken out of `from`.
void TakeFrameNotes(Frame &from, Frame &to);

// The pixels of a frame of the same size.
void CopyPixels(const Frame &from, Frame &to);

// Copies a plane of rows whose starts lie a pitch apart.
void CopyPlane(const uint8_t *from, ptrdiff_t fromPitch, uint8_t *to, ptrdiff_t toPitch,
               size_t rowBytes, int rows);

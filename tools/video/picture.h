// Sizes, pixel layouts and frame buffers shared by everything that reads or writes video.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <memory>
#include <stdexcept>
#include <string>

// A fault of a file or of its contents; the text is one line for the user.
class VideoError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

enum class PixelLayout { I420, NV21 };

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

// Plain decimal digits, 1..limit.
bool ParseNumber(const std::string &text, int limit, int &value);

// Chroma planes have (width + 1) / 2 x (height + 1) / 2 samples.
size_t LumaBytes(PictureSize size);
size_t ChromaPlaneBytes(PictureSize size);
size_t FrameBytes(PictureSize size);

inline PictureSize EvenPart(PictureSize size) { return {size.width & ~1, size.height & ~1}; }
inline bool IsEven(PictureSize size) { return size == EvenPart(size); }

// Bytes that start out uninitialised: a large frame costs no memory before it is filled.
class ByteBuffer {
  public:
    ByteBuffer() = default;
    explicit ByteBuffer(size_t size) : mData(new uint8_t[size]), mSize(size) {}

    uint8_t *Data() { return mData.get(); }
    const uint8_t *Data() const { return mData.get(); }
    size_t Size() const { return mSize; }

  private:
    std::unique_ptr<uint8_t[]> mData;
    size_t mSize = 0;
};

// One picture without padding, and what the container said about this frame alone.
struct Frame {
    Frame() = default;
    explicit Frame(PictureSize size) : pixels(FrameBytes(size)) {}

    ByteBuffer pixels;
    std::string parameters;
};

// SPDX-License-Identifier: BSD-2-Clause
#include "clipgen/effects.h"

#include <math.h>

#include <algorithm>

#include "clipgen/scene_paint.h"

namespace {

const double kPi = 3.14159265358979323846;

// Mains light against a shutter: the frames of a period do not fill it evenly.
const double kFlickerTurns = 0.37;

// Grey levels that a photo flash adds.
const int kFlash = 90;

// The object crosses the picture in so many seconds.
const double kCrossing = 3;

// The part of a picture that a smaller one covers when its corner is at (x, y), both even.
struct Overlap {
    int x, y, fromX, fromY, width, height;
};

Overlap FindOverlap(PictureSize picture, PictureSize part, int x, int y) {
    Overlap o = {std::max(x, 0), std::max(y, 0), 0, 0, 0, 0};
    o.fromX = o.x - x;
    o.fromY = o.y - y;
    o.width = std::min(picture.width, x + part.width) - o.x;
    o.height = std::min(picture.height, y + part.height) - o.y;
    return o;
}

// `first` and `pitch` in bytes for both pictures; the overlap in samples of `step` bytes.
void CopyPart(const uint8_t *from, int fromPitch, uint8_t *to, int toPitch, const Overlap &o,
              int step) {
    CopyPlane(from + (ptrdiff_t)o.fromY * fromPitch + o.fromX * step, fromPitch,
              to + (ptrdiff_t)o.y * toPitch + o.x * step, toPitch, (size_t)o.width * (size_t)step,
              o.height);
}

void Draw(const Scene &scene, const CameraPose &pose, PictureSize size, bool pairs, uint8_t *pixels,
          RowRange rows = {}) {
    if (pairs)
        scene.RenderNV21(pose, size.width, size.height, pixels, rows);
    else
        scene.RenderI420(pose, size.width, size.height, pixels, rows);
}

} // namespace

Effects::Effects(const EffectOptions &options, const CameraPath &path, const StreamInfo &info)
    : mOptions(options), mPath(path), mSize(info.size), mLayout(info.layout) {
    if (options.object <= 0) return;
    const double side = sqrt(options.object / 100);
    mObjectSize = EvenPart({(int)(side * mSize.width) + 2, (int)(side * mSize.height) + 2});
    mObjectScene = std::make_unique<Scene>(options.seed + 1000);
}

// Two rows at a time have a pose of their own. That of the frame is the middle row's.
void Effects::Render(const Scene &scene, int frame, uint8_t *pixels) const {
    const bool pairs = mLayout == PixelLayout::NV21;
    const int step = mOptions.rolling > 0 ? 2 : mSize.height;
    for (int row = 0; row < mSize.height; row += step) {
        const int middle = row + step / 2;
        const double place = middle / (double)mSize.height - 0.5;
        const CameraPose pose = mPath.Pose(frame + mOptions.rolling / 100 * place);
        Draw(scene, pose, mSize, pairs, pixels, {row, row + step});
    }
}

void Effects::Apply(int frame, uint8_t *pixels) const {
    if (mObjectScene) DrawObject(frame, pixels);
    if (mOptions.contrast < 100) LowerContrast(pixels);
    if (mOptions.flicker > 0) Flicker(frame, pixels);
    // Away from the first frame, and from cuts after as many frames.
    if (mOptions.flash > 0 && frame % mOptions.flash == mOptions.flash / 2) Flash(pixels);
    if (mOptions.noise > 0) AddNoise(frame, pixels);
}

// A textured box that crosses the scene again and again: it moves with the scene when the camera
// shakes, and against it by its own speed. Its edges keep to even pixels, its texture moves smoothly. A
// rolling shutter does not bend it.
void Effects::DrawObject(int frame, uint8_t *pixels) const {
    const CameraPose camera = mPath.Pose(frame);
    const double span = mSize.width + mObjectSize.width;
    const double way = frame / mOptions.framesPerSecond * span / kCrossing;
    const double x = fmod(way, span) - mObjectSize.width - camera.x;
    const double y = (mSize.height - mObjectSize.height) / 2.0 - camera.y;
    const int left = 2 * (int)floor(x / 2);
    const int top = 2 * (int)floor(y / 2);
    const Overlap luma = FindOverlap(mSize, mObjectSize, left, top);
    if (luma.width <= 0 || luma.height <= 0) return;

    CameraPose texture;
    texture.x = left - x;
    texture.y = top - y;
    Frame box(mObjectSize);
    const PictureSize size = mObjectSize;
    uint8_t *from = box.pixels.Data();
    const bool pairs = mLayout == PixelLayout::NV21;
    Draw(*mObjectScene, texture, size, pairs, from);
    CopyPart(from, size.width, pixels, mSize.width, luma, 1);
    const Overlap half = {luma.x / 2,     luma.y / 2,     luma.fromX / 2,
                          luma.fromY / 2, luma.width / 2, luma.height / 2};
    const int step = pairs ? 2 : 1;
    for (int plane = 0; plane < (pairs ? 1 : 2); plane++)
        CopyPart(from + LumaBytes(size) + (plane ? ChromaPlaneBytes(size) : 0), size.width / 2 * step,
                 pixels + LumaBytes(mSize) + (plane ? ChromaPlaneBytes(mSize) : 0),
                 mSize.width / 2 * step, half, step);
}

void Effects::LowerContrast(uint8_t *pixels) const {
    const int kGrey = 128;
    const int gain = (int)lround(1024 * mOptions.contrast / 100);
    const size_t count = FrameBytes(mSize);
    for (size_t i = 0; i < count; i++)
        pixels[i] = (uint8_t)(kGrey + (((pixels[i] - kGrey) * gain + 512) >> 10));
}

void Effects::Flicker(int frame, uint8_t *luma) const {
    const double swing = PlainSine(2 * kPi * kFlickerTurns * frame);
    const int gain = (int)lround(1024 * (1 + mOptions.flicker / 100 * swing));
    const size_t count = LumaBytes(mSize);
    for (size_t i = 0; i < count; i++)
        luma[i] = (uint8_t)std::clamp(16 + ((luma[i] - 16) * gain + 512) / 1024, 0, 255);
}

void Effects::Flash(uint8_t *luma) const {
    const size_t count = LumaBytes(mSize);
    for (size_t i = 0; i < count; i++) luma[i] = (uint8_t)std::min(luma[i] + kFlash, 255);
}

// The sum of four even bytes is close enough to a Gaussian.
void Effects::AddNoise(int frame, uint8_t *pixels) const {
    const double kSumDeviation = 147.8;
    const int gain = (int)lround(65536 * mOptions.noise / kSumDeviation);
    const uint32_t key = HashNoise(mOptions.seed + 77, (uint32_t)frame);
    const size_t count = FrameBytes(mSize);
    for (size_t i = 0; i < count; i++) {
        const uint32_t dice = HashNoise(key, (uint32_t)i);
        const int sum =
            (int)((dice & 255) + (dice >> 8 & 255) + (dice >> 16 & 255) + (dice >> 24)) - 510;
        pixels[i] = (uint8_t)std::clamp(pixels[i] + ((sum * gain + 32768) >> 16), 0, 255);
    }
}

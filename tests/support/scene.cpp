// SPDX-License-Identifier: BSD-2-Clause
#include "support/scene.h"

#include "clipgen/scene.h"

namespace {
const uint8_t kGap = 0x5A;
}

Bytes Render(Size size, Pose pose, int32_t brightness) {
    static const Scene scene(1);
    Bytes frame((size_t)size.Frame(), kGap);
    uint8_t *y = frame.data(), *u = y + size.Luma(), *v = u + (size.Luma() >> 2);
    scene.RenderLuma({pose.col / 256.0, pose.row / 256.0, pose.theta / 65536.0, 1}, size.width,
                     size.height, y);
    for (int32_t i = 0; i < size.Luma(); i++) {
        const int32_t value = y[i] + brightness;
        y[i] = (uint8_t)(value < 0 ? 0 : value > 255 ? 255 : value);
    }
    for (int32_t r = 0; r < size.height >> 1; r++)
        for (int32_t c = 0; c < size.width >> 1; c++) {
            *u = y[2 * r * size.width + 2 * c];
            *v++ = (uint8_t)(255 - *u++);
        }
    return frame;
}

std::vector<Bytes> ShakyClip(Size size, int32_t frames) {
    static const Pose kShake[8] = {{0, 0, 0},      {500, -700, 60},   {-300, 400, -90},
                                   {900, 150, 40}, {-640, 320, 130},  {200, -900, -50},
                                   {700, 650, 20}, {-800, -200, -110}};
    std::vector<Bytes> clip;
    for (int32_t i = 0; i < frames; i++) {
        const Pose &p = kShake[i & 7];
        clip.push_back(Render(size, {p.row + 60 * i, p.col + 130 * i, p.theta + 9 * i}));
    }
    return clip;
}

std::vector<Bytes> HostileClip(Size size, int kind) {
    if (kind == 0) {
        Bytes board((size_t)size.Frame(), 0), negative = board;
        for (int32_t i = 0; i < size.Frame(); i++) {
            board[(size_t)i] = (i / size.width + i % size.width) & 1 ? 255 : 0;
            negative[(size_t)i] = (uint8_t)(255 - board[(size_t)i]);
        }
        const Bytes black((size_t)size.Frame(), 0), white((size_t)size.Frame(), 255);
        return {Noise(size.Frame(), 5), board, negative, black, white, Noise(size.Frame(), 6)};
    }
    std::vector<Bytes> clip;
    const int32_t far = 256 * (size.width + size.height) / 2;
    const Pose kJumps[6] = {{0, 0, 0},      {far, -far, 0}, {far + 700, 400 - far, 2000},
                            {-far, far, 0}, {-far, far, 0}, {-far - 2100, far, -1500}};
    for (const Pose &pose : kJumps) clip.push_back(Render(size, pose, clip.size() == 4 ? 90 : 0));
    for (size_t i = 1; i < 3; i++)
        for (uint8_t &b : clip[i]) b = b > 110 ? 255 : 0;
    return clip;
}

Bytes ToPairs(const Bytes &planar, Size size) {
    Bytes pairs = planar;
    const uint8_t *u = planar.data() + size.Luma(), *v = u + (size.Luma() >> 2);
    for (int32_t i = 0; i < size.Chroma(); i++) {
        pairs.data()[size.Luma() + 2 * i] = v[i];
        pairs.data()[size.Luma() + 2 * i + 1] = u[i];
    }
    return pairs;
}

Bytes ToPlanar(const Bytes &pairs, Size size) {
    Bytes planar = pairs;
    uint8_t *u = planar.data() + size.Luma(), *v = u + (size.Luma() >> 2);
    for (int32_t i = 0; i < size.Chroma(); i++) {
        v[i] = pairs.data()[size.Luma() + 2 * i];
        u[i] = pairs.data()[size.Luma() + 2 * i + 1];
    }
    return planar;
}

uint32_t Random::Next() {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    return (uint32_t)(state >> 32);
}

Bytes Noise(int32_t size, uint64_t seed) {
    Random random;
    random.state ^= seed * 0x9E3779B97F4A7C15u;
    Bytes bytes((size_t)size);
    for (uint8_t &b : bytes) b = (uint8_t)random.Next();
    return bytes;
}

uint64_t Hash(const Bytes &bytes, uint64_t start) {
    for (uint8_t b : bytes) start = (start ^ b) * 1099511628211u;
    return start;
}

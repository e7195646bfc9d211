// SPDX-License-Identifier: BSD-2-Clause
// What disturbs a clip besides its camera: something that moves by itself, haze, unsteady light,
// a rolling shutter, noise.
#pragma once

#include <stdint.h>

#include <memory>

#include "clipgen/camera_path.h"
#include "video/frame_source.h"

struct EffectOptions {
    double noise = 0;      // grey levels RMS
    double flicker = 0;    // percent
    int flash = 0;         // one frame in so many; 0: none
    double contrast = 100; // percent
    double object = 0;     // percent of the picture
    double rolling = 0;    // percent of the time of a frame, from its first row to its last
    double framesPerSecond = 30;
    uint32_t seed = 1;
};

class Effects {
  public:
    // `path` must outlive the effects.
    Effects(const EffectOptions &options, const CameraPath &path, const StreamInfo &info);

    // The frame of this number, from 0, as the camera sees the scene.
    void Render(const Scene &scene, int frame, uint8_t *pixels) const;

    // Changes the frame of this number, from 0, in place.
    void Apply(int frame, uint8_t *pixels) const;

  private:
    void DrawObject(int frame, uint8_t *pixels) const;
    void LowerContrast(uint8_t *pixels) const;
    void Flicker(int frame, uint8_t *luma) const;
    void Flash(uint8_t *luma) const;
    void AddNoise(int frame, uint8_t *pixels) const;

    EffectOptions mOptions;
    const CameraPath &mPath;
    PictureSize mSize;
    PixelLayout mLayout;
    PictureSize mObjectSize;
    std::unique_ptr<Scene> mObjectScene; // its texture
};

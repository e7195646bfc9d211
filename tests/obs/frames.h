// SPDX-License-Identifier: BSD-2-Clause
// Frames as the host hands them to a filter, of a textured plane under a shaking camera.
#pragma once

#include <stdint.h>

#include <vector>

#include <obs-module.h>

#include "common/stream.h"

struct FormatCase {
    video_format format;
    int32_t bits, lowestBit, luma;
    std::vector<std::vector<int32_t>> planes; // channels, and the subsampling's logarithms
};

using Pixels = std::vector<uint8_t>;

const uint64_t kStart = 5000000000, kFrameTime = 33333333; // of 30 frames a second

// Frame `number` of the scene. Its rows are longer than the picture by `gap` pixels.
obs_source_frame *MakeFrame(const FormatCase &format, int32_t width, int32_t height, int number,
                            int32_t gap = 0);

// What the host does with a frame that came out of the filters.
void GiveBack(obs_source_frame *frame);

// The bytes of the picture, without what lies between its rows.
Pixels Picture(const FormatCase &format, const obs_source_frame &frame);

// The pictures that the library's own calls make of the first frames of the scene.
std::vector<Pixels> Reference(const FormatCase &format, int32_t width, int32_t height, int frames,
                              int32_t lookahead, bool cubic);

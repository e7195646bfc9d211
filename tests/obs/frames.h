// SPDX-License-Identifier: BSD-2-Clause
// Frames as the host hands them to a filter, of a textured plane under a shaking camera.
#pragma once

#include <stdint.h>

#include <memory>
#include <vector>

#include <obs-module.h>

#include "common/stream.h"

struct FormatCase {
    video_format format;
    int32_t bits, lowestBit, luma;
    std::vector<std::vector<int32_t>> planes; // channels, and the subsampling's logarithms
};
extern const FormatCase kFormats[];
extern const int kFormatCount;

const uint64_t kFrameTime = 33333333; // of 30 frames a second

// Frame `number` of the scene. Every row is `gap` bytes longer than the host's own frames have it.
obs_source_frame *MakeFrame(const FormatCase &format, int32_t width, int32_t height, int number,
                            uint32_t gap = 0);

// What the host does with a frame that came out of the filters.
void GiveBack(obs_source_frame *frame);

std::vector<MVS_Plane> PlanesOf(const FormatCase &format, const obs_source_frame &frame);

// The bytes of the picture, without what lies between its rows.
std::vector<uint8_t> Picture(const FormatCase &format, const obs_source_frame &frame);

// The pictures that the library's own calls make of the first frames of the scene.
std::vector<std::vector<uint8_t>> Reference(const FormatCase &format, int32_t width, int32_t height,
                                            int frames, const StreamSettings &settings, bool cubic);

// The filter, by the callbacks that the host has of it.
class Running {
  public:
    Running();
    ~Running();
    Running(const Running &) = delete;
    Running &operator=(const Running &) = delete;
    obs_data_t *Settings() { return mSettings; }
    void Update() { mInfo.update(mFilter, mSettings); }
    void Hide() { mInfo.hide(mFilter); }
    obs_source_frame *Frame(obs_source_frame *frame) { return mInfo.filter_video(mFilter, frame); }
    obs_audio_data *Sound(obs_audio_data *sound) { return mInfo.filter_audio(mFilter, sound); }
    obs_properties_t *Dialogue() { return mInfo.get_properties(mFilter); }

  private:
    obs_source_info mInfo;
    obs_data_t *mSettings;
    void *mFilter;
};

// What a 1080p frame takes, for the documents: medians.
int PrintSpeed();

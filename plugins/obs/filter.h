// SPDX-License-Identifier: BSD-2-Clause
// One filter on one source: frames and sound in, steady frames and delayed sound out.
#pragma once

#include <pthread.h>
#include <stdint.h>

#include <obs-module.h>

#include "common/stream.h"
#include "frame_planes.h"
#include "picture.h"
#include "sound_line.h"

struct FilterSettings {
    StreamSettings stream; // without the frame rate, which is measured
    bool cubic = false;
    bool split = false; // the left half as it came
};

// A frame that waits, with where its output is to be taken from once that is settled.
struct HeldFrame {
    obs_source_frame *frame;
    MVS_Compensation record;
};

// Frames and sound come from the host's threads one at a time. Settings, and the news that the source
// is hidden or the filter switched off, come from other threads: each call below holds the mutex.
struct Filter {
    obs_source_t *source = nullptr; // the filter as the host knows it
    pthread_mutex_t mutex;
    FilterSettings wanted, used; // as set, and those of the handle

    MVS_Context *handle = nullptr;
    video_format format = VIDEO_FORMAT_NONE; // of the newest frame
    uint32_t width = 0, height = 0;
    bool isNew = false;            // the log does not have it yet
    const char *refused = nullptr; // why a frame passed untouched, as the log has it
    video_format refusedFormat = VIDEO_FORMAT_NONE;
    int32_t lines = 0; // in the log

    HeldFrame held[kMostLookahead + 1];
    int32_t first = 0, count = 0, settled = 0; // a ring; the oldest have their records
    int32_t lookahead = 0;                     // frames that wait before one leaves
    bool filled = false;                       // as many wait
    PictureMemory memory;

    uint64_t newest = 0; // time of the newest frame, all times in nanoseconds
    uint64_t rateStart = 0;
    int32_t rateFrames = 0, rateWindow = 0; // frames since then, and those that are needed
    uint64_t interval = 33333333;           // from frame to frame

    SoundLine sound;
    uint64_t delay = 0;   // of the sound
    int32_t delayOff = 0; // frames for which it has differed from that of the frames
};

// Null: no memory.
Filter *CreateFilter(obs_source_t *source, const FilterSettings &settings);

// What still waits is given back to the parent, or freed where there is none any more.
void DestroyFilter(Filter *filter);

// They apply from the next frame on.
void SetFilter(Filter *filter, const FilterSettings &settings);

// Takes a frame, and gives one: null while the first ones wait. A frame that cannot be stabilized is
// given back as it is, and what waits before it is dropped.
obs_source_frame *FilterFrame(Filter *filter, obs_source_frame *frame);

// The same for sound. It is delayed while frames wait.
obs_audio_data *FilterSound(Filter *filter, obs_audio_data *sound);

// Drops what waits, and frees what the stream needs. The next frame starts a stream.
void StopFilter(Filter *filter, obs_source_t *parent);

// The delay that a lookahead gives on the stream as it is now.
int32_t DelayFrames(Filter *filter, int32_t lookahead);
double DelaySeconds(Filter *filter, int32_t lookahead);

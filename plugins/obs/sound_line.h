// SPDX-License-Identifier: BSD-2-Clause
// Holds the sound back as long as the frames wait.
#pragma once

#include <stdint.h>

#include <obs-module.h>

const uint64_t kSecond = 1000000000; // all times are in nanoseconds

// Two times that do not belong to one scene, or one sound: the source was stopped, or went elsewhere.
inline bool IsJump(uint64_t before, uint64_t now) { return now < before || now - before > kSecond; }

struct SoundPacket; // samples that wait

struct SoundLine {
    SoundPacket *first = nullptr, *last = nullptr;
    uint64_t samples = 0;       // that wait, of each channel
    obs_audio_data output = {}; // what was handed out last
    uint8_t *memory = nullptr;  // of its samples
    size_t memoryBytes = 0;
};

// Takes a packet and gives what is due: all packets that are `delay` nanoseconds or more behind the
// newest, joined, their time moved on by the delay. Null: nothing is due. The result stays until the
// next call.
obs_audio_data *DelaySound(SoundLine &line, const obs_audio_data &packet, uint64_t delay);

// Drops what waits. What was handed out last stays: another thread may be playing it.
void DropSound(SoundLine &line);

// Drops what waits and frees all memory, that of the last result too.
void ClearSound(SoundLine &line);

// SPDX-License-Identifier: BSD-2-Clause
#include "sound_line.h"

#include <stdlib.h>
#include <string.h>

// Samples of the host are floats, a plane for each channel. They lie behind this record, plane by
// plane.
struct SoundPacket {
    SoundPacket *next;
    uint64_t timestamp;
    uint32_t samples;  // of each channel
    uint32_t channels; // one bit for each that has samples
};

namespace {

const uint64_t kMostSamples = (uint64_t)1 << 23; // of each channel: whatever the timestamps say

float *SamplesOf(SoundPacket *packet) { return (float *)(packet + 1); }

uint32_t ChannelsOf(const obs_audio_data &data) {
    uint32_t channels = 0;
    for (uint32_t i = 0; i < MAX_AV_PLANES; i++)
        if (data.data[i]) channels |= 1u << i;
    return channels;
}

uint32_t CountOf(uint32_t channels) {
    uint32_t count = 0;
    for (; channels; channels &= channels - 1) count++;
    return count;
}

bool Append(SoundLine &line, const obs_audio_data &data) {
    const uint32_t channels = ChannelsOf(data);
    const size_t bytes = (size_t)data.frames * sizeof(float);
    SoundPacket *packet = (SoundPacket *)malloc(sizeof(*packet) + bytes * CountOf(channels));
    if (!packet) return false;
    *packet = {nullptr, data.timestamp, data.frames, channels};
    float *to = SamplesOf(packet);
    for (const uint8_t *from : data.data) {
        if (!from) continue;
        memcpy(to, from, bytes);
        to += data.frames;
    }
    (line.last ? line.last->next : line.first) = packet;
    line.last = packet;
    line.samples += data.frames;
    return true;
}

void DropFirst(SoundLine &line) {
    SoundPacket *packet = line.first;
    line.first = packet->next;
    if (!line.first) line.last = nullptr;
    line.samples -= packet->samples;
    free(packet);
}

// How many samples of each channel can leave together.
size_t CountDue(const SoundLine &line, uint64_t delay) {
    size_t samples = 0;
    uint64_t behind = line.samples;
    for (const SoundPacket *packet = line.first; packet; packet = packet->next) {
        const bool due = line.last->timestamp - packet->timestamp >= delay || behind > kMostSamples;
        if (!due || packet->channels != line.first->channels) break;
        samples += packet->samples;
        behind -= packet->samples;
    }
    return samples;
}

bool Reserve(SoundLine &line, size_t bytes) {
    if (bytes <= line.memoryBytes) return true;
    uint8_t *memory = (uint8_t *)realloc(line.memory, bytes);
    if (!memory) return false;
    line.memory = memory;
    line.memoryBytes = bytes;
    return true;
}

// Moves the first packets to the output, whose planes have room for as many samples as leave.
void MoveSamples(SoundLine &line, size_t samples) {
    for (size_t moved = 0; moved < samples;) {
        SoundPacket *packet = line.first;
        const float *from = SamplesOf(packet);
        const size_t count = packet->samples;
        for (uint8_t *plane : line.output.data) {
            if (!plane) continue;
            memcpy(plane + moved * sizeof(float), from, count * sizeof(float));
            from += count;
        }
        moved += count;
        DropFirst(line);
    }
}

obs_audio_data *TakeDue(SoundLine &line, uint64_t delay) {
    const size_t samples = CountDue(line, delay), bytes = samples * sizeof(float);
    if (samples == 0 || !Reserve(line, bytes * CountOf(line.first->channels))) return nullptr;
    line.output = {};
    uint8_t *plane = line.memory;
    for (uint32_t i = 0; i < MAX_AV_PLANES; i++) {
        if (!(line.first->channels >> i & 1)) continue;
        line.output.data[i] = plane;
        plane += bytes;
    }
    line.output.frames = (uint32_t)samples;
    line.output.timestamp = line.first->timestamp + delay;
    MoveSamples(line, samples);
    return &line.output;
}

} // namespace

obs_audio_data *DelaySound(SoundLine &line, const obs_audio_data &packet, uint64_t delay) {
    if (packet.frames == 0 || ChannelsOf(packet) == 0) return nullptr;
    if (line.last && IsJump(line.last->timestamp, packet.timestamp)) DropSound(line);
    if (!Append(line, packet)) return nullptr;
    return TakeDue(line, delay);
}

void DropSound(SoundLine &line) {
    while (line.first) DropFirst(line);
}

void ClearSound(SoundLine &line) {
    DropSound(line);
    free(line.memory);
    line = {};
}

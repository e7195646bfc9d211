// SPDX-License-Identifier: BSD-2-Clause
// Shared by the fuzz programs: decisions taken from the input's bytes, and moving pictures.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include <vector>

#include "support/run.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

// A failed check aborts, so that libFuzzer keeps the input.
#define MUST(condition)                                                                                \
    do {                                                                                               \
        if (!(condition)) {                                                                            \
            fprintf(stderr, "%s:%d: broken: %s\n", __FILE__, __LINE__, #condition);                    \
            abort();                                                                                   \
        }                                                                                              \
    } while (0)

struct Input {
    const uint8_t *at, *end;

    bool Empty() const { return at == end; }
    uint8_t Byte() { return at == end ? 0 : *at++; }
    uint32_t Word() {
        uint32_t w = 0;
        for (int i = 0; i < 4; i++) w = w << 8 | Byte();
        return w;
    }
    int32_t In(int32_t low, int32_t high) { // both included
        const uint32_t count = (uint32_t)(high - low) + 1;
        return low + (int32_t)((count <= 256 ? Byte() : (uint32_t)Byte() << 8 | Byte()) % count);
    }
    // A small number, one of a frame's scale in Q10, an end of the range, or anything.
    int32_t Number() {
        static const int32_t kEnds[] = {INT32_MIN, INT32_MIN + 1, INT32_MAX,  INT32_MAX - 1,
                                        1 << 16,   1 << 30,       -(1 << 30), 0};
        switch (Byte() & 3) {
        case 0:
            return (int8_t)Byte();
        case 1:
            return ((int32_t)(Word() >> 12)) - (1 << 19);
        case 2:
            return kEnds[Byte() & 7];
        default:
            return (int32_t)Word();
        }
    }
    CpuLevel Level() {
        static const std::vector<CpuLevel> levels = CpuLevels();
        return levels[Byte() % levels.size()];
    }
};

// A frame of any kind: a texture that is moved and turned, one that repeats, noise, or one value.
inline void Paint(Input *input, uint8_t *frame, size_t bytes, int32_t width, int32_t height) {
    const uint8_t kind = input->Byte(), cell = kind >> 2 & 3;
    const int32_t row = (int8_t)input->Byte(), col = (int8_t)input->Byte();
    const int32_t turn = (int8_t)input->Byte();
    const uint32_t seed = (kind & 3) == 2 ? input->Word() : kind >> 4 & 1;
    const uint32_t period = (kind & 3) == 1 ? 7 : 0xFFFF; // cells
    for (size_t i = 0; i < bytes; i++) {
        const int32_t y = (int32_t)i / width, x = (int32_t)i % width;
        const uint32_t r = (uint32_t)(y + row + 4096 + (turn * (x - width / 2) >> 10)) >> cell;
        const uint32_t c = (uint32_t)(x + col + 4096 - (turn * (y - height / 2) >> 10)) >> cell;
        uint32_t h = (r & period) * 2654435761u ^ (c & period) * 2246822519u ^ seed * 3266489917u;
        h ^= h >> 15;
        frame[i] = (kind & 3) == 3 ? (uint8_t)row : (uint8_t)(h * 2654435761u >> 24);
    }
}

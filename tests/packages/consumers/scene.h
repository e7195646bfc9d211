/* SPDX-License-Identifier: BSD-2-Clause */
/* A picture that all consumers stabilize, so that their results can be compared. C89 and C++. */
#ifndef SCENE_H
#define SCENE_H

#include <stdint.h>
#include <stdio.h>

enum { WIDTH = 320, HEIGHT = 240, FRAME_SIZE = WIDTH * HEIGHT * 3 / 2 };

/* Blocks of 8 x 8 of random brightness, moved by some columns; grey chroma. */
static void paint(uint8_t *frame, int shift) {
    int i;
    for (i = 0; i < FRAME_SIZE; i++) {
        const uint32_t block = (uint32_t)(i / WIDTH / 8 * 64 + (i % WIDTH + shift) / 8);
        frame[i] = (uint8_t)(i < WIDTH * HEIGHT ? (block * 2654435761u) >> 24 : 128);
    }
}

static void report(const uint8_t *frame, int number) {
    uint32_t hash = 2166136261u;
    int i;
    for (i = 0; i < FRAME_SIZE; i++) hash = (hash ^ frame[i]) * 16777619u;
    printf("frame %d %08lx\n", number, (unsigned long)hash);
}

#endif

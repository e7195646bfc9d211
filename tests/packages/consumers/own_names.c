/* SPDX-License-Identifier: BSD-2-Clause */
/* Stabilizes by the camera wrapper, in a program that has variables of the wrapper's names. */
#include <string.h>

#include "scene.h"

int32_t runVideoStabilizer(uint8_t *frame, int32_t width, int32_t height);
int32_t uninit_quorvel_videostabilizer(void);

const char *output = "the program's";
double lWidth = 0.5;
int lHeight, vs_param[100];

static uint8_t frame[FRAME_SIZE];

int main(void) {
    int i;
    for (i = 1; i <= 2; i++) {
        paint(frame, i * 3);
        runVideoStabilizer(frame, WIDTH, HEIGHT);
        report(frame, i);
    }
    uninit_quorvel_videostabilizer();
    return strcmp(output, "the program's") != 0 || lWidth != 0.5 || lHeight || vs_param[1];
}

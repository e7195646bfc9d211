// SPDX-License-Identifier: BSD-2-Clause
/* What the pieces of code in the headers and documents take for granted; check.sh compiles each after it. */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include <dlfcn.h>

#include "quorvel/camera.h"
#include "quorvel/memory.h"
#include "quorvel/pitch.h"
#include "quorvel/refined.h"
#include "quorvel/stabilizer.h"
#include "quorvel/threads.h"

extern int next_frame(uint8_t *pFrame);
extern void show(const uint8_t *pFrame);
extern MVS_Context *stabilizer, *other;
extern uint8_t *input, *frame, *y, *vu, *out_y, *out_vu;
extern int32_t width, height;
extern MVS_Plane *newest_planes, *oldest_planes, *out_planes;
extern MVS_Compensation *records;
extern int frames, i;
extern int shared;
extern char buffer[4096];

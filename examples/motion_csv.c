/* SPDX-License-Identifier: BSD-2-Clause */
/*
 * motion_csv WIDTH HEIGHT < luma > motion.csv
 *
 * How the camera moved, without a stabilized picture: for logs, for a lens or gimbal test, or to decide
 * whether a clip is worth stabilizing. Reads planes of luma, WIDTH * HEIGHT bytes each, and writes a
 * line for each: pixels, pixels, milliradians.
 *
 * The measurement is that of a stabilizing handle. The smallest output there is, 2 x 2 pixels, makes
 * the warp free, and with planar frames of that size no chroma is read, so there need not be any.
 */
#include <stdio.h>
#include <stdlib.h>

#include <quorvel/stabilizer.h>

static void write_line(const MVS_Context *stabilizer) {
    MVS_MotionInfo motion = {0};
    motion.lSize = (int32_t)sizeof motion;
    QEL_MVS_GetMotion(stabilizer, &motion);
    printf("%ld,%ld,%.3f,%.3f,%.3f,%ld,%ld\n", (long)motion.lFrameNumber, (long)motion.bMeasured,
           motion.lMotionRow / 1024.0, motion.lMotionCol / 1024.0, motion.lMotionTheta / 65.536,
           (long)motion.lBlocksValid, (long)motion.lBlocksKept);
}

/* The two planes swap their parts after each frame, nothing is copied. */
static int measure(MVS_Context *stabilizer, uint8_t *current, uint8_t *previous, size_t size) {
    uint8_t output[6];
    printf("frame,measured,row,column,milliradians,blocks,blocks_kept\n");
    while (fread(current, 1, size, stdin) == size) {
        MVS_FrameTriple frames;
        uint8_t *const former = previous;
        frames.pCurrent = current;
        frames.pPrevious = previous; /* not read at the first frame */
        frames.pOutput = output;
        QEL_MVS_StabilizeFrameEx(stabilizer, &frames);
        write_line(stabilizer);
        previous = current;
        current = former;
    }
    return ferror(stdin) || fflush(stdout);
}

int main(int argc, char **argv) {
    const int32_t width = argc == 3 ? atoi(argv[1]) : 0;
    const int32_t height = argc == 3 ? atoi(argv[2]) : 0;
    const MVS_InitParam param = {3, width, height, 2, 2, QEL_MVS_FORMAT_I420, 0};
    MVS_Context *stabilizer = QEL_MVS_CreateStabilizer(&param);
    const size_t size = stabilizer ? (size_t)width * (size_t)height : 0;
    uint8_t *planes[2] = {NULL, NULL};
    int failed = 1;
    if (stabilizer) {
        planes[0] = malloc(size);
        planes[1] = malloc(size);
    }
    if (planes[0] && planes[1])
        failed = measure(stabilizer, planes[0], planes[1], size);
    else
        fprintf(stderr, "usage: motion_csv WIDTH HEIGHT < luma > motion.csv (sides 1..16384)\n");
    free(planes[0]);
    free(planes[1]);
    QEL_MVS_DestroyStabilizer(stabilizer);
    return failed;
}

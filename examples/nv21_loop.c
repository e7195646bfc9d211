/* SPDX-License-Identifier: BSD-2-Clause */
/*
 * nv21_loop WIDTH HEIGHT < shaky.nv21 > steady.nv21
 *
 * The smallest use of the library: packed NV21 frames from standard input, stabilized in place, to
 * standard output.
 */
#include <stdio.h>
#include <stdlib.h>

#include <quorvel/stabilizer.h>

static int stabilize(MVS_Context *stabilizer, uint8_t *frame, size_t size) {
    while (fread(frame, 1, size, stdin) == size) {
        QEL_MVS_StabilizeFrame(stabilizer, frame, frame);
        if (fwrite(frame, 1, size, stdout) != size) return 1;
    }
    return ferror(stdin) || fflush(stdout);
}

int main(int argc, char **argv) {
    const int32_t width = argc == 3 ? atoi(argv[1]) : 0;
    const int32_t height = argc == 3 ? atoi(argv[2]) : 0;
    const MVS_InitParam param = {3, width, height, width, height, QEL_MVS_FORMAT_NV21, 0};

    /* Null also for sizes that cannot be stabilized, so it needs no check of our own. */
    MVS_Context *stabilizer = QEL_MVS_CreateStabilizer(&param);
    const size_t size = stabilizer ? (size_t)width * (size_t)height * 3 / 2 : 0;
    uint8_t *frame = stabilizer ? malloc(size) : NULL;
    int failed = 1;

    if (frame) {
        QEL_MVS_SetFullChroma(stabilizer, 1); /* heights that are no multiple of 8 too */
        failed = stabilize(stabilizer, frame, size);
    } else {
        fprintf(stderr,
                "usage: nv21_loop WIDTH HEIGHT < shaky.nv21 > steady.nv21 (even width, 2..16384)\n");
    }
    free(frame);
    QEL_MVS_DestroyStabilizer(stabilizer);
    return failed;
}

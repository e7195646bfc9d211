/* SPDX-License-Identifier: BSD-2-Clause */
/*
 * refined_planes WIDTH HEIGHT < shaky.nv12 > steady.nv12
 *
 * The refined stabilizer with a lookahead: packed NV12 frames from standard input, to standard output.
 * A frame waits in a ring of buffers until the 30 frames after it are measured; then its output is made
 * and its buffer is free again. As many frames come out as go in.
 */
#include <stdio.h>
#include <stdlib.h>

#include <quorvel/refined.h>

enum { LOOKAHEAD = 30, FRAMES = LOOKAHEAD + 1 }; /* those that wait, and the newest */

struct Loop {
    MVS_Context *stabilizer;
    int32_t width, height;
    size_t size;
    uint8_t *ring;   /* FRAMES frames */
    uint8_t *output; /* one frame */
    long pushed, pulled;
};

static uint8_t *in_ring(const struct Loop *loop, long number) {
    return loop->ring + (size_t)(number % FRAMES) * loop->size;
}

/* Luma, and pairs of half its size each way, whose samples lie at the left of their pixels, between two
 * rows. */
static void describe(const struct Loop *loop, uint8_t *frame, MVS_Plane planes[2]) {
    const MVS_Plane luma = {(int32_t)sizeof luma, loop->width, loop->height, 1, 0, 1, 8, 0, 0, 0, 0, 0,
                            loop->width,          frame};
    planes[0] = luma;
    planes[1] = luma;
    planes[1].lWidth = loop->width / 2;
    planes[1].lHeight = loop->height / 2;
    planes[1].lChannels = 2;
    planes[1].lLog2X = 1;
    planes[1].lLog2Y = 1;
    planes[1].lSiteY = 2;
    planes[1].pPixels = frame + (size_t)loop->width * (size_t)loop->height;
}

/* All frames that can be shown by now: often one, none at the beginning, several at a cut and at the
 * end. */
static int write_ready(struct Loop *loop) {
    MVS_Compensation record = {0};
    record.lSize = (int32_t)sizeof record;
    while (QEL_MVS_PullCompensation(loop->stabilizer, &record)) {
        MVS_Plane in[2], out[2];
        describe(loop, in_ring(loop, loop->pulled++), in);
        describe(loop, loop->output, out);
        if (!QEL_MVS_CompensateFrame(loop->stabilizer, &record, in, out, 2)) return 1;
        if (fwrite(loop->output, 1, loop->size, stdout) != loop->size) return 1;
    }
    return 0;
}

static int stabilize(struct Loop *loop) {
    while (fread(in_ring(loop, loop->pushed), 1, loop->size, stdin) == loop->size) {
        MVS_Plane planes[2];
        describe(loop, in_ring(loop, loop->pushed++), planes);
        if (!QEL_MVS_PushLuma(loop->stabilizer, &planes[0])) return 1;
        if (write_ready(loop)) return 1;
    }
    QEL_MVS_EndStream(loop->stabilizer);
    return write_ready(loop) || ferror(stdin) || fflush(stdout);
}

int main(int argc, char **argv) {
    struct Loop loop = {0};
    const int32_t width = argc == 3 ? atoi(argv[1]) : 0;
    const int32_t height = argc == 3 ? atoi(argv[2]) : 0;
    const MVS_InitParam param = {3, width, height, width, height, QEL_MVS_FORMAT_NV21, 0};
    int failed = 1;

    loop.stabilizer = QEL_MVS_CreateStabilizer(&param);
    if (QEL_MVS_SetRefined(loop.stabilizer, 1) && QEL_MVS_SetLookahead(loop.stabilizer, LOOKAHEAD)) {
        QEL_MVS_SetCubic(loop.stabilizer, 1);
        loop.width = width;
        loop.height = height;
        loop.size = (size_t)width * (size_t)height * 3 / 2;
        loop.ring = malloc(FRAMES * loop.size);
        loop.output = calloc(1, loop.size);
    } else {
        fprintf(stderr, "usage: refined_planes WIDTH HEIGHT < shaky.nv12 > steady.nv12 (even width)\n");
    }
    if (loop.ring && loop.output) failed = stabilize(&loop);
    free(loop.ring);
    free(loop.output);
    QEL_MVS_DestroyStabilizer(loop.stabilizer);
    return failed;
}

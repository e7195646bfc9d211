/* SPDX-License-Identifier: BSD-2-Clause */
/*
 * camera_buffers
 *
 * Stabilizes camera buffers in place: planes with row and pixel strides, as camera interfaces hand them
 * out. The camera is made up here, a picture that jumps about in buffers with padded rows; the program
 * says how each frame was moved, and checks that no byte between the rows was written.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <quorvel/pitch.h>

/* ---- from the camera's description of a frame to the library's ---- */

struct CameraPlane {
    uint8_t *data;
    int32_t row_stride;   /* bytes from row to row */
    int32_t pixel_stride; /* bytes from sample to sample */
};

struct CameraFrame {
    int32_t width, height;
    struct CameraPlane y, u, v;
};

/* 1 when the library can work on the frame where it lies, else 0: copy it to a layout that it knows. */
static int describe(const struct CameraFrame *frame, MVS_PitchImage *image) {
    const int pairs = frame->u.pixel_stride == 2 && frame->v.pixel_stride == 2;
    const int planes = frame->u.pixel_stride == 1 && frame->v.pixel_stride == 1;
    const int v_first = frame->v.data + 1 == frame->u.data;
    const int u_first = frame->u.data + 1 == frame->v.data;
    memset(image, 0, sizeof *image);
    if (frame->y.pixel_stride != 1) return 0;
    image->lWidth = frame->width;
    image->lHeight = frame->height;
    image->pPlane[0] = frame->y.data;
    image->lPitch[0] = frame->y.row_stride;
    if (pairs && (v_first || u_first) && frame->u.row_stride == frame->v.row_stride) {
        /* V first is NV21, U first NV12. The library moves pairs without asking which half is which, so
         * both are NV21 to it: name the plane by the byte that comes first. */
        image->lFormat = QEL_MVS_FORMAT_NV21;
        image->pPlane[1] = v_first ? frame->v.data : frame->u.data;
        image->lPitch[1] = frame->v.row_stride;
        return 1;
    }
    if (planes) {
        image->lFormat = QEL_MVS_FORMAT_I420;
        image->pPlane[1] = frame->u.data;
        image->pPlane[2] = frame->v.data;
        image->lPitch[1] = frame->u.row_stride;
        image->lPitch[2] = frame->v.row_stride;
        return 1;
    }
    return 0;
}

/* ---- a camera ---- */

enum { WIDTH = 640, HEIGHT = 480, STRIDE = 704, FRAMES = 30, PADDING = 0xA5 };

static uint8_t buffer[STRIDE * HEIGHT * 3 / 2];

static int32_t random_grey(int32_t row, int32_t column) {
    return (int32_t)((uint32_t)(row * 641 + column) * 2654435761u >> 24);
}

/* Clouds: random greys every 16 pixels, and what lies between them. */
static uint8_t scene(int32_t y, int32_t x) {
    const int32_t row = (y + 512) / 16, column = (x + 512) / 16, dy = (y + 512) % 16,
                  dx = (x + 512) % 16;
    const int32_t above = random_grey(row, column) * (16 - dx) + random_grey(row, column + 1) * dx;
    const int32_t below =
        random_grey(row + 1, column) * (16 - dx) + random_grey(row + 1, column + 1) * dx;
    return (uint8_t)((above * (16 - dy) + below * dy) / 256);
}

static struct CameraFrame capture(int number) {
    const int row = (number * 3) % 7 - 3, col = (number * 5) % 11 - 5;
    uint8_t *const vu = buffer + STRIDE * HEIGHT;
    const struct CameraFrame frame = {
        WIDTH, HEIGHT, {buffer, STRIDE, 1}, {vu + 1, STRIDE, 2}, {vu, STRIDE, 2}};
    int y, x;
    memset(buffer, PADDING, sizeof buffer);
    for (y = 0; y < HEIGHT; y++)
        for (x = 0; x < WIDTH; x++) buffer[y * STRIDE + x] = scene(y + row, x + col);
    for (y = 0; y < HEIGHT / 2; y++) memset(vu + y * STRIDE, 128, WIDTH);
    return frame;
}

static int padding_is_whole(void) {
    int y, x;
    for (y = 0; y < HEIGHT * 3 / 2; y++)
        for (x = WIDTH; x < STRIDE; x++)
            if (buffer[y * STRIDE + x] != PADDING) return 0;
    return 1;
}

int main(void) {
    MVS_Context *stabilizer = NULL;
    int number, whole = 1;
    for (number = 0; number < FRAMES && whole; number++) {
        const struct CameraFrame frame = capture(number);
        MVS_PitchImage image;
        MVS_MotionInfo motion = {0};
        if (!describe(&frame, &image)) break;
        if (!stabilizer) { /* the first frame tells the format and the size */
            stabilizer = QEL_MVS_CreateStabilizerPitch(image);
            if (!stabilizer) break;
            QEL_MVS_SetFullChroma(stabilizer, 1);
        }
        QEL_MVS_StabilizeFrame_SameBufferPitch(stabilizer, image);

        motion.lSize = (int32_t)sizeof motion;
        QEL_MVS_GetMotion(stabilizer, &motion);
        printf("frame %2d: camera moved by %6.2f, %6.2f; crop moved by %6.2f, %6.2f pixels\n", number,
               motion.lMotionRow / 1024.0, motion.lMotionCol / 1024.0, motion.lCompRow / 1024.0,
               motion.lCompCol / 1024.0);
        whole = padding_is_whole();
    }
    QEL_MVS_DestroyStabilizerPitch(stabilizer);
    if (number == FRAMES && whole) return 0;
    fprintf(stderr, "camera_buffers: %s\n",
            whole ? "cannot stabilize this camera" : "padding was written");
    return 1;
}

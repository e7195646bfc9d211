/* SPDX-License-Identifier: BSD-2-Clause */
#include <quorvel/stabilizer.h>
#include <stdlib.h>

#include "scene.h"

int main(void) {
    const MVS_InitParam param = {3, WIDTH, HEIGHT, WIDTH, HEIGHT, QEL_MVS_FORMAT_I420, 0};
    MVS_Context *stabilizer = QEL_MVS_CreateStabilizer(&param);
    uint8_t *in = (uint8_t *)malloc(FRAME_SIZE), *out = (uint8_t *)malloc(FRAME_SIZE);
    int i;
    if (!stabilizer || !in || !out) return 1;
    for (i = 1; i <= 2; i++) {
        paint(in, i * 3);
        QEL_MVS_StabilizeFrame(stabilizer, in, out);
        report(out, i);
    }
    QEL_MVS_DestroyStabilizer(stabilizer);
    free(in);
    free(out);
    return 0;
}

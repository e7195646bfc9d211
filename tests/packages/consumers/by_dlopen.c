/* SPDX-License-Identifier: BSD-2-Clause */
/* Takes the path of the library. */
#include <dlfcn.h>
#include <quorvel/stabilizer.h>

#include "scene.h"

static uint8_t in[FRAME_SIZE], out[FRAME_SIZE];

int main(int argc, char **argv) {
    const MVS_InitParam param = {3, WIDTH, HEIGHT, WIDTH, HEIGHT, QEL_MVS_FORMAT_I420, 0};
    MVS_Context *(*create)(const MVS_InitParam *);
    void (*destroy)(MVS_Context *);
    void (*stabilize)(MVS_Context *, const uint8_t *, uint8_t *);
    MVS_Context *stabilizer;
    int i;
    void *library = argc == 2 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : 0;
    if (!library) return 1;
    /* C has no conversion from object to function pointers. */
    *(void **)&create = dlsym(library, "QEL_MVS_CreateStabilizer");
    *(void **)&destroy = dlsym(library, "QEL_MVS_DestroyStabilizer");
    *(void **)&stabilize = dlsym(library, "QEL_MVS_StabilizeFrame");
    if (!create || !destroy || !stabilize) return 1;
    stabilizer = create(&param);
    for (i = 1; i <= 2; i++) {
        paint(in, i * 3);
        stabilize(stabilizer, in, out);
        report(out, i);
    }
    destroy(stabilizer);
    return dlclose(library);
}

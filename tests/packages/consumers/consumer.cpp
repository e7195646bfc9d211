// SPDX-License-Identifier: BSD-2-Clause
#include <quorvel/stabilizer.h>

#include <memory>
#include <vector>

#include "scene.h"

struct Deleter {
    void operator()(MVS_Context *stabilizer) const { QEL_MVS_DestroyStabilizer(stabilizer); }
};

int main() {
    const MVS_InitParam param = {3, WIDTH, HEIGHT, WIDTH, HEIGHT, QEL_MVS_FORMAT_I420, 0};
    const std::unique_ptr<MVS_Context, Deleter> stabilizer(QEL_MVS_CreateStabilizer(&param));
    std::vector<uint8_t> in(FRAME_SIZE), out(FRAME_SIZE);
    for (int i = 1; i <= 2; i++) {
        paint(in.data(), i * 3);
        QEL_MVS_StabilizeFrame(stabilizer.get(), in.data(), out.data());
        report(out.data(), i);
    }
}

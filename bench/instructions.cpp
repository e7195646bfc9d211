// SPDX-License-Identifier: BSD-2-Clause
// What bench/instructions.sh runs under callgrind: a few 1280x720 frames with one thread, as whole
// frames and stage by stage.
//   quorvel-bench-instructions write FILE   makes the input (without callgrind: it takes the longest)
//   quorvel-bench-instructions run FILE     the frames to be counted
#include <stdio.h>
#include <string.h>

#include "stages.h"

namespace {

const Size k720p = {1280, 720};
const int kFrames = 7;

uint64_t HashOf(const std::vector<uint8_t> &bytes) {
    uint64_t hash = 14695981039346656037u;
    for (uint8_t byte : bytes) hash = (hash ^ byte) * 1099511628211u;
    return hash;
}

int Write(const char *path) {
    const Clip clip(k720p, Motion(), kFrames);
    FILE *file = fopen(path, "wb");
    if (!file) return 1;
    const bool written =
        fwrite(clip.Bytes().data(), 1, clip.Bytes().size(), file) == clip.Bytes().size();
    if (fclose(file) || !written) return 1;
    // The figures hold for these frames, this level of vector instructions and these tools only.
    printf("input %016llx\n", (unsigned long long)HashOf(clip.Bytes()));
    LimitCpuLevel(kCpuAvx2);
    printf("level %s\n", LevelName(ChooseCpuLevel()));
    printf("compiler %s\n", QUORVEL_BENCH_COMPILER);
    printf("frames %d\n", kFrames - 1);
    return 0;
}

} // namespace

extern "C" __attribute__((noinline)) void StageWholeFrame(MVS_Context *ctx, const uint8_t *in,
                                                          uint8_t *out) {
    QEL_MVS_StabilizeFrame(ctx, in, out);
}

int main(int argc, char **argv) {
    if (argc != 3) return 2;
    if (strcmp(argv[1], "write") == 0) return Write(argv[2]);
    FILE *file = fopen(argv[2], "rb");
    if (!file) return 1;
    std::vector<uint8_t> bytes(k720p.Frame() * kFrames);
    const bool read = fread(bytes.data(), 1, bytes.size(), file) == bytes.size();
    fclose(file);
    if (!read) return 1;
    const Clip clip(k720p, std::move(bytes));

    StagedFrames staged(k720p, k720p, clip, 1, kCpuAvx2);
    const Handle handle = MakeHandle(k720p, k720p, QEL_MVS_FORMAT_NV21, 3, kCpuAvx2);
    QEL_MVS_SetThreads(handle.get(), 1);
    std::vector<uint8_t> out(k720p.Frame());
    QEL_MVS_StabilizeFrame(handle.get(), clip.Frame(0), out.data());
    for (int i = 1; i < kFrames; i++) {
        for (int stage = 0; stage < kStages; stage++) staged.Run((Stage)stage);
        StageWholeFrame(handle.get(), clip.Frame(i), out.data());
    }
    return 0;
}

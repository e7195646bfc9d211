// SPDX-License-Identifier: BSD-2-Clause
// Prints what five clips come out as, two of them of refined handles, a line for each processor level
// and number of threads: level, threads, five hashes. tests/determinism.sh builds it for all processors
// and compilers.
#include <stdio.h>

#include "support/faults.h"
#include "support/refined_run.h"
#include "support/run.h"

int main() {
    static const char *const kLevel[kCpuLevels] = {"portable", "SSE2", "SSSE3", "AVX2", "NEON"};
    const struct {
        Case c;
        int32_t frames;
    } kClips[3] = {{{{176, 144}, {176, 144}, 0, 3, Entry::Same, 1}, 6},
                   {{{480, 352}, {432, 316}, 2, 2, Entry::SeparateDiff, 1}, 4},
                   {{{1280, 720}, {1280, 720}, 1, 3, Entry::Diff, 1}, 3}};
    const struct {
        RefinedCase c;
        int32_t frames;
    } kRefined[2] = {{{{480, 352}, {480, 352}, 0, 1, -1, true}, 24},
                     {{{1280, 720}, {1280, 720}, 1, 0, 0, false}, 3}};
    std::vector<Bytes> clips[3], refined[2];
    for (int i = 0; i < 2; i++) refined[i] = ShakyClip(kRefined[i].c.in, kRefined[i].frames);
    for (int i = 0; i < 3; i++) clips[i] = ShakyClip(kClips[i].c.in, kClips[i].frames);
    for (CpuLevel level : CpuLevels())
        for (int threads = 1; threads <= 4; threads++) {
            const AtLevel at(level);
            Faults::Reset();
            Faults::KeepThreads(threads);
            printf("%s %d", kLevel[level], threads);
            for (int i = 0; i < 3; i++)
                printf(" %016llx", (unsigned long long)RunClip(kClips[i].c, clips[i]).Hash());
            for (int i = 0; i < 2; i++)
                printf(" %016llx", (unsigned long long)RunRefined(kRefined[i].c, refined[i]));
            printf("\n");
            if (threads > 1 && !Faults::Threads()) return 1; // the large clip is to be shared out
        }
    return 0;
}

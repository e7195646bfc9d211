// SPDX-License-Identifier: BSD-2-Clause
// How many threads a frame gets. The words belong to one handle; tests set them there.
#pragma once

#include <stdint.h>

struct ThreadPolicy {
    int32_t lMostThreads; // with the calling thread, 1 .. 4
    int32_t
        lBytesPerThread; // luma bytes that are worth a thread: smaller shares cost more than they give
    int32_t lCores;      // 0: those that the calling thread may run on
    int32_t lFirstPause; // frames without workers after a first late frame
    int32_t lNextPause;  // and after the next one
    int32_t lPauseLeft;  // frames until workers are started again
};

void InitThreadPolicy(ThreadPolicy *pPolicy);

// Workers beside the calling thread for a task over so many luma bytes.
int32_t WorkersFor(const ThreadPolicy *pPolicy, int64_t lBytes);

// The same for the next frame, which may be one of a pause.
int32_t WorkersForFrame(ThreadPolicy *pPolicy, int64_t lBytes);

// After a frame with workers. A late frame is one that they slowed down or never reached: other
// programs want the cores. The pauses after late frames double, so that a load that lasts is met ever
// less often.
void NoteFrame(ThreadPolicy *pPolicy, bool bLate);

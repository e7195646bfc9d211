// SPDX-License-Identifier: BSD-2-Clause
// How many threads a frame gets. Each handle has its own policy, which tests change.
#pragma once

#include <stdint.h>

struct ThreadPolicy {
    int32_t lMostThreads;    // with the calling thread, 1 .. 4
    int32_t lBytesPerThread; // luma bytes per thread; smaller shares cost more than they save
    int32_t lCores;          // 0: those that the calling thread may run on
    int32_t lFirstPause;     // frames without workers after a first late frame
    int32_t lNextPause;      // and after the next late one
    int32_t lPauseLeft;      // frames until workers are started again
};

void InitThreadPolicy(ThreadPolicy *pPolicy);

// Workers beside the calling thread for a task over so many luma bytes.
int32_t WorkersFor(const ThreadPolicy *pPolicy, int64_t lBytes);

// The same for the next frame: 0 during a pause.
int32_t WorkersForFrame(ThreadPolicy *pPolicy, int64_t lBytes);

// Call it after a frame with workers. bLate: they did not help, since other programs use the cores.
// Each late frame doubles the pause, up to 1024 frames; a frame in time resets it.
void NoteFrame(ThreadPolicy *pPolicy, bool bLate);

// SPDX-License-Identifier: BSD-2-Clause
// Threads of the system, as the library uses them.
#pragma once

#include <pthread.h>
#include <stdint.h>

// Starts a joinable thread with a small stack. It blocks all signals except those of faults: the
// program's handlers do not run on it, but crash reporters see its faults. False when the thread
// cannot be started.
bool CreateWorkerThread(pthread_t *pThread, void *(*pBody)(void *), void *pArgument);

// Names the calling thread `quorvel` where the system has names for threads.
void NameWorkerThread();

// Holds off cancellation of the calling thread; Restore takes what Hold returned.
int32_t HoldCancellation();
void RestoreCancellation(int32_t lBefore);

// SPDX-License-Identifier: BSD-2-Clause
// A job shared out between the calling thread and three workers that live no longer than the job.
#pragma once

#include <stdint.h>

// A participant's share at least, in bytes of the luma plane that is searched or warped: less is done
// sooner than a thread is started and ended.
const int64_t kBytesOfOne = 491520;

// For tests, which share out small jobs too, and to more threads than there may be cores.
void SetShares(int64_t lBytesOfOne, int32_t lCores);

// Runs pBody(pJob) on the calling thread and, where lBytes suffice, on up to three threads more, each
// with a core to run on: one without starts when the others end, and is waited for. Returns when all have
// ended (0 bytes: on the calling thread only). The bodies fetch their work from a counter
// of the job, so a thread that could not be started only makes it slower.
void RunParticipants(void *(*pBody)(void *), void *pJob, int64_t lBytes);

// Fetches the next lChunk items of a counter that runs up to lEnd: its value before, or lEnd when
// nothing is left. The event is the counter's lock.
int32_t TakeWork(void *pEvent, int32_t *pNext, int32_t lEnd, int32_t lChunk);

// SPDX-License-Identifier: BSD-2-Clause
// A job shared out between the calling thread and three workers that live no longer than the job.
#pragma once

#include <stdint.h>

// A participant's share at least, in bytes of the luma plane that is searched or warped:
// less is done sooner than a thread is started and ended. One that has no core to itself starts when
// another ends and needs so many times more to do.
const int64_t kBytesOfOne = 491520;
const int32_t kWithoutCore = 4;

// For tests, which share out small jobs too: 0 starts three threads for every job.
void SetBytesOfOne(int64_t lBytes);

// Runs pBody(pJob) on the calling thread and, where lBytes suffice, on up to three threads more, and
// returns when all have ended (0: on the calling thread only). The bodies fetch their work from a counter
// of the job, so a thread that could not be started only makes it slower.
void RunParticipants(void *(*pBody)(void *), void *pJob, int64_t lBytes);

// Fetches the next lChunk items of a counter that runs up to lEnd: its value before, or lEnd when
// nothing is left. The event is the counter's lock.
int32_t TakeWork(void *pEvent, int32_t *pNext, int32_t lEnd, int32_t lChunk);

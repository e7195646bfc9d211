// SPDX-License-Identifier: BSD-2-Clause
// A job shared out between the calling thread and three workers that live no longer than the job.
#pragma once

#include <stdint.h>

// Runs pBody(pJob) on the calling thread and on up to three threads more, and returns when all have
// ended. The bodies fetch their work from a counter of the job, so a thread that could not be started
// only makes it slower. lBytes is the plane that the job goes over: a small one costs less than the
// threads would.
void RunParticipants(void *(*pBody)(void *), void *pJob, int64_t lBytes);

// Fetches the next lChunk items of a counter that runs up to lEnd: its value before, or lEnd when
// nothing is left. The event is the counter's lock.
int32_t TakeWork(void *pEvent, int32_t *pNext, int32_t lEnd, int32_t lChunk);

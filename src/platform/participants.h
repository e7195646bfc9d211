// SPDX-License-Identifier: BSD-2-Clause
// Jobs shared out between the calling thread and up to three threads more.
//
// A frame has a crew: its threads are started while the coarse shift is measured, serve the frame's
// jobs one after the other, and have ended when the frame is done. A job without a crew starts and ends
// threads of its own. The bodies fetch their work from a counter of the job, so a thread that comes
// late, or never, only makes it slower.
#pragma once

#include <stdint.h>

#include "platform/gate.h"

// A participant's share at least, in bytes of the luma plane that is searched or warped: less is done
// sooner than a thread is started and ended.
const int64_t kBytesOfOne = 491520;

// For tests, which share out small jobs too, and to more threads than there may be cores; with cores
// given no crew counts as late.
void SetShares(int64_t lBytesOfOne, int32_t lCores);

// Jobs of a frame that a crew can be called to; those beyond stay with the caller.
const int32_t kCrewJobs = 4;

typedef void *(*JobBody)(void *pJob);

struct Crew {
    struct {
        JobBody pBody;
        void *pJob;
    } stJob[kCrewJobs]; // written once each: who comes late reads what it was called to
    int32_t lState;     // atomic: jobs so far, whether the last one may be joined, threads at work
    Gate stGate;
    uintptr_t hThread[3];
    int32_t lThreads;
    int32_t bServed; // atomic: one of them has joined a job
};

// Starts what threads lBytes are worth, each with a core to run on: one without starts when the others
// end, and is waited for.
void BeginCrew(Crew *pCrew, int64_t lBytes);

// Returns when all threads have ended. False: there were jobs for them, and not one came in time.
bool EndCrew(Crew *pCrew);

// Has the threads run pBody(pJob) while the caller goes on. The job stays alive until the crew's end,
// or until a job that was shared later is done. False: it has no threads. True promises nothing: they
// may never come to life.
bool CallCrew(Crew *pCrew, JobBody pBody, void *pJob);

// Runs pBody(pJob) on the calling thread and, where lBytes suffice, on others too: those of the crew,
// if there is one (bLast: they leave afterwards). Returns when none of them is at work any more.
void ShareJob(Crew *pCrew, JobBody pBody, void *pJob, int64_t lBytes, bool bLast);

// Fetches the next lChunk items of a counter that runs up to lEnd: its value before, or lEnd when
// nothing is left. The event is the counter's lock.
int32_t TakeWork(void *pEvent, int32_t *pNext, int32_t lEnd, int32_t lChunk);

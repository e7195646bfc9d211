// SPDX-License-Identifier: BSD-2-Clause
// Worker threads of one call. They run the call's tasks one after the other.
//
// A task body takes its work from a shared counter until none is left: a worker that comes late, or
// never, only costs time.
#pragma once

#include <stdint.h>

const int32_t kMostWorkers = 3;

typedef void *(*TaskBody)(void *pTask);

struct Workers;

// Null when there is no memory or no lock.
Workers *CreateWorkers();
void DestroyWorkers(Workers *pWorkers);

// Starts up to lCount workers, and holds off cancellation of the calling thread until JoinWorkers.
void StartWorkers(Workers *pWorkers, int32_t lCount);

// Tells the workers to exit and does not wait for them: exiting takes as long as starting, so the
// calling thread should have work left. No task may follow.
void EndWorkers(Workers *pWorkers);

// Ends and joins the workers. False when they did not help: none entered a task, or the calling thread
// ran for less than half of the time since StartWorkers.
bool JoinWorkers(Workers *pWorkers);

// Runs pBody(pTask) on the calling thread and on every worker that is ready before it returns there.
// Returns when all of them have left the body.
void RunParallel(Workers *pWorkers, TaskBody pBody, void *pTask);

// Progress that one thread reports and another one waits for. It only grows.
void ReportProgress(Workers *pWorkers, int32_t *pProgress, int32_t lValue);
int32_t AwaitProgress(Workers *pWorkers, const int32_t *pProgress,
                      int32_t lAtLeast); // returns what it has reached

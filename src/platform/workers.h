// SPDX-License-Identifier: BSD-2-Clause
// Worker threads of one call: started and joined within it, they run the call's tasks one after the
// other.
//
// A task body takes its shares from a counter of the task, so a worker that comes late, or never, costs
// time but leaves no work undone.
#pragma once

#include <stdint.h>

const int32_t kMostWorkers = 3;

typedef void *(*TaskBody)(void *pTask);

struct Workers;

// Null when there is no memory or no lock.
Workers *CreateWorkers();
void DestroyWorkers(Workers *pWorkers);

// Starts up to lCount workers. Each starts the next one, so the caller pays for a single thread.
void StartWorkers(Workers *pWorkers, int32_t lCount);

// Lets the workers end, while the calling thread goes on: no task may follow. It takes a thread as long
// to end as to start.
void EndWorkers(Workers *pWorkers);

// Ends and joins the workers. False when they were late: no task was reached in time, or the calling
// thread spent most of the time since StartWorkers waiting.
bool JoinWorkers(Workers *pWorkers);

// Runs pBody(pTask) on the calling thread and on every worker that comes in time. Returns when all of
// them have left the body.
void RunParallel(Workers *pWorkers, TaskBody pBody, void *pTask);

// Progress that one thread of a task reports and another one waits for. The counter only grows.
void ReportProgress(Workers *pWorkers, int32_t *pProgress, int32_t lValue);
int32_t AwaitProgress(Workers *pWorkers, const int32_t *pProgress,
                      int32_t lAtLeast); // what it has reached

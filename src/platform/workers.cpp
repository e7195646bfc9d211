// SPDX-License-Identifier: BSD-2-Clause
#include "platform/workers.h"

#include <time.h>

#include "platform/buffers.h"
#include "platform/cpu.h"
#include "platform/thread.h"

// The mutex guards every word from lPosted on. Those marked (atomic) are also read without it, by
// threads that spin before they sleep.
struct Workers {
    pthread_mutex_t stMutex;
    pthread_cond_t stChanged;    // for workers: a new task, the end, or progress
    pthread_cond_t stIdle;       // for the caller: the last worker has left the body
    int32_t lCount;              // workers wanted, 0 outside of a call
    bool bCreated[kMostWorkers]; // written by the thread that creates them: the first by the caller,
    pthread_t hThread[kMostWorkers]; // the others by the first
    int64_t llWallBegin, llCpuBegin; // of the calling thread, in nanoseconds

    int32_t lPosted;   // (atomic) number of the latest task; the end counts as one
    int32_t lInside;   // (atomic) workers inside the body
    int32_t lSleepers; // (atomic) threads asleep in AwaitProgress
    TaskBody pBody;    // of the latest task
    void *pTask;
    bool bOpen;    // workers may still enter it
    bool bEntered; // a worker has entered some task
    bool bEnding;  // written by the caller alone
};

namespace {

// Waking a thread takes tens of microseconds, which is as long as most waits last.
const int64_t kSpinNanoseconds = 100000;

int64_t Nanoseconds(clockid_t lClock) {
    timespec stTime;
    clock_gettime(lClock, &stTime);
    return (int64_t)stTime.tv_sec * 1000000000 + stTime.tv_nsec;
}

int32_t Load(const int32_t *pWord) { return __atomic_load_n(pWord, __ATOMIC_SEQ_CST); }
void Store(int32_t *pWord, int32_t lValue) { __atomic_store_n(pWord, lValue, __ATOMIC_SEQ_CST); }

// Returns early when the word leaves lFirst .. lLast.
void SpinWhile(const int32_t *pWord, int32_t lFirst, int32_t lLast) {
    const int64_t llEnd = Nanoseconds(CLOCK_MONOTONIC) + kSpinNanoseconds;
    do {
        for (int32_t i = 0; i < 32; i++) {
            const int32_t lValue = Load(pWord);
            if (lValue < lFirst || lValue > lLast) return;
            PauseCore();
        }
    } while (Nanoseconds(CLOCK_MONOTONIC) < llEnd);
}

// With the mutex held; gives it back while the body runs.
void EnterTask(Workers *p) {
    const TaskBody pBody = p->pBody;
    void *pTask = p->pTask;
    p->bEntered = true;
    Store(&p->lInside, p->lInside + 1);
    pthread_mutex_unlock(&p->stMutex);
    pBody(pTask);
    pthread_mutex_lock(&p->stMutex);
    Store(&p->lInside, p->lInside - 1);
    if (p->lInside == 0) pthread_cond_signal(&p->stIdle);
}

void *Serve(void *pArgument) {
    Workers *p = (Workers *)pArgument;
    int32_t lSeen = 0;
    bool bEnding = false;
    NameWorkerThread();
    while (!bEnding) {
        SpinWhile(&p->lPosted, lSeen, lSeen);
        pthread_mutex_lock(&p->stMutex);
        while (p->lPosted == lSeen) pthread_cond_wait(&p->stChanged, &p->stMutex);
        lSeen = p->lPosted;
        if (p->bOpen) EnterTask(p);
        bEnding = p->bEnding;
        pthread_mutex_unlock(&p->stMutex);
    }
    return nullptr;
}

bool IsEnding(Workers *p) {
    pthread_mutex_lock(&p->stMutex);
    const bool bEnding = p->bEnding;
    pthread_mutex_unlock(&p->stMutex);
    return bEnding;
}

// The first worker creates the others, so that the caller pays for one creation only.
void *ServeFirst(void *pArgument) {
    Workers *p = (Workers *)pArgument;
    for (int32_t i = 1; i < p->lCount && !IsEnding(p); i++)
        p->bCreated[i] = CreateWorkerThread(&p->hThread[i], Serve, p);
    return Serve(p);
}

// A null body ends the workers.
void Post(Workers *p, TaskBody pBody, void *pTask) {
    pthread_mutex_lock(&p->stMutex);
    p->pBody = pBody;
    p->pTask = pTask;
    p->bOpen = pBody != nullptr;
    p->bEnding = pBody == nullptr;
    Store(&p->lPosted, p->lPosted + 1);
    pthread_cond_broadcast(&p->stChanged);
    pthread_mutex_unlock(&p->stMutex);
}

// Shuts the latest task and waits for the workers inside it.
void Close(Workers *p) {
    pthread_mutex_lock(&p->stMutex);
    p->bOpen = false;
    pthread_mutex_unlock(&p->stMutex);
    SpinWhile(&p->lInside, 1, kMostWorkers);
    pthread_mutex_lock(&p->stMutex);
    while (p->lInside > 0) pthread_cond_wait(&p->stIdle, &p->stMutex);
    pthread_mutex_unlock(&p->stMutex);
}

bool InitLocks(Workers *p) {
    if (pthread_mutex_init(&p->stMutex, nullptr)) return false;
    if (!pthread_cond_init(&p->stChanged, nullptr)) {
        if (!pthread_cond_init(&p->stIdle, nullptr)) return true;
        pthread_cond_destroy(&p->stChanged);
    }
    pthread_mutex_destroy(&p->stMutex);
    return false;
}

} // namespace

Workers *CreateWorkers() {
    Workers *p = (Workers *)AllocFilled((uint32_t)sizeof(Workers), 0);
    if (p && InitLocks(p)) return p;
    MMemFree(nullptr, p);
    return nullptr;
}

void DestroyWorkers(Workers *p) {
    if (!p) return;
    pthread_cond_destroy(&p->stIdle);
    pthread_cond_destroy(&p->stChanged);
    pthread_mutex_destroy(&p->stMutex);
    MMemFree(nullptr, p);
}

void StartWorkers(Workers *p, int32_t lCount) {
    p->lCount = lCount < kMostWorkers ? lCount : kMostWorkers;
    if (lCount < 1) return;
    p->lPosted = 0;
    p->bOpen = p->bEntered = p->bEnding = false;
    for (int32_t i = 0; i < kMostWorkers; i++) p->bCreated[i] = false;
    p->llWallBegin = Nanoseconds(CLOCK_MONOTONIC);
    p->llCpuBegin = Nanoseconds(CLOCK_THREAD_CPUTIME_ID);
    p->bCreated[0] = CreateWorkerThread(&p->hThread[0], ServeFirst, p);
}

void EndWorkers(Workers *p) {
    if (p->lCount > 0 && !p->bEnding) Post(p, nullptr, nullptr);
}

bool JoinWorkers(Workers *p) {
    if (p->lCount < 1) return true;
    EndWorkers(p);
    for (int32_t i = 0; i < kMostWorkers && p->bCreated[i]; i++) pthread_join(p->hThread[i], nullptr);
    p->lCount = 0;
    const int64_t llWall = Nanoseconds(CLOCK_MONOTONIC) - p->llWallBegin;
    const int64_t llCpu = Nanoseconds(CLOCK_THREAD_CPUTIME_ID) - p->llCpuBegin;
    return p->bEntered && 2 * llCpu > llWall;
}

void RunParallel(Workers *p, TaskBody pBody, void *pTask) {
    if (p->lCount < 1) {
        pBody(pTask);
        return;
    }
    Post(p, pBody, pTask);
    pBody(pTask);
    Close(p);
}

// A sleeper counts itself before it looks at the progress, and a report comes before the look at that
// count: one of the two threads always sees the other. The mutex keeps a report out between look and
// sleep.
void ReportProgress(Workers *p, int32_t *pProgress, int32_t lValue) {
    Store(pProgress, lValue);
    if (Load(&p->lSleepers) == 0) return;
    pthread_mutex_lock(&p->stMutex);
    pthread_cond_broadcast(&p->stChanged);
    pthread_mutex_unlock(&p->stMutex);
}

int32_t AwaitProgress(Workers *p, const int32_t *pProgress, int32_t lAtLeast) {
    SpinWhile(pProgress, INT32_MIN, lAtLeast - 1);
    const int32_t lReached = Load(pProgress);
    if (lReached >= lAtLeast) return lReached;
    pthread_mutex_lock(&p->stMutex);
    Store(&p->lSleepers, p->lSleepers + 1);
    while (Load(pProgress) < lAtLeast) pthread_cond_wait(&p->stChanged, &p->stMutex);
    Store(&p->lSleepers, p->lSleepers - 1);
    pthread_mutex_unlock(&p->stMutex);
    return Load(pProgress);
}

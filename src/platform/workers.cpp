// SPDX-License-Identifier: BSD-2-Clause
#include "platform/workers.h"

#include <time.h>

#include "platform/buffers.h"
#include "platform/cpu.h"
#include "platform/thread.h"

// The mutex guards the words from lPosted on. Spinning threads also read those marked (atomic) without
// it.
struct Workers {
    pthread_mutex_t stMutex;
    pthread_cond_t stChanged; // a new task, the end, or progress
    pthread_cond_t stIdle;    // lInside fell to 0
    int32_t lCount;           // workers wanted, 0 outside of a call
    // The caller creates the first thread, the first thread creates the others.
    bool bCreated[kMostWorkers];
    pthread_t hThread[kMostWorkers];
    int64_t llWallBegin, llCpuBegin; // the caller's clocks at StartWorkers, nanoseconds
    int32_t lCancelState;            // the caller's, before StartWorkers

    int32_t lPosted;   // (atomic) number of the latest task; the end counts as one
    int32_t lInside;   // (atomic) workers inside the task body
    int32_t lSleepers; // (atomic) threads asleep in AwaitProgress
    TaskBody pBody;    // of the latest task
    void *pTask;
    bool bOpen;    // workers may still enter it
    bool bEntered; // a worker has entered a task of this call
    bool bEnding;  // only the caller writes it
};

namespace {

// Waking a thread takes tens of microseconds, and most waits are no longer than that.
const int64_t kSpinNanoseconds = 100000;

int64_t Nanoseconds(clockid_t lClock) {
    timespec stTime;
    clock_gettime(lClock, &stTime);
    return (int64_t)stTime.tv_sec * 1000000000 + stTime.tv_nsec;
}

int32_t Load(const int32_t *pWord) { return __atomic_load_n(pWord, __ATOMIC_SEQ_CST); }
void Store(int32_t *pWord, int32_t lValue) { __atomic_store_n(pWord, lValue, __ATOMIC_SEQ_CST); }

// Spins for at most kSpinNanoseconds, while the word is in lFirst .. lLast.
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

// Called with the mutex held; releases it while the body runs.
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

// Creating a thread is slow: the first worker creates the others while the caller goes on.
void *ServeFirst(void *pArgument) {
    Workers *p = (Workers *)pArgument;
    for (int32_t i = 1; i < p->lCount && !IsEnding(p); i++) {
        p->bCreated[i] = CreateWorkerThread(&p->hThread[i], Serve, p);
        if (!p->bCreated[i]) break; // JoinWorkers stops at the first gap
    }
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

// Lets no more workers enter the task and waits for those inside.
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
    p->lCancelState = HoldCancellation();
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

namespace {

bool Join(Workers *p) {
    if (p->lCount < 1) return true;
    EndWorkers(p);
    for (int32_t i = 0; i < kMostWorkers && p->bCreated[i]; i++) pthread_join(p->hThread[i], nullptr);
    p->lCount = 0;
    const int64_t llWall = Nanoseconds(CLOCK_MONOTONIC) - p->llWallBegin;
    const int64_t llCpu = Nanoseconds(CLOCK_THREAD_CPUTIME_ID) - p->llCpuBegin;
    return p->bEntered && 2 * llCpu > llWall;
}

} // namespace

bool JoinWorkers(Workers *p) {
    const bool bInTime = Join(p);
    RestoreCancellation(p->lCancelState);
    return bInTime;
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

// A sleeper counts itself, then reads the progress. A report stores the progress, then reads the count.
// So one of the two sees the other. The mutex keeps the broadcast out between the sleeper's look and
// its wait.
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

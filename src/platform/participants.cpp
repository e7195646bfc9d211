// SPDX-License-Identifier: BSD-2-Clause
#include "platform/participants.h"

#include <sched.h>

#include "platform/fixed.h"
#include "quorvel/threads.h"

namespace {

// A crew's state: the number of its latest job above, and below
const int32_t kAtWork = 7; // threads at work, in whichever job
const int32_t kOpen = 8;   // the latest job may still be joined
const int32_t kLast = 16;  // no other job will follow
const int32_t kJob = 32;

// Some 100 microseconds. A thread comes to life a little before the coarse shift of 1080p is known, and
// one that has gone to sleep takes as long as that to wake.
const int32_t kLooks = 4096;

int64_t lBytesOfOne = kBytesOfOne;
int32_t lGivenCores = 0; // 0: those that there are

// That the calling thread may run on; as many as matter where that cannot be told.
int32_t Cores() {
    const int32_t lGiven = __atomic_load_n(&lGivenCores, __ATOMIC_RELAXED);
    if (lGiven > 0) return lGiven;
#ifdef CPU_COUNT
    cpu_set_t st;
    if (!sched_getaffinity(0, sizeof(st), &st)) return CPU_COUNT(&st);
#endif
    return 4;
}

// Participants beside the caller.
int32_t CountThreads(int64_t lBytes) {
    const int64_t lEach = __atomic_load_n(&lBytesOfOne, __ATOMIC_RELAXED);
    if (lBytes < 2 * lEach) return 0;
    const int64_t lMost = lBytes < 4 * lEach ? lBytes / lEach : 4;
    return Min32(Cores(), (int32_t)lMost) - 1;
}

int32_t StateOf(const Crew *pCrew) { return __atomic_load_n(&pCrew->lState, __ATOMIC_SEQ_CST); }

struct Awaited {
    const Crew *pCrew;
    int32_t lServed; // jobs that the thread knows
};

bool IsCalled(const void *pWhat) {
    const Awaited *pAwaited = (const Awaited *)pWhat;
    const int32_t lState = StateOf(pAwaited->pCrew);
    return lState / kJob != pAwaited->lServed || (lState & kLast);
}

bool IsIdle(const void *pWhat) { return !(StateOf((const Crew *)pWhat) & kAtWork); }

// Counts the calling thread among those at work, unless it comes too late; the state it found.
int32_t Join(Crew *pCrew, bool *pJoined) {
    int32_t lState = StateOf(pCrew);
    *pJoined = false;
    while ((lState & kOpen) && !*pJoined)
        *pJoined = __atomic_compare_exchange_n(&pCrew->lState, &lState, lState + 1, false,
                                               __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
    return lState;
}

void Leave(Crew *pCrew) {
    if ((__atomic_sub_fetch(&pCrew->lState, 1, __ATOMIC_SEQ_CST) & kAtWork) == 0)
        WakeSleepers(&pCrew->stGate);
}

// A thread's life.
void *Serve(void *pArgument) {
    Crew *pCrew = (Crew *)pArgument;
    Awaited st = {pCrew, 0};
    for (;;) {
        WaitUntil(&pCrew->stGate, IsCalled, &st, kLooks);
        if (StateOf(pCrew) / kJob == st.lServed) return nullptr; // dismissed
        bool bJoined;
        const int32_t lState = Join(pCrew, &bJoined);
        st.lServed = lState / kJob;
        if (bJoined) {
            __atomic_store_n(&pCrew->bServed, 1, __ATOMIC_RELAXED);
            pCrew->stJob[st.lServed - 1].pBody(pCrew->stJob[st.lServed - 1].pJob);
            Leave(pCrew);
        }
        if (lState & kLast) return nullptr;
    }
}

void StartOthers(Crew *pCrew) {
    for (int32_t i = 1; i < pCrew->lThreads; i++) pCrew->hThread[i] = zekMThreadCreate(Serve, pCrew);
}

// The first thread starts the others while the caller is at work already. The caller joins it first,
// and so sees their handles.
void *ServeFirst(void *pArgument) {
    StartOthers((Crew *)pArgument);
    return Serve(pArgument);
}

// Opens the next job. Only the caller changes what is above the count of threads at work.
bool OpenJob(Crew *pCrew, JobBody pBody, void *pJob, bool bLast) {
    const int32_t lNumber = StateOf(pCrew) / kJob;
    if (pCrew->lThreads < 1 || lNumber == kCrewJobs) return false;
    pCrew->stJob[lNumber] = {pBody, pJob};
    const int32_t lFlags = (lNumber + 1) * kJob + kOpen + (bLast ? kLast : 0);
    int32_t lState = StateOf(pCrew);
    while (!__atomic_compare_exchange_n(&pCrew->lState, &lState, lFlags + (lState & kAtWork), false,
                                        __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST)) {
    }
    WakeSleepers(&pCrew->stGate);
    return true;
}

void PrepareCrew(Crew *pCrew, int64_t lBytes) {
    *pCrew = {};
    pCrew->lThreads = CountThreads(lBytes);
    if (pCrew->lThreads > 0 && !MakeGate(&pCrew->stGate)) pCrew->lThreads = 0;
}

void StartThreads(Crew *pCrew) {
    if (pCrew->lThreads < 1) return;
    pCrew->hThread[0] = zekMThreadCreate(ServeFirst, pCrew);
    if (!pCrew->hThread[0]) StartOthers(pCrew);
}

} // namespace

void SetShares(int64_t lBytes, int32_t lCores) {
    __atomic_store_n(&lBytesOfOne, lBytes, __ATOMIC_RELAXED);
    __atomic_store_n(&lGivenCores, lCores, __ATOMIC_RELAXED);
}

void BeginCrew(Crew *pCrew, int64_t lBytes) {
    PrepareCrew(pCrew, lBytes);
    StartThreads(pCrew);
}

bool EndCrew(Crew *pCrew) {
    if (pCrew->lThreads < 1) return true;
    __atomic_or_fetch(&pCrew->lState, kLast, __ATOMIC_SEQ_CST);
    WakeSleepers(&pCrew->stGate);
    for (int32_t i = 0; i < 3; i++) zekMThreadDestory(pCrew->hThread[i]);
    DropGate(&pCrew->stGate);
    return pCrew->bServed || StateOf(pCrew) < kJob ||
           __atomic_load_n(&lGivenCores, __ATOMIC_RELAXED) > 0;
}

bool CallCrew(Crew *pCrew, JobBody pBody, void *pJob) {
    return pCrew && OpenJob(pCrew, pBody, pJob, false);
}

void ShareJob(Crew *pCrew, JobBody pBody, void *pJob, int64_t lBytes, bool bLast) {
    Crew stOwn = {};
    Crew *pThose = pCrew ? pCrew : &stOwn;
    if (!pCrew) PrepareCrew(&stOwn, lBytes);
    const bool bOpen = OpenJob(pThose, pBody, pJob, bLast || !pCrew);
    if (!pCrew) StartThreads(&stOwn);
    pBody(pJob);
    if (bOpen) {
        __atomic_and_fetch(&pThose->lState, ~kOpen, __ATOMIC_SEQ_CST);
        WaitUntil(&pThose->stGate, IsIdle, pThose, kLooks);
    }
    if (!pCrew) EndCrew(&stOwn);
}

int32_t TakeWork(void *pEvent, int32_t *pNext, int32_t lEnd, int32_t lChunk) {
    zekMEventWait(pEvent, -1);
    const int32_t lFirst = *pNext;
    if (lFirst < lEnd) *pNext = lEnd - lFirst > lChunk ? lFirst + lChunk : lEnd;
    zekMEventSignal(pEvent);
    return lFirst;
}

// SPDX-License-Identifier: BSD-2-Clause
#include "platform/participants.h"

#include <sched.h>

#include "platform/fixed.h"
#include "quorvel/threads.h"

namespace {

int64_t lBytesOfOne = kBytesOfOne;
int32_t lGivenCores = 0; // 0: those that there are

struct Crew {
    void *(*pBody)(void *);
    void *pJob;
    uintptr_t hThread[3];
    int32_t lThreads;
};

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

void StartOthers(Crew *pCrew) {
    for (int32_t i = 1; i < pCrew->lThreads; i++)
        pCrew->hThread[i] = zekMThreadCreate(pCrew->pBody, pCrew->pJob);
}

// The first thread starts the others while the caller is at work already. The caller joins it first,
// and so sees their handles.
void *RunFirst(void *pArgument) {
    Crew *pCrew = (Crew *)pArgument;
    StartOthers(pCrew);
    return pCrew->pBody(pCrew->pJob);
}

} // namespace

void SetShares(int64_t lBytes, int32_t lCores) {
    __atomic_store_n(&lBytesOfOne, lBytes, __ATOMIC_RELAXED);
    __atomic_store_n(&lGivenCores, lCores, __ATOMIC_RELAXED);
}

void RunParticipants(void *(*pBody)(void *), void *pJob, int64_t lBytes) {
    Crew st = {pBody, pJob, {0, 0, 0}, CountThreads(lBytes)};
    if (st.lThreads > 0) st.hThread[0] = zekMThreadCreate(RunFirst, &st);
    if (!st.hThread[0]) StartOthers(&st);
    pBody(pJob);
    for (int32_t i = 0; i < 3; i++) zekMThreadDestory(st.hThread[i]);
}

int32_t TakeWork(void *pEvent, int32_t *pNext, int32_t lEnd, int32_t lChunk) {
    zekMEventWait(pEvent, -1);
    const int32_t lFirst = *pNext;
    if (lFirst < lEnd) *pNext = lEnd - lFirst > lChunk ? lFirst + lChunk : lEnd;
    zekMEventSignal(pEvent);
    return lFirst;
}

#include "platform/participants.h"

#include "quorvel/threads.h"

void RunParticipants(void *(*pBody)(void *), void *pJob) {
    uintptr_t hThread[3];
    for (uintptr_t &h : hThread) h = zekMThreadCreate(pBody, pJob);
    pBody(pJob);
    for (uintptr_t h : hThread) zekMThreadDestory(h);
}

int32_t TakeWork(void *pEvent, int32_t *pNext, int32_t lEnd, int32_t lChunk) {
    zekMEventWait(pEvent, -1);
    const int32_t lFirst = *pNext;
    if (lFirst < lEnd) *pNext = lEnd - lFirst > lChunk ? lFirst + lChunk : lEnd;
    zekMEventSignal(pEvent);
    return lFirst;
}

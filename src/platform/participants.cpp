// SPDX-License-Identifier: BSD-2-Clause
#include "platform/participants.h"

#include "quorvel/threads.h"

namespace {

const int64_t kBytesOfOne = 131072; // about what a thread's creation costs, in work on a plane

} // namespace

void RunParticipants(void *(*pBody)(void *), void *pJob, int64_t lBytes) {
    uintptr_t hThread[3] = {0, 0, 0};
    for (int64_t i = 0; i < 3 && lBytes > (i + 1) * kBytesOfOne; i++)
        hThread[i] = zekMThreadCreate(pBody, pJob);
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

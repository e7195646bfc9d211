// SPDX-License-Identifier: BSD-2-Clause
#include <pthread.h>
#include <sched.h>

#include "quorvel/memory.h"
#include "quorvel/threads.h"

namespace {

struct Event {
    pthread_mutex_t stMutex;
    pthread_cond_t stCondition;
    int32_t bSignaled;
    void *pAllocation; // start of the allocation, before alignment
};

// A pool aligns to 4 bytes only, so the record is aligned inside a larger allocation.
const uint32_t kAllocation = (uint32_t)(sizeof(Event) + alignof(Event) - 1);

} // namespace

void *zekMEventCreate(void *pHandle) {
    void *pAllocation = MMemAlloc(pHandle, kAllocation);
    if (!pAllocation) return nullptr;
    const uintptr_t lMask = alignof(Event) - 1;
    Event *pEvent = (Event *)(((uintptr_t)pAllocation + lMask) & ~lMask);
    if (pthread_mutex_init(&pEvent->stMutex, nullptr)) {
        MMemFree(pHandle, pAllocation);
        return nullptr;
    }
    if (pthread_cond_init(&pEvent->stCondition, nullptr)) {
        pthread_mutex_destroy(&pEvent->stMutex);
        MMemFree(pHandle, pAllocation);
        return nullptr;
    }
    pEvent->bSignaled = 0;
    pEvent->pAllocation = pAllocation;
    return pEvent;
}

int32_t zekMEventDestroy(void *pHandle, void *pArgument) {
    Event *pEvent = (Event *)pArgument;
    if (!pEvent) return QEL_EVENT_NULL;
    pthread_mutex_destroy(&pEvent->stMutex);
    pthread_cond_destroy(&pEvent->stCondition);
    MMemFree(pHandle, pEvent->pAllocation);
    return QEL_EVENT_OK;
}

int32_t zekMEventWait(void *pArgument, int32_t lTimeout) {
    Event *pEvent = (Event *)pArgument;
    if (!pEvent) return QEL_EVENT_NULL;
    int lResult = pthread_mutex_lock(&pEvent->stMutex);
    if (lResult) return QEL_EVENT_FAILED;
    while (lTimeout == -1 && !pEvent->bSignaled) {
        lResult = pthread_cond_wait(&pEvent->stCondition, &pEvent->stMutex);
        if (lResult) { // a wait that failed may still hold the mutex, which the signaller needs
            pthread_mutex_unlock(&pEvent->stMutex);
            sched_yield();
            pthread_mutex_lock(&pEvent->stMutex);
        }
    }
    pEvent->bSignaled = 0;
    if (pthread_mutex_unlock(&pEvent->stMutex)) return QEL_EVENT_FAILED;
    return lResult ? QEL_EVENT_FAILED : QEL_EVENT_OK;
}

int32_t zekMEventSignal(void *pArgument) {
    Event *pEvent = (Event *)pArgument;
    if (!pEvent) return QEL_EVENT_NULL;
    const int lLocked = pthread_mutex_lock(&pEvent->stMutex);
    pEvent->bSignaled = 1; // also without the lock: otherwise a waiter might wait for ever
    const int lResult = pthread_cond_signal(&pEvent->stCondition);
    if (!lLocked) pthread_mutex_unlock(&pEvent->stMutex);
    return lLocked || lResult ? QEL_EVENT_FAILED : QEL_EVENT_OK;
}

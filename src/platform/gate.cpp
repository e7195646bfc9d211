// SPDX-License-Identifier: BSD-2-Clause
#include "platform/gate.h"

#include <sched.h>

#include "platform/cpu.h"

bool MakeGate(Gate *pGate) {
    pGate->lSleepers = 0;
    if (pthread_mutex_init(&pGate->stMutex, nullptr)) return false;
    if (!pthread_cond_init(&pGate->stCondition, nullptr)) return true;
    pthread_mutex_destroy(&pGate->stMutex);
    return false;
}

void DropGate(Gate *pGate) {
    pthread_cond_destroy(&pGate->stCondition);
    pthread_mutex_destroy(&pGate->stMutex);
}

bool SpinUntil(GateTest pTest, const void *pWhat, int32_t lLooks) {
    for (int32_t i = 0; i < lLooks; i++) {
        if (pTest(pWhat)) return true;
            // Lets the other thread of the core, or of the pair, go first.
#ifdef QEL_X86
        __builtin_ia32_pause();
#elif defined(QEL_NEON)
        __asm__ volatile("isb"); // a yield takes no time on most cores
#endif
    }
    return false;
}

// The sleeper counts itself before it looks, and who writes does so before it looks at the count: one
// of the two always sees the other.
void WaitUntil(Gate *pGate, GateTest pTest, const void *pWhat, int32_t lLooks) {
    if (SpinUntil(pTest, pWhat, lLooks)) return;
    __atomic_add_fetch(&pGate->lSleepers, 1, __ATOMIC_SEQ_CST);
    while (!pTest(pWhat)) {
        bool bSlept = false;
        if (!pthread_mutex_lock(&pGate->stMutex)) {
            bSlept = pTest(pWhat) || !pthread_cond_wait(&pGate->stCondition, &pGate->stMutex);
            pthread_mutex_unlock(&pGate->stMutex);
        }
        if (!bSlept) sched_yield(); // no sleep to be had: give way instead
    }
    __atomic_sub_fetch(&pGate->lSleepers, 1, __ATOMIC_SEQ_CST);
}

void WakeSleepers(Gate *pGate) {
    if (!__atomic_load_n(&pGate->lSleepers, __ATOMIC_SEQ_CST)) return;
    const bool bLocked = !pthread_mutex_lock(&pGate->stMutex);
    pthread_cond_broadcast(&pGate->stCondition);
    if (bLocked) pthread_mutex_unlock(&pGate->stMutex);
}

// SPDX-License-Identifier: BSD-2-Clause
// Where a thread waits for what another one writes: by looking for some microseconds, then asleep.
#pragma once

#include <pthread.h>
#include <stdint.h>

struct Gate {
    pthread_mutex_t stMutex; // of the sleepers
    pthread_cond_t stCondition;
    int32_t lSleepers;
};

// What is waited for, read with sequential consistency.
typedef bool (*GateTest)(const void *pWhat);

bool MakeGate(Gate *pGate);
void DropGate(Gate *pGate);

// True when it came about within so many looks.
bool SpinUntil(GateTest pTest, const void *pWhat, int32_t lLooks);

// Looks, and then sleeps for as long as it takes.
void WaitUntil(Gate *pGate, GateTest pTest, const void *pWhat, int32_t lLooks);

// For who has written, with sequential consistency, what may be waited for.
void WakeSleepers(Gate *pGate);

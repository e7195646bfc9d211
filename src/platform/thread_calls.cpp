// SPDX-License-Identifier: BSD-2-Clause
// Exported functions that frame calls do not use.
#include <pthread.h>

#include "quorvel/threads.h"

static_assert(sizeof(pthread_t) <= sizeof(uintptr_t), "a handle holds the thread identifier");

uintptr_t zekMThreadCreate(void *(*pFunction)(void *), void *pArgument) {
    pthread_t hThread;
    if (!pFunction || pthread_create(&hThread, nullptr, pFunction, pArgument)) return 0;
    return (uintptr_t)hThread;
}

int32_t zekMThreadExit(uintptr_t hThread) {
    if (hThread) pthread_join((pthread_t)hThread, nullptr);
    return 0;
}

int32_t zekMThreadDestory(uintptr_t hThread) { return zekMThreadExit(hThread); }

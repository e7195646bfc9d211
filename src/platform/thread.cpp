// SPDX-License-Identifier: BSD-2-Clause
#include "platform/thread.h"

#include <signal.h>
#include <stddef.h>
#ifdef __linux__
#include <sys/prctl.h>
#endif

namespace {

// Tasks need less than 8 KB. The rest is for thread-local data and the signal frames of fault
// handlers.
const size_t kStackBytes = 131072;

// The mask of a new thread is that of its creator.
void BlockSignals(sigset_t *pBefore) {
    static const int kFaults[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS};
    sigset_t stMask;
    sigfillset(&stMask);
    for (int lSignal : kFaults) sigdelset(&stMask, lSignal);
    pthread_sigmask(SIG_SETMASK, &stMask, pBefore);
}

} // namespace

bool CreateWorkerThread(pthread_t *pThread, void *(*pBody)(void *), void *pArgument) {
    pthread_attr_t stAttributes;
    if (pthread_attr_init(&stAttributes)) return false;
    sigset_t stBefore;
    BlockSignals(&stBefore);
    const bool bCreated = !pthread_attr_setstacksize(&stAttributes, kStackBytes) &&
                          !pthread_create(pThread, &stAttributes, pBody, pArgument);
    pthread_sigmask(SIG_SETMASK, &stBefore, nullptr);
    pthread_attr_destroy(&stAttributes);
    return bCreated;
}

void NameWorkerThread() {
#ifdef __linux__
    prctl(PR_SET_NAME, "quorvel", 0, 0, 0);
#endif
}

// Android has no cancellation.
int32_t HoldCancellation() {
    int lBefore = 0;
#ifndef __ANDROID__
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &lBefore);
#endif
    return lBefore;
}

void RestoreCancellation(int32_t lBefore) {
#ifndef __ANDROID__
    pthread_setcancelstate(lBefore, nullptr);
#else
    (void)lBefore;
#endif
}

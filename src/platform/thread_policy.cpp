// SPDX-License-Identifier: BSD-2-Clause
#include "platform/thread_policy.h"

#include <sched.h>

#include "platform/fixed.h"

namespace {

const int32_t kMostThreads = 4;
const int32_t kLongestPause = 1024;

int32_t Cores(const ThreadPolicy *pPolicy) {
    if (pPolicy->lCores > 0) return pPolicy->lCores;
#if defined(__EMSCRIPTEN__) && !defined(__EMSCRIPTEN_PTHREADS__)
    return 1; // there are no threads
#elif defined(__linux__)
    cpu_set_t stCores;
    if (!sched_getaffinity(0, sizeof(stCores), &stCores)) return CPU_COUNT(&stCores);
#endif
    return kMostThreads;
}

} // namespace

void InitThreadPolicy(ThreadPolicy *pPolicy) { *pPolicy = {kMostThreads, 491520, 0, 8, 8, 0}; }

int32_t WorkersFor(const ThreadPolicy *pPolicy, int64_t lBytes) {
    const int64_t lShares = lBytes / Max32(pPolicy->lBytesPerThread, 1);
    const int32_t lThreads = lShares < pPolicy->lMostThreads ? (int32_t)lShares : pPolicy->lMostThreads;
    return lThreads < 2 ? 0 : Min32(lThreads, Cores(pPolicy)) - 1;
}

int32_t WorkersForFrame(ThreadPolicy *pPolicy, int64_t lBytes) {
    if (pPolicy->lPauseLeft > 0) {
        pPolicy->lPauseLeft--;
        return 0;
    }
    return WorkersFor(pPolicy, lBytes);
}

void NoteFrame(ThreadPolicy *pPolicy, bool bLate) {
    if (!bLate) {
        pPolicy->lNextPause = pPolicy->lFirstPause;
        return;
    }
    pPolicy->lPauseLeft = pPolicy->lNextPause;
    pPolicy->lNextPause = Min32(2 * pPolicy->lNextPause, kLongestPause);
}

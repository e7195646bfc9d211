// SPDX-License-Identifier: BSD-2-Clause
// Keeps the calling thread on some of its cores while it lives. Threads that are created meanwhile
// inherit them.
#pragma once

#include <sched.h>

class OnCores {
  public:
    explicit OnCores(int count) { // 0: all
        sched_getaffinity(0, sizeof(mBefore), &mBefore);
        if (count == 0) return;
        cpu_set_t some;
        CPU_ZERO(&some);
        for (int i = 0, found = 0; i < CPU_SETSIZE && found < count; i++)
            if (CPU_ISSET(i, &mBefore)) {
                CPU_SET(i, &some);
                found++;
            }
        sched_setaffinity(0, sizeof(some), &some);
    }
    ~OnCores() { sched_setaffinity(0, sizeof(mBefore), &mBefore); }

  private:
    cpu_set_t mBefore;
};

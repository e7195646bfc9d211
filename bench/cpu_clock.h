// SPDX-License-Identifier: BSD-2-Clause
// CPU time of the whole process, ended threads included.
#pragma once

#include <stdint.h>
#include <time.h>

inline int64_t CpuNanoseconds() {
    timespec time;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return (int64_t)time.tv_sec * 1000000000 + time.tv_nsec;
}

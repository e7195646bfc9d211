// SPDX-License-Identifier: BSD-2-Clause
// CPU time of the whole process, ended threads included, and the time of day.
#pragma once

#include <stdint.h>
#include <time.h>

inline int64_t Nanoseconds(clockid_t clock) {
    timespec time;
    clock_gettime(clock, &time);
    return (int64_t)time.tv_sec * 1000000000 + time.tv_nsec;
}

inline int64_t CpuNanoseconds() { return Nanoseconds(CLOCK_PROCESS_CPUTIME_ID); }
inline int64_t WallNanoseconds() { return Nanoseconds(CLOCK_MONOTONIC); }

/* SPDX-License-Identifier: BSD-2-Clause */
#pragma once

typedef long time_t;
typedef int clockid_t;
struct timespec {
    time_t tv_sec;
    long tv_nsec;
};
#define CLOCK_REALTIME 0
#define CLOCK_MONOTONIC 1
#define CLOCK_PROCESS_CPUTIME_ID 2
#define CLOCK_THREAD_CPUTIME_ID 3

#ifdef __cplusplus
extern "C"
#endif
int clock_gettime(clockid_t, struct timespec *);

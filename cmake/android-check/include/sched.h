/* SPDX-License-Identifier: BSD-2-Clause */
#pragma once

#include <stddef.h>

typedef int pid_t;

#ifdef __cplusplus
extern "C" {
#endif
int sched_yield(void);
#ifdef _GNU_SOURCE
#ifdef __LP64__
#define CPU_SETSIZE 1024
#else
#define CPU_SETSIZE 32
#endif
typedef struct { unsigned long bits[CPU_SETSIZE / (8 * sizeof(unsigned long))]; } cpu_set_t;
int sched_getaffinity(pid_t, size_t, cpu_set_t *);
int __sched_cpucount(size_t, const cpu_set_t *);
#define CPU_COUNT(set) __sched_cpucount(sizeof(cpu_set_t), set)
#endif
#ifdef __cplusplus
}
#endif

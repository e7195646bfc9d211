/* SPDX-License-Identifier: BSD-2-Clause */
/* What the library uses of Android's threads, declared for check builds without the NDK. As there, there is no
 * cancellation. */
#pragma once

#include <sched.h>
#include <signal.h>
#include <stddef.h>
#include <stdint.h>

typedef long pthread_t;
typedef long pthread_mutexattr_t;
typedef long pthread_condattr_t;
typedef int pthread_once_t;
#ifdef __LP64__
typedef struct { int32_t words[14]; } pthread_attr_t;
typedef struct { int32_t words[10]; } pthread_mutex_t;
typedef struct { int32_t words[12]; } pthread_cond_t;
#else
typedef struct { int32_t words[6]; } pthread_attr_t;
typedef struct { int32_t words[1]; } pthread_mutex_t;
typedef struct { int32_t words[1]; } pthread_cond_t;
#endif
#define PTHREAD_MUTEX_INITIALIZER {{0}}
#define PTHREAD_COND_INITIALIZER {{0}}
#define PTHREAD_ONCE_INIT 0
#define PTHREAD_CREATE_DETACHED 1
#define PTHREAD_CREATE_JOINABLE 0

#ifdef __cplusplus
extern "C" {
#endif
int pthread_attr_init(pthread_attr_t *);
int pthread_attr_destroy(pthread_attr_t *);
int pthread_attr_setdetachstate(pthread_attr_t *, int);
int pthread_attr_setstacksize(pthread_attr_t *, size_t);
int pthread_create(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *);
int pthread_join(pthread_t, void **);
pthread_t pthread_self(void);
int pthread_setname_np(pthread_t, const char *);
int pthread_once(pthread_once_t *, void (*)(void));
int pthread_mutex_init(pthread_mutex_t *, const pthread_mutexattr_t *);
int pthread_mutex_destroy(pthread_mutex_t *);
int pthread_mutex_lock(pthread_mutex_t *);
int pthread_mutex_unlock(pthread_mutex_t *);
int pthread_cond_init(pthread_cond_t *, const pthread_condattr_t *);
int pthread_cond_destroy(pthread_cond_t *);
int pthread_cond_wait(pthread_cond_t *, pthread_mutex_t *);
int pthread_cond_signal(pthread_cond_t *);
int pthread_cond_broadcast(pthread_cond_t *);
#ifdef __cplusplus
}
#endif

/* SPDX-License-Identifier: BSD-2-Clause */
/* What the library uses of Android's threads, declared for check builds without the NDK. */
#pragma once

typedef long pthread_t;
typedef long pthread_attr_t;
typedef long pthread_mutexattr_t;
typedef long pthread_condattr_t;
typedef long pthread_once_t;
typedef struct { long words[5]; } pthread_mutex_t;
typedef struct { long words[6]; } pthread_cond_t;
#define PTHREAD_MUTEX_INITIALIZER {{0}}
#define PTHREAD_COND_INITIALIZER {{0}}
#define PTHREAD_ONCE_INIT 0

#ifdef __cplusplus
extern "C" {
#endif
int pthread_create(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *);
int pthread_join(pthread_t, void **);
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

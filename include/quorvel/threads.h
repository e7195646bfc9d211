/*
 * Events and threads: the thin layer over POSIX threads that the library's shared jobs use.
 *
 * An event is an auto-reset flag: a wait consumes the signal, and signals do not count (two in a row leave
 * one pending). Signalled once at creation it serves as a lock: wait to take it, signal to give it back.
 */
#ifndef QUORVEL_THREADS_H
#define QUORVEL_THREADS_H

#include <stdint.h>

#include "quorvel/export.h"

/* Results of the event calls. */
#define QEL_EVENT_OK 0
#define QEL_EVENT_FAILED 1 /* a POSIX call failed */
#define QEL_EVENT_NULL 2   /* null event */

/* A new event, not signalled, from the given memory handle (quorvel/memory.h; null: the heap). Null when
 * the allocation fails. */
QEL_API void *zekMEventCreate(void *pHandle);

/* Destroys an event; the handle must be the one it was created with. */
QEL_API int32_t zekMEventDestroy(void *pHandle, void *pEvent);

/* lTimeout -1 blocks until the event is signalled and consumes the signal. Any other value does not
 * wait: a pending signal is consumed, and the result does not tell whether there was one. */
QEL_API int32_t zekMEventWait(void *pEvent, int32_t lTimeout);

/* Signals the event and wakes at most one waiter. */
QEL_API int32_t zekMEventSignal(void *pEvent);

/* Starts a joinable thread that runs pFunction(pArgument). The result is the POSIX thread identifier, or
 * 0 for a null function and when no thread could be started. */
QEL_API uintptr_t zekMThreadCreate(void *(*pFunction)(void *), void *pArgument);

/* Both block until the thread has ended, release it and return 0; a handle of 0 does nothing. */
QEL_API int32_t zekMThreadExit(uintptr_t hThread);
QEL_API int32_t zekMThreadDestory(uintptr_t hThread);

#endif

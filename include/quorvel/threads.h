/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file
 * Events and threads: the thin layer over POSIX threads that the library's shared jobs use.
 *
 * @code
 * void *lock = zekMEventCreate(0);
 * zekMEventSignal(lock);
 * zekMEventWait(lock, -1);
 * shared = shared + 1;
 * zekMEventSignal(lock);
 * zekMEventDestroy(0, lock);
 * @endcode
 *
 * An event is an auto-reset flag: a wait consumes the signal, and signals do not count (two in a row
 * leave one pending). Signalled once at creation it serves as a lock, as above: wait to take it, signal
 * to give it back. Any number of threads may wait and signal at once; what one wrote before its signal
 * the waiter that it wakes can read.
 */
#ifndef QUORVEL_THREADS_H
#define QUORVEL_THREADS_H

#include <stdint.h>

#include "quorvel/export.h"

/**
 * @name Results of the event calls
 * @{ */
#define QEL_EVENT_OK 0     /**< done */
#define QEL_EVENT_FAILED 1 /**< a POSIX call failed */
#define QEL_EVENT_NULL 2   /**< null event */
/** @} */

/**
 * @name Events
 * @{ */

/**
 * Creates an event, not signalled.
 *
 * @param pHandle the memory handle it is allocated from (quorvel/memory.h; null: the heap)
 * @return the event; null when there is no memory for it or for its lock
 */
QEL_API void *zekMEventCreate(void *pHandle);

/**
 * Destroys an event that no thread waits for.
 *
 * @param pHandle the memory handle that it was created with
 * @param pEvent the event
 * @return QEL_EVENT_OK or QEL_EVENT_NULL
 */
QEL_API int32_t zekMEventDestroy(void *pHandle, void *pEvent);

/**
 * Waits for an event, or clears it.
 *
 * @param pEvent the event
 * @param lTimeout -1 blocks until the event is signalled and consumes the signal. Any other value does
 * not wait: a pending signal is consumed, and the result does not tell whether there was one.
 * @return QEL_EVENT_OK, QEL_EVENT_FAILED or QEL_EVENT_NULL
 */
QEL_API int32_t zekMEventWait(void *pEvent, int32_t lTimeout);

/**
 * Signals an event and wakes at most one waiter.
 *
 * @param pEvent the event
 * @return QEL_EVENT_OK, QEL_EVENT_FAILED or QEL_EVENT_NULL
 */
QEL_API int32_t zekMEventSignal(void *pEvent);

/** @} */
/**
 * @name Threads
 * @{ */

/**
 * Starts a joinable thread that runs pFunction(pArgument).
 *
 * @param pFunction what the thread runs; its result is dropped
 * @param pArgument its argument
 * @return the POSIX thread identifier, to be given to one of the two calls below once; 0 for a null
 *     function and when no thread could be started
 */
QEL_API uintptr_t zekMThreadCreate(void *(*pFunction)(void *), void *pArgument);

/**
 * Blocks until a thread has ended, and releases it. The thread is not stopped.
 *
 * @param hThread the thread; 0 does nothing
 * @return 0
 */
QEL_API int32_t zekMThreadExit(uintptr_t hThread);

/**
 * zekMThreadExit by another name.
 *
 * @param hThread the thread; 0 does nothing
 * @return 0
 */
QEL_API int32_t zekMThreadDestory(uintptr_t hThread);

/** @} */

#endif

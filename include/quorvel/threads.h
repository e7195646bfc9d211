/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file
 * Events and threads: a thin layer over POSIX threads.
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
 * An event is a flag that resets itself: a wait consumes the signal, and two signals without a wait
 * between them count as one. An event that is signalled once after its creation is a lock, as
 * above: a wait takes it, a signal gives it back. Any number of threads may wait and signal at
 * once. A thread that a signal wakes sees what the signalling thread wrote before.
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
 * @param lTimeout -1 blocks until the event is signalled, and consumes the signal. Any other value
 *     consumes a pending signal without blocking; the result does not tell whether there was one.
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
 * @param pFunction what the thread runs; its result is ignored
 * @param pArgument its argument
 * @return the POSIX thread identifier, to be passed once to one of the two calls below; 0 for a
 *     null function, or when no thread could be started
 */
QEL_API uintptr_t zekMThreadCreate(void *(*pFunction)(void *), void *pArgument);

/**
 * Waits until a thread has ended, and releases it. The thread is not stopped.
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

/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file
 * Memory: the process heap, or a pool in a buffer of the caller's.
 *
 * @code
 * void *pool = MMemMgrCreate(buffer, (int32_t)sizeof(buffer));
 * void *block = MMemAlloc(pool, 100);
 * MMemFree(pool, block);
 * @endcode
 *
 * The first argument of the calls that allocate is a memory handle: null for the process heap, or a
 * pool from MMemMgrCreate. No call locks: one thread at a time may use a pool, while the heap is as
 * thread-safe as malloc. A null result is the only report of an error. Sizes are bytes.
 *
 * A pool is a chain of adjacent blocks. A block is a header of two 32-bit words (the payload's
 * size, a multiple of 4, and 1 while the block is in use) and the payload, which is aligned to 4
 * bytes. A header with the size 0xFFFFFFFF ends the chain. The handle is the address of the first
 * header.
 */
#ifndef QUORVEL_MEMORY_H
#define QUORVEL_MEMORY_H

#include <stdint.h>

#include "quorvel/export.h"

/**
 * @name Heap or pool
 * @{ */

/**
 * malloc, or MMemAllocStatic.
 *
 * @param pHandle the pool, or null for the heap
 * @param lSize bytes
 * @return the block, not cleared, or null. Release it with MMemFree and the same handle.
 */
QEL_API void *MMemAlloc(void *pHandle, uint32_t lSize);

/**
 * MMemReallocStatic. Blocks of the heap cannot be resized.
 *
 * @param pHandle the pool
 * @param pMem the block
 * @param lSize bytes
 * @return the block, which may have moved; null, with the old block intact, always for a null
 *     handle
 */
QEL_API void *MMemRealloc(void *pHandle, void *pMem, uint32_t lSize);

/**
 * free, or MMemFreeStatic.
 *
 * @param pHandle what the block was allocated with
 * @param pMem the block; null does nothing
 */
QEL_API void MMemFree(void *pHandle, void *pMem);

/** @} */
/**
 * @name Bytes
 * @{ */

/**
 * memset.
 *
 * @param pDst destination
 * @param lValue its low byte is the value
 * @param lCount bytes
 * @return pDst
 */
QEL_API void *MMemSet(void *pDst, int32_t lValue, uint32_t lCount);

/**
 * memcpy.
 *
 * @param pDst destination
 * @param pSrc source, which does not overlap it
 * @param lCount bytes
 * @return pDst
 */
QEL_API void *MMemCpy(void *pDst, const void *pSrc, uint32_t lCount);

/**
 * memmove.
 *
 * @param pDst destination
 * @param pSrc source, which may overlap it
 * @param lCount bytes
 * @return pDst
 */
QEL_API void *MMemMove(void *pDst, const void *pSrc, uint32_t lCount);

/**
 * memcmp.
 *
 * @param pFirst bytes
 * @param pSecond bytes
 * @param lCount their number
 * @return below, equal to or above 0
 */
QEL_API int32_t MMemCmp(const void *pFirst, const void *pSecond, uint32_t lCount);

/** @} */
/**
 * @name Pools
 * @{ */

/**
 * Makes a pool of a buffer.
 *
 * @param pBuffer bytes that stay the caller's; keep them until no block is in use
 * @param lLength their number
 * @return the pool; null for a null buffer, and when the buffer, with both ends rounded inwards to
 *     multiples of 4, has no more than 16 bytes: two headers
 */
QEL_API void *MMemMgrCreate(void *pBuffer, int32_t lLength);

/**
 * Does nothing: a pool holds nothing but its buffer.
 *
 * @param pHandle the pool
 */
QEL_API void MMemMgrDestroy(void *pHandle);

/**
 * Allocates the first free block of a pool that is large enough.
 *
 * The size is rounded up to a multiple of 4. What the block has beyond it becomes a free block when
 * that has a payload of 32 bytes or more; otherwise it stays part of the block.
 *
 * @param pHandle the pool
 * @param lSize bytes, 1..0x7FFFFFFC
 * @return the block, aligned to 4 bytes; null when none is large enough, for another size, or for a
 *     null pool
 */
QEL_API void *MMemAllocStatic(void *pHandle, uint32_t lSize);

/**
 * Releases a block of a pool and joins it with free neighbours.
 *
 * @param pHandle the pool; null does nothing
 * @param pMem the block; null does nothing, and neither does a pointer that is not a block of the
 *     pool
 */
QEL_API void MMemFreeStatic(void *pHandle, void *pMem);

/**
 * Resizes a block of a pool.
 *
 * It shrinks in place, grows in place when the next block is free and large enough, and otherwise
 * moves to a new block.
 *
 * @param pHandle the pool
 * @param pMem the block; null allocates
 * @param lSize bytes, 1..0x7FFFFFFC
 * @return the block; null, with the old block intact, when there is no room, for another size, or
 *     for a pointer that is not a block of the pool
 */
QEL_API void *MMemReallocStatic(void *pHandle, void *pMem, uint32_t lSize);

/**
 * Size of the largest free block.
 *
 * @param pHandle the pool
 * @return bytes of its payload; 0 when every block is in use, 2 for a null pool
 */
QEL_API int32_t GetMaxAllocMemSize(void *pHandle);

/** @} */

#endif

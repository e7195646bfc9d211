/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file
 * Memory services: the process heap, or a pool laid out over a buffer of the caller's own.
 *
 * @code
 * void *pool = MMemMgrCreate(buffer, (int32_t)sizeof(buffer));
 * void *block = MMemAlloc(pool, 100);
 * MMemFree(pool, block);
 * @endcode
 *
 * The first argument of the allocating calls is a memory handle. Null means the process heap; anything
 * else is a pool made by MMemMgrCreate. No call locks: one thread at a time may use a pool, while the
 * heap is as thread-safe as malloc. Nothing is reported beyond a null result. Sizes are bytes.
 *
 * A pool is a chain of blocks laid end to end. A block is a header of two 32-bit words, the payload's
 * size in bytes (a multiple of 4) and 1 while it is in use, followed by the payload, which is aligned
 * to 4 bytes. A header of size 0xFFFFFFFF ends the chain. The handle is the address of the first
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
 * malloc, or the first block of the pool that fits.
 *
 * @param pHandle the pool, or null for the heap
 * @param lSize bytes
 * @return the block, not cleared; null when there is none. Release it with MMemFree and the same
 * handle.
 */
QEL_API void *MMemAlloc(void *pHandle, uint32_t lSize);

/**
 * Resizes a block of a pool, see MMemReallocStatic. The heap is never reallocated.
 *
 * @param pHandle the pool
 * @param pMem the block
 * @param lSize bytes
 * @return the block, perhaps elsewhere; null when it stays as it was, as it always does with a null
 * handle
 */
QEL_API void *MMemRealloc(void *pHandle, void *pMem, uint32_t lSize);

/**
 * free, or the release of a pool's block.
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
 * Lays a pool out over a buffer.
 *
 * @param pBuffer bytes that stay the caller's; release them when the last block is done with
 * @param lLength their number
 * @return the pool; null for a null buffer, and when after rounding the buffer inwards to multiples of
 * 4 there is no room for a header, a payload and the end mark (more than 16 bytes)
 */
QEL_API void *MMemMgrCreate(void *pBuffer, int32_t lLength);

/**
 * Does nothing: a pool holds nothing but its buffer.
 *
 * @param pHandle the pool
 */
QEL_API void MMemMgrDestroy(void *pHandle);

/**
 * Allocates from a pool, first fit.
 *
 * Sizes are rounded up to a multiple of 4; a rest of 32 bytes or more becomes a free block, a smaller
 * one is handed out with the block.
 *
 * @param pHandle the pool
 * @param lSize bytes, 1..0x7FFFFFFC
 * @return the block, aligned to 4 bytes; null when none fits, for another size, or for a null pool
 */
QEL_API void *MMemAllocStatic(void *pHandle, uint32_t lSize);

/**
 * Releases a block of a pool and joins it with free neighbours.
 *
 * @param pHandle the pool; null does nothing
 * @param pMem the block; null and pointers that are no block of the pool do nothing
 */
QEL_API void MMemFreeStatic(void *pHandle, void *pMem);

/**
 * Resizes a block of a pool.
 *
 * Shrinks in place; grows in place when the next block is free and large enough; else moves the content
 * to a new block.
 *
 * @param pHandle the pool
 * @param pMem the block; null allocates
 * @param lSize bytes, 1..0x7FFFFFFC
 * @return the block; null, with the old block intact, when there is no room, for another size, or when
 * the pointer is no block of the pool
 */
QEL_API void *MMemReallocStatic(void *pHandle, void *pMem, uint32_t lSize);

/**
 * How much a single allocation can get.
 *
 * @param pHandle the pool
 * @return size of the largest free payload in bytes: 0 when every block is in use, and 2 for a null
 * pool
 */
QEL_API int32_t GetMaxAllocMemSize(void *pHandle);

/** @} */

#endif

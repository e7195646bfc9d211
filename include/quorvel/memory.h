/*
 * Memory services: the process heap, or a pool laid out over a buffer of the caller's own.
 *
 * The first argument of the allocating calls is a memory handle. Null means the process heap; anything
 * else is a pool made by MMemMgrCreate. No call locks: one thread at a time may use a pool, while the heap
 * is as thread-safe as malloc. Nothing is reported beyond a null result.
 *
 * A pool is a chain of blocks laid end to end. A block is a header of two 32-bit words, the payload's size
 * in bytes (a multiple of 4) and 1 while it is in use, followed by the payload, which is aligned to
 * 4 bytes. A header of size 0xFFFFFFFF ends the chain. The handle is the address of the first header.
 */
#ifndef QUORVEL_MEMORY_H
#define QUORVEL_MEMORY_H

#include <stdint.h>

#include "quorvel/export.h"

/* malloc, or the first block of the pool that fits. Null when there is none. */
QEL_API void *MMemAlloc(void *pHandle, uint32_t lSize);

/* Resizes a block of a pool, see MMemReallocStatic. The heap is never reallocated: with a null handle the
 * result is null and the pointer stays as it was. */
QEL_API void *MMemRealloc(void *pHandle, void *pMem, uint32_t lSize);

/* free, or the release of a pool's block. A null pointer does nothing. */
QEL_API void MMemFree(void *pHandle, void *pMem);

/* memset, memcpy, memmove and memcmp; the first three return the destination. */
QEL_API void *MMemSet(void *pDst, int32_t lValue, uint32_t lCount);
QEL_API void *MMemCpy(void *pDst, const void *pSrc, uint32_t lCount);
QEL_API void *MMemMove(void *pDst, const void *pSrc, uint32_t lCount);
QEL_API int32_t MMemCmp(const void *pFirst, const void *pSecond, uint32_t lCount);

/* Lays a pool out over lLength bytes at pBuffer, which stay the caller's. Null when, after rounding the
 * buffer inwards to multiples of 4, there is no room for a header, a payload and the end mark (more than
 * 16 bytes). MMemMgrDestroy does nothing: release the buffer when its last block is done with. */
QEL_API void *MMemMgrCreate(void *pBuffer, int32_t lLength);
QEL_API void MMemMgrDestroy(void *pHandle);

/* First fit. Sizes are rounded up to a multiple of 4; a rest of 32 bytes or more becomes a free block, a
 * smaller one is handed out with the block. Null for a size of 0 or above 0x7FFFFFFC, or a null pool. */
QEL_API void *MMemAllocStatic(void *pHandle, uint32_t lSize);

/* Releases a block and joins it with free neighbours. A pointer that is no block of the pool, and null,
 * do nothing. */
QEL_API void MMemFreeStatic(void *pHandle, void *pMem);

/* Shrinks in place; grows in place when the next block is free and large enough; else moves the content
 * to a new block. Null, with the old block intact, when there is no room, when the size is 0 or above
 * 0x7FFFFFFC, or when the pointer is no block of the pool. A null pointer allocates. */
QEL_API void *MMemReallocStatic(void *pHandle, void *pMem, uint32_t lSize);

/* Size of the largest free payload in bytes: 0 when every block is in use, and 2 for a null pool. */
QEL_API int32_t GetMaxAllocMemSize(void *pHandle);

#endif

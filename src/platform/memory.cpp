// SPDX-License-Identifier: BSD-2-Clause
#include "quorvel/memory.h"

#include <stdlib.h>
#include <string.h>

#include "platform/fixed.h"

namespace {

struct BlockHeader {
    uint32_t lSize; // payload bytes, a multiple of 4; kEndMark ends the chain
    uint32_t bUsed;
};

const uint32_t kEndMark = 0xFFFFFFFFu;
const uint32_t kMaxRequest = 0x7FFFFFFCu; // sizes are compared as signed words
const int32_t kHeader = (int32_t)sizeof(BlockHeader);
const int32_t kMinSplit = 32;

uint8_t *Payload(BlockHeader *pBlock) { return (uint8_t *)(pBlock + 1); }
BlockHeader *At(void *p) { return (BlockHeader *)p; }
BlockHeader *Next(BlockHeader *pBlock) { return At(Payload(pBlock) + pBlock->lSize); }
bool IsEnd(const BlockHeader *pBlock) { return pBlock->lSize == kEndMark; }
bool IsFree(const BlockHeader *pBlock) { return !IsEnd(pBlock) && !pBlock->bUsed; }
int32_t Size(const BlockHeader *pBlock) { return (int32_t)pBlock->lSize; }

// Ends the block after lRequest bytes and makes the rest a free block of lRest bytes.
void Split(BlockHeader *pBlock, int32_t lRequest, int32_t lRest) {
    BlockHeader *pRest = At(Payload(pBlock) + lRequest);
    pRest->lSize = (uint32_t)lRest;
    pRest->bUsed = 0;
    pBlock->lSize = (uint32_t)lRequest;
}

void Absorb(BlockHeader *pBlock, const BlockHeader *pNext) {
    pBlock->lSize += pNext->lSize + (uint32_t)kHeader;
}

// The block whose payload is pMem, or null; *ppPrevious is the block before it.
BlockHeader *FindBlock(void *pHandle, void *pMem, BlockHeader **ppPrevious) {
    *ppPrevious = nullptr;
    for (BlockHeader *p = At(pHandle); !IsEnd(p); p = Next(p)) {
        if (Payload(p) == (uint8_t *)pMem) return p;
        *ppPrevious = p;
    }
    return nullptr;
}

} // namespace

void *MMemAlloc(void *pHandle, uint32_t lSize) {
    return pHandle ? MMemAllocStatic(pHandle, lSize) : malloc(lSize);
}

void *MMemRealloc(void *pHandle, void *pMem, uint32_t lSize) {
    return pHandle ? MMemReallocStatic(pHandle, pMem, lSize) : nullptr;
}

void MMemFree(void *pHandle, void *pMem) {
    if (pHandle)
        MMemFreeStatic(pHandle, pMem);
    else
        free(pMem);
}

void *MMemSet(void *pDst, int32_t lValue, uint32_t lCount) { return memset(pDst, lValue, lCount); }

void *MMemCpy(void *pDst, const void *pSrc, uint32_t lCount) { return memcpy(pDst, pSrc, lCount); }

void *MMemMove(void *pDst, const void *pSrc, uint32_t lCount) { return memmove(pDst, pSrc, lCount); }

int32_t MMemCmp(const void *pFirst, const void *pSecond, uint32_t lCount) {
    return memcmp(pFirst, pSecond, lCount);
}

void *MMemMgrCreate(void *pBuffer, int32_t lLength) {
    if (!pBuffer) return nullptr;
    const int64_t lSkip = (int64_t)((4 - ((uintptr_t)pBuffer & 3)) & 3);
    const int64_t lUsable = (lLength - lSkip) & ~(int64_t)3;
    if (lUsable - 2 * kHeader <= 0) return nullptr;
    BlockHeader *pFirst = At((uint8_t *)pBuffer + lSkip);
    pFirst->lSize = (uint32_t)(lUsable - 2 * kHeader);
    pFirst->bUsed = 0;
    BlockHeader *pEnd = Next(pFirst);
    pEnd->lSize = kEndMark;
    pEnd->bUsed = 0;
    return pFirst;
}

void MMemMgrDestroy(void *) {}

void *MMemAllocStatic(void *pHandle, uint32_t lSize) {
    if (!pHandle || lSize == 0 || lSize > kMaxRequest) return nullptr;
    const int32_t lRequest = (int32_t)((lSize + 3) & ~3u);
    for (BlockHeader *p = At(pHandle); !IsEnd(p); p = Next(p)) {
        if (p->bUsed || Size(p) < lRequest) continue;
        const int32_t lRest = Size(p) - lRequest - kHeader;
        if (lRest >= kMinSplit) Split(p, lRequest, lRest);
        p->bUsed = 1;
        return Payload(p);
    }
    return nullptr;
}

void MMemFreeStatic(void *pHandle, void *pMem) {
    if (!pHandle || !pMem) return;
    BlockHeader *pPrevious;
    BlockHeader *p = FindBlock(pHandle, pMem, &pPrevious);
    if (!p) return;
    p->bUsed = 0;
    if (IsFree(Next(p))) Absorb(p, Next(p));
    if (pPrevious && IsFree(pPrevious)) Absorb(pPrevious, p);
}

void *MMemReallocStatic(void *pHandle, void *pMem, uint32_t lSize) {
    if (!pHandle || lSize == 0 || lSize > kMaxRequest) return nullptr;
    if (!pMem) return MMemAllocStatic(pHandle, lSize);
    const int32_t lRequest = (int32_t)((lSize + 3) & ~3u);
    BlockHeader *pPrevious;
    BlockHeader *p = FindBlock(pHandle, pMem, &pPrevious);
    if (!p) return nullptr;

    if (Size(p) >= lRequest) {
        const int32_t lRest = Size(p) - kHeader - lRequest;
        if (lRest >
            kMinSplit) { // above, not equal: a shrunk block keeps a rest of 32, unlike a new one
            Split(p, lRequest, lRest);
            BlockHeader *pRest = Next(p);
            if (IsFree(Next(pRest))) Absorb(pRest, Next(pRest));
        }
        return pMem;
    }

    BlockHeader *pNext = Next(p);
    if (IsFree(pNext) && (int64_t)Size(p) + Size(pNext) >= lRequest) {
        const int32_t lRest = (int32_t)((int64_t)Size(p) + Size(pNext) - lRequest);
        Absorb(p, pNext);
        if (lRest >= kMinSplit) Split(p, lRequest, lRest);
        return pMem;
    }

    void *pMoved = MMemAllocStatic(pHandle, (uint32_t)lRequest);
    if (!pMoved) return nullptr;
    MMemCpy(pMoved, pMem, p->lSize);
    MMemFreeStatic(pHandle, pMem);
    return pMoved;
}

int32_t GetMaxAllocMemSize(void *pHandle) {
    if (!pHandle) return 2;
    int32_t lLargest = 0;
    for (BlockHeader *p = At(pHandle); !IsEnd(p); p = Next(p))
        if (!p->bUsed && Size(p) > lLargest) lLargest = Size(p);
    return lLargest;
}

// SPDX-License-Identifier: BSD-2-Clause
// Buffers and rows of bytes.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "quorvel/memory.h"

// Null when there is no memory.
static inline void *AllocFilled(uint32_t lSize, int32_t lValue) {
    void *p = MMemAlloc(nullptr, lSize);
    if (p) MMemSet(p, lValue, lSize);
    return p;
}

// Copies lRows rows of lBytes. Source and destination may be a caller's, and may overlap.
static inline void CopyRows(uint8_t *pDst, ptrdiff_t lDstStride, const uint8_t *pSrc,
                            ptrdiff_t lSrcStride, int32_t lBytes, int32_t lRows) {
    for (ptrdiff_t y = 0; y < lRows; y++)
        MMemMove(pDst + y * lDstStride, pSrc + y * lSrcStride, (uint32_t)lBytes);
}

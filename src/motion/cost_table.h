// SPDX-License-Identifier: BSD-2-Clause
// The cost kernels that the searches use: the portable functions of motion.h, or twins that equal them.
#pragma once

#include <stdint.h>

#include "motion/motion.h"
#include "platform/cpu.h"

// The grid's samples in order: 16 a group, group by group, row by row.
typedef void (*GridGather)(uint8_t *pSamples, const uint8_t *pArea, int32_t lAreaW, int32_t lAreaH,
                           int32_t lRowSkip);
// As GetGlobalSADAlignF0; once the sum of whole sampled rows has reached lBound, any value from lBound
// on. A search that takes strictly lower costs only cannot tell the difference.
typedef uint32_t (*GlobalSad)(const uint8_t *pSamples, const uint8_t *pPrevArea, int32_t lAreaW,
                              int32_t lAreaH, int32_t lRowSkip, uint32_t lBound);
typedef uint32_t (*BlockSad)(const uint8_t *pCurBlock, const uint8_t *pCandBlock, int32_t lStride);

typedef uint32_t (*BlockTexture)(const uint8_t *pCurBlock, int32_t lPitch);

struct CostTable {
    GridGather pGather;
    GlobalSad pGlobalSad;
    BlockSad pSad32;
    BlockTexture pTexture32;
};

const CostTable *CostTableOf(CpuLevel eLevel);

// Size of the sample grid in groups of 64 columns and in rows.
int32_t GridGroups(int32_t lAreaW);
int32_t GridRows(int32_t lAreaH);

// The same group of the next sampled row, which is too far away for the processor to see it coming.
// Beyond the plane it is no read. (Inlined always: as a function of its own it seems to have no effect.)
__attribute__((always_inline)) static inline void PrefetchNextRow(const uint8_t *pGroup, int32_t lGroups,
                                                                  int32_t lRowSkip) {
    __builtin_prefetch((const void *)((intptr_t)pGroup + 64 * lGroups + lRowSkip));
}

void GatherGrid(uint8_t *pSamples, const uint8_t *pArea, int32_t lAreaW, int32_t lAreaH,
                int32_t lRowSkip);
void GatherGridSse2(uint8_t *pSamples, const uint8_t *pArea, int32_t lAreaW, int32_t lAreaH,
                    int32_t lRowSkip);
void GatherGridNeon(uint8_t *pSamples, const uint8_t *pArea, int32_t lAreaW, int32_t lAreaH,
                    int32_t lRowSkip);
uint32_t GlobalSadSse2(const uint8_t *pSamples, const uint8_t *pPrevArea, int32_t lAreaW,
                       int32_t lAreaH, int32_t lRowSkip, uint32_t lBound);
uint32_t GlobalSadAvx2(const uint8_t *pSamples, const uint8_t *pPrevArea, int32_t lAreaW,
                       int32_t lAreaH, int32_t lRowSkip, uint32_t lBound);
uint32_t GlobalSadNeon(const uint8_t *pSamples, const uint8_t *pPrevArea, int32_t lAreaW,
                       int32_t lAreaH, int32_t lRowSkip, uint32_t lBound);
uint32_t Sad32Sse2(const uint8_t *pCurBlock, const uint8_t *pCandBlock, int32_t lPatternStride);
uint32_t Sad32Neon(const uint8_t *pCurBlock, const uint8_t *pCandBlock, int32_t lPatternStride);
uint32_t Texture32Sse2(const uint8_t *pCurBlock, int32_t lPitch);
uint32_t Texture32Neon(const uint8_t *pCurBlock, int32_t lPitch);

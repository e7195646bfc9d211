// SPDX-License-Identifier: BSD-2-Clause
// The cost kernels that the searches use: the portable functions of motion.h, or twins that equal them.
#pragma once

#include <stdint.h>

#include "motion/motion.h"
#include "platform/cpu.h"

// As GetGlobalSADAlignF0; once the sum of whole sampled rows has reached lBound, any value from lBound
// on. A search that takes strictly lower costs only cannot tell the difference.
typedef uint32_t (*GlobalSad)(const uint8_t *pSamples, const uint8_t *pPrevArea, int32_t lAreaW,
                              int32_t lAreaH, int32_t lRowSkip, uint32_t lBound);
typedef uint32_t (*BlockSad)(const uint8_t *pCurBlock, const uint8_t *pCandBlock, int32_t lStride);

typedef uint32_t (*BlockTexture)(const uint8_t *pCurBlock, int32_t lPitch);

struct CostTable {
    GlobalSad pGlobalSad;
    BlockSad pSad32;
    BlockTexture pTexture32;
};

const CostTable *CostTableOf(CpuLevel eLevel);

// Size of the sample grid in groups of 64 columns and in rows.
int32_t GridGroups(int32_t lAreaW);
int32_t GridRows(int32_t lAreaH);

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

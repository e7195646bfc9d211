// SPDX-License-Identifier: BSD-2-Clause
// First estimate of the frame's rotation: from the slopes of block rows on large frames, from a median
// of angles on small ones.
#include "model/model.h"

#include "platform/fixed.h"
#include "quorvel/memory.h"

namespace {

const int32_t kListOnStack = 512;

// Angle of one block around the frame centre, 1/1024 radian. lA and lB are translation minus vector,
// Q10. False when the block is too close to the centre to have an angle.
bool BlockAngle(int32_t lA, int32_t lB, int32_t lDy, int32_t lDx, int32_t *pAngle) {
    const int32_t lDot = WrapAdd32(WrapMul32(lA, lDy), WrapMul32(lB, lDx));
    const int32_t lSquares = WrapAdd32(WrapMul32(lDx, lDx), WrapMul32(lDy, lDy));
    const int32_t lD = WrapAdd32(Div1024(lDot), lSquares);
    if (lD == 0) return false;
    *pAngle = Quotient32(WrapSub32(WrapMul32(lB, lDy), WrapMul32(lDx, lA)), lD);
    return true;
}

} // namespace

int32_t CalculateThetaRow(const int32_t *pRowDisp, const int32_t *pColPos, const int32_t *pValid,
                          int32_t lCount) {
    int64_t n = 0, llSx = 0, llSy = 0, llSxx = 0, llSxy = 0;
    for (int32_t i = lCount - 1; i >= 0; i--) {
        if (!pValid[i]) continue;
        const int64_t x = pColPos[i], y = pRowDisp[i];
        n++;
        llSx = WrapAdd64(llSx, x);
        llSy = WrapAdd64(llSy, y);
        llSxx = WrapAdd64(llSxx, WrapMul64(x, x));
        llSxy = WrapAdd64(llSxy, WrapMul64(x, y));
    }
    if (n == 0) return QEL_NOT_MEASURED;
    const int64_t llD = WrapSub64(WrapMul64(n, llSxx), WrapMul64(llSx, llSx));
    const int64_t llN = WrapSub64(WrapMul64(n, llSxy), WrapMul64(llSx, llSy));
    return Low32(Quotient64(WrapMul64(llN, 65536), llD));
}

int32_t GetTheta32(const MVS_BlockMV *pBlockMV, int32_t lWidth, int32_t lHeight) {
    const int32_t lColumns = lWidth >> 5, lRows = lHeight >> 5;
    if (lColumns < 1 || lRows < 1) return 0;
    int32_t *pRowDisp =
        (int32_t *)MMemAlloc(nullptr, 3 * (uint32_t)lColumns * (uint32_t)sizeof(int32_t));
    if (!pRowDisp) return 0;
    int32_t *pColPos = pRowDisp + lColumns, *pValid = pColPos + lColumns;
    int32_t lSum = 0, lCount = 0;
    for (int32_t r = 0; r < lRows; r++, pBlockMV += lColumns) {
        for (int32_t c = 0; c < lColumns; c++) {
            const bool bValid = pBlockMV[c].bValid != 0;
            pValid[c] = bValid;
            pRowDisp[c] = bValid ? pBlockMV[c].lMvRow : 0;
            pColPos[c] = bValid ? WrapAdd32(32 * c + 16, pBlockMV[c].lMvCol) : 0;
        }
        // The slope of a row with a single block is 0, and enters the mean.
        const int32_t lSlope = CalculateThetaRow(pRowDisp, pColPos, pValid, lColumns);
        if (lSlope == QEL_NOT_MEASURED) continue;
        lSum = WrapAdd32(lSum, lSlope);
        lCount++;
    }
    MMemFree(nullptr, pRowDisp);
    return lCount ? lSum / lCount : 0;
}

int32_t GetTheta16(const MVS_BlockMV *pBlockMV, int32_t lWidth, int32_t lHeight, int32_t lShiftRow,
                   int32_t lShiftCol) {
    const int32_t lColumns = lWidth >> 4, lRows = lHeight >> 4;
    if (lColumns < 1 || lRows < 1) return 0;
    int32_t lStack[kListOnStack + 1];
    int32_t *pList = lStack, *pHeap = nullptr;
    const int64_t lBlocks = (int64_t)lColumns * lRows;
    if (lBlocks > kListOnStack) {
        if (lBlocks > 0x1FFFFFFF) return 0;
        pList = pHeap =
            (int32_t *)MMemAlloc(nullptr, (uint32_t)(lBlocks + 1) * (uint32_t)sizeof(int32_t));
        if (!pHeap) return 0;
    }
    pList[0] = 0;
    for (int32_t k = 1; k <= lRows; k++) {
        const int32_t lDy = 16 * k - 8 - (lHeight >> 1);
        for (int32_t j = 1; j <= lColumns; j++) {
            const int32_t lDx = 16 * j - 8 - (lWidth >> 1);
            if (pBlockMV->bValid) {
                const int32_t lA = WrapSub32(lShiftRow, WrapMul32(pBlockMV->lMvRow, 1024));
                const int32_t lB = WrapSub32(lShiftCol, WrapMul32(pBlockMV->lMvCol, 1024));
                int32_t lAngle;
                if (!BlockAngle(lA, lB, lDy, lDx, &lAngle))
                    continue; // the next column reads the same record again
                SortPush(pList, lAngle);
            }
            pBlockMV++;
        }
    }
    const int32_t lTheta = pList[0] ? pList[1 + (pList[0] >> 1)] : 0;
    MMemFree(nullptr, pHeap);
    return lTheta;
}

void SortPush(int32_t *pList, int32_t lValue) {
    int32_t *pValues = pList + 1;
    int32_t i = pList[0]++;
    for (; i > 0 && pValues[i - 1] >= lValue; i--) pValues[i] = pValues[i - 1];
    pValues[i] = lValue;
}

// SPDX-License-Identifier: BSD-2-Clause
// Conversion between I420 and packed UYVY, for cameras and displays that have only UYVY.
#include <stddef.h>

#include "quorvel/pitch.h"

namespace {

const uint8_t kGrey = 128;

bool FitsRow(int32_t lWidth, int32_t lPitch) {
    const int64_t lBytes = lPitch < 0 ? -(int64_t)lPitch : lPitch;
    return lWidth > 0 && lBytes >= 2 * (int64_t)lWidth;
}

} // namespace

void I420_uyvy_conversion_c(const uint8_t *pY, const uint8_t *pU, const uint8_t *pV, uint8_t *pPacked,
                            int32_t lWidth, int32_t lHeight, int32_t lPitch) {
    if (!pY || !pU || !pV || !pPacked || !FitsRow(lWidth, lPitch)) return;
    const ptrdiff_t lPairs = lWidth >> 1, lChromaRows = lHeight >> 1;
    for (ptrdiff_t y = 0; y < lHeight; y++) {
        const uint8_t *pRow = pY + y * lWidth;
        uint8_t *pOut = pPacked + y * lPitch;
        const ptrdiff_t lChroma = ((y >> 1) < lChromaRows ? y >> 1 : lChromaRows - 1) * lPairs;
        for (ptrdiff_t i = 0; i < lPairs; i++) {
            pOut[4 * i] = lChromaRows ? pU[lChroma + i] : kGrey;
            pOut[4 * i + 1] = pRow[2 * i];
            pOut[4 * i + 2] = lChromaRows ? pV[lChroma + i] : kGrey;
            pOut[4 * i + 3] = pRow[2 * i + 1];
        }
    }
}

void uyvy_I420_conversion_c(const uint8_t *pPacked, uint8_t *pY, uint8_t *pU, uint8_t *pV,
                            int32_t lWidth, int32_t lHeight, int32_t lPitch) {
    if (!pPacked || !pY || !pU || !pV || !FitsRow(lWidth, lPitch)) return;
    const ptrdiff_t lPairs = lWidth >> 1, lChromaRows = lHeight >> 1;
    for (ptrdiff_t y = 0; y < lHeight; y++) {
        const uint8_t *pIn = pPacked + y * lPitch;
        for (ptrdiff_t i = 0; i < lPairs; i++) {
            pY[y * lWidth + 2 * i] = pIn[4 * i + 1];
            pY[y * lWidth + 2 * i + 1] = pIn[4 * i + 3];
        }
        if ((y & 1) || (y >> 1) >= lChromaRows) continue;
        for (ptrdiff_t i = 0; i < lPairs; i++) {
            pU[(y >> 1) * lPairs + i] = pIn[4 * i];
            pV[(y >> 1) * lPairs + i] = pIn[4 * i + 2];
        }
    }
}

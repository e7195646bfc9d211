// SPDX-License-Identifier: BSD-2-Clause
// Interleaved V,U pairs to planes and back.
#include <stddef.h>

#include "quorvel/stabilizer.h"

namespace {

ptrdiff_t Samples(int32_t lWidth, int32_t lHeight) {
    return lWidth < 1 || lHeight < 1 ? 0 : (ptrdiff_t)lWidth * lHeight;
}

} // namespace

void UV_NV21_to_I420(uint8_t *pDstU, uint8_t *pDstV, const uint8_t *pSrcVU, int32_t lWidth,
                     int32_t lHeight) {
    if (!pDstU || !pDstV || !pSrcVU) return;
    const ptrdiff_t lCount = Samples(lWidth, lHeight);
    for (ptrdiff_t i = 0; i < lCount; i++) {
        pDstV[i] = pSrcVU[2 * i];
        pDstU[i] = pSrcVU[2 * i + 1];
    }
}

void UV_I420_to_NV21(const uint8_t *pSrcU, const uint8_t *pSrcV, uint8_t *pDstVU, int32_t lWidth,
                     int32_t lHeight) {
    if (!pSrcU || !pSrcV || !pDstVU) return;
    const ptrdiff_t lCount = Samples(lWidth, lHeight);
    for (ptrdiff_t i = 0; i < lCount; i++) {
        pDstVU[2 * i] = pSrcV[i];
        pDstVU[2 * i + 1] = pSrcU[i];
    }
}

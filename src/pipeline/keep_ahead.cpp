// SPDX-License-Identifier: BSD-2-Clause
// The copy that the next frame is compared with, made by threads that wait for the model.
#include "pipeline/pipeline.h"

#include "platform/fixed.h"
#include "platform/participants.h"
#include "quorvel/memory.h"

namespace {

const int32_t kPiece = 65536;

// From the end on, where these threads will begin to warp as well. Who needs the rest takes all of it
// by writing 0, and this ends.
void *CopyPieces(void *pArgument) {
    MVS_Context *pCtx = (MVS_Context *)pArgument;
    for (;;) {
        const int32_t lEnd = __atomic_fetch_sub(&pCtx->lKeepBytes, kPiece, __ATOMIC_RELAXED);
        if (lEnd <= 0) return nullptr;
        const int32_t lBegin = Max32(lEnd - kPiece, 0);
        MMemCpy(pCtx->pKeepTo + lBegin, pCtx->pKeepFrom + lBegin, (uint32_t)(lEnd - lBegin));
    }
}

} // namespace

void KeepAhead(MVS_Context *pCtx) {
    if (pCtx->lKeepBytes > 0) CallCrew(pCtx->pCrew, CopyPieces, pCtx);
}

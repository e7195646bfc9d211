// SPDX-License-Identifier: BSD-2-Clause
// The plane calls of a refined handle.
#include "api/plane_check.h"
#include "api/refined.h"
#include "platform/fixed.h"
#include "platform/workers.h"
#include "quorvel/threads.h"
#include "warp/fine_warp.h"

namespace {

const int32_t kMostPlanes = 4;

LumaSource SourceOf(const MVS_Plane *p) {
    const int32_t lPixel = p->lChannels * p->lSampleBytes;
    return {p->pPixels + p->lLuma * p->lSampleBytes, (ptrdiff_t)p->llPitch, lPixel, p->lSampleBytes,
            p->lLowestBit + p->lBits - 8};
}

FinePlane FinePlaneOf(const MVS_Plane *p) {
    return {p->pPixels,   (ptrdiff_t)p->llPitch, p->lWidth, p->lHeight,
            p->lChannels, p->lSampleBytes,       p->lBits,  p->lLowestBit};
}

bool PlanesFit(const MVS_Context *pCtx, const MVS_Plane *pIn, const MVS_Plane *pOut, int32_t lCount) {
    for (int32_t i = 0; i < lCount; i++) {
        if (!IsPlaneOf(pIn + i, pCtx->lInWidth, pCtx->lInHeight)) return false;
        if (!IsPlaneOf(pOut + i, pCtx->lOutWidth, pCtx->lOutHeight)) return false;
        if (!SameLayout(pIn + i, pOut + i)) return false;
    }
    for (int32_t i = 0; i < lCount; i++)
        for (int32_t j = 0; j < lCount; j++)
            if (Overlap(pIn + i, pOut + j) || (i < j && Overlap(pOut + i, pOut + j))) return false;
    return true;
}

// With a lock and workers of its own: the handle may be measuring another frame meanwhile, which also
// changes the pauses of its thread policy.
int32_t WarpApart(const MVS_Context *pCtx, const FinePass *pPasses, int32_t lCount) {
    MVS_Context st = {};
    st.pKernels = pCtx->pKernels;
    st.bInFrame = 1;
    st.pEvent = zekMEventCreate(nullptr);
    st.pWorkers = CreateWorkers();
    const bool bReady = st.pEvent && st.pWorkers;
    if (bReady) {
        zekMEventSignal(st.pEvent); // a lock starts free
        st.stThreads.lMostThreads = pCtx->stThreads.lMostThreads;
        st.stThreads.lBytesPerThread = pCtx->stThreads.lBytesPerThread;
        st.stThreads.lCores = pCtx->stThreads.lCores;
        StartWorkers(st.pWorkers, WorkersFor(&st.stThreads, pCtx->lInLumaSize));
        FineWarp(&st, pPasses, lCount, pCtx->pRefined->bCubic);
        JoinWorkers(st.pWorkers);
    }
    DestroyWorkers(st.pWorkers);
    zekMEventDestroy(nullptr, st.pEvent);
    return bReady;
}

} // namespace

int32_t QEL_MVS_PushLuma(MVS_Context *pCtx, const MVS_Plane *pLuma) {
    if (!pCtx || !pCtx->pRefined || !pLuma) return 0;
    if (!IsPlaneOf(pLuma, pCtx->lInWidth, pCtx->lInHeight)) return 0;
    if (pLuma->lLog2X != 0 || pLuma->lLog2Y != 0) return 0;
    const LumaSource stSource = SourceOf(pLuma);
    const int32_t lWorkers = BeginFrame(pCtx);
    const bool bTaken = PushFrame(pCtx, kPlaneCalls, &stSource);
    EndFrame(pCtx, lWorkers);
    return bTaken;
}

int32_t QEL_MVS_PushMotion(MVS_Context *pCtx, const MVS_Compensation *pRecord) {
    if (!pCtx || !pCtx->pRefined || !pRecord || pRecord->lSize < (int32_t)sizeof(*pRecord)) return 0;
    return PushRecord(pCtx, pRecord);
}

int32_t QEL_MVS_PullCompensation(MVS_Context *pCtx, MVS_Compensation *pRecord) {
    if (!pCtx || !pCtx->pRefined || !pRecord || pRecord->lSize < (int32_t)sizeof(*pRecord)) return 0;
    if (pCtx->pRefined->eUse != kPlaneCalls) return 0;
    return PullFrame(pCtx, pRecord);
}

int32_t QEL_MVS_EndStream(MVS_Context *pCtx) {
    if (!pCtx || !pCtx->pRefined || pCtx->pRefined->eUse == kFrameCalls) return 0;
    EndMotions(&pCtx->pRefined->stCompensator);
    return 1;
}

int32_t QEL_MVS_CompensateFrame(const MVS_Context *pCtx, const MVS_Compensation *pRecord,
                                const MVS_Plane *pIn, const MVS_Plane *pOut, int32_t lCount) {
    if (!pCtx || !pCtx->pRefined || !pRecord || !pIn || !pOut) return 0;
    if (pRecord->lSize < (int32_t)sizeof(*pRecord) || lCount < 1 || lCount > kMostPlanes) return 0;
    if (!PlanesFit(pCtx, pIn, pOut, lCount)) return 0;
    const FineView stView = ViewOfRecord(pCtx, pRecord);
    const FineSizes stSizes = {pCtx->lInWidth, pCtx->lInHeight, pCtx->lOutWidth, pCtx->lOutHeight};
    FinePass stPasses[kMostPlanes];
    for (int32_t i = 0; i < lCount; i++) {
        const FineSampling stSampling = {pIn[i].lLog2X, pIn[i].lLog2Y, pIn[i].lSiteX, pIn[i].lSiteY};
        stPasses[i] = {FinePlaneOf(pIn + i), FinePlaneOf(pOut + i),
                       FineMapOf(&stView, &stSizes, &stSampling)};
    }
    return WarpApart(pCtx, stPasses, lCount);
}

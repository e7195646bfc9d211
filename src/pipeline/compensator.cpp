// SPDX-License-Identifier: BSD-2-Clause
#include "pipeline/compensator.h"

#include "platform/buffers.h"
#include "platform/fixed.h"
#include "platform/trigonometry.h"
#include "smooth/plan.h"

namespace {

// A plan goes on beyond the last known frame, as if the camera rested: for 2/3 of a second, within
// these limits.
const int32_t kLeastHold = 20; // frames, 2/3 of a second at 30 frames a second
const int32_t kMostHold = 160;
const int32_t kWaiting = 16; // views that may wait to be pulled
const int32_t kChunk = 1024; // frames
// A longer scene is planned in pieces, of which each overlaps the next.
const int64_t kMostPiece = 4096; // frames
const int64_t kMostOverlap = kMostPiece / 2;
const double kOverlap = 10; // seconds, where that is less
// Hz: slower movements are followed. With a lookahead below half a second, with a longer one, and in a
// whole clip.
const double kFollowSoon = 0.2, kFollowLater = 0.1, kFollowWhole = 0.02;

template <class T> bool Allocate(T **ppMem, int64_t llCount) {
    const int64_t llBytes = llCount * (int64_t)sizeof(T);
    *ppMem = llBytes > INT32_MAX ? nullptr : (T *)AllocFilled((uint32_t)llBytes, 0);
    return *ppMem != nullptr;
}
template <class T> void FreeAndClear(T **ppMem) {
    MMemFree(nullptr, (void *)*ppMem);
    *ppMem = nullptr;
}

FrameMotion *MotionOf(const Compensator *p, int64_t llFrame) {
    const int64_t llIndex = llFrame % p->llRoom;
    return p->pChunks[llIndex / kChunk].pMotions + llIndex % kChunk;
}

// The camera after one more motion, in the axes that stCamera has.
View Moved(View stCamera, const RigidMotion *pMotion) {
    const double c = Cosine(stCamera.dRoll), s = Sine(stCamera.dRoll);
    return {stCamera.dX + c * pMotion->dCol - s * pMotion->dRow,
            stCamera.dY + s * pMotion->dCol + c * pMotion->dRow, stCamera.dRoll + pMotion->dTheta};
}

// How many frames after the oldest one are known and belong to its scene. *pMore: the next one may
// count too, so it has to be waited for.
int64_t KnownAfter(const Compensator *p, bool *pMore) {
    const int64_t llFirst = p->llPulled + 1;
    int64_t llFrame = llFirst;
    for (; llFrame < p->llPushed && llFrame - llFirst < p->lLookahead; llFrame++)
        if (MotionOf(p, llFrame)->bNewScene) break;
    const bool bCut = llFrame < p->llPushed && MotionOf(p, llFrame)->bNewScene;
    *pMore = !p->bEnded && !bCut && llFrame - llFirst < p->lLookahead;
    return llFrame - llFirst;
}

int32_t HoldOf(double dFramesPerSecond) {
    const int32_t lHold = (int32_t)(kLeastHold * dFramesPerSecond / 30);
    return Clamp32(lHold, kLeastHold, kMostHold);
}

View PlanOne(Compensator *p, int64_t llKnown) {
    const FrameMotion *pMotion = MotionOf(p, p->llPulled);
    const int64_t llFrames = llKnown + 1 + HoldOf(p->stSettings.dFramesPerSecond);
    const View stMiddle = {0, 0, 0};
    View st = stMiddle, stHistory[2];
    for (int64_t i = 0; i < llFrames; i++) {
        if (i > 0 && i <= llKnown) st = Moved(st, &MotionOf(p, p->llPulled + i)->stMotion);
        p->pCamera[i] = st;
    }
    // Before its first frame the view of a scene rested in the middle.
    for (int32_t i = 0; i < 2; i++)
        stHistory[i] = pMotion->bNewScene ? stMiddle : Carry(p->stLast[i], &pMotion->stMotion);
    const bool bSoon = 2 * p->lLookahead < p->stSettings.dFramesPerSecond;
    const PlanTask stTask = {
        &p->stSettings, p->pCamera, llFrames, stHistory, bSoon ? kFollowSoon : kFollowLater,
        p->pPlanRoom};
    PlanPath(&stTask, p->pViews);
    p->stLast[1] = p->pViews[0];
    p->stLast[0] = pMotion->bNewScene ? p->pViews[0] : stHistory[1];
    return p->pViews[0];
}

View StepLive(Compensator *p) {
    const FrameMotion *pMotion = MotionOf(p, p->llPulled);
    if (pMotion->bNewScene)
        StartSpring(&p->stSpring);
    else if (!pMotion->bHeld)
        StepSpring(&p->stSettings, &pMotion->stMotion, &p->stSpring);
    return p->stSpring.stView;
}

// From common axes to those of the frame.
View InFrame(View st, double dCameraRoll) {
    const double c = Cosine(dCameraRoll), s = Sine(dCameraRoll);
    return {st.dX * c + st.dY * s, st.dY * c - st.dX * s, st.dRoll};
}

// The two views before a frame, in its axes.
void CarryViews(const Compensator *p, int64_t llFrame, View *pHistory) {
    for (int64_t i = 0; i < 2; i++) {
        const int64_t llBefore = llFrame - 2 + i;
        pHistory[i] = p->pViews[llBefore];
        for (int64_t k = llBefore + 1; k <= llFrame; k++)
            pHistory[i] = Carry(pHistory[i], &MotionOf(p, k)->stMotion);
    }
}

// A scene, or a part of it that continues the views planned so far.
void PlanPiece(Compensator *p, int64_t llFirst, int64_t llEnd) {
    View *pViews = p->pViews + llFirst;
    const bool bGoesOn = !MotionOf(p, llFirst)->bNewScene;
    View st = {0, 0, 0}, stHistory[2];
    for (int64_t i = llFirst; i < llEnd; i++) {
        if (i > llFirst) st = Moved(st, &MotionOf(p, i)->stMotion);
        p->pCamera[i - llFirst] = st;
    }
    if (bGoesOn) CarryViews(p, llFirst, stHistory);
    const PlanTask stTask = {&p->stSettings,  p->pCamera,
                             llEnd - llFirst, bGoesOn ? stHistory : nullptr,
                             kFollowWhole,    p->pPlanRoom};
    PlanPath(&stTask, pViews);
    for (int64_t i = 0; i < llEnd - llFirst; i++) pViews[i] = InFrame(pViews[i], p->pCamera[i].dRoll);
}

// The end of a piece does not know what follows, so the next one plans it anew.
void PlanPieces(Compensator *p) {
    const double dOverlap = kOverlap * p->stSettings.dFramesPerSecond;
    const int64_t llOverlap = dOverlap < kMostOverlap ? (int64_t)dOverlap : kMostOverlap;
    for (int64_t llFirst = 0, llEnd; llFirst < p->llPushed;) {
        llEnd = llFirst + 1;
        while (llEnd < p->llPushed && !MotionOf(p, llEnd)->bNewScene && llEnd - llFirst < kMostPiece)
            llEnd++;
        PlanPiece(p, llFirst, llEnd);
        const bool bSceneEnds = llEnd == p->llPushed || MotionOf(p, llEnd)->bNewScene;
        llFirst = bSceneEnds ? llEnd : llEnd - llOverlap;
    }
}

// Without memory for the plan the views are those of the live smoother.
void PlanWholeClip(Compensator *p) {
    const int64_t llMost = p->llPushed < kMostPiece ? p->llPushed : kMostPiece;
    if (p->llPushed == 0) return;
    p->bPlanned = Allocate(&p->pCamera, llMost) && Allocate(&p->pViews, p->llPushed) &&
                  Allocate(&p->pPlanRoom, PlanRoom(llMost));
    if (p->bPlanned) PlanPieces(p);
    FreeAndClear(&p->pCamera);
    FreeAndClear(&p->pPlanRoom);
}

bool GrowTable(Compensator *p) {
    const int64_t llTable = p->llTable > 0 ? 2 * p->llTable : 1;
    MotionChunk *pChunks;
    if (!Allocate(&pChunks, llTable)) return false;
    for (int64_t i = 0; i < p->llChunks; i++) pChunks[i] = p->pChunks[i];
    MMemFree(nullptr, p->pChunks);
    p->pChunks = pChunks;
    p->llTable = llTable;
    return true;
}

bool AddRoom(Compensator *p, int32_t lFrames) {
    if (p->llChunks == p->llTable && !GrowTable(p)) return false;
    if (!Allocate(&p->pChunks[p->llChunks].pMotions, lFrames)) return false;
    p->llChunks++;
    p->llRoom += lFrames;
    return true;
}

} // namespace

bool PrepareCompensator(Compensator *p) {
    const int64_t llPlan = p->lLookahead > 0 ? p->lLookahead + 1 + kMostHold : 0; // at any rate
    if (!AddRoom(p, p->lLookahead == kWholeClip ? kChunk : p->lLookahead + kWaiting)) return false;
    return llPlan == 0 || (Allocate(&p->pCamera, llPlan) && Allocate(&p->pViews, llPlan) &&
                           Allocate(&p->pPlanRoom, PlanRoom(llPlan)));
}

void FreeCompensator(Compensator *p) {
    for (int64_t i = 0; i < p->llChunks; i++) MMemFree(nullptr, p->pChunks[i].pMotions);
    p->llChunks = 0;
    FreeAndClear(&p->pChunks);
    FreeAndClear(&p->pCamera);
    FreeAndClear(&p->pViews);
    FreeAndClear(&p->pPlanRoom);
}

bool MakeMotionRoom(Compensator *p) {
    if (p->bEnded) return false;
    if (p->lLookahead == kWholeClip) return p->llPushed < p->llRoom || AddRoom(p, kChunk);
    return p->llPushed - p->llPulled < p->llRoom;
}

void PushMotion(Compensator *p, const FrameMotion *pMotion) {
    *MotionOf(p, p->llPushed) = *pMotion;
    p->llPushed++;
}

void EndMotions(Compensator *p) {
    if (!p->bEnded && p->lLookahead == kWholeClip) PlanWholeClip(p);
    p->bEnded = true;
}

bool PullView(Compensator *p, View *pView, FrameMotion *pMotion) {
    if (p->llPulled >= p->llPushed || (p->lLookahead == kWholeClip && !p->bEnded)) return false;
    if (p->lLookahead > 0) {
        bool bMore;
        const int64_t llKnown = KnownAfter(p, &bMore);
        if (bMore) return false;
        *pView = PlanOne(p, llKnown);
    } else {
        *pView = p->bPlanned ? p->pViews[p->llPulled] : StepLive(p);
    }
    *pMotion = *MotionOf(p, p->llPulled);
    p->llPulled++;
    return true;
}

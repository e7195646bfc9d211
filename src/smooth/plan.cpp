// SPDX-License-Identifier: BSD-2-Clause
// Minimizes 1/2 sum |q(i) - 2 q(i-1) + q(i-2)|^2 + 1/2 lambda sum |u|^2 over the views q = p + u,
// where p is the camera and all lengths are in widths of the frame, such that the corners of every
// view stay inside its frame: eight linear inequalities a frame. A primal-dual interior point
// method: Newton steps with a barrier that falls from step to step, each by a banded LDL' of the 3
// unknowns of every frame.
#include "smooth/plan.h"

#include "platform/trigonometry.h"

namespace {

const double kTwoPi = 6.28318530717958647692;
const int32_t kSteps = 12;
const int32_t kBounds = 8; // inequalities of a frame
const int32_t kBands = 7;  // of the matrix: the diagonal, and the unknowns of two frames before
const int32_t kPadding = kBands - 1;
const double kFirstMultiplier = 1e-5;
const double kBarrierStep = 0.15;  // the next barrier, as a share of the mean of slack times multiplier
const double kLastBarrier = 1e-12; // at 30 frames a second; LayOut scales it as the cost scales
const double kMostOfReach = 0.99;  // share of the way to the nearest bound that a step may go
const double kFixed = 1e9;         // weight that holds an unknown where it is

const double kDifference[3] = {1, -2, 1};

// Parts of the working memory, for n frames of three unknowns.
struct Plan {
    int64_t n;
    double dLambda, dLastBarrier;
    bool bRoll;
    double dMarginX, dMarginY, dHalfX, dHalfY; // in widths of the frame
    const double *pHistory;                    // 6, or null
    double *p, *u;                             // 3 n: camera, and view minus camera
    double *r;                                 // 3 n: right side, then the Newton step
    double *pAxes;                             // 2 n: cosine and sine of the camera's roll
    double *s, *z, *ds, *dz; // 8 n: slack and multiplier of each bound, and their steps
    double *b;               // 21 n: the matrix, each row from its diagonal to the left
};

// Unknown k of the view of frame i; frames -2 and -1 are the history.
double Value(const Plan *pPlan, int64_t i, int32_t k) {
    return i >= 0 ? pPlan->p[3 * i + k] + pPlan->u[3 * i + k] : pPlan->pHistory[3 * (i + 2) + k];
}

// A frame's bounds are four for each of its own axes: plus and minus the shift, plus and minus what
// the roll adds at the corners. Nothing is shifted yet, so the slack is the whole margin.
void StartBounds(Plan *pPlan) {
    for (int64_t i = 0; i < pPlan->n; i++) {
        pPlan->pAxes[2 * i] = Cosine(pPlan->p[3 * i + 2]);
        pPlan->pAxes[2 * i + 1] = Sine(pPlan->p[3 * i + 2]);
        for (int32_t k = 0; k < kBounds; k++) {
            pPlan->s[kBounds * i + k] = k < 4 ? pPlan->dMarginX : pPlan->dMarginY;
            pPlan->z[kBounds * i + k] = kFirstMultiplier;
        }
    }
}

// Adds the second differences to the matrix and to the right side. The history has no unknowns.
void AddSecondDifferences(Plan *pPlan) {
    const int32_t lAxes = pPlan->bRoll ? 3 : 2;
    for (int64_t i = pPlan->pHistory ? 0 : 2; i < pPlan->n; i++)
        for (int32_t k = 0; k < lAxes; k++) {
            const double e = Value(pPlan, i, k) - 2 * Value(pPlan, i - 1, k) + Value(pPlan, i - 2, k);
            for (int32_t a = i < 2 ? 2 - (int32_t)i : 0; a < 3; a++) {
                const int64_t lRow = 3 * (i - 2 + a) + k;
                pPlan->r[lRow] -= kDifference[a] * e;
                for (int32_t c = i < 2 ? 2 - (int32_t)i : 0; c <= a; c++)
                    pPlan->b[kBands * lRow + 3 * (a - c)] += kDifference[a] * kDifference[c];
            }
        }
}

// Adds the weight on u, which makes the views follow the camera.
void AddFollowing(Plan *pPlan) {
    for (int64_t i = 0; i < 3 * pPlan->n; i++) {
        const bool bHeld = !pPlan->bRoll && i % 3 == 2;
        pPlan->b[kBands * i] += bHeld ? kFixed : pPlan->dLambda;
        pPlan->r[i] -= (bHeld ? kFixed : pPlan->dLambda) * pPlan->u[i];
    }
}

// Adds the four bounds of one axis, from row k on. With d = c * x + s * y the shift along the axis and
// e = h * roll, they limit d + e, d - e, e - d and -d - e, as in StepAxis.
void AddAxis(Plan *pPlan, int64_t i, int32_t k, double c, double s, double h, double dBarrier) {
    const double *pSlack = pPlan->s + kBounds * i + k, *pMultiplier = pPlan->z + kBounds * i + k;
    double dStiff[4], dPush[4];
    for (int32_t m = 0; m < 4; m++) {
        const double dOne = 1 / pSlack[m];
        dStiff[m] = pMultiplier[m] * dOne;
        dPush[m] = dBarrier * dOne;
    }
    const double dSum = (dStiff[0] + dStiff[1]) + (dStiff[2] + dStiff[3]);
    const double dCross = (dStiff[0] - dStiff[1]) + (dStiff[3] - dStiff[2]);
    const double dShift = (dPush[0] + dPush[1]) - (dPush[2] + dPush[3]);
    const double dRoll = (dPush[0] - dPush[1]) + (dPush[2] - dPush[3]);
    double *pRow = pPlan->b + kBands * 3 * i, *r = pPlan->r + 3 * i;
    pRow[0] += dSum * c * c;
    pRow[kBands] += dSum * s * s;
    pRow[kBands + 1] += dSum * c * s;
    pRow[2 * kBands] += dSum * h * h;
    pRow[2 * kBands + 1] += dCross * s * h;
    pRow[2 * kBands + 2] += dCross * c * h;
    r[0] -= dShift * c;
    r[1] -= dShift * s;
    r[2] -= dRoll * h;
}

void AddBounds(Plan *pPlan, double dBarrier) {
    for (int64_t i = 0; i < pPlan->n; i++) {
        const double c = pPlan->pAxes[2 * i], s = pPlan->pAxes[2 * i + 1];
        AddAxis(pPlan, i, 0, c, s, pPlan->dHalfY, dBarrier);
        AddAxis(pPlan, i, 4, -s, c, pPlan->dHalfX, dBarrier);
    }
}

void StepAxis(Plan *pPlan, int64_t i, int32_t k, double dShift, double dRoll, double dBarrier) {
    const double dAll[4] = {dShift + dRoll, dShift - dRoll, dRoll - dShift, -dShift - dRoll};
    for (int32_t m = 0; m < 4; m++) {
        const int64_t q = kBounds * i + k + m;
        pPlan->ds[q] = -dAll[m];
        pPlan->dz[q] = (dBarrier + pPlan->z[q] * dAll[m]) / pPlan->s[q] - pPlan->z[q];
    }
}

void StepBounds(Plan *pPlan, double dBarrier) {
    for (int64_t i = 0; i < pPlan->n; i++) {
        const double c = pPlan->pAxes[2 * i], s = pPlan->pAxes[2 * i + 1], *d = pPlan->r + 3 * i;
        StepAxis(pPlan, i, 0, c * d[0] + s * d[1], pPlan->dHalfY * d[2], dBarrier);
        StepAxis(pPlan, i, 4, c * d[1] - s * d[0], pPlan->dHalfX * d[2], dBarrier);
    }
}

// The matrix becomes L left of the diagonal, with D on it. Six rows of the unit matrix precede the
// first.
void Factor(double *b, int64_t n) {
    for (int64_t i = 0; i < n; i++) {
        double *pRow = b + kBands * i;
        for (int32_t d = kBands - 1; d > 0; d--) // L D so far
            for (int32_t e = d + 1; e < kBands; e++) pRow[d] -= pRow[e] * pRow[e - d - kBands * d];
        for (int32_t d = 1; d < kBands; d++) {
            const double l = pRow[d] / pRow[-kBands * d];
            pRow[0] -= l * pRow[d];
            pRow[d] = l;
        }
    }
}

// Six zeros precede r.
void Solve(const double *b, double *r, int64_t n) {
    for (int64_t i = 0; i < n; i++)
        for (int32_t d = 1; d < kBands; d++) r[i] -= b[kBands * i + d] * r[i - d];
    for (int64_t i = 0; i < n; i++) r[i] /= b[kBands * i];
    for (int64_t i = n - 1; i >= 0; i--)
        for (int32_t d = 1; d < kBands; d++) r[i - d] -= b[kBands * i + d] * r[i];
}

// Which part of a step to go, at most all of it, so that no value falls to 0.
double Reach(const double *pValue, const double *pStep, int64_t n) {
    double dReach = 1 / kMostOfReach;
    for (int64_t i = 0; i < n; i++)
        if (pStep[i] * dReach < -pValue[i]) dReach = -pValue[i] / pStep[i];
    return dReach * kMostOfReach;
}

void Advance(double *pValue, const double *pStep, int64_t n, double dShare) {
    for (int64_t i = 0; i < n; i++) pValue[i] += dShare * pStep[i];
}

void NewtonStep(Plan *pPlan) {
    const int64_t n = pPlan->n, lBounds = kBounds * n;
    double dMean = 0;
    for (int64_t i = 0; i < lBounds; i++) dMean += pPlan->s[i] * pPlan->z[i];
    dMean = kBarrierStep * dMean / (double)lBounds;
    const double dBarrier = dMean > pPlan->dLastBarrier ? dMean : pPlan->dLastBarrier;
    for (int64_t i = -kPadding; i < 3 * n; i++) pPlan->r[i] = 0;
    for (int64_t i = 0; i < kBands * 3 * n; i++) pPlan->b[i] = 0;
    AddSecondDifferences(pPlan);
    AddFollowing(pPlan);
    AddBounds(pPlan, dBarrier);
    Factor(pPlan->b, 3 * n);
    Solve(pPlan->b, pPlan->r, 3 * n);
    StepBounds(pPlan, dBarrier);
    const double dReach = Reach(pPlan->s, pPlan->ds, lBounds);
    Advance(pPlan->u, pPlan->r, 3 * n, dReach);
    Advance(pPlan->s, pPlan->ds, lBounds, dReach);
    Advance(pPlan->z, pPlan->dz, lBounds, Reach(pPlan->z, pPlan->dz, lBounds));
}

Plan LayOut(const PlanTask *pTask) {
    const SmoothSettings *pSettings = pTask->pSettings;
    const double w = kTwoPi * pTask->dFollow / pSettings->dStrength / pSettings->dFramesPerSecond;
    const double dRate = 30 / pSettings->dFramesPerSecond;
    const int64_t n = pTask->llFrames;
    Plan st = {};
    st.n = n;
    st.dLambda = w * w * w * w;
    st.dLastBarrier = kLastBarrier * dRate * dRate * dRate * dRate;
    st.bRoll = pSettings->bRoll;
    st.dMarginX = pSettings->dMarginX / pSettings->dWidth;
    st.dMarginY = pSettings->dMarginY / pSettings->dWidth;
    st.dHalfX = pSettings->dHalfX / pSettings->dWidth;
    st.dHalfY = pSettings->dHalfY / pSettings->dWidth;
    st.p = pTask->pRoom;
    st.u = st.p + 3 * n;
    st.r = st.u + 3 * n + kPadding;
    st.pAxes = st.r + 3 * n;
    st.s = st.pAxes + 2 * n;
    st.z = st.s + kBounds * n;
    st.ds = st.z + kBounds * n;
    st.dz = st.ds + kBounds * n;
    st.b = st.dz + kBounds * n + kPadding * kBands;
    for (int32_t i = 1; i <= kPadding * kBands; i++) st.b[-i] = i % kBands == 0; // see Factor
    return st;
}

void Put(const SmoothSettings *pSettings, View st, double *p) {
    p[0] = st.dX / pSettings->dWidth;
    p[1] = st.dY / pSettings->dWidth;
    p[2] = st.dRoll;
}

} // namespace

int64_t PlanRoom(int64_t llFrames) {
    return llFrames * (3 * 3 + 2 + 4 * kBounds + 3 * kBands) + kPadding * (1 + kBands);
}

void PlanPath(const PlanTask *pTask, View *pViews) {
    const double dWidth = pTask->pSettings->dWidth;
    Plan st = LayOut(pTask);
    double dHistory[6];
    if (pTask->pHistory) {
        Put(pTask->pSettings, pTask->pHistory[0], dHistory);
        Put(pTask->pSettings, pTask->pHistory[1], dHistory + 3);
        st.pHistory = dHistory;
    }
    for (int64_t i = 0; i < st.n; i++) {
        Put(pTask->pSettings, pTask->pCamera[i], st.p + 3 * i);
        st.u[3 * i] = st.u[3 * i + 1] = st.u[3 * i + 2] = 0;
    }
    StartBounds(&st);
    for (int32_t i = 0; i < kSteps; i++) NewtonStep(&st);
    for (int64_t i = 0; i < st.n; i++)
        pViews[i] = {st.u[3 * i] * dWidth, st.u[3 * i + 1] * dWidth, st.u[3 * i + 2]};
}

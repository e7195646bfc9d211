// SPDX-License-Identifier: BSD-2-Clause
// Minimizes 1/2 sum |q(i) - 2 q(i-1) + q(i-2)|^2 + 1/2 lambda sum |u|^2 over the pictures q = p + u,
// where p is the camera and all lengths are in widths of the frame, such that the corners of every
// picture stay inside its frame: eight linear rows a frame. An interior point method: Newton steps
// towards a barrier that falls, each by a banded LDL' of the 3 unknowns of every frame.
#include "smooth/plan.h"

#include "platform/trigonometry.h"

namespace {

const double kTwoPi = 6.28318530717958647692;
const int32_t kSteps = 12;
const int32_t kRows = 8;  // margins of a frame
const int32_t kBands = 7; // of the matrix: the diagonal, and the unknowns of two frames before
const double kFirstPressure = 1e-5;
const double kBarrierStep = 0.15;
const double kLastBarrier = 1e-12; // at 30 frames a second
const double kToTheWall = 0.99;
const double kFixed = 1e9; // weight that holds an unknown where it is

const double kDifference[3] = {1, -2, 1};

// Parts of the room, for n frames of three unknowns.
struct Plan {
    int64_t n;
    double dLambda, dLastBarrier;
    bool bRoll;
    const double *pHistory; // 6, or null
    double *p, *u, *r;      // 3 n: camera, correction, right side and Newton step
    double *g; // 24 n: the x rows' and the y rows' (col, row, roll), each row's negative left out
    double *s, *z, *ds, *dz; // 8 n: slack and pressure of each margin, and their steps
    double *b;               // 21 n: the matrix
};

double Value(const Plan *pPlan, int64_t i, int32_t k) {
    return i >= 0 ? pPlan->p[3 * i + k] + pPlan->u[3 * i + k] : pPlan->pHistory[3 * (i + 2) + k];
}

// The eight rows of a frame: +- (x of its own axes) +- roll, then the same of y.
const double kSigns[4][2] = {{1, 1}, {1, -1}, {-1, 1}, {-1, -1}};

void SetRows(const SmoothSettings *pSettings, Plan *pPlan) {
    const double dX = pSettings->dHalfX / pSettings->dWidth, dY = pSettings->dHalfY / pSettings->dWidth;
    for (int64_t i = 0; i < pPlan->n; i++) {
        const double c = Cosine(pPlan->p[3 * i + 2]), s = Sine(pPlan->p[3 * i + 2]);
        for (int32_t k = 0; k < kRows; k++) {
            const double *pSign = kSigns[k & 3];
            double *g = pPlan->g + 3 * (kRows * i + k);
            g[0] = pSign[0] * (k < 4 ? c : -s);
            g[1] = pSign[0] * (k < 4 ? s : c);
            g[2] = pSign[1] * (k < 4 ? dY : dX);
            pPlan->s[kRows * i + k] =
                (k < 4 ? pSettings->dRoomX : pSettings->dRoomY) / pSettings->dWidth;
            pPlan->z[kRows * i + k] = kFirstPressure;
        }
    }
}

// Adds the second differences to the matrix and to the right side.
void AddBends(Plan *pPlan) {
    const int32_t lAxes = pPlan->bRoll ? 3 : 2;
    for (int64_t i = pPlan->pHistory ? 0 : 2; i < pPlan->n; i++)
        for (int32_t k = 0; k < lAxes; k++) {
            const double e = Value(pPlan, i, k) - 2 * Value(pPlan, i - 1, k) + Value(pPlan, i - 2, k);
            for (int32_t a = 0; a < 3; a++) {
                const int64_t lRow = i - 2 + a;
                if (lRow < 0) continue;
                pPlan->r[3 * lRow + k] -= kDifference[a] * e;
                for (int32_t c = lRow >= a ? 0 : a - (int32_t)lRow; c <= a; c++)
                    pPlan->b[kBands * (3 * lRow + k) + 3 * (a - c)] += kDifference[a] * kDifference[c];
            }
        }
}

void AddFollowing(Plan *pPlan) {
    for (int64_t i = 0; i < 3 * pPlan->n; i++) {
        const bool bHeld = !pPlan->bRoll && i % 3 == 2;
        pPlan->b[kBands * i] += bHeld ? kFixed : pPlan->dLambda;
        pPlan->r[i] -= (bHeld ? kFixed : pPlan->dLambda) * pPlan->u[i];
    }
}

void AddMargins(Plan *pPlan, double dBarrier) {
    for (int64_t i = 0; i < kRows * pPlan->n; i++) {
        const double *g = pPlan->g + 3 * i;
        const int64_t lFirst = 3 * (i / kRows);
        const double dStiff = pPlan->z[i] / pPlan->s[i], dPush = dBarrier / pPlan->s[i];
        for (int32_t a = 0; a < 3; a++) {
            pPlan->r[lFirst + a] -= g[a] * dPush;
            for (int32_t c = 0; c <= a; c++)
                pPlan->b[kBands * (lFirst + a) + a - c] += dStiff * g[a] * g[c];
        }
    }
}

// The matrix becomes L below the diagonal, with D on it.
void Factor(double *b, int64_t n) {
    for (int64_t i = 0; i < n; i++) {
        double *pRow = b + kBands * i;
        for (int64_t j = i < kBands ? 0 : i - kBands + 1; j < i; j++) {
            double v = pRow[i - j];
            for (int64_t k = i < kBands ? 0 : i - kBands + 1; k < j; k++)
                v -= pRow[i - k] * b[kBands * j + j - k];
            pRow[i - j] = v; // L D so far
        }
        for (int64_t j = i < kBands ? 0 : i - kBands + 1; j < i; j++) {
            const double l = pRow[i - j] / b[kBands * j];
            pRow[0] -= l * pRow[i - j];
            pRow[i - j] = l;
        }
    }
}

void Solve(const double *b, double *r, int64_t n) {
    for (int64_t i = 0; i < n; i++)
        for (int64_t j = i < kBands ? 0 : i - kBands + 1; j < i; j++)
            r[i] -= b[kBands * i + i - j] * r[j];
    for (int64_t i = 0; i < n; i++) r[i] /= b[kBands * i];
    for (int64_t i = n - 1; i >= 0; i--)
        for (int64_t j = i + 1; j < n && j < i + kBands; j++) r[i] -= b[kBands * j + j - i] * r[j];
}

// How far a step may go until a value that must stay above 0 would reach it.
double Reach(const double *pValue, const double *pStep, int64_t n) {
    double dReach = 1 / kToTheWall;
    for (int64_t i = 0; i < n; i++)
        if (pStep[i] < 0 && -pValue[i] / pStep[i] < dReach) dReach = -pValue[i] / pStep[i];
    return dReach * kToTheWall;
}

void Advance(double *pValue, const double *pStep, int64_t n, double dShare) {
    for (int64_t i = 0; i < n; i++) pValue[i] += dShare * pStep[i];
}

void NewtonStep(Plan *pPlan) {
    const int64_t n = pPlan->n, lMargins = kRows * n;
    double dMean = 0;
    for (int64_t i = 0; i < lMargins; i++) dMean += pPlan->s[i] * pPlan->z[i];
    dMean = kBarrierStep * dMean / (double)lMargins;
    const double dBarrier = dMean > pPlan->dLastBarrier ? dMean : pPlan->dLastBarrier;
    for (int64_t i = 0; i < 3 * n; i++) pPlan->r[i] = 0;
    for (int64_t i = 0; i < kBands * 3 * n; i++) pPlan->b[i] = 0;
    AddBends(pPlan);
    AddFollowing(pPlan);
    AddMargins(pPlan, dBarrier);
    Factor(pPlan->b, 3 * n);
    Solve(pPlan->b, pPlan->r, 3 * n);
    for (int64_t i = 0; i < lMargins; i++) {
        const double *g = pPlan->g + 3 * i, *d = pPlan->r + 3 * (i / kRows);
        pPlan->ds[i] = -(g[0] * d[0] + g[1] * d[1] + g[2] * d[2]);
        pPlan->dz[i] = dBarrier / pPlan->s[i] - pPlan->z[i] - pPlan->z[i] / pPlan->s[i] * pPlan->ds[i];
    }
    const double dReach = Reach(pPlan->s, pPlan->ds, lMargins);
    Advance(pPlan->u, pPlan->r, 3 * n, dReach);
    Advance(pPlan->s, pPlan->ds, lMargins, dReach);
    Advance(pPlan->z, pPlan->dz, lMargins, Reach(pPlan->z, pPlan->dz, lMargins));
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
    st.p = pTask->pRoom;
    st.u = st.p + 3 * n;
    st.r = st.u + 3 * n;
    st.g = st.r + 3 * n;
    st.s = st.g + 3 * kRows * n;
    st.z = st.s + kRows * n;
    st.ds = st.z + kRows * n;
    st.dz = st.ds + kRows * n;
    st.b = st.dz + kRows * n;
    return st;
}

void Put(const SmoothSettings *pSettings, Picture st, double *p) {
    p[0] = st.dX / pSettings->dWidth;
    p[1] = st.dY / pSettings->dWidth;
    p[2] = st.dRoll;
}

} // namespace

int64_t PlanRoom(int64_t llFrames) { return llFrames * (3 * 3 + 3 * kRows + 4 * kRows + 3 * kBands); }

void PlanPath(const PlanTask *pTask, Picture *pPictures) {
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
    SetRows(pTask->pSettings, &st);
    for (int32_t i = 0; i < kSteps; i++) NewtonStep(&st);
    for (int64_t i = 0; i < st.n; i++)
        pPictures[i] = {st.u[3 * i] * dWidth, st.u[3 * i + 1] * dWidth, st.u[3 * i + 2]};
}

// SPDX-License-Identifier: BSD-2-Clause
// Least squares of the tiles' vectors, each weighted by what it tells. Tiles that move on their own
// lose their weight from step to step; the first steps allow more, so that a large object does not
// take the picture with it. Where near and far things move apart, as seen from a moving car, half of
// the tiles deviate by much. Then as much is allowed to all: the fit is near the middle of them, while
// a narrow one would jump from frame to frame between the things that it fits best.
#include "model/rigid_fit.h"

namespace {

const int32_t kLeastTiles = 4;
const int32_t kSteps = 8;
const double kFirstScale = 3;       // standard deviations count as one at the first step
const double kScaleStep = 0.7;      // from step to step, down to 1
const double kUsualSquare = 1.3863; // median of a squared deviation, two axes together: 2 ln 2
const int32_t kSample = 256;        // tiles that the median is taken of, at most
const double kOutlier = 4;          // squared standard deviations: a tile that far off counts a quarter
const double kTextured = 4;         // variance of a tile that shows something
const double kExplained = 0.5;      // a tile matches when less of its variance remains

// Normal equations of (col, row, theta): the upper half and the right side.
struct Normal {
    double d[3][4];
};

// How far the tile's vector is from what the motion says, in squared standard deviations.
double Deviation(const TileFlow *pFlow, const RigidMotion *pMotion) {
    const double dCol = pFlow->dCol - (pMotion->dCol - pMotion->dTheta * pFlow->dY);
    const double dRow = pFlow->dRow - (pMotion->dRow + pMotion->dTheta * pFlow->dX);
    return dCol * dCol * pFlow->dXX + 2 * dCol * dRow * pFlow->dXY + dRow * dRow * pFlow->dYY;
}

// The value that would stand at lPlace if they were sorted. Changes their order.
double SelectSorted(double *p, int32_t lCount, int32_t lPlace) {
    int32_t lFirst = 0, lLast = lCount - 1;
    while (lFirst < lLast) {
        const double dPivot = p[lPlace];
        int32_t i = lFirst, j = lLast;
        while (i <= j) {
            while (p[i] < dPivot) i++;
            while (dPivot < p[j]) j--;
            if (i > j) break;
            const double d = p[i];
            p[i++] = p[j];
            p[j--] = d;
        }
        if (j < lPlace) lFirst = i;
        if (lPlace < i) lLast = j;
    }
    return p[lPlace];
}

// The median of the tiles' deviations, in standard deviations.
double UsualDeviation(const TileFlow *pFlows, int32_t lCount, const RigidMotion *pMotion) {
    double dSample[kSample] = {};
    int32_t lSample = 0;
    for (int32_t i = 0; i < lCount; i += (lCount + kSample - 1) / kSample)
        dSample[lSample++] = Deviation(pFlows + i, pMotion);
    return __builtin_sqrt(SelectSorted(dSample, lSample, lSample / 2) / kUsualSquare);
}

void AddFlow(const TileFlow *pFlow, const RigidMotion *pMotion, double dScale, Normal *pSum) {
    const double x = pFlow->dX, y = pFlow->dY;
    const double dFar = Deviation(pFlow, pMotion) / (dScale * dScale);
    double w = 1 / (1 + dFar / kOutlier);
    w *= w;
    const double dXX = w * pFlow->dXX, dXY = w * pFlow->dXY, dYY = w * pFlow->dYY;
    const double dXT = dXY * x - dXX * y, dYT = dYY * x - dXY * y;
    const double dBX = dXX * pFlow->dCol + dXY * pFlow->dRow;
    const double dBY = dXY * pFlow->dCol + dYY * pFlow->dRow;
    pSum->d[0][0] += dXX;
    pSum->d[0][1] += dXY;
    pSum->d[0][2] += dXT;
    pSum->d[1][1] += dYY;
    pSum->d[1][2] += dYT;
    pSum->d[2][2] += dYT * x - dXT * y;
    pSum->d[0][3] += dBX;
    pSum->d[1][3] += dBY;
    pSum->d[2][3] += dBY * x - dBX * y;
}

// Solves by LDL'; false where the tiles leave a direction open. A pivot is the inverse variance of its
// unknown when those before it are unknown too, and those after it are known.
bool SolveNormal(Normal *pNormal, RigidMotion *pMotion, double *pPivots) {
    double(*d)[4] = pNormal->d;
    const double l10 = d[0][1] / d[0][0], l20 = d[0][2] / d[0][0];
    const double d1 = d[1][1] - l10 * d[0][1];
    const double e12 = d[1][2] - l10 * d[0][2];
    const double l21 = e12 / d1;
    const double d2 = d[2][2] - l20 * d[0][2] - l21 * e12;
    pPivots[0] = d[0][0];
    pPivots[1] = d1;
    pPivots[2] = d2;
    if (!(d[0][0] > 1e-12) || !(d1 > 1e-12) || !(d2 > 1e-12)) return false;
    const double y0 = d[0][3], y1 = d[1][3] - l10 * y0, y2 = d[2][3] - l20 * y0 - l21 * y1;
    pMotion->dTheta = y2 / d2;
    pMotion->dRow = y1 / d1 - l21 * pMotion->dTheta;
    pMotion->dCol = y0 / d[0][0] - l10 * pMotion->dRow - l20 * pMotion->dTheta;
    return true;
}

void CountMatches(const TileFlow *pFlows, int32_t lCount, RigidFit *pFit) {
    pFit->lTiles = lCount;
    pFit->lTextured = pFit->lMatched = pFit->lAlike = 0;
    for (int32_t i = 0; i < lCount; i++) {
        const bool bTextured = pFlows[i].dTexture >= kTextured;
        const bool bAlike = pFlows[i].dNoise < kExplained * pFlows[i].dTexture;
        pFit->lTextured += bTextured;
        pFit->lMatched += bTextured && bAlike;
        pFit->lAlike += bAlike;
    }
}

} // namespace

bool FitRigid(const TileFlow *pFlows, int32_t lCount, int32_t lLevel, RigidFit *pFit) {
    CountMatches(pFlows, lCount, pFit);
    if (lCount < kLeastTiles) return false;
    const double dLevel = 1 << lLevel;
    RigidMotion st = {pFit->stMotion.dCol / dLevel, pFit->stMotion.dRow / dLevel,
                      pFit->stMotion.dTheta};
    double dLeast = kFirstScale, dPivots[3];
    for (int32_t i = 0; i < kSteps; i++) {
        const double dUsual = UsualDeviation(pFlows, lCount, &st);
        const double dScale = dUsual > dLeast ? dUsual : dLeast;
        Normal stSum = {};
        for (int32_t k = 0; k < lCount; k++) AddFlow(pFlows + k, &st, dScale, &stSum);
        if (!SolveNormal(&stSum, &st, dPivots)) return false;
        dLeast = dLeast * kScaleStep > 1 ? dLeast * kScaleStep : 1;
    }
    pFit->stMotion = {st.dCol * dLevel, st.dRow * dLevel, st.dTheta};
    pFit->dShiftError = dLevel / __builtin_sqrt(Smaller(dPivots[0], dPivots[1]));
    pFit->dThetaError = 1 / __builtin_sqrt(dPivots[2]);
    return true;
}

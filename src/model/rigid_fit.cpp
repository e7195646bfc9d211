// SPDX-License-Identifier: BSD-2-Clause
// Least squares of the tiles' vectors, each weighted by what it tells. Tiles that move on their own
// lose their weight from step to step; the first steps allow more, so that a large object does not
// take the picture with it.
#include "model/rigid_fit.h"

namespace {

const int32_t kLeastTiles = 4;
const int32_t kSteps = 8;
const double kFirstScale = 3; // times the usual deviation is allowed at the first step
const double kScaleStep = 0.7;
const double kOutlier = 4;     // squared standard deviations: a tile that far off counts a quarter
const double kTextured = 4;    // variance of a tile that shows something
const double kExplained = 0.5; // a tile matches when less of its variance remains

// Normal equations of (col, row, theta): the upper half and the right side.
struct Normal {
    double d[3][4];
};

void AddFlow(const TileFlow *pFlow, const RigidMotion *pMotion, double dScale, Normal *pSum) {
    const double x = pFlow->dX, y = pFlow->dY;
    const double dCol = pFlow->dCol - (pMotion->dCol - pMotion->dTheta * y);
    const double dRow = pFlow->dRow - (pMotion->dRow + pMotion->dTheta * x);
    const double dFar =
        (dCol * dCol * pFlow->dXX + 2 * dCol * dRow * pFlow->dXY + dRow * dRow * pFlow->dYY) /
        (dScale * dScale);
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

// Solves by LDL'; false where the tiles leave a direction open. A pivot is what they tell of its
// unknown while those before it are free and those after it known.
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

bool FitRigid(const TileFlow *pFlows, int32_t lCount, int32_t lLevel, bool bFirst, RigidFit *pFit) {
    CountMatches(pFlows, lCount, pFit);
    if (lCount < kLeastTiles) return false;
    const double dLevel = 1 << lLevel;
    RigidMotion st = {pFit->stMotion.dCol / dLevel, pFit->stMotion.dRow / dLevel,
                      pFit->stMotion.dTheta};
    double dScale = bFirst ? kFirstScale : 1, dPivots[3];
    for (int32_t i = 0; i < kSteps; i++) {
        Normal stSum = {};
        for (int32_t k = 0; k < lCount; k++) AddFlow(pFlows + k, &st, dScale, &stSum);
        if (!SolveNormal(&stSum, &st, dPivots)) return false;
        dScale = dScale * kScaleStep > 1 ? dScale * kScaleStep : 1;
    }
    pFit->stMotion = {st.dCol * dLevel, st.dRow * dLevel, st.dTheta};
    const double dLess = dPivots[0] < dPivots[1] ? dPivots[0] : dPivots[1];
    pFit->dShiftError = dLevel / __builtin_sqrt(dLess);
    pFit->dThetaError = 1 / __builtin_sqrt(dPivots[2]);
    return true;
}

// SPDX-License-Identifier: BSD-2-Clause
#include "api/plane_check.h"

#include "size_rules.h"

namespace {

const int32_t kMostSite = 16; // quarters of a pixel

int64_t RowBytes(const MVS_Plane *pPlane) {
    return (int64_t)pPlane->lWidth * pPlane->lChannels * pPlane->lSampleBytes;
}

bool HasLayout(const MVS_Plane *p) {
    if (p->lChannels < 1 || p->lChannels > 4 || p->lLuma < 0 || p->lLuma >= p->lChannels) return false;
    if (p->lSampleBytes == 1) return p->lBits == 8 && p->lLowestBit == 0;
    return p->lSampleBytes == 2 && p->lBits >= 8 && p->lBits <= 16 && p->lLowestBit >= 0 &&
           p->lLowestBit <= 16 - p->lBits;
}

bool HasPlace(const MVS_Plane *p) {
    if (p->lLog2X < 0 || p->lLog2X > 2 || p->lLog2Y < 0 || p->lLog2Y > 2) return false;
    if (p->lSiteX < -kMostSite || p->lSiteX > kMostSite) return false;
    return p->lSiteY >= -kMostSite && p->lSiteY <= kMostSite;
}

// A side of a subsampled plane may be rounded up or down.
bool IsSide(int32_t lSide, int32_t lWhole, int32_t lLog2) {
    return lSide >= 1 && (lSide == lWhole >> lLog2 || lSide == (lWhole + (1 << lLog2) - 1) >> lLog2);
}

// The first byte, and the one after the last.
struct Extent {
    uint64_t llFirst, llEnd;
};

// False where memory has no such addresses.
bool FindExtent(const MVS_Plane *p, Extent *pExtent) {
    const int64_t llLastRow = (int64_t)(p->lHeight - 1) * p->llPitch;
    const uint64_t llTop = (uintptr_t)p->pPixels;
    const uint64_t llAbove = llLastRow < 0 ? (uint64_t)-llLastRow : 0;
    const uint64_t llBelow = (uint64_t)((llLastRow > 0 ? llLastRow : 0) + RowBytes(p));
    if (llAbove > llTop || llBelow > UINTPTR_MAX - llTop) return false;
    *pExtent = {llTop - llAbove, llTop + llBelow};
    return true;
}

} // namespace

bool IsPlaneOf(const MVS_Plane *p, int32_t lWidth, int32_t lHeight) {
    // Planes come in arrays: a record of another size would put the next one elsewhere.
    if (p->lSize != (int32_t)sizeof(MVS_Plane) || !p->pPixels || !HasLayout(p) || !HasPlace(p))
        return false;
    if (!IsSide(p->lWidth, lWidth, p->lLog2X) || !IsSide(p->lHeight, lHeight, p->lLog2Y)) return false;
    const int64_t llMost = INT32_MAX; // far beyond every row: offsets stay within 64 bits
    if (p->llPitch < -llMost || p->llPitch > llMost) return false;
    if ((p->llPitch < 0 ? -p->llPitch : p->llPitch) < RowBytes(p)) return false;
    Extent st;
    if (!FindExtent(p, &st)) return false;
    return p->lSampleBytes == 1 || (((uintptr_t)p->pPixels & 1) == 0 && p->llPitch % 2 == 0);
}

bool SameLayout(const MVS_Plane *pOne, const MVS_Plane *pOther) {
    return pOne->lChannels == pOther->lChannels && pOne->lSampleBytes == pOther->lSampleBytes &&
           pOne->lBits == pOther->lBits && pOne->lLowestBit == pOther->lLowestBit &&
           pOne->lLog2X == pOther->lLog2X && pOne->lLog2Y == pOther->lLog2Y &&
           pOne->lSiteX == pOther->lSiteX && pOne->lSiteY == pOther->lSiteY;
}

bool Overlap(const MVS_Plane *pOne, const MVS_Plane *pOther) {
    Extent stOne, stOther;
    if (!FindExtent(pOne, &stOne) || !FindExtent(pOther, &stOther)) return true;
    return stOne.llFirst < stOther.llEnd && stOther.llFirst < stOne.llEnd;
}

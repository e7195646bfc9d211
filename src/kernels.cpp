// SPDX-License-Identifier: BSD-2-Clause
// Where an instruction set has no kernel of its own, its table has that of the next lower one.
#include "kernels.h"

namespace {

constexpr Kernels kPortable = {
    GatherGridPortable,   GridSadPortable,   BlockSad32Portable, Texture32Portable,
    RowErrorPortable,     StripPortable,     LumaPixelsPortable, NearestPixelsPortable,
    NearestPairsPortable, HalveRowPortable,  TileSumsPortable,   PatchErrorPortable,
    FineLinearPortable,   FineCubicPortable, FineLinearPortable, FineCubicPortable};

#ifdef QEL_X86
constexpr Kernels WithSse2(Kernels st) {
    st.pGatherGrid = GatherGridSse2;
    st.pGridSad = GridSadSse2;
    st.pBlockSad32 = BlockSad32Sse2;
    st.pTexture32 = Texture32Sse2;
    st.pHalveRow = HalveRowSse2;
    st.pTileSums = TileSumsSse2;
    st.pPatchError = PatchErrorSse2;
    return st;
}

constexpr Kernels WithSsse3(Kernels st) {
    st.pStrip = StripSsse3;
    st.pLumaPixels = LumaPixelsSsse3;
    st.pNearestPixels = NearestPixelsSsse3;
    st.pNearestPairs = NearestPairsSsse3;
    st.pFineLinear = FineLinearSsse3;
    st.pFineCubic = FineCubicSsse3;
    return st;
}

#ifdef QEL_AVX2
constexpr Kernels WithAvx2(Kernels st) {
    st.pGridSad = GridSadAvx2;
    st.pRowError = RowErrorAvx2;
    st.pStrip = StripAvx2;
    st.pLumaPixels = LumaPixelsAvx2;
    st.pNearestPixels = NearestPixelsAvx2;
    st.pNearestPairs = NearestPairsAvx2;
    st.pTileSums = TileSumsAvx2;
    st.pFineLinear = FineLinearAvx2;
    st.pFineCubic = FineCubicAvx2;
    st.pFineLinearWords = FineLinearWordsAvx2;
    st.pFineCubicWords = FineCubicWordsAvx2;
    return st;
}
#endif

constexpr Kernels kSse2 = WithSse2(kPortable);
constexpr Kernels kSsse3 = WithSsse3(kSse2);
#ifdef QEL_AVX2
constexpr Kernels kAvx2 = WithAvx2(kSsse3);
#endif
#elif defined(QEL_NEON)
constexpr Kernels kNeon = {GatherGridNeon,   GridSadNeon,   BlockSad32Neon,      Texture32Neon,
                           RowErrorNeon,     StripNeon,     LumaPixelsNeon,      NearestPixelsNeon,
                           NearestPairsNeon, HalveRowNeon,  TileSumsNeon,        PatchErrorNeon,
                           FineLinearNeon,   FineCubicNeon, FineLinearWordsNeon, FineCubicWordsNeon};
#endif

} // namespace

const Kernels *KernelsOf(CpuLevel eLevel) {
    switch (eLevel) {
#ifdef QEL_X86
    case kCpuSse2:
        return &kSse2;
    case kCpuSsse3:
        return &kSsse3;
#ifdef QEL_AVX2
    case kCpuAvx2:
        return &kAvx2;
#endif
#elif defined(QEL_NEON)
    case kCpuNeon:
        return &kNeon;
#endif
    default:
        return &kPortable;
    }
}

const Kernels *ProcessorKernels() { return KernelsOf(ChooseCpuLevel()); }

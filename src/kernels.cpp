// SPDX-License-Identifier: BSD-2-Clause
// Where an instruction set has no kernel of its own, its table has that of the next lower one.
#include "kernels.h"

namespace {

const Kernels kPortable = {GatherGridPortable, GridSadPortable,       BlockSad32Portable,
                           Texture32Portable,  RowErrorPortable,      StripPortable,
                           LumaPixelsPortable, NearestPixelsPortable, NearestPairsPortable,
                           HalveRowPortable,   TileSumsPortable,      PatchErrorPortable,
                           FineLinearPortable, FineCubicPortable};
#ifdef QEL_X86
const Kernels kSse2 = {
    GatherGridSse2, GridSadSse2,        BlockSad32Sse2,        Texture32Sse2,        RowErrorPortable,
    StripPortable,  LumaPixelsPortable, NearestPixelsPortable, NearestPairsPortable, HalveRowSse2,
    TileSumsSse2,   PatchErrorSse2,     FineLinearPortable,    FineCubicPortable};
const Kernels kSsse3 = {GatherGridSse2,    GridSadSse2,   BlockSad32Sse2,  Texture32Sse2,
                        RowErrorPortable,  StripSsse3,    LumaPixelsSsse3, NearestPixelsSsse3,
                        NearestPairsSsse3, HalveRowSse2,  TileSumsSse2,    PatchErrorSse2,
                        FineLinearSsse3,   FineCubicSsse3};
const Kernels kAvx2 = {GatherGridSse2,   GridSadAvx2,  BlockSad32Sse2, Texture32Sse2,
                       RowErrorAvx2,     StripAvx2,    LumaPixelsAvx2, NearestPixelsAvx2,
                       NearestPairsAvx2, HalveRowSse2, TileSumsAvx2,   PatchErrorSse2,
                       FineLinearAvx2,   FineCubicAvx2};
#elif defined(QEL_NEON)
const Kernels kNeon = {GatherGridNeon,   GridSadNeon,  BlockSad32Neon, Texture32Neon,
                       RowErrorNeon,     StripNeon,    LumaPixelsNeon, NearestPixelsNeon,
                       NearestPairsNeon, HalveRowNeon, TileSumsNeon,   PatchErrorNeon,
                       FineLinearNeon,   FineCubicNeon};

#endif

} // namespace

const Kernels *KernelsOf(CpuLevel eLevel) {
    switch (eLevel) {
#ifdef QEL_X86
    case kCpuSse2:
        return &kSse2;
    case kCpuSsse3:
        return &kSsse3;
    case kCpuAvx2:
        return &kAvx2;
#elif defined(QEL_NEON)
    case kCpuNeon:
        return &kNeon;
#endif
    default:
        return &kPortable;
    }
}

const Kernels *ProcessorKernels() { return KernelsOf(ChooseCpuLevel()); }

// SPDX-License-Identifier: BSD-2-Clause
#include "support/refined_run.h"

std::string RefinedCase::Name() const {
    const Case c = {in, out, format, 3, Entry::Diff, 0};
    return "refined/" + c.Name() + (cubic ? "/cubic" : "") +
           (planes ? "/ahead" + std::to_string(lookahead) : "");
}

MVS_Plane PlaneOf(const uint8_t *pixels, int32_t width, int32_t height, int32_t channels) {
    MVS_Plane plane = {};
    plane.lSize = (int32_t)sizeof(plane);
    plane.lWidth = width;
    plane.lHeight = height;
    plane.lChannels = channels;
    plane.lSampleBytes = 1;
    plane.lBits = 8;
    plane.llPitch = (int64_t)width * channels;
    plane.pPixels = const_cast<uint8_t *>(pixels);
    return plane;
}

int32_t PlanesOfFrame(Size size, bool pairs, uint8_t *frame, MVS_Plane *planes) {
    planes[0] = PlaneOf(frame, size.width, size.height);
    uint8_t *chroma = frame + size.Luma();
    for (int32_t i = 1; i < 3; i++, chroma += size.Luma() >> 2) {
        planes[i] = PlaneOf(chroma, size.width >> 1, size.height >> 1, pairs ? 2 : 1);
        planes[i].lLog2X = planes[i].lLog2Y = 1;
        planes[i].lSiteY = 2;
    }
    return pairs ? 2 : 3;
}

uint64_t RunRefined(const RefinedCase &c, const std::vector<Bytes> &planarClip) {
    const Handle handle = MakeHandle(c.in, c.out, c.format);
    MVS_Context *ctx = handle.get();
    uint64_t hash = Hash({});
    if (!QEL_MVS_SetRefined(ctx, 1) || !QEL_MVS_SetLookahead(ctx, c.lookahead) ||
        !QEL_MVS_SetCubic(ctx, c.cubic))
        return hash;
    size_t pulled = 0;
    MVS_Plane from[3], to[3];
    for (size_t i = 0; i <= planarClip.size(); i++) {
        const bool more = i < planarClip.size();
        Bytes frame = planarClip[more ? i : 0], out((size_t)c.out.Frame(), kUntouched);
        if (!c.planes) {
            if (more)
                QEL_MVS_StabilizeFrame(ctx, (c.format ? ToPairs(frame, c.in) : frame).data(),
                                       out.data());
            hash = Hash(out, hash);
            continue;
        }
        PlanesOfFrame(c.in, c.format, frame.data(), from);
        if (!(more ? QEL_MVS_PushLuma(ctx, from) : QEL_MVS_EndStream(ctx))) return 0;
        MVS_Compensation record = {};
        record.lSize = (int32_t)sizeof(record);
        for (; QEL_MVS_PullCompensation(ctx, &record); pulled++) {
            Bytes picture = c.format ? ToPairs(planarClip[pulled], c.in) : planarClip[pulled];
            const int32_t count = PlanesOfFrame(c.in, c.format, picture.data(), from);
            PlanesOfFrame(c.out, c.format, out.data(), to);
            if (!QEL_MVS_CompensateFrame(ctx, &record, from, to, count)) return 0;
            hash = Hash(out, hash);
            for (int32_t word : {record.lRow, record.lCol, record.lTheta, record.lStep,
                                 record.lMotionRow, record.lMotionCol, record.lMotionTheta})
                hash = (hash ^ (uint32_t)word) * 1099511628211u;
        }
    }
    return c.planes && pulled != planarClip.size() ? 0 : hash;
}

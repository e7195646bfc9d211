// SPDX-License-Identifier: BSD-2-Clause
// Handles for pitched frames, and UYVY, with every plane against a guard page. matrix_test.cpp compares
// the frames.
#include <gtest/gtest.h>
#include <string.h>

#include "support/faults.h"
#include "support/pitched.h"
#include "support/run.h"

namespace {

struct PitchHandleDeleter {
    void operator()(MVS_Context *ctx) const { QEL_MVS_DestroyStabilizerPitch(ctx); }
};
using PitchHandle = std::unique_ptr<MVS_Context, PitchHandleDeleter>;

TEST(Pitched, BadArgumentsTouchNothing) {
    const Size size = {64, 48};
    for (int32_t format = 0; format < 2; format++) {
        PitchedFrame in(size, format, 3, false, Guarded::kAtEnd),
            out(size, format, 3, false, Guarded::kAtEnd);
        const PitchHandle handle(QEL_MVS_CreateStabilizerPitch(in.image));
        const Handle plain = MakeHandle(size, format);
        const Bytes before((size_t)size.Frame(), kUntouched);
        const auto Taken = [&] {
            Bytes frame = before;
            EXPECT_TRUE(out.Get(&frame));
            return frame;
        };
        const auto Refused = [&](MVS_Context *ctx, MVS_PitchImage from, MVS_PitchImage to) {
            QEL_MVS_StabilizeFramePitch(ctx, from, to);
            QEL_MVS_StabilizeFrame_DiffBufferPitch(ctx, from, to);
            EXPECT_EQ(ctx ? ctx->lFrameCount : 0, 0);
            EXPECT_EQ(Taken(), before);
        };
        Refused(nullptr, in.image, out.image);
        Refused(plain.get(), in.image, out.image);
        QEL_MVS_StabilizeFrame_SameBufferPitch(plain.get(), out.image);
        for (int i = 0; i < 3 - format; i++) {
            for (int32_t pitch : {(i ? 31 + 32 * format : 63), -31, 0}) {
                MVS_PitchImage bad = in.image;
                bad.lPitch[i] = pitch;
                Refused(handle.get(), bad, out.image);
            }
            MVS_PitchImage bad = out.image;
            bad.pPlane[i] = nullptr;
            Refused(handle.get(), in.image, bad);
            Refused(handle.get(), bad, bad);
        }
        handle->lInFormat = 2;
        Refused(handle.get(), in.image, out.image);
        EXPECT_EQ(Taken(), before);
        handle->lInFormat = format;
    }
}

// Images that share their chroma but not their luma are two images: the input's luma must stay.
TEST(Pitched, InPlaceOnlyWhenAllPlanesAreShared) {
    const Size size = {64, 48};
    const Bytes frame = ShakyClip(size, 1)[0], empty((size_t)size.Frame(), kUntouched);
    PitchedFrame in(size, 0, 3, false, Guarded::kAtEnd), out(size, 0, 3, false, Guarded::kAtEnd);
    const PitchHandle handle(QEL_MVS_CreateStabilizerPitch(in.image));
    in.Put(frame);
    MVS_PitchImage mixed = in.image;
    mixed.pPlane[0] = out.image.pPlane[0];
    QEL_MVS_StabilizeFramePitch(handle.get(), in.image, mixed);
    Bytes kept = empty, made = empty;
    EXPECT_TRUE(in.Get(&kept) && out.Get(&made));
    EXPECT_TRUE(std::equal(frame.begin(), frame.begin() + size.Luma(), kept.begin()));
    EXPECT_NE(made, empty);
}

TEST(Pitched, EitherDestructorFreesAll) {
    const int live = Faults::Live();
    MVS_PitchImage image = {1, 128, 96, {nullptr, nullptr, nullptr, nullptr}, {-1, 7, 1 << 30, 5}};
    for (int i = 0; i < 2; i++) {
        MVS_Context *ctx = QEL_MVS_CreateStabilizerPitch(image);
        ASSERT_TRUE(ctx);
        EXPECT_EQ(ctx->lPitch0, -1);
        EXPECT_EQ(ctx->lPitch1, 7);
        EXPECT_EQ(ctx->lPitch2, 1 << 30);
        if (i)
            QEL_MVS_DestroyStabilizer(ctx);
        else
            QEL_MVS_DestroyStabilizerPitch(ctx);
        EXPECT_EQ(Faults::Live(), live);
    }
    for (int n = 1;; n++) { // fails every allocation of the creation in turn
        Faults::Reset();
        Faults::FailAllocation(n);
        MVS_Context *ctx = QEL_MVS_CreateStabilizerPitch(image);
        Faults::FailAllocation(0);
        if (ctx) {
            QEL_MVS_DestroyStabilizerPitch(ctx);
            EXPECT_GT(n, 7);
            break;
        }
        EXPECT_EQ(Faults::Live(), live) << n;
    }
}

TEST(Uyvy, ThereAndBackAtOddSizes) {
    for (Size size : {Size{1, 1}, {2, 1}, {3, 3}, {7, 4}, {8, 5}, {64, 48}})
        for (int32_t padding : {0, 1, 63}) {
            const int32_t pitch = 2 * size.width + padding, pairs = size.width >> 1,
                          rows = size.height >> 1;
            const Bytes frame = Noise(size.Frame() + 4, 5);
            Guarded y((size_t)size.Luma()), u((size_t)size.Chroma()), v((size_t)size.Chroma());
            Guarded packed((size_t)(pitch * (size.height - 1) + 4 * pairs), Guarded::kAtEnd,
                           kUntouched);
            memcpy(y.Data(), frame.data(), y.Size());
            memcpy(u.Data(), frame.data() + 1, u.Size());
            memcpy(v.Data(), frame.data() + 2, v.Size());
            I420_uyvy_conversion_c(y.Data(), u.Data(), v.Data(), packed.Data(), size.width, size.height,
                                   pitch);
            for (int32_t r = 0; r < size.height; r++)
                for (int32_t i = 0; i < pairs; i++) {
                    const int32_t c = std::min(r >> 1, rows - 1) * pairs + i;
                    const uint8_t want[4] = {
                        rows ? u.Data()[c] : (uint8_t)128, y.Data()[r * size.width + 2 * i],
                        rows ? v.Data()[c] : (uint8_t)128, y.Data()[r * size.width + 2 * i + 1]};
                    ASSERT_EQ(memcmp(packed.Data() + r * pitch + 4 * i, want, 4), 0) << r << " " << i;
                }
            const Bytes before(packed.Data(), packed.Data() + packed.Size());
            Guarded y2(y.Size(), Guarded::kAtEnd, kUntouched), u2(u.Size()), v2(v.Size());
            uyvy_I420_conversion_c(packed.Data(), y2.Data(), u2.Data(), v2.Data(), size.width,
                                   size.height, pitch);
            for (int32_t k = 0; k < size.Luma(); k++) {
                const bool single = size.width % 2 && k % size.width == size.width - 1;
                ASSERT_EQ(y2.Data()[k], single ? kUntouched : y.Data()[k]);
            }
            EXPECT_EQ(memcmp(u.Data(), u2.Data(), u.Size()), 0);
            EXPECT_EQ(memcmp(v.Data(), v2.Data(), v.Size()), 0);
            I420_uyvy_conversion_c(y.Data(), u.Data(), v.Data(), packed.Data(), size.width, size.height,
                                   2 * size.width - 1); // too short: ignored
            EXPECT_EQ(Bytes(packed.Data(), packed.Data() + packed.Size()), before);
        }
}

TEST(Uyvy, ChromaComesFromEvenRows) {
    const uint8_t packed[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    uint8_t y[16], u[4] = {0, 0, 0, 0}, v[4] = {0, 0, 0, 0};
    uyvy_I420_conversion_c(packed, y, u, v, 2, 4, 4);
    EXPECT_EQ(u[0], 1);
    EXPECT_EQ(v[0], 3);
    EXPECT_EQ(u[1], 9);
    EXPECT_EQ(v[1], 11);
}

} // namespace

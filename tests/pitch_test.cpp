// Pitched frames against the packed calls, and UYVY, with every plane against a guard page.
#include <gtest/gtest.h>
#include <string.h>

#include "quorvel/pitch.h"
#include "support/faults.h"
#include "support/run.h"

namespace {

// One plane in memory of its own, first row to the end of the last, rows `pitch` apart.
class PitchedPlane {
public:
    PitchedPlane(int32_t width, int32_t height, int32_t pitch, Guarded::Side side)
        : mWidth(width), mHeight(height), mPitch(pitch),
          mMemory((size_t)(abs(pitch) * (height - 1) + width), side, kUntouched) {}
    // The top row: the last one in memory where the picture stands bottom up.
    uint8_t *Top() const { return mMemory.Data() + (mPitch < 0 ? (ptrdiff_t)-mPitch * (mHeight - 1) : 0); }
    void Put(const uint8_t *packed) {
        for (int32_t y = 0; y < mHeight; y++) memcpy(Row(y), packed + y * mWidth, (size_t)mWidth);
    }
    // Appends the rows, and checks what lies between them.
    void Get(Bytes *packed) const {
        Bytes rest(mMemory.Data(), mMemory.Data() + mMemory.Size());
        for (int32_t y = 0; y < mHeight; y++) {
            packed->insert(packed->end(), Row(y), Row(y) + mWidth);
            memset(rest.data() + (Row(y) - mMemory.Data()), kUntouched, (size_t)mWidth);
        }
        ASSERT_EQ(rest, Bytes(mMemory.Size(), kUntouched)) << "padding was written";
    }

private:
    uint8_t *Row(int32_t y) const { return Top() + (ptrdiff_t)y * mPitch; }
    int32_t mWidth, mHeight, mPitch;
    Guarded mMemory;
};

struct PitchedFrame {
    MVS_PitchImage image = {};
    std::vector<std::unique_ptr<PitchedPlane>> planes;

    PitchedFrame(Size size, int32_t format, int32_t padding, bool bottomUp, Guarded::Side side) {
        image.lFormat = format;
        image.lWidth = size.width;
        image.lHeight = size.height;
        const int32_t rows = size.height >> 1, half = size.width >> 1;
        Add(0, size.width, size.height, padding, bottomUp, side);
        Add(1, format == 1 ? size.width : half, rows, padding, bottomUp, side);
        if (format == 0) Add(2, half, rows, padding, bottomUp, side);
    }
    void Put(const Bytes &frame, Size size) {
        planes[0]->Put(frame.data());
        planes[1]->Put(frame.data() + size.Luma());
        if (planes.size() > 2) planes[2]->Put(frame.data() + size.Luma() + (size.Luma() >> 2));
    }
    Bytes Get() const {
        Bytes packed;
        for (const auto &plane : planes) plane->Get(&packed);
        return packed;
    }

private:
    void Add(int i, int32_t width, int32_t height, int32_t padding, bool bottomUp, Guarded::Side side) {
        const int32_t pitch = (padding < 0 ? 4096 : width + padding) * (bottomUp ? -1 : 1);
        planes.push_back(std::make_unique<PitchedPlane>(width, height, pitch, side));
        image.pPlane[i] = planes.back()->Top();
        image.lPitch[i] = pitch;
    }
};

// The planes of a packed frame without the gaps that odd sides leave.
Bytes Planes(const Bytes &frame, Size size, int32_t format) {
    const int32_t chroma = size.Chroma(), u = size.Luma(), v = u + (size.Luma() >> 2);
    Bytes planes(frame.begin(), frame.begin() + u);
    planes.insert(planes.end(), frame.begin() + u, frame.begin() + u + (format == 1 ? 2 * chroma : chroma));
    if (format == 0) planes.insert(planes.end(), frame.begin() + v, frame.begin() + v + chroma);
    return planes;
}

struct PitchHandleDeleter {
    void operator()(MVS_Context *ctx) const { QEL_MVS_DestroyStabilizerPitch(ctx); }
};
using PitchHandle = std::unique_ptr<MVS_Context, PitchHandleDeleter>;

const Size kSizes[] = {{2, 2}, {46, 34}, {95, 33}, {176, 144}, {203, 97}, {320, 240}, {325, 243}, {322, 248}};

TEST(Pitched, EqualsThePackedCallsAndLeavesThePadding) {
    const int32_t kPaddings[] = {0, 1, 63, -1}; // -1: a page from row to row
    for (Size size : kSizes)
        for (int32_t format = 0; format < 2; format++) {
            if (format && size.width % 2) continue;
            const std::vector<Bytes> clip = ShakyClip(size, 4);
            for (int32_t k = 0; k < 8; k++) {
                const bool inPlace = k & 1, bottomUp = k & 2;
                const Guarded::Side side = k & 4 ? Guarded::kAtStart : Guarded::kAtEnd;
                SCOPED_TRACE(testing::Message() << size.width << "x" << size.height << " format " << format
                                                << " variant " << k);
                const Case packedCase = {size, size, format, 3, inPlace ? Entry::Same : Entry::Diff, 0};
                Runner packed(packedCase);
                PitchedFrame in(size, format, kPaddings[(k + size.width) % 4], bottomUp, side);
                PitchedFrame out(size, format, kPaddings[k % 4], k & 4, side);
                const PitchHandle handle(QEL_MVS_CreateStabilizerPitch(in.image));
                ASSERT_TRUE(handle);
                for (const Bytes &planar : clip) {
                    const Bytes frame = format ? ToPairs(planar, size) : planar;
                    in.Put(frame, size);
                    out.Put(Bytes((size_t)size.Frame(), kUntouched), size);
                    QEL_MVS_StabilizeFramePitch(handle.get(), in.image, inPlace ? in.image : out.image);
                    const Bytes want = packed.Push(planar);
                    ASSERT_EQ((inPlace ? in : out).Get(), Planes(want, size, format));
                    if (inPlace) continue;
                    ASSERT_EQ(in.Get(), Planes(frame, size, format)) << "the input changed";
                }
            }
        }
}

TEST(Pitched, BadArgumentsTouchNothing) {
    const Size size = {64, 48};
    for (int32_t format = 0; format < 2; format++) {
        PitchedFrame in(size, format, 3, false, Guarded::kAtEnd), out(size, format, 3, false, Guarded::kAtEnd);
        const PitchHandle handle(QEL_MVS_CreateStabilizerPitch(in.image));
        const Handle plain = MakeHandle(size, format);
        const Bytes before = out.Get();
        const auto Refused = [&](MVS_Context *ctx, MVS_PitchImage from, MVS_PitchImage to) {
            QEL_MVS_StabilizeFramePitch(ctx, from, to);
            QEL_MVS_StabilizeFrame_DiffBufferPitch(ctx, from, to);
            EXPECT_EQ(ctx ? ctx->lFrameCount : 0, 0);
            EXPECT_EQ(out.Get(), before);
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
        EXPECT_EQ(out.Get(), before);
        handle->lInFormat = format;
    }
}

TEST(Pitched, CreationStoresThePitchesAndEitherDestructorFreesAll) {
    const int live = Faults::Live();
    MVS_PitchImage image = {1, 128, 96, {nullptr, nullptr, nullptr, nullptr}, {-1, 7, 1 << 30, 5}};
    for (int i = 0; i < 2; i++) {
        MVS_Context *ctx = QEL_MVS_CreateStabilizerPitch(image);
        ASSERT_TRUE(ctx);
        EXPECT_EQ(ctx->lPitch0, -1);
        EXPECT_EQ(ctx->lPitch1, 7);
        EXPECT_EQ(ctx->lPitch2, 1 << 30);
        EXPECT_EQ(ctx->lZoomScale, 1170);
        EXPECT_EQ(ctx->lZoomStep, 896);
        if (i) QEL_MVS_DestroyStabilizer(ctx);
        else QEL_MVS_DestroyStabilizerPitch(ctx);
        EXPECT_EQ(Faults::Live(), live);
    }
    for (int n = 1;; n++) { // every allocation of the creation in turn
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

TEST(Pitched, FailedAllocationsLeaveTheFrameOrCompleteIt) {
    const Size size = {320, 240};
    const std::vector<Bytes> clip = ShakyClip(size, 3);
    for (int n = 1; n <= 12; n++) {
        PitchedFrame in(size, 1, 16, false, Guarded::kAtEnd), out(size, 1, 16, false, Guarded::kAtEnd);
        const PitchHandle handle(QEL_MVS_CreateStabilizerPitch(in.image));
        Faults::Reset();
        Faults::FailAllocation(n);
        for (const Bytes &planar : clip) {
            in.Put(ToPairs(planar, size), size);
            out.Put(Bytes((size_t)size.Frame(), kUntouched), size);
            QEL_MVS_StabilizeFramePitch(handle.get(), in.image, out.image);
            const Bytes got = out.Get();
            const size_t left = (size_t)std::count(got.begin(), got.end(), kUntouched);
            EXPECT_TRUE(left == got.size() || left < got.size() / 4) << n << ": a mixture of two frames";
        }
        Faults::FailAllocation(0);
    }
}

TEST(Uyvy, ThereAndBackAtOddSizes) {
    for (Size size : {Size{1, 1}, {2, 1}, {3, 3}, {7, 4}, {8, 5}, {64, 48}})
        for (int32_t padding : {0, 1, 63}) {
            const int32_t pitch = 2 * size.width + padding, pairs = size.width >> 1, rows = size.height >> 1;
            const Bytes frame = Noise(size.Frame() + 4, 5);
            Guarded y((size_t)size.Luma()), u((size_t)size.Chroma()), v((size_t)size.Chroma());
            Guarded packed((size_t)(pitch * (size.height - 1) + 4 * pairs), Guarded::kAtEnd, kUntouched);
            memcpy(y.Data(), frame.data(), y.Size());
            memcpy(u.Data(), frame.data() + 1, u.Size());
            memcpy(v.Data(), frame.data() + 2, v.Size());
            I420_uyvy_conversion_c(y.Data(), u.Data(), v.Data(), packed.Data(), size.width, size.height, pitch);
            for (int32_t r = 0; r < size.height; r++)
                for (int32_t i = 0; i < pairs; i++) {
                    const int32_t c = std::min(r >> 1, rows - 1) * pairs + i;
                    const uint8_t want[4] = {rows ? u.Data()[c] : (uint8_t)128, y.Data()[r * size.width + 2 * i],
                                             rows ? v.Data()[c] : (uint8_t)128,
                                             y.Data()[r * size.width + 2 * i + 1]};
                    ASSERT_EQ(memcmp(packed.Data() + r * pitch + 4 * i, want, 4), 0) << r << " " << i;
                }
            Guarded y2(y.Size(), Guarded::kAtEnd, kUntouched), u2(u.Size()), v2(v.Size());
            uyvy_I420_conversion_c(packed.Data(), y2.Data(), u2.Data(), v2.Data(), size.width, size.height, pitch);
            for (int32_t k = 0; k < size.Luma(); k++) {
                const bool single = size.width % 2 && k % size.width == size.width - 1;
                ASSERT_EQ(y2.Data()[k], single ? kUntouched : y.Data()[k]);
            }
            EXPECT_EQ(memcmp(u.Data(), u2.Data(), u.Size()), 0);
            EXPECT_EQ(memcmp(v.Data(), v2.Data(), v.Size()), 0);
            I420_uyvy_conversion_c(y.Data(), u.Data(), v.Data(), packed.Data(), size.width, size.height,
                                   2 * size.width - 1); // too short: nothing happens
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

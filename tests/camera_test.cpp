// SPDX-License-Identifier: BSD-2-Clause
// The camera service's wrapper: its frames, and its log line by line.
#include <gtest/gtest.h>
#include <stdarg.h>
#include <string.h>

#include <thread>

#include "quorvel/camera.h"
#include "support/faults.h"
#include "support/run.h"

namespace {

// One thread drives a stream here, so the lines of a thread are those of its stream.
thread_local std::vector<std::string> lines;

std::vector<std::string> TakeLines() {
    std::vector<std::string> taken;
    taken.swap(lines);
    return taken;
}

std::string Param(int32_t width, int32_t height) {
    return "3 ZEK, vs_param, mode=3, width=" + std::to_string(width) +
           ", height=" + std::to_string(height) + ", format=1";
}

const std::string kInit = "3 ZEK, init_quorvel_videostabilizer",
                  kCreate = "6 ZEK_API, CreateStabilizer";
const std::string kUninit = "3 ZEK uninit_quorvel_videostabilizer",
                  kDestroy = "6 ZEK_API, DestroyStabilizer";
const std::string kUninitEnd = "3 ZEK uninit_quorvel_videostabilizer end";
const std::string kFinish = "3 ZEK_API, StabilizeFrame finish",
                  kNotDone = "3 ZEK_API, StabilizeFrame not done";

using Lines = std::vector<std::string>;

struct Stream {
    int32_t (*run)(uint8_t *, int32_t, int32_t);
    int32_t (*init)(int32_t, int32_t);
    int32_t (*uninit)();
    int32_t (*setFullChroma)(int32_t);
    std::string initLine, finish;
};
const Stream kPreview = {runVideoStabilizer,
                         init_quorvel_videostabilizer,
                         uninit_quorvel_videostabilizer,
                         set_quorvel_videostabilizer_full_chroma,
                         kInit,
                         kFinish};
const Stream kRecording = {runVideoStabilizer_recording,
                           init_quorvel_videostabilizer_recording,
                           uninit_quorvel_videostabilizer_recording,
                           set_quorvel_videostabilizer_full_chroma_recording,
                           kInit + "_recording",
                           ""};

Bytes Stabilized(const Stream &stream, const Bytes &frame, Size size) {
    Guarded buffer(frame.size());
    memcpy(buffer.Data(), frame.data(), frame.size());
    EXPECT_EQ(stream.run(buffer.Data(), size.width, size.height), 0);
    return Bytes(buffer.Data(), buffer.Data() + frame.size());
}

class Camera : public testing::Test {
  protected:
    // A stream remembers its last size and the choice of its chroma, and the log holds the lines of the
    // streams of other tests.
    void SetUp() override {
        lWidth = lHeight = lWidth_recording = lHeight_recording = 0;
        for (const Stream &stream : {kPreview, kRecording}) stream.setFullChroma(0);
        TakeLines();
    }
};

// Clips of several sizes through one stream: its frames equal those of the packed calls.
void DriveThroughSizes(const Stream &stream) {
    bool first = true;
    for (Size size : {Size{176, 144}, {320, 240}, {204, 98}, {176, 144}}) {
        Runner packed({size, size, 1, 3, Entry::Same, 0});
        const std::vector<Bytes> clip = ShakyClip(size, 3);
        for (size_t i = 0; i < clip.size(); i++) {
            ASSERT_EQ(Stabilized(stream, ToPairs(clip[i], size), size), packed.Push(clip[i]));
            Lines want;
            if (i == 0) {
                want = {kUninit};
                if (!first) want.push_back(kDestroy);
                want.insert(want.end(), {kUninitEnd, stream.initLine, Param(size.width, size.height),
                                         kCreate, kInit});
            }
            if (!stream.finish.empty()) want.push_back(stream.finish);
            ASSERT_EQ(TakeLines(), want) << size.width << " frame " << i;
            first = false;
        }
    }
    stream.uninit();
    EXPECT_EQ(TakeLines(), (Lines{kUninit, kDestroy, kUninitEnd}));
}

TEST_F(Camera, BothStreamsAtOnceThroughSizeChanges) {
    const int live = Faults::Live();
    std::thread preview([] { DriveThroughSizes(kPreview); }),
        recording([] { DriveThroughSizes(kRecording); });
    preview.join();
    recording.join();
    EXPECT_EQ(hVStabilizer, nullptr);
    EXPECT_EQ(hVStabilizer_recording, nullptr);
    EXPECT_EQ(output, nullptr);
    EXPECT_EQ(output_recording, nullptr);
    EXPECT_EQ(yuv420_recording, nullptr);
    EXPECT_EQ(yuv420, nullptr);
    EXPECT_EQ(Faults::Live(), live);
}

TEST_F(Camera, InitDefaultsAndSecondInit) {
    EXPECT_EQ(init_quorvel_videostabilizer(0, 0), 0);
    EXPECT_EQ(TakeLines(), (Lines{kInit, Param(1280, 720), kCreate, kInit}));
    EXPECT_EQ(vs_param.lInWidth, 1280);
    EXPECT_EQ(vs_param.lOutHeight, 720);
    MVS_Context *handle = hVStabilizer;
    uint8_t *lost = output; // the second init loses the buffer and keeps the handle
    EXPECT_EQ(init_quorvel_videostabilizer(320, 240), 0);
    EXPECT_EQ(TakeLines(), (Lines{kInit, Param(320, 240), kInit}));
    EXPECT_EQ(hVStabilizer, handle);
    EXPECT_NE(output, lost);
    // The handle still has the first size: a frame of the second must not use it.
    const Size size = {320, 240};
    const Bytes frame = ToPairs(ShakyClip(size, 1)[0], size);
    EXPECT_EQ(Stabilized(kPreview, frame, size),
              Runner({size, size, 1, 3, Entry::Same, 0}).Push(ToPlanar(frame, size)));
    EXPECT_EQ(TakeLines(),
              (Lines{kUninit, kDestroy, kUninitEnd, kInit, Param(320, 240), kCreate, kInit, kFinish}));
    uninit_quorvel_videostabilizer();
    free(lost);
}

TEST_F(Camera, LeavesFramesItCannotStabilize) {
    const int live = Faults::Live();
    const Size odd = {33, 20};
    for (const Stream &stream : {kPreview, kRecording}) {
        const Bytes frame = Noise(odd.Frame(), 3);
        EXPECT_EQ(Stabilized(stream, frame, odd), frame); // no handle for odd widths
        TakeLines();
        EXPECT_EQ(Stabilized(stream, frame, odd), frame);
        EXPECT_EQ(TakeLines(), stream.finish.empty() ? Lines() : Lines{kNotDone});
        EXPECT_EQ(stream.run(nullptr, 320, 240), 0);
        uint8_t one = 7;
        EXPECT_EQ(stream.run(&one, -320, 240), 0);
        EXPECT_EQ(stream.run(&one, 320, -1), 0);
        EXPECT_EQ(stream.run(&one, 0, 0), 0);
        EXPECT_EQ(TakeLines(), Lines());
        EXPECT_EQ(one, 7);
        stream.uninit();
        for (const Size longest : {Size{16384, 48}, Size{96, 16384}}) { // the longest sides it takes
            const Bytes noise = Noise(longest.Frame(), 4);
            EXPECT_NE(Stabilized(stream, noise, longest), noise);
            stream.uninit();
        }
    }
    EXPECT_EQ(init_quorvel_videostabilizer(-1, 5), 0);
    EXPECT_EQ(init_quorvel_videostabilizer_recording(4, -5), 0);
    EXPECT_EQ(hVStabilizer, nullptr);
    EXPECT_EQ(Faults::Live(), live);
}

// Uninit does not forget the size, so the stream waits for init, and says so.
TEST_F(Camera, UninitWaitsForInit) {
    const Size size = {176, 144};
    const Bytes planar = ShakyClip(size, 1)[0], frame = ToPairs(planar, size);
    const Bytes want = Runner({size, size, 1, 3, Entry::Same, 0}).Push(planar);
    for (const Stream &stream : {kPreview, kRecording}) {
        EXPECT_EQ(Stabilized(stream, frame, size), want);
        stream.uninit();
        TakeLines();
        EXPECT_EQ(Stabilized(stream, frame, size), frame);
        EXPECT_EQ(TakeLines(), stream.finish.empty() ? Lines() : Lines{kNotDone});
        stream.init(size.width, size.height);
        EXPECT_EQ(Stabilized(stream, frame, size), want);
        stream.uninit();
    }
}

// Each stream has a choice of its own, which init, uninit and other sizes keep.
TEST_F(Camera, FullChromaIsKept) {
    const Size kSizes[] = {{328, 244}, {336, 252}}; // with a grey strip by default
    Bytes frames[2], wants[2][2];
    for (int32_t i = 0; i < 2; i++) {
        const Bytes planar = ShakyClip(kSizes[i], 1)[0];
        frames[i] = ToPairs(planar, kSizes[i]);
        for (int32_t full = 0; full < 2; full++)
            wants[full][i] = Runner({kSizes[i], kSizes[i], 1, 3, Entry::Same, full}).Push(planar);
        ASSERT_NE(wants[0][i], wants[1][i]);
    }
    const auto expect = [&](const Stream &stream, int32_t full, int32_t i) {
        EXPECT_EQ(Stabilized(stream, frames[i], kSizes[i]), wants[full][i]) << full << ' ' << i;
    };
    for (const Stream *stream : {&kPreview, &kRecording}) {
        const Stream &other = stream == &kPreview ? kRecording : kPreview;
        expect(*stream, 0, 0); // the default
        EXPECT_EQ(stream->setFullChroma(1), 1);
        for (int32_t wrong : {-1, 2, INT32_MAX, INT32_MIN}) EXPECT_EQ(stream->setFullChroma(wrong), 0);
        expect(*stream, 1, 0); // the stream's handle
        expect(*stream, 1, 1); // a handle of another size
        stream->uninit();
        stream->init(kSizes[0].width, kSizes[0].height);
        expect(*stream, 1, 0);
        expect(other, 0, 0);
        stream->uninit();
        other.uninit();
        EXPECT_EQ(stream->setFullChroma(0), 1);
        stream->init(kSizes[0].width, kSizes[0].height);
        expect(*stream, 0, 0);
        stream->uninit();
        lWidth = lWidth_recording = 0; // the next stream's first frame sets it up
    }
}

} // namespace

extern "C" int __android_log_print(int priority, const char *tag, const char *format, ...) {
    char text[256];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof(text), format, args);
    va_end(args);
    if (lines.size() < 1000) lines.push_back(std::to_string(priority) + " " + (tag ? tag : "") + text);
    return 1;
}

// SPDX-License-Identifier: BSD-2-Clause
// The filter without its host: every frame and packet of sound that it is given, by its callbacks.
#include <gtest/gtest.h>

#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include <string>

#include "obs/frames.h"
#include "support/scene.h"

namespace {

const int kWidth = 161, kHeight = 99;
const FormatCase &kNv12 = kFormats[0], &kBgra = kFormats[1];

std::vector<std::string> gLog;
void KeepLog(int level, const char *format, va_list arguments, void *) {
    if (level == LOG_INFO) return;
    char line[512];
    vsnprintf(line, sizeof(line), format, arguments);
    gLog.push_back(line);
}

class ObsFilter : public testing::Test {
  protected:
    void SetUp() override {
        gLog.clear();
        base_set_log_handler(KeepLog, nullptr);
        mBlocks = bnum_allocs();
    }
    void TearDown() override { EXPECT_EQ(bnum_allocs(), mBlocks) << "memory of the host was lost"; }

  private:
    long mBlocks = 0;
};

TEST_F(ObsFilter, EveryFormatComesOutAsTheLibraryMakesIt) {
    const int frames = 6;
    for (int i = 0; i < kFormatCount; i++) {
        const FormatCase &format = kFormats[i];
        const auto expected = Reference(format, kWidth, kHeight, frames, {}, i == 0);
        Running filter;
        obs_data_set_bool(filter.Settings(), "cubic", i == 0);
        filter.Update();
        for (int number = 0; number < frames; number++) {
            // Rows of another length with each frame, as sources may have them.
            obs_source_frame *in = MakeFrame(format, kWidth, kHeight, number, (uint32_t)number * 6);
            obs_source_frame *out = filter.Frame(in);
            ASSERT_NE(out, nullptr);
            EXPECT_EQ(Picture(format, *out), expected[(size_t)number])
                << get_video_format_name(format.format) << " " << number;
            EXPECT_TRUE(out->flip && out->full_range && out->color_matrix[5] == 0.25f);
            EXPECT_EQ(out->timestamp, 5000000000u + (uint64_t)number * kFrameTime);
            GiveBack(out);
        }
    }
    EXPECT_TRUE(gLog.empty());
}

// Of an I422 frame. `at` has the places of Y, U and V among the four bytes of two pixels.
obs_source_frame *Pack(const obs_source_frame &planar, video_format format, const int *at) {
    obs_source_frame *packed = obs_source_frame_create(format, planar.width, planar.height);
    packed->refs = 1;
    packed->timestamp = planar.timestamp;
    for (uint32_t row = 0; row < planar.height; row++) {
        uint8_t *to = packed->data[0] + row * packed->linesize[0];
        for (uint32_t i = 0; i < planar.width; i++)
            to[2 * i + (uint32_t)at[0]] = planar.data[0][row * planar.linesize[0] + i];
        for (uint32_t i = 0; i < planar.width; i++)
            to[i / 2 * 4 + (uint32_t)at[1 + i % 2]] =
                planar.data[1 + i % 2][row * planar.linesize[1] + i / 2];
    }
    return packed;
}

TEST_F(ObsFilter, PackedFramesComeOutAsPlanarOnes) {
    const FormatCase &planar = kFormats[3];
    ASSERT_EQ(planar.format, VIDEO_FORMAT_I422);
    const struct {
        video_format format;
        int at[3];
    } kinds[] = {
        {VIDEO_FORMAT_YUY2, {0, 1, 3}}, {VIDEO_FORMAT_YVYU, {0, 3, 1}}, {VIDEO_FORMAT_UYVY, {1, 0, 2}}};
    for (const auto &kind : kinds) {
        Running filter, other;
        for (int number = 0; number < 5; number++) {
            obs_source_frame *in = MakeFrame(planar, 160, kHeight, number);
            obs_source_frame *packed = filter.Frame(Pack(*in, kind.format, kind.at));
            in = other.Frame(in);
            obs_source_frame *expected = Pack(*in, kind.format, kind.at);
            for (uint32_t row = 0; row < kHeight; row++)
                ASSERT_EQ(memcmp(packed->data[0] + row * packed->linesize[0],
                                 expected->data[0] + row * expected->linesize[0], 320),
                          0)
                    << get_video_format_name(kind.format) << " " << number << " " << row;
            for (obs_source_frame *frame : {in, packed, expected}) GiveBack(frame);
        }
    }
    EXPECT_TRUE(gLog.empty());
}

TEST_F(ObsFilter, AFrameThatIsStillInUseIsNotWrittenAgain) {
    Running filter;
    obs_source_frame *first = filter.Frame(MakeFrame(kNv12, kWidth, kHeight, 0));
    const auto picture = Picture(kNv12, *first);
    obs_source_frame *second = filter.Frame(MakeFrame(kNv12, kWidth, kHeight, 1));
    EXPECT_NE(first, second);
    EXPECT_EQ(Picture(kNv12, *first), picture);
    GiveBack(second);
    obs_source_frame *third = filter.Frame(MakeFrame(kNv12, kWidth, kHeight, 2));
    EXPECT_EQ(second, third) << "a frame that came back is used again";
    GiveBack(third);
    filter.Hide();
    EXPECT_EQ(Picture(kNv12, *first), picture);
    GiveBack(first);
}

TEST_F(ObsFilter, TheLeftHalfOfASplitViewIsTheInput) {
    Running filter;
    obs_data_set_bool(filter.Settings(), "split", true);
    filter.Update();
    const auto steady = Reference(kBgra, kWidth, kHeight, 3, {}, false)[2];
    for (int number = 0; number < 3; number++) {
        const auto in = MakeFrame(kBgra, kWidth, kHeight, number);
        const auto before = Picture(kBgra, *in);
        obs_source_frame *out = filter.Frame(in);
        const auto after = Picture(kBgra, *out);
        for (size_t at = 0; number == 2 && at < after.size(); at++)
            ASSERT_EQ(after[at], at / 4 % kWidth < kWidth / 2 ? before[at] : steady[at]) << at;
        GiveBack(out);
    }
}

// -- Lookahead

TEST_F(ObsFilter, ALookaheadDelaysTheFramesAndNothingElse) {
    StreamSettings settings;
    settings.lookahead = 6;
    const auto expected = Reference(kNv12, kWidth, kHeight, 20, settings, false);
    Running filter;
    obs_data_set_int(filter.Settings(), "lookahead", 6);
    filter.Update();
    for (int number = 0; number < 20; number++) {
        obs_source_frame *out = filter.Frame(MakeFrame(kNv12, kWidth, kHeight, number));
        ASSERT_EQ(out == nullptr, number < 6) << number;
        if (!out) continue;
        EXPECT_EQ(Picture(kNv12, *out), expected[(size_t)number - 6]) << number;
        EXPECT_EQ(out->timestamp, 5000000000u + (uint64_t)number * kFrameTime);
        GiveBack(out);
    }
    EXPECT_TRUE(gLog.empty());
}

// Sound of one channel whose samples count on, in packets of `samples`.
struct Speaker {
    std::vector<float> samples;
    uint64_t spoken = 0;
    obs_audio_data Next(uint32_t count) {
        samples.resize(count);
        obs_audio_data sound = {};
        sound.data[0] = (uint8_t *)samples.data();
        sound.frames = count;
        sound.timestamp = 5000000000u + spoken * 1000000000u / 48000;
        for (float &sample : samples) sample = (float)spoken++;
        return sound;
    }
};

TEST_F(ObsFilter, SoundIsDelayedAsLongAsTheFrames) {
    Running filter;
    obs_data_set_int(filter.Settings(), "lookahead", 9);
    filter.Update();
    Speaker speaker;
    float heard = 0;
    uint64_t newest = 0;
    for (int number = 0; number < 60; number++) {
        GiveBack(filter.Frame(MakeFrame(kNv12, kWidth, kHeight, number)));
        while (speaker.spoken < (uint64_t)number * 1600) {
            // Packets of many lengths: none may be left behind.
            obs_audio_data sound = speaker.Next(200 + (uint32_t)(speaker.spoken % 977));
            newest = sound.timestamp;
            const obs_audio_data *out = filter.Sound(&sound);
            if (!out) continue;
            const float *samples = (const float *)out->data[0];
            const uint64_t spoken = 5000000000u + (uint64_t)samples[0] * 1000000000u / 48000;
            EXPECT_EQ(out->timestamp - spoken, 9 * kFrameTime);
            EXPECT_LE(out->timestamp, newest);
            for (uint32_t i = 0; i < out->frames; i++) ASSERT_EQ(samples[i], heard++);
        }
    }
    EXPECT_GT(heard + 16000 + 2 * 1177, (float)speaker.spoken) << "more waits than the frames do";
    filter.Hide();
    obs_audio_data sound = speaker.Next(480);
    EXPECT_EQ(filter.Sound(&sound), &sound) << "no frame waits, no sound waits";
}

TEST_F(ObsFilter, SettingsChangeWithoutALostFrame) {
    Running filter;
    obs_data_set_int(filter.Settings(), "lookahead", 8);
    filter.Update();
    for (int number = 0; number < 40; number++) {
        obs_data_set_double(filter.Settings(), "window", 75 + number % 7);
        obs_data_set_bool(filter.Settings(), "roll", number % 5 == 0);
        filter.Update();
        obs_source_frame *in = MakeFrame(kNv12, kWidth, kHeight, number);
        in->color_matrix[0] = (float)number;
        obs_source_frame *out = filter.Frame(in);
        ASSERT_EQ(out == nullptr, number < 8);
        if (!out) continue;
        EXPECT_EQ(out->color_matrix[0], (float)(number - 8));
        GiveBack(out);
    }
    obs_data_set_int(filter.Settings(), "lookahead", 4); // too short: none
    filter.Update();
    obs_source_frame *out = filter.Frame(MakeFrame(kNv12, kWidth, kHeight, 40));
    ASSERT_NE(out, nullptr);
    GiveBack(out);
}

TEST_F(ObsFilter, TheDialogueTellsTheDelay) {
    Running filter;
    for (int number = 0; number < 12; number++) { // of 15 frames a second
        obs_source_frame *frame = MakeFrame(kNv12, kWidth, kHeight, 0);
        frame->timestamp += (uint64_t)number * 2 * kFrameTime;
        GiveBack(filter.Frame(frame));
    }
    obs_properties_t *dialogue = filter.Dialogue();
    auto text = [&](int lookahead) {
        obs_data_set_int(filter.Settings(), "lookahead", lookahead);
        obs_property_modified(obs_properties_get(dialogue, "lookahead"), filter.Settings());
        return std::string(obs_property_description(obs_properties_get(dialogue, "delay")));
    };
    EXPECT_EQ(text(30), "Delay: 30 Frames (2.00 s)");
    EXPECT_EQ(text(4), "Delay.None");
    obs_properties_destroy(dialogue);
}

// -- What goes wrong

TEST_F(ObsFilter, FramesThatCannotBeStabilizedPassWithOneLine) {
    struct {
        const char *what;
        void (*spoil)(obs_source_frame &);
    } faults[] = {
        {"a format without planes", [](obs_source_frame &frame) { frame.format = VIDEO_FORMAT_AYUV; }},
        {"no format", [](obs_source_frame &frame) { frame.format = (video_format)31; }},
        {"no data", [](obs_source_frame &frame) { frame.data[1] = nullptr; }},
        {"no rows", [](obs_source_frame &frame) { frame.linesize[0] = 0; }},
        {"short rows", [](obs_source_frame &frame) { frame.linesize[1] = kWidth - 1; }},
        {"no width", [](obs_source_frame &frame) { frame.width = 0; }},
        {"a huge height", [](obs_source_frame &frame) { frame.height = 0x80000000u; }},
    };
    for (const auto &fault : faults) {
        gLog.clear();
        Running filter;
        obs_data_set_int(filter.Settings(), "lookahead", 5);
        filter.Update();
        for (int number = 0; number < 12; number++) {
            obs_source_frame *in = MakeFrame(kNv12, kWidth, kHeight, number);
            const bool bad = number > 2 && number % 2 == 1;
            const auto before = Picture(kNv12, *in);
            const obs_source_frame whole = *in;
            if (bad) fault.spoil(*in);
            obs_source_frame *out = filter.Frame(in);
            ASSERT_EQ(out, bad ? in : nullptr) << fault.what << " " << number;
            if (!bad) continue;
            *out = whole;
            EXPECT_EQ(Picture(kNv12, *out), before) << fault.what;
            GiveBack(out);
        }
        ASSERT_EQ(gLog.size(), 1u) << fault.what;
        EXPECT_NE(gLog[0].find("pass"), std::string::npos);
    }
    EXPECT_EQ(Running().Frame(nullptr), nullptr);
}

TEST_F(ObsFilter, AnotherSizeOrTimeStartsAnew) {
    Running filter;
    obs_data_set_int(filter.Settings(), "lookahead", 5);
    filter.Update();
    auto leaves = [&](int width, uint64_t number, int64_t late) {
        obs_source_frame *frame = MakeFrame(kNv12, width, kHeight, (int)number);
        frame->timestamp += (uint64_t)late;
        obs_source_frame *out = filter.Frame(frame);
        const uint32_t shown = out ? out->width : 0;
        GiveBack(out);
        return shown;
    };
    const struct {
        int width;
        int64_t late;
    } parts[] = {{160, 0}, {96, 0}, {96, 2000000000}, {96, -900000000}, {40, -900000000}};
    uint64_t number = 0;
    for (const auto &part : parts)
        for (int i = 0; i < 8; i++)
            EXPECT_EQ(leaves(part.width, number++, part.late), i < 5 ? 0u : (uint32_t)part.width)
                << number;
    filter.Hide(); // what waits is dropped
    for (int i = 0; i < 6; i++) EXPECT_EQ(leaves(96, number++, 0), i < 5 ? 0u : 96u);
    EXPECT_TRUE(gLog.empty());
}

// Whatever comes in whatever order: nothing is lost, and no byte outside a frame is touched, which the
// sanitizers see.
TEST_F(ObsFilter, AnySequenceOfFramesSoundAndSettings) {
    const FormatCase packed = {VIDEO_FORMAT_UYVY, 8, 0, 1, {{2, 0, 0}}};
    Random random;
    Running filter;
    Speaker speaker;
    int64_t waiting = 0, late = 0;
    int width = 64, height = 48, format = 0;
    for (int number = 0; number < 4000; number++) {
        const int32_t event = random.In(0, 99);
        if (event == 0) format = random.In(0, kFormatCount);
        if (event == 1) width = random.In(1, 90), height = random.In(1, 70);
        if (event == 2) late += random.In(-2000, 2000) * (int64_t)1000000;
        if (event == 3) filter.Hide();
        if (event == 4) obs_data_set_int(filter.Settings(), "lookahead", random.In(-5, 12));
        if (event == 5) obs_data_set_double(filter.Settings(), "window", random.In(0, 200));
        if (event == 6) obs_data_set_double(filter.Settings(), "strength", random.In(-1, 9));
        if (event == 7) obs_data_set_bool(filter.Settings(), "split", random.In(0, 1) == 1);
        if (event == 8) obs_data_set_bool(filter.Settings(), "cubic", random.In(0, 1) == 1);
        filter.Update();
        obs_audio_data sound = speaker.Next((uint32_t)random.In(0, 900));
        sound.timestamp += (uint64_t)late;
        if (event == 9) sound.data[0] = nullptr;
        filter.Sound(&sound);
        obs_source_frame *frame = MakeFrame(format < kFormatCount ? kFormats[format] : packed, width,
                                            height, number, (uint32_t)random.In(0, 9));
        frame->timestamp += (uint64_t)late;
        if (event == 10) frame->width = (uint32_t)random.In(0, 0x7ffffffe);
        if (event == 11) frame->linesize[0] = (uint32_t)random.In(0, width - 1);
        if (event == 12) frame->format = VIDEO_FORMAT_AYUV;
        obs_source_frame *out = filter.Frame(frame);
        waiting += out ? 0 : 1;
        GiveBack(out);
    }
    EXPECT_GT(waiting, 100);
    EXPECT_LT(waiting, 3900);
}

} // namespace

int main(int argc, char **argv) {
    if (argc > 1 && strcmp(argv[1], "--speed") == 0) return PrintSpeed();
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

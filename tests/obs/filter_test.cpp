// SPDX-License-Identifier: BSD-2-Clause
// The filter without its host: every frame and packet of sound that it is given, by its callbacks.
//   quorvel_obs_tests --speed   what a 1080p frame takes, for the documents
#include <gtest/gtest.h>

#include <stdio.h>
#include <string.h>
#include <time.h>

#include <algorithm>
#include <string>

#include "obs/frames.h"
#include "plugin.h"
#include "support/scene.h"

namespace {

const int kWidth = 161, kHeight = 99;
const FormatCase kFormats[] = {
    {VIDEO_FORMAT_NV12, 8, 0, 0, {{1, 0, 0}, {2, 1, 1}}},
    {VIDEO_FORMAT_BGRA, 8, 0, 1, {{4, 0, 0}}},
    {VIDEO_FORMAT_I420, 8, 0, 0, {{1, 0, 0}, {1, 1, 1}, {1, 1, 1}}},
    {VIDEO_FORMAT_I422, 8, 0, 0, {{1, 0, 0}, {1, 1, 0}, {1, 1, 0}}},
    {VIDEO_FORMAT_I444, 8, 0, 0, {{1, 0, 0}, {1, 0, 0}, {1, 0, 0}}},
    {VIDEO_FORMAT_P010, 10, 6, 0, {{1, 0, 0}, {2, 1, 1}}},
    {VIDEO_FORMAT_I010, 10, 0, 0, {{1, 0, 0}, {1, 1, 1}, {1, 1, 1}}},
    {VIDEO_FORMAT_I210, 10, 0, 0, {{1, 0, 0}, {1, 1, 0}, {1, 1, 0}}},
    {VIDEO_FORMAT_I412, 12, 0, 0, {{1, 0, 0}, {1, 0, 0}, {1, 0, 0}}},
    {VIDEO_FORMAT_I40A, 8, 0, 0, {{1, 0, 0}, {1, 1, 1}, {1, 1, 1}, {1, 0, 0}}},
    {VIDEO_FORMAT_RGBA, 8, 0, 1, {{4, 0, 0}}},
    {VIDEO_FORMAT_BGRX, 8, 0, 1, {{4, 0, 0}}},
    {VIDEO_FORMAT_BGR3, 8, 0, 1, {{3, 0, 0}}},
    {VIDEO_FORMAT_Y800, 8, 0, 0, {{1, 0, 0}}},
};
const FormatCase &kNv12 = kFormats[0], &kBgra = kFormats[1], &kI422 = kFormats[3];
const FormatCase kYuy2 = {VIDEO_FORMAT_YUY2, 8, 0, 0, {{2, 0, 0}}};

// The filter, by the callbacks that the host has of it.
struct Running {
    Running() { info.get_defaults(settings); }
    ~Running() {
        info.destroy(filter);
        obs_data_release(settings);
    }
    Running(const Running &) = delete;
    Running &operator=(const Running &) = delete;
    void Set(const char *name, double value) {
        obs_data_set_double(settings, name, value);
        info.update(filter, settings);
    }
    void Switch(const char *name, bool on) {
        obs_data_set_bool(settings, name, on);
        info.update(filter, settings);
    }
    obs_source_frame *Frame(obs_source_frame *frame) { return info.filter_video(filter, frame); }
    obs_source_frame *Show(int number) { return Frame(MakeFrame(kNv12, kWidth, kHeight, number)); }

    obs_source_info info = StabilizeInfo();
    obs_data_t *settings = obs_data_create();
    void *filter = info.create(settings, nullptr);
};

std::vector<std::string> gLog;
void KeepLog(int level, const char *format, va_list, void *) {
    if (level < LOG_INFO) gLog.push_back(format);
}

class ObsFilter : public testing::Test {
  protected:
    void SetUp() override {
        gLog.clear();
        base_set_log_handler(KeepLog, nullptr);
    }
    void TearDown() override { EXPECT_EQ(bnum_allocs(), mBlocks) << "memory of the host was lost"; }

  private:
    long mBlocks = bnum_allocs();
};

TEST_F(ObsFilter, EveryFormatComesOutAsTheLibraryMakesIt) {
    for (const FormatCase &format : kFormats) {
        const bool cubic = format.format == VIDEO_FORMAT_NV12;
        const auto expected = Reference(format, kWidth, kHeight, 6, 0, cubic);
        Running filter;
        filter.Switch("cubic", cubic);
        for (int number = 0; number < 6; number++) {
            // Rows of another length with each frame, as sources may have them.
            obs_source_frame *out =
                filter.Frame(MakeFrame(format, kWidth, kHeight, number, number * 6));
            ASSERT_EQ(Picture(format, *out), expected[(size_t)number])
                << get_video_format_name(format.format) << " " << number;
            EXPECT_TRUE(out->flip && out->full_range && out->color_matrix[0] == (float)number);
            EXPECT_EQ(out->timestamp, kStart + (uint64_t)number * kFrameTime);
            GiveBack(out);
        }
    }
    EXPECT_TRUE(gLog.empty());
}

// Of an I422 frame. `at` has the places of Y, U and V among the four bytes of two pixels.
Pixels Packed(const obs_source_frame &planar, const size_t *at) {
    Pixels packed(2 * planar.width * planar.height);
    for (size_t i = 0; i < packed.size() / 2; i++) {
        const size_t row = i / planar.width, column = i % planar.width;
        packed[2 * i + at[0]] = planar.data[0][row * planar.linesize[0] + column];
        packed[i / 2 * 4 + at[1 + i % 2]] =
            planar.data[1 + i % 2][row * planar.linesize[1] + column / 2];
    }
    return packed;
}

TEST_F(ObsFilter, PackedFramesComeOutAsPlanarOnes) {
    const struct {
        FormatCase format;
        size_t at[3];
    } kinds[] = {{kYuy2, {0, 1, 3}},
                 {{VIDEO_FORMAT_YVYU, 8, 0, 0, {{2, 0, 0}}}, {0, 3, 1}},
                 {{VIDEO_FORMAT_UYVY, 8, 0, 1, {{2, 0, 0}}}, {1, 0, 2}}};
    for (const auto &kind : kinds) {
        Running filter, other;
        for (int number = 0; number < 5; number++) {
            obs_source_frame *planar = MakeFrame(kI422, 160, kHeight, number);
            obs_source_frame *packed = MakeFrame(kind.format, 160, kHeight, number);
            const Pixels pixels = Packed(*planar, kind.at);
            memcpy(packed->data[0], pixels.data(), pixels.size());
            planar = other.Frame(planar);
            packed = filter.Frame(packed);
            EXPECT_EQ(Picture(kind.format, *packed), Packed(*planar, kind.at)) << number;
            GiveBack(planar);
            GiveBack(packed);
        }
    }
}

TEST_F(ObsFilter, TheLeftHalfOfASplitViewIsTheInput) {
    Running filter;
    filter.Switch("split", true);
    GiveBack(filter.Frame(MakeFrame(kBgra, kWidth, kHeight, 0)));
    obs_source_frame *in = MakeFrame(kBgra, kWidth, kHeight, 1);
    const Pixels before = Picture(kBgra, *in),
                 steady = Reference(kBgra, kWidth, kHeight, 2, 0, false)[1];
    obs_source_frame *out = filter.Frame(in);
    const Pixels after = Picture(kBgra, *out);
    for (size_t i = 0; i < after.size(); i++)
        ASSERT_EQ(after[i], i / 4 % kWidth < kWidth / 2 ? before[i] : steady[i]) << i;
    GiveBack(out);
}

// -- Lookahead

TEST_F(ObsFilter, ALookaheadDelaysFramesAndSoundAlike) {
    const auto expected = Reference(kNv12, kWidth, kHeight, 60, 9, false);
    Running filter;
    filter.Set("lookahead", 9);
    uint64_t spoken = 0, heard = 0; // samples, whose values are their numbers
    auto time = [](uint64_t sample) { return kStart + sample * 1000000000u / 48000; };
    for (int number = 0; number < 60; number++) {
        obs_source_frame *frame = filter.Show(number);
        ASSERT_EQ(frame == nullptr, number < 9);
        if (frame) {
            EXPECT_EQ(Picture(kNv12, *frame), expected[(size_t)number - 9]) << number;
            EXPECT_EQ(frame->timestamp, kStart + (uint64_t)number * kFrameTime);
            GiveBack(frame);
        }
        while (spoken < (uint64_t)number * 1600) { // packets of many lengths: none may be left behind
            std::vector<float> samples(200 + spoken % 977);
            obs_audio_data sound = {};
            sound.data[0] = (uint8_t *)samples.data();
            sound.frames = (uint32_t)samples.size();
            sound.timestamp = time(spoken);
            for (float &sample : samples) sample = (float)spoken++;
            const obs_audio_data *out = filter.info.filter_audio(filter.filter, &sound);
            if (!out) continue;
            EXPECT_EQ(out->timestamp, time(heard) + 9 * kFrameTime);
            for (uint32_t i = 0; i < out->frames; i++)
                ASSERT_EQ(((float *)out->data[0])[i], (float)heard++);
        }
    }
    EXPECT_GT(heard + 9 * 1600 + 2 * 1177, spoken) << "more sound waits than frames";
    filter.info.hide(filter.filter);
    obs_audio_data silence = {};
    EXPECT_EQ(filter.info.filter_audio(filter.filter, &silence), &silence)
        << "no frame waits, no sound waits";
}

TEST_F(ObsFilter, TheSoundFollowsAnotherFrameRateAndAnotherLookahead) {
    Running filter;
    filter.Set("lookahead", 6);
    const uint64_t expected[] = {6, 12, 16}; // times of a frame at first
    uint64_t delay = 0, moments[120];
    for (int number = 0, time = 0; number < 120; number++, time += number < 40 ? 1 : 2) {
        if (number == 80) filter.Set("lookahead", 8);
        GiveBack(filter.Show(time));
        moments[number] = kStart + (uint64_t)time * kFrameTime;
        float sample = (float)number;
        obs_audio_data sound = {{(uint8_t *)&sample}, 1, moments[number]};
        const obs_audio_data *out = filter.info.filter_audio(filter.filter, &sound);
        if (out) delay = out->timestamp - moments[(int)*(float *)out->data[0]];
        if (number % 40 != 39) continue;
        EXPECT_EQ(delay, expected[number / 40] * kFrameTime) << number;
    }
}

TEST_F(ObsFilter, SettingsChangeWithoutALostFrame) {
    Running filter;
    filter.Set("lookahead", 8);
    for (int number = 0; number < 40; number++) {
        filter.Set("window", 75 + number % 7);
        filter.Switch("roll", number % 5 == 0);
        obs_source_frame *out = filter.Show(number);
        ASSERT_EQ(out == nullptr, number < 8);
        if (!out) continue;
        EXPECT_EQ(out->color_matrix[0], (float)(number - 8));
        obs_source_frame *before = MakeFrame(kNv12, kWidth, kHeight, number - 8);
        EXPECT_NE(Picture(kNv12, *out), Picture(kNv12, *before)) << "a frame came out as it was";
        GiveBack(before);
        GiveBack(out);
    }
    filter.Set("lookahead", 4); // too short: none
    obs_source_frame *out = filter.Show(40);
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(out->color_matrix[0], 40);
    GiveBack(out);
}

TEST_F(ObsFilter, TheDialogueTellsTheDelay) {
    Running filter;
    for (int number = 0; number < 24; number += 2) GiveBack(filter.Show(number)); // 15 frames a second
    obs_properties_t *dialogue = filter.info.get_properties(filter.filter);
    auto text = [&](int lookahead) {
        filter.Set("lookahead", lookahead);
        obs_property_modified(obs_properties_get(dialogue, "lookahead"), filter.settings);
        return std::string(obs_property_description(obs_properties_get(dialogue, "delay")));
    };
    EXPECT_EQ(text(30), "Delay: 30 Frames (2.00 s)");
    EXPECT_EQ(text(4), "Delay.None");
    obs_properties_destroy(dialogue);
}

// -- What goes wrong

TEST_F(ObsFilter, FramesThatCannotBeStabilizedPassWithOneLine) {
    void (*const faults[])(obs_source_frame &) = {
        [](obs_source_frame &frame) { frame.format = VIDEO_FORMAT_AYUV; },
        [](obs_source_frame &frame) { frame.data[1] = nullptr; },
        [](obs_source_frame &frame) { frame.linesize[0] = 0; },
        [](obs_source_frame &frame) { frame.linesize[1] = kWidth; },
        [](obs_source_frame &frame) { frame.width = 0; },
        [](obs_source_frame &frame) { frame.height = 0x80000000u; },
    };
    for (const auto fault : faults) {
        gLog.clear();
        Running filter;
        filter.Set("lookahead", 5);
        for (int number = 0; number < 12; number++) {
            obs_source_frame *in = MakeFrame(kNv12, kWidth, kHeight, number), whole = *in;
            const bool bad = number > 2 && number % 2 == 1;
            const Pixels before = Picture(kNv12, *in);
            if (bad) fault(*in);
            obs_source_frame *out = filter.Frame(in);
            ASSERT_EQ(out, bad ? in : nullptr) << number;
            if (!bad) continue;
            *out = whole;
            EXPECT_EQ(Picture(kNv12, *out), before);
            GiveBack(out);
        }
        EXPECT_EQ(gLog.size(), 1u);
    }
    EXPECT_EQ(Running().Frame(nullptr), nullptr);
}

TEST_F(ObsFilter, AnotherSizeOrTimeStartsAnew) {
    Running filter;
    filter.Set("lookahead", 5);
    const struct {
        int width;
        int64_t late; // milliseconds
    } parts[] = {{160, 0}, {96, 0}, {96, 2000}, {96, -900}, {40, -900}, {40, -900}};
    for (int number = 0; number < 48; number++) {
        const auto &part = parts[number / 8];
        if (number == 40) filter.info.hide(filter.filter);
        obs_source_frame *frame = MakeFrame(kNv12, part.width, kHeight, number);
        frame->timestamp += (uint64_t)(part.late * 1000000);
        frame = filter.Frame(frame);
        ASSERT_EQ(frame == nullptr, number % 8 < 5) << number;
        EXPECT_TRUE(!frame || frame->width == (uint32_t)part.width);
        GiveBack(frame);
    }
    EXPECT_TRUE(gLog.empty());
}

// Whatever comes in whatever order: nothing is lost, and no byte outside a frame is touched, which the
// sanitizers see.
TEST_F(ObsFilter, AnySequenceOfFramesSoundAndSettings) {
    Random random;
    Running filter;
    std::vector<float> samples(900);
    int late = 0, width = 64, height = 48, waiting = 0;
    const FormatCase *format = kFormats;
    for (int number = 0; number < 4000; number++) {
        const int32_t event = random.In(0, 99);
        if (event == 0) format = random.In(0, 9) ? kFormats + random.In(0, 13) : &kYuy2;
        if (event == 1) width = random.In(1, 90), height = random.In(1, 70);
        if (event == 2) late += random.In(-60, 60);
        if (event == 3) filter.info.hide(filter.filter);
        if (event == 4) filter.Set("lookahead", random.In(-5, 12));
        if (event == 5) filter.Set("window", random.In(0, 200));
        if (event == 6) filter.Set("strength", random.In(-1, 9));
        if (event == 7) filter.Switch("split", random.In(0, 1) == 1);
        if (event == 8) filter.Switch("cubic", random.In(0, 1) == 1);
        obs_source_frame *frame =
            MakeFrame(*format, width, height, 200 + number + late, random.In(0, 9));
        obs_audio_data sound = {};
        sound.data[random.In(0, 1)] = (uint8_t *)samples.data();
        sound.frames = (uint32_t)random.In(0, 900);
        sound.timestamp = frame->timestamp;
        if (event == 9) sound.data[0] = nullptr;
        filter.info.filter_audio(filter.filter, &sound);
        if (event == 10) frame->width = (uint32_t)random.In(0, 0x7ffffffe);
        if (event == 11) frame->linesize[0] = (uint32_t)random.In(0, width - 1);
        if (event == 12) frame->format = VIDEO_FORMAT_AYUV;
        frame = filter.Frame(frame);
        waiting += frame ? 0 : 1;
        GiveBack(frame);
    }
    EXPECT_GT(waiting, 100);
    EXPECT_LT(waiting, 3900);
}

int PrintSpeed() {
    for (const FormatCase &format : {kNv12, kBgra, kYuy2}) {
        Running filter;
        std::vector<double> times;
        for (int number = 0; number < 60; number++) {
            obs_source_frame *frame = MakeFrame(format, 1920, 1080, number);
            const clock_t before = clock();
            frame = filter.Frame(frame);
            times.push_back((double)(clock() - before) * 1e3 / CLOCKS_PER_SEC);
            GiveBack(frame);
        }
        std::sort(times.begin(), times.end());
        printf("1920x1080 %s: %.1f ms of processor time\n", get_video_format_name(format.format),
               times[30]);
    }
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    base_set_log_handler(KeepLog, nullptr);
    if (argc > 1 && strcmp(argv[1], "--speed") == 0) return PrintSpeed();
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

// SPDX-License-Identifier: BSD-2-Clause
// The filter's module in the host itself: a source of this program shows frames and speaks, the filter
// is loaded and put on it, and filters of this program, before and behind it, note what goes in and
// comes out.
//   host_test MODULE DATA
#include <gtest/gtest.h>

#include <string.h>

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

#include <obs-module.h>
#include <util/platform.h>

namespace {

const uint32_t kWidth = 320, kHeight = 180;
const uint64_t kFrameTime = 40000000;
std::string gModule, gData;

// What a filter saw. The number of a frame is in its colour matrix, that of a sample in its value.
struct Seen {
    struct Frame {
        int number;
        uint64_t timestamp;
        uint64_t shown; // by the host's clock
    };
    struct Sound {
        uint64_t spoken, timestamp;
    };
    std::vector<Frame> frames;
    std::vector<Sound> sounds;
};

std::mutex gMutex;
Seen gBefore, gBehind;
std::vector<Seen::Sound> gPlayed; // by the host's clock

obs_source_frame *NoteFrame(void *data, obs_source_frame *frame) {
    std::lock_guard<std::mutex> lock(gMutex);
    ((Seen *)data)->frames.push_back({(int)frame->color_matrix[0], frame->timestamp, os_gettime_ns()});
    return frame;
}

uint64_t FirstSample(const uint8_t *plane) { return (uint64_t)(*(const float *)plane * 16777216); }

obs_audio_data *NoteSound(void *data, obs_audio_data *sound) {
    std::lock_guard<std::mutex> lock(gMutex);
    ((Seen *)data)->sounds.push_back({FirstSample(sound->data[0]), sound->timestamp});
    return sound;
}

// The sound of all sources together, which is that of the camera, or silence.
void NotePlayed(void *, size_t, audio_data *sound) {
    std::lock_guard<std::mutex> lock(gMutex);
    if (FirstSample(sound->data[0]) > 0)
        gPlayed.push_back({FirstSample(sound->data[0]), sound->timestamp});
}

void RegisterSources() {
    obs_source_info info = {};
    info.id = "test_camera";
    info.type = OBS_SOURCE_TYPE_INPUT;
    info.output_flags = OBS_SOURCE_ASYNC_VIDEO | OBS_SOURCE_AUDIO;
    info.get_name = [](void *) { return "camera"; };
    info.create = [](obs_data_t *, obs_source_t *source) { return (void *)source; };
    info.destroy = [](void *) {};
    obs_register_source(&info);
    info.type = OBS_SOURCE_TYPE_FILTER;
    info.output_flags = OBS_SOURCE_ASYNC_VIDEO;
    info.filter_video = NoteFrame;
    info.filter_audio = NoteSound;
    info.id = "test_before";
    info.create = [](obs_data_t *, obs_source_t *) { return (void *)&gBefore; };
    obs_register_source(&info);
    info.id = "test_behind";
    info.create = [](obs_data_t *, obs_source_t *) { return (void *)&gBehind; };
    obs_register_source(&info);
}

size_t Count(const Seen &seen) {
    std::lock_guard<std::mutex> lock(gMutex);
    return seen.frames.size();
}

class ObsHost : public testing::Test {
  protected:
    void SetUp() override {
        gBefore = gBehind = {};
        gPlayed.clear();
        ASSERT_TRUE(obs_startup("en-US", nullptr, nullptr));
        obs_video_info video = {};
        video.graphics_module = "libobs-opengl";
        video.fps_num = 60;
        video.fps_den = 1;
        video.base_width = video.output_width = kWidth;
        video.base_height = video.output_height = kHeight;
        video.output_format = VIDEO_FORMAT_NV12;
        ASSERT_EQ(obs_reset_video(&video), OBS_VIDEO_SUCCESS);
        obs_audio_info audio = {48000, SPEAKERS_STEREO};
        ASSERT_TRUE(obs_reset_audio(&audio));
        obs_module_t *module = nullptr;
        ASSERT_EQ(obs_open_module(&module, gModule.c_str(), gData.c_str()), MODULE_SUCCESS);
        ASSERT_TRUE(obs_init_module(module));
        RegisterSources();
        mCamera = obs_source_create("test_camera", "camera", nullptr, nullptr);
        Add("test_before");
        mFilter = Add("quorvel_stabilize_filter");
        Add("test_behind");
        obs_add_raw_audio_callback(0, nullptr, NotePlayed, nullptr);
        obs_set_output_source(0, mCamera);
        mStart = os_gettime_ns();
    }

    void TearDown() override {
        if (!mCamera) return;
        obs_remove_raw_audio_callback(0, NotePlayed, nullptr);
        obs_set_output_source(0, nullptr);
        obs_source_release(mFilter);
        obs_source_release(mCamera);
        obs_shutdown();
        EXPECT_EQ(bnum_allocs(), 0);
    }

    obs_source_t *Add(const char *id) {
        obs_source_t *filter = obs_source_create(id, id, nullptr, nullptr);
        obs_source_filter_add(mCamera, filter);
        if (strcmp(id, "quorvel_stabilize_filter") != 0) obs_source_release(filter);
        return filter;
    }

    void Set(const char *name, int value) {
        obs_data_t *settings = obs_data_create();
        obs_data_set_int(settings, name, value);
        obs_source_update(mFilter, settings);
        obs_data_release(settings);
    }

    // The next frame, and as much sound, with the time that `clock` shows at the start. The next one
    // comes when this one has reached the filters, and no sooner than in the film.
    void Show(uint64_t clock) {
        const uint64_t time = clock + (uint64_t)mNumber * kFrameTime;
        std::vector<uint8_t> pixels(kWidth * kHeight * 3 / 2);
        for (size_t i = 0; i < pixels.size(); i++)
            pixels[i] =
                (uint8_t)(((i % kWidth + (size_t)mNumber % 5) / 7 * 41) ^ (i / kWidth / 9 * 57));
        obs_source_frame frame = {};
        frame.data[0] = pixels.data();
        frame.data[1] = pixels.data() + kWidth * kHeight;
        frame.linesize[0] = frame.linesize[1] = frame.width = kWidth;
        frame.height = kHeight;
        frame.format = VIDEO_FORMAT_NV12;
        frame.timestamp = time;
        frame.color_matrix[0] = (float)mNumber;
        const size_t before = Count(gBefore);
        os_sleepto_ns(mStart + (uint64_t)mNumber * kFrameTime);
        obs_source_output_video(mCamera, &frame);
        Speak(time);
        for (int i = 0; i < 500 && Count(gBefore) == before; i++) os_sleep_ms(2);
        EXPECT_EQ(Count(gBefore), before + 1) << "frame " << mNumber << " did not reach the filters";
        auto nothing = [](obs_source_t *, obs_source_t *, void *) {};
        obs_source_enum_filters(mCamera, nothing, nullptr); // waits until it has passed all of them
        mNumber++;
    }

    void Speak(uint64_t time) {
        std::vector<float> samples(1920);
        for (float &sample : samples) sample = (float)mSpoken++ / 16777216;
        obs_source_audio sound = {};
        sound.data[0] = sound.data[1] = (const uint8_t *)samples.data();
        sound.frames = (uint32_t)samples.size();
        sound.speakers = SPEAKERS_STEREO;
        sound.format = AUDIO_FORMAT_FLOAT_PLANAR;
        sound.samples_per_sec = 48000;
        sound.timestamp = time;
        obs_source_output_audio(mCamera, &sound);
    }

    // From the first one on, each frame comes out `late` frames later, and so does the sound of its
    // time.
    void ExpectDelay(int late, int most, bool hostsClock) {
        std::lock_guard<std::mutex> lock(gMutex);
        const std::vector<Seen::Frame> &in = gBefore.frames, &out = gBehind.frames;
        ASSERT_EQ(in.size(), (size_t)most);
        ASSERT_EQ(out.size(), (size_t)(most - late));
        const uint64_t clock = in[0].timestamp;
        for (size_t i = 0; i < out.size(); i++) {
            EXPECT_EQ(out[i].number, (int)i);
            EXPECT_EQ(out[i].timestamp, clock + (i + (size_t)late) * kFrameTime);
        }
        EXPECT_GE(gBehind.sounds.size() + (size_t)late + 2, (size_t)most);
        for (const Seen::Sound &sound : gBehind.sounds) {
            // What was spoken before the first frame had come is not delayed.
            const uint64_t spoken = clock + sound.spoken * 1000000000 / 48000;
            if (sound.spoken < 1920) continue;
            EXPECT_NEAR((double)(sound.timestamp - spoken), (double)late * kFrameTime, 1e3);
        }
        ExpectSync(hostsClock);
    }

    // The host plays sound when it shows the frame of the same time. Where the sound has the time of
    // the host's clock, it goes by that alone, whenever the frame is shown.
    static void ExpectSync(bool hostsClock) {
        std::vector<double> late;
        for (const Seen::Sound &played : gPlayed) {
            const size_t number = (size_t)(played.spoken / 1920);
            if (number < 15 || number >= gBehind.frames.size()) continue;
            const Seen::Frame &frame = gBehind.frames[number];
            late.push_back((double)played.timestamp -
                           (double)(hostsClock ? frame.timestamp : frame.shown));
        }
        ASSERT_GE(late.size(), 10u);
        std::sort(late.begin(), late.end());
        EXPECT_NEAR(late[late.size() / 2] / 1e6, 0, 60) << "milliseconds";
    }

    obs_source_t *mCamera = nullptr, *mFilter = nullptr;
    uint64_t mStart = 0, mSpoken = 0;
    int mNumber = 0;
};

// Times of the host's own clock, as cameras have them.
TEST_F(ObsHost, EveryFrameOfACameraIsFilteredAndItsSoundStaysWithIt) {
    Set("lookahead", 10);
    os_sleep_ms(100); // settings are taken over at the next tick
    for (int i = 0; i < 40; i++) Show(mStart);
    ExpectDelay(10, 40, true);
}

// Times from 0 on.
TEST_F(ObsHost, EveryFrameOfAFileIsFilteredAndItsSoundStaysWithIt) {
    Set("lookahead", 10);
    os_sleep_ms(100);
    for (int i = 0; i < 40; i++) Show(1000000000);
    ExpectDelay(10, 40, false);
}

TEST_F(ObsHost, WithoutALookaheadNothingIsDelayed) {
    for (int i = 0; i < 30; i++) Show(1000000000);
    ExpectDelay(0, 30, false);
}

TEST_F(ObsHost, WhatWaitsIsDroppedWhenTheFilterIsSwitchedOffHiddenOrRemoved) {
    Set("lookahead", 6);
    os_sleep_ms(100);
    for (int i = 0; i < 8; i++) Show(mStart);
    EXPECT_EQ(Count(gBehind), 2u);
    obs_source_set_enabled(mFilter, false);
    for (int i = 0; i < 4; i++) Show(mStart);
    EXPECT_EQ(Count(gBehind), 6u);
    EXPECT_EQ(gBehind.frames.back().number, 11);
    obs_source_set_enabled(mFilter, true);
    for (int i = 0; i < 4; i++) Show(mStart);
    EXPECT_EQ(Count(gBehind), 6u);
    obs_set_output_source(0, nullptr); // hidden
    os_sleep_ms(200);
    obs_set_output_source(0, mCamera);
    os_sleep_ms(100);
    mStart = os_gettime_ns() - (uint64_t)mNumber * kFrameTime;
    for (int i = 0; i < 6; i++) Show(mStart);
    EXPECT_EQ(Count(gBehind), 6u) << "frames from before the source was hidden";
    Show(mStart);
    EXPECT_EQ(gBehind.frames.back().number, 16);
    obs_source_filter_remove(mCamera, mFilter);
    Show(mStart);
    EXPECT_EQ(gBehind.frames.back().number, 23);
}

} // namespace

int main(int argc, char **argv) {
    testing::InitGoogleTest(&argc, argv);
    if (argc != 3) return 2;
    gModule = argv[1];
    gData = argv[2];
    return RUN_ALL_TESTS();
}

// SPDX-License-Identifier: BSD-2-Clause
// The filter's module in the host itself: a source of this program shows frames and speaks, the filter
// is put on it, and filters of this program, before and behind it, note what goes in and comes out.
//   host_test MODULE DATA
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include <obs-module.h>
#include <util/platform.h>

namespace {

const uint32_t kWidth = 320, kHeight = 180, kSamples = 1920; // of a frame's time
const uint64_t kFrameTime = 40000000;
const char *gModule, *gData;

struct Noted {
    uint64_t
        number; // of the frame, which is in its colour matrix, or of the sample, which is its value
    uint64_t timestamp;
    uint64_t now; // the host's time of showing or playing it
};

struct Notes {
    std::vector<Noted> frames, sounds;
};

std::mutex gMutex;
std::function<void()> gWhileAFrameComes; // called once, before the filter has the frame
Notes gBefore, gBehind, gPlayed;

uint64_t FirstSample(const uint8_t *plane) { return (uint64_t)(*(const float *)plane * 16777216); }

obs_source_frame *NoteFrame(void *data, obs_source_frame *frame) {
    std::lock_guard<std::mutex> lock(gMutex);
    if (gWhileAFrameComes) gWhileAFrameComes();
    gWhileAFrameComes = nullptr;
    ((Notes *)data)
        ->frames.push_back(
            {(uint64_t)frame->color_matrix[0], frame->timestamp, obs_get_video_frame_time()});
    return frame;
}

obs_audio_data *NoteSound(void *data, obs_audio_data *sound) {
    std::lock_guard<std::mutex> lock(gMutex);
    ((Notes *)data)->sounds.push_back({FirstSample(sound->data[0]), sound->timestamp, 0});
    return sound;
}

// The sound of all sources together: that of the camera, or silence.
void NotePlayed(void *, size_t, audio_data *sound) {
    std::lock_guard<std::mutex> lock(gMutex);
    const uint64_t sample = FirstSample(sound->data[0]);
    if (sample > 0) gPlayed.sounds.push_back({sample, 0, sound->timestamp});
}

void RegisterSources() {
    obs_source_info info = {};
    info.id = "test_camera";
    info.type = OBS_SOURCE_TYPE_INPUT;
    info.output_flags = OBS_SOURCE_ASYNC_VIDEO | OBS_SOURCE_AUDIO;
    info.get_name = [](void *) { return "test"; };
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

class ObsHost : public testing::Test {
  protected:
    void SetUp() override {
        gBefore = gBehind = gPlayed = {};
        ASSERT_TRUE(obs_startup("en-US", nullptr, nullptr));
        obs_video_info video = {};
        video.graphics_module = "libobs-opengl";
        video.fps_num = 60;
        video.fps_den = 1;
        video.base_width = video.output_width = kWidth;
        video.base_height = video.output_height = kHeight;
        video.output_format = VIDEO_FORMAT_NV12;
        ASSERT_EQ(obs_reset_video(&video), OBS_VIDEO_SUCCESS);
        const obs_audio_info audio = {48000, SPEAKERS_STEREO};
        ASSERT_TRUE(obs_reset_audio(&audio));
        obs_module_t *module = nullptr;
        ASSERT_EQ(obs_open_module(&module, gModule, gData), MODULE_SUCCESS);
        ASSERT_TRUE(obs_init_module(module));
        RegisterSources();
        mCamera = obs_source_create("test_camera", "camera", nullptr, nullptr);
        obs_source_release(Add("test_before"));
        mFilter = Add("quorvel_stabilize_filter");
        obs_source_release(Add("test_behind"));
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
        return filter;
    }

    void SetLookahead(int frames) {
        obs_data_t *settings = obs_data_create();
        obs_data_set_int(settings, "lookahead", frames);
        obs_source_update(mFilter, settings);
        obs_data_release(settings);
        os_sleep_ms(100); // settings are taken over at the next tick
    }

    // The next frames, each with its sound, when the one before has passed the filters and no sooner
    // than in a film. The times of the frames begin with `clock`.
    void Show(int frames, uint64_t clock) {
        while (frames-- > 0) {
            const uint64_t time = clock + mNumber * kFrameTime;
            const size_t before = Passed();
            os_sleepto_ns(mStart + mNumber * kFrameTime);
            ShowFrame(time);
            Speak(time);
            for (int i = 0; i < 500 && Passed() == before; i++) os_sleep_ms(2);
            ASSERT_GT(Passed(), before) << "frame " << mNumber << " did not reach the filters";
            mNumber++;
        }
    }

    size_t Passed() {
        obs_source_enum_filters(
            mCamera, [](obs_source_t *, obs_source_t *, void *) {}, nullptr); // waits
        std::lock_guard<std::mutex> lock(gMutex);
        return gBefore.frames.size();
    }

    void ShowFrame(uint64_t time) {
        std::vector<uint8_t> pixels(kWidth * kHeight * 3 / 2);
        for (size_t i = 0; i < pixels.size(); i++)
            pixels[i] = (uint8_t)(((i % kWidth + mNumber % 5) / 7 * 41) ^ (i / kWidth / 9 * 57));
        obs_source_frame frame = {};
        frame.data[0] = pixels.data();
        frame.data[1] = pixels.data() + kWidth * kHeight;
        frame.linesize[0] = frame.linesize[1] = frame.width = kWidth;
        frame.height = kHeight;
        frame.format = VIDEO_FORMAT_NV12;
        frame.timestamp = time;
        frame.color_matrix[0] = (float)mNumber;
        obs_source_output_video(mCamera, &frame);
    }

    void Speak(uint64_t time) {
        std::vector<float> samples(kSamples);
        for (float &sample : samples) sample = (float)mSpoken++ / 16777216;
        obs_source_audio sound = {};
        sound.data[0] = sound.data[1] = (const uint8_t *)samples.data();
        sound.frames = kSamples;
        sound.speakers = SPEAKERS_STEREO;
        sound.format = AUDIO_FORMAT_FLOAT_PLANAR;
        sound.samples_per_sec = 48000;
        sound.timestamp = time;
        obs_source_output_audio(mCamera, &sound);
    }

    // Frames and sound come out `late` frames later than they went in, and are shown and played
    // together. Sound with the times of the host's clock goes by that alone, whenever its frame is
    // shown.
    void ExpectDelay(size_t late, bool hostsClock) {
        std::lock_guard<std::mutex> lock(gMutex);
        const std::vector<Noted> &in = gBefore.frames, &out = gBehind.frames;
        ASSERT_EQ(out.size(), in.size() - late);
        for (size_t i = 0; i < out.size(); i++) {
            EXPECT_EQ(out[i].number, i);
            EXPECT_EQ(out[i].timestamp, in[i + late].timestamp);
        }
        EXPECT_GE(gBehind.sounds.size() + late + 2, in.size());
        for (const Noted &sound : gBehind.sounds) {
            const uint64_t spoken = in[0].timestamp + sound.number * 1000000000 / 48000;
            if (sound.number < kSamples) continue; // before the first frame had come
            EXPECT_NEAR((double)(sound.timestamp - spoken), (double)(late * kFrameTime), 1e3);
        }
        std::vector<double> apart;
        for (const Noted &sound : gPlayed.sounds) {
            const size_t i = sound.number / kSamples;
            if (i < 15 || i >= out.size()) continue;
            apart.push_back((double)sound.now - (double)(hostsClock ? out[i].timestamp : out[i].now));
        }
        ASSERT_GE(apart.size(), 10u);
        std::sort(apart.begin(), apart.end());
        EXPECT_NEAR(apart[apart.size() / 2] / 1e6, 0, 80) << "milliseconds; the host allows 70";
    }

    void ExpectOut(size_t frames, uint64_t last) {
        std::lock_guard<std::mutex> lock(gMutex);
        ASSERT_EQ(gBehind.frames.size(), frames);
        EXPECT_EQ(gBehind.frames.back().number, last);
    }

    obs_source_t *mCamera = nullptr, *mFilter = nullptr;
    uint64_t mStart = 0, mSpoken = 0, mNumber = 0;
};

// Times of the host's own clock, as cameras have them.
TEST_F(ObsHost, TheSoundOfACameraStaysWithItsFrames) {
    SetLookahead(10);
    Show(40, mStart);
    ExpectDelay(10, true);
}

// Times from 0 on.
TEST_F(ObsHost, TheSoundOfAFileStaysWithItsFrames) {
    SetLookahead(10);
    Show(40, 1000000000);
    ExpectDelay(10, false);
}

TEST_F(ObsHost, WithoutALookaheadNothingIsDelayed) {
    Show(30, 1000000000);
    ExpectDelay(0, false);
}

TEST_F(ObsHost, WhatWaitsIsDroppedByAJumpAndWhenTheFilterIsSwitchedOffHiddenOrRemoved) {
    SetLookahead(6);
    Show(8, mStart);
    ExpectOut(2, 1);
    Show(6, mStart + 5000000000); // a jump
    obs_source_set_enabled(mFilter, false);
    Show(4, mStart);
    ExpectOut(6, 17);
    obs_source_set_enabled(mFilter, true);
    Show(4, mStart);
    ExpectOut(6, 17);
    obs_set_output_source(0, nullptr); // hidden
    os_sleep_ms(200);
    obs_set_output_source(0, mCamera);
    os_sleep_ms(100);
    mStart = os_gettime_ns() - mNumber * kFrameTime;
    Show(6, mStart);
    ExpectOut(6, 17);
    Show(1, mStart);
    ExpectOut(7, 22);
    obs_source_filter_remove(mCamera, mFilter);
    Show(1, mStart);
    ExpectOut(8, 29);
}

// The host has looked whether the filter is on, and has its frames locked. The user's thread, which
// gives back those that wait, must not stop it.
TEST_F(ObsHost, TheFilterIsSwitchedOffWhileAFrameComes) {
    SetLookahead(6);
    Show(4, mStart);
    std::thread user;
    gWhileAFrameComes = [&] {
        user = std::thread([this] {
            calldata_t call = {};
            calldata_set_bool(&call, "enabled", false);
            signal_handler_signal(obs_source_get_signal_handler(mFilter), "enable", &call);
            calldata_free(&call);
        });
        os_sleep_ms(100);
    };
    Show(1, mStart);
    user.join();
    Show(7, mStart);
    ExpectOut(2, 5);
}

TEST_F(ObsHost, InterlacedFramesPass) {
    SetLookahead(6);
    Show(4, mStart);
    obs_source_set_deinterlace_mode(mCamera, OBS_DEINTERLACE_MODE_YADIF);
    Show(8, mStart);
    std::lock_guard<std::mutex> lock(gMutex);
    EXPECT_GE(gBehind.frames.size(), 7u);
}

} // namespace

int main(int argc, char **argv) {
    testing::InitGoogleTest(&argc, argv);
    if (argc != 3) return 2;
    gModule = argv[1];
    gData = argv[2];
    return RUN_ALL_TESTS();
}

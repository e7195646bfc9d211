// SPDX-License-Identifier: BSD-2-Clause
#include "harness.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <atomic>
#include <fstream>
#include <random>
#include <thread>

#include "common/stream.h"

namespace {

const GstClockTime kFrame = GST_SECOND / kRate;

Numbers Range(guint64 first, guint64 end) {
    Numbers numbers;
    while (first < end) numbers.push_back(first++);
    return numbers;
}

struct Expected { // of the first plane, and of those behind it
    const char *format;
    int planes, luma, channels[2], bytes, bits, lowest, log2X, log2Y, siteX, siteY;
};

// clang-format off
const Expected kFormats[] = {
    {"I420,chroma-site=mpeg2", 3, 0, {1, 1}, 1, 8, 0, 1, 1, 0, 2}, {"I420", 3, 0, {1, 1}, 1, 8, 0, 1, 1, 2, 2},
    {"YV12,chroma-site=jpeg", 3, 0, {1, 1}, 1, 8, 0, 1, 1, 2, 2}, {"NV12", 2, 0, {1, 2}, 1, 8, 0, 1, 1, 2, 2},
    {"NV21,chroma-site=cosited", 2, 0, {1, 2}, 1, 8, 0, 1, 1, 0, 0}, {"RGB", 1, 1, {3, 3}, 1, 8, 0, 0, 0, 0, 0},
    {"Y42B,chroma-site=mpeg2", 3, 0, {1, 1}, 1, 8, 0, 1, 0, 0, 0}, {"Y444", 3, 0, {1, 1}, 1, 8, 0, 0, 0, 0, 0},
    {"NV16,chroma-site=mpeg2", 2, 0, {1, 2}, 1, 8, 0, 1, 0, 0, 0}, {"GRAY8", 1, 0, {1, 1}, 1, 8, 0, 0, 0, 0, 0},
    {"Y41B,chroma-site=mpeg2", 3, 0, {1, 1}, 1, 8, 0, 2, 0, 0, 0}, {"BGRA", 1, 1, {4, 4}, 1, 8, 0, 0, 0, 0, 0},
    {"P010_10LE,chroma-site=mpeg2", 2, 0, {1, 2}, 2, 10, 6, 1, 1, 0, 2}, {"xRGB", 1, 2, {4, 4}, 1, 8, 0, 0, 0, 0, 0},
    {"I420_10LE,chroma-site=dv", 3, 0, {1, 1}, 2, 10, 0, 1, 1, 0, 0}, {"AYUV", 1, 1, {4, 4}, 1, 8, 0, 0, 0, 0, 0},
};
// clang-format on

std::vector<MVS_Plane> PlanesOf(const Expected &format, const GstVideoInfo &info, const Bytes &data) {
    std::vector<MVS_Plane> planes;
    for (int p = 0; p < format.planes; p++) {
        planes.push_back(MakePlane(info.width, info.height, format.channels[p ? 1 : 0],
                                   p ? format.log2X : 0, p ? format.log2Y : 0,
                                   data.data() + info.offset[p], info.stride[p]));
        planes[(size_t)p].lSampleBytes = format.bytes;
        planes[(size_t)p].lBits = format.bits;
        planes[(size_t)p].lLowestBit = format.lowest;
        planes[(size_t)p].lLuma = format.luma;
        planes[(size_t)p].lSiteX = p ? format.siteX : 0;
        planes[(size_t)p].lSiteY = p ? format.siteY : 0;
    }
    return planes;
}

// What the library makes of the clip's first frames.
std::vector<Bytes> Reference(const Expected &format, Element &e, int frames, int lookahead) {
    StreamSettings settings;
    settings.lookahead = lookahead;
    settings.rateNumerator = kRate;
    MVS_Context *handle = OpenStream(e.info.width, e.info.height, settings);
    std::vector<Bytes> kept, pictures;
    while ((int)kept.size() < frames) {
        GstBuffer *frame = e.Frame();
        kept.emplace_back(e.info.size);
        gst_buffer_extract(frame, 0, kept.back().data(), e.info.size);
        gst_buffer_unref(frame);
        QEL_MVS_PushLuma(handle, PlanesOf(format, e.info, kept.back()).data());
    }
    QEL_MVS_EndStream(handle);
    MVS_Compensation record = {};
    record.lSize = (int32_t)sizeof(record);
    GstBuffer *output = gst_buffer_new_allocate(NULL, e.info.size, NULL);
    Bytes drawn(e.info.size);
    for (size_t i = 0; QEL_MVS_PullCompensation(handle, &record); i++) {
        QEL_MVS_CompensateFrame(handle, &record, PlanesOf(format, e.info, kept[i]).data(),
                                PlanesOf(format, e.info, drawn).data(), format.planes);
        gst_buffer_fill(output, 0, drawn.data(), drawn.size());
        pictures.push_back(Visible(e.info, output));
    }
    gst_buffer_unref(output);
    QEL_MVS_DestroyStabilizer(handle);
    e.next = 0;
    return pictures;
}

// All formats, odd sizes, and any way for the planes to lie in the buffer.
TEST(GstPictures, AreThoseOfTheLibrary) {
    for (const Expected &format : kFormats) {
        for (const Layout &layout : {Layout{}, Layout{true, 64, 32}, Layout{true, 6, 10, true}}) {
            Element e("lookahead=5");
            e.SetCaps(format.format, 161, 99);
            const std::vector<Bytes> expected = Reference(format, e, 8, 5);
            for (int i = 0; i < 8; i++) e.Push(e.Frame(layout));
            e.Send(gst_event_new_eos());
            for (size_t i = 0; i < 8; i++) {
                GstBuffer *output = e.Pull();
                ASSERT_TRUE(output);
                EXPECT_TRUE(Visible(e.info, output) == expected[i]) << format.format << ", frame " << i;
                gst_buffer_unref(output);
            }
            EXPECT_EQ(e.Messages(GST_MESSAGE_WARNING), 0) << format.format;
        }
    }
}

TEST(GstPictures, TheSplitKeepsTheLeftHalf) {
    Element whole, split("split=true");
    whole.SetCaps("GRAY8", 160, 96);
    split.SetCaps("GRAY8", 160, 96);
    for (int i = 0; i < 4; i++) {
        GstBuffer *frame = split.Frame();
        const Bytes in = Visible(split.info, frame);
        split.Push(frame);
        whole.Push(1);
        GstBuffer *halves = split.Pull(), *stabilized = whole.Pull();
        const Bytes out = Visible(split.info, halves), right = Visible(split.info, stabilized);
        for (size_t x = 0; x < out.size(); x++) ASSERT_EQ(out[x], x % 160 < 80 ? in[x] : right[x]);
        gst_buffer_unref(halves);
        gst_buffer_unref(stabilized);
    }
}

TEST(GstFlow, FramesWaitAndKeepTimesFlagsAndMetas) {
    const std::pair<const char *, guint> delays[] = {
        {"", 0}, {"lookahead=4", 0}, {"lookahead=5", 5}, {"lookahead=12 enabled=false", 12}};
    for (auto [settings, held] : delays) {
        Element e(settings);
        e.SetCaps("NV12", 160, 96);
        EXPECT_EQ(gst_harness_query_latency(e.harness), held * kFrame);
        EXPECT_EQ(e.Messages(GST_MESSAGE_LATENCY), held ? 1 : 0);
        for (guint i = 0; i < 40; i++) {
            GstBuffer *frame = e.Frame();
            if (i == 16)
                GST_BUFFER_FLAG_SET(frame, GST_BUFFER_FLAG_DISCONT); // lets those before it out
            gst_buffer_add_video_region_of_interest_meta(frame, "face", i, 2, 3, 4);
            e.Push(frame);
            EXPECT_EQ(gst_harness_buffers_in_queue(e.harness),
                      i < 16 ? i + 1 - MIN(held, i + 1) : i + 1 - MIN(held, i - 15));
        }
        e.Send(gst_event_new_eos());
        for (guint i = 0; i < 40; i++) {
            GstBuffer *output = e.Pull();
            ASSERT_TRUE(output);
            EXPECT_EQ(GST_BUFFER_PTS(output), i * kFrame);
            EXPECT_EQ(GST_BUFFER_DURATION(output), kFrame);
            EXPECT_EQ(GST_BUFFER_FLAG_IS_SET(output, GST_BUFFER_FLAG_DISCONT), i == 16) << i;
            const auto *meta = gst_buffer_get_video_region_of_interest_meta_id(output, 0);
            EXPECT_TRUE(meta && meta->x == i);
            gst_buffer_unref(output);
        }
    }
    EXPECT_EQ(gLiveFrames, 0);
}

// What ends something lets the frames out first; what belongs between two frames waits with them.
TEST(GstFlow, EventsDoNotOvertakeFrames) {
    Element e("lookahead=6");
    e.SetCaps("I420", 160, 96);
    e.Push(8);
    e.Events();
    e.Send(gst_event_new_tag(gst_tag_list_new_empty())); // behind frame 7
    e.Push(5);
    EXPECT_EQ(e.Events(), "");
    e.Push(1); // lets frame 7 out
    EXPECT_EQ(e.Events(), "tag ");
    EXPECT_EQ(e.Take(), Range(0, 8));
    e.Send(gst_event_new_gap(e.next * kFrame, kFrame));
    EXPECT_EQ(e.Take(), Range(8, 14));
    EXPECT_EQ(e.Events(), "gap ");
    e.Push(7);
    GstCaps *same = gst_pad_get_current_caps(e.harness->srcpad);
    e.Send(gst_event_new_caps(same));
    gst_caps_unref(same);
    EXPECT_EQ(e.Take(), Range(14, 15));
    e.SetCaps("NV12", 176, 128);
    EXPECT_EQ(e.Take(), Range(15, 21));
    e.Push(3);
    e.Flush();
    EXPECT_EQ(gLiveFrames, 0);
    e.Push(8);
    EXPECT_EQ(e.Take(), Range(24, 26));
    GstQuery *drain = gst_query_new_drain();
    gst_pad_peer_query(e.harness->srcpad, drain);
    gst_query_unref(drain);
    EXPECT_EQ(e.Take(), Range(26, 32));
}

TEST(GstFlow, NothingIsDrawnForAPadThatFlushes) {
    Element e("lookahead=30 post-motion=true");
    e.SetCaps("I420", 160, 96);
    e.Push(12);
    gst_pad_set_active(e.harness->sinkpad, FALSE);
    e.Send(gst_event_new_eos());
    EXPECT_EQ(e.Messages(GST_MESSAGE_ELEMENT), 1);
    EXPECT_EQ(gLiveFrames, 0);
}

TEST(GstFlow, ScenesStartWhereTimeJumps) {
    Element e("post-motion=true");
    e.SetCaps("I420", 160, 96);
    std::string scenes;
    for (int i = 0; i < 15; i++) {
        GstBuffer *frame = e.Frame();
        if (i == 4) GST_BUFFER_FLAG_SET(frame, GST_BUFFER_FLAG_DISCONT);
        if (i == 7) GST_BUFFER_FLAG_SET(frame, GST_BUFFER_FLAG_RESYNC);
        if (i >= 9) GST_BUFFER_PTS(frame) -= 5 * kFrame;
        if (i == 12) e.Send(gst_event_new_gap(GST_BUFFER_PTS(frame), kFrame));
        if (i == 13) e.Push(gst_buffer_new()); // not measured
        const GstClockTime pts = GST_BUFFER_PTS(frame);
        e.Push(frame);
        GstMessage *message = gst_bus_pop_filtered(e.bus, GST_MESSAGE_ELEMENT);
        ASSERT_TRUE(message && gst_message_has_name(message, "quorvel-motion"));
        guint64 timestamp = 0;
        gdouble dx = 0, dy = 0;
        gboolean scene = FALSE, measured = FALSE;
        gst_structure_get(gst_message_get_structure(message), "timestamp", G_TYPE_UINT64, &timestamp,
                          "dx", G_TYPE_DOUBLE, &dx, "dy", G_TYPE_DOUBLE, &dy, "new-scene",
                          G_TYPE_BOOLEAN, &scene, "measured", G_TYPE_BOOLEAN, &measured, NULL);
        EXPECT_EQ(timestamp, pts);
        EXPECT_EQ(measured, dx != 0 || dy != 0);
        EXPECT_NE(scene, measured);
        scenes += scene ? "S" : ".";
        gst_message_unref(message);
    }
    EXPECT_EQ(scenes, "S...S..S.S..SS.");
}

// A source of raw bytes may have a segment that counts bytes: frames have times, the segment has none.
TEST(GstFlow, SegmentsWithoutTimes) {
    Element e("post-motion=true");
    e.SetCaps("I420", 160, 96);
    GstSegment segment;
    gst_segment_init(&segment, GST_FORMAT_BYTES);
    e.Send(gst_event_new_segment(&segment));
    e.Push(2);
    EXPECT_EQ(e.Take(), Range(0, 2));
    GstMessage *message = gst_bus_pop_filtered(e.bus, GST_MESSAGE_ELEMENT);
    ASSERT_TRUE(message);
    guint64 stream = 0, running = 0;
    gst_structure_get(gst_message_get_structure(message), "stream-time", G_TYPE_UINT64, &stream,
                      "running-time", G_TYPE_UINT64, &running, NULL);
    EXPECT_EQ(stream, GST_CLOCK_TIME_NONE);
    EXPECT_EQ(running, GST_CLOCK_TIME_NONE);
    gst_message_unref(message);
}

TEST(GstSettings, ChangeWhilePlaying) {
    Element e("lookahead=10");
    e.SetCaps("I420", 160, 96);
    e.Push(12);
    EXPECT_EQ(e.Messages(GST_MESSAGE_LATENCY), 1);
    EXPECT_EQ(e.Take(), Range(0, 2));
    g_object_set(e.element, "cubic", TRUE, "split", TRUE, "threads", 1, "lookahead", 10, NULL);
    e.Push(1);
    EXPECT_EQ(e.Take(), Range(2, 3)) << "these need no new scene";
    g_object_set(e.element, "window", 0.7, NULL);
    e.Push(1);
    EXPECT_EQ(e.Take(), Range(3, 13));
    EXPECT_EQ(e.Messages(GST_MESSAGE_LATENCY), 0);
    g_object_set(e.element, "lookahead", 6, NULL);
    e.Push(1);
    EXPECT_EQ(e.Take(), Range(13, 14));
    EXPECT_EQ(e.Messages(GST_MESSAGE_LATENCY), 1);
    EXPECT_EQ(gst_harness_query_latency(e.harness), 6 * kFrame);
    g_object_set(e.element, "lookahead", 0, NULL);
    e.Push(2);
    EXPECT_EQ(e.Take(), Range(14, 17));
}

// Disabled, it passes the very buffers with the same delay, but copies those that the next element
// could not read.
TEST(GstSettings, SwitchOnAndOff) {
    for (bool takesMeta : {true, false}) {
        Element e("lookahead=5", takesMeta);
        e.SetCaps("I420", 160, 96);
        std::vector<GstBuffer *> in;
        for (size_t i = 0; i < 20; i++) {
            g_object_set(e.element, "enabled", i / 5 % 2 == 0, NULL);
            in.push_back(e.Frame({i % 2 == 0, 32, 16}));
            e.Push(gst_buffer_ref(in.back()));
            GstBuffer *output = e.Pull();
            ASSERT_EQ(output != NULL, i >= 5);
            if (!output) continue;
            const bool enabled = i / 5 % 2 == 0, readable = takesMeta || i % 2 == 0;
            EXPECT_EQ(output == in[i - 5], !enabled && readable) << i;
            EXPECT_EQ(Visible(e.info, output) == Visible(e.info, in[i - 5]), !enabled) << i;
            gst_buffer_unref(output);
        }
        for (GstBuffer *frame : in) gst_buffer_unref(frame);
    }
}

// Whatever a frame lacks, it comes out in its place, as it is, and there is one warning.
TEST(GstBuffers, ThatAreWrongPassUntouched) {
    for (int fault = 0; fault < 6; fault++) {
        Element e("lookahead=5");
        e.SetCaps(fault == 5 ? "P010_10LE" : "I420", 160, 96);
        for (int i = 0; i < 20; i++) {
            GstBuffer *frame = e.Frame({fault > 0});
            GstVideoMeta *meta = gst_buffer_get_video_meta(frame);
            if (i % 4 == 3) {
                if (fault == 0) gst_buffer_set_size(frame, 160 * 96 + 7);
                if (fault == 1) meta->stride[0] = 80;
                if (fault == 2) meta->offset[2] = 160 * 96 * 3 / 2 - 100;
                if (fault == 3) meta->width = 161;
                if (fault == 4) meta->stride[0] = -160;
                if (fault == 5) meta->offset[0] = 1;
            }
            EXPECT_EQ(e.Push(frame), GST_FLOW_OK);
        }
        e.Send(gst_event_new_eos());
        EXPECT_EQ(e.Take(), Range(0, 20)) << fault;
        EXPECT_EQ(e.Messages(GST_MESSAGE_WARNING), 1) << fault;
    }
}

struct NoMemory {
    GstAllocator parent;
};
struct NoMemoryClass {
    GstAllocatorClass parent_class;
};
GType no_memory_get_type();
G_DEFINE_TYPE(NoMemory, no_memory, GST_TYPE_ALLOCATOR)
GstMemory *Refuse(GstAllocator *, gsize, GstAllocationParams *) { return NULL; }
void no_memory_class_init(NoMemoryClass *klass) { klass->parent_class.alloc = Refuse; }
void no_memory_init(NoMemory *) {}

TEST(GstBuffers, PassUntouchedWithoutMemoryOrInAWrongSize) {
    Element none("lookahead=5");
    GstAllocationParams params;
    gst_allocation_params_init(&params);
    gst_harness_set_propose_allocator(
        none.harness, GST_ALLOCATOR(gst_object_ref_sink(g_object_new(no_memory_get_type(), NULL))),
        &params);
    none.SetCaps("I420", 160, 96);
    none.Push(12);
    EXPECT_EQ(none.Take(), Range(0, 7));
    EXPECT_EQ(none.Messages(GST_MESSAGE_WARNING), 1);
    for (int size : {1, 2, 15, 16, 71}) {
        Element e("lookahead=5");
        e.SetCaps("I420", size, size);
        e.Push(9);
        e.Send(gst_event_new_eos());
        EXPECT_EQ(e.Take(), Range(0, 9)) << size;
        EXPECT_EQ(gst_harness_query_latency(e.harness), size == 1 ? 0 : 5 * kFrame);
        EXPECT_EQ(e.Messages(GST_MESSAGE_WARNING), size == 1 ? 1 : 0) << size;
    }
}

// Whoever fills a small pool goes on while frames wait; without a pool the element asks for enough
// buffers.
TEST(GstBuffers, OfASmallPoolAreGivenBack) {
    Element e("lookahead=12");
    e.SetCaps("I420", 160, 96);
    GstCaps *caps = gst_video_info_to_caps(&e.info);
    GstQuery *query = gst_query_new_allocation(caps, TRUE);
    ASSERT_TRUE(gst_pad_peer_query(e.harness->srcpad, query));
    guint least = 0;
    gst_query_parse_nth_allocation_pool(query, 0, NULL, NULL, &least, NULL);
    EXPECT_EQ(least, 13u);
    EXPECT_TRUE(gst_query_find_allocation_meta(query, GST_VIDEO_META_API_TYPE, NULL));
    gst_query_unref(query);
    GstBufferPool *pool = gst_video_buffer_pool_new();
    GstStructure *config = gst_buffer_pool_get_config(pool);
    gst_buffer_pool_config_set_params(config, caps, (guint)e.info.size, 0, 4);
    gst_buffer_pool_set_config(pool, config);
    gst_buffer_pool_set_active(pool, TRUE);
    for (int i = 0; i < 30; i++) {
        GstBufferPoolAcquireParams params = {};
        params.flags = GST_BUFFER_POOL_ACQUIRE_FLAG_DONTWAIT;
        GstBuffer *frame = NULL;
        ASSERT_EQ(gst_buffer_pool_acquire_buffer(pool, &frame, &params), GST_FLOW_OK);
        e.Push(frame);
        e.Take();
    }
    gst_buffer_pool_set_active(pool, FALSE);
    gst_object_unref(pool);
    gst_caps_unref(caps);
}

#ifdef __SANITIZE_ADDRESS__ // keeps what was freed, and tells of leaks itself
const size_t kMostGrowth = 1 << 30;
#else
const size_t kMostGrowth = 1 << 20;
#endif

size_t ResidentBytes() {
    size_t pages = 0, resident = 0;
    malloc_trim(0);
    std::ifstream("/proc/self/statm") >> pages >> resident;
    return resident * 4096;
}

TEST(GstLife, StartsAndStopsWithoutGrowth) {
    Element e("lookahead=6");
    size_t before = 0;
    for (int i = 0; i < 220; i++) {
        if (i == 20) before = ResidentBytes();
        e.SetCaps("I420", i % 2 ? 320 : 160, 240);
        e.Push(8);
        if (i % 3 == 0) e.Send(gst_event_new_eos());
        if (i % 3 == 0) e.Flush();
        gst_element_set_state(e.element, GST_STATE_NULL);
        e.Take();
        EXPECT_EQ(gLiveFrames, 0) << i;
        gst_harness_play(e.harness);
        gst_element_set_state(e.element, GST_STATE_PLAYING);
        e.Events();
        e.Messages(GST_MESSAGE_ANY);
    }
    EXPECT_LT(ResidentBytes(), before + kMostGrowth);
}

// Properties and queries come from other threads.
TEST(GstLife, IsAskedAndSetByOtherThreads) {
    Element e;
    e.SetCaps("I420", 160, 96);
    std::atomic<bool> done{false};
    std::thread other([&] {
        for (int i = 0; !done; i++) {
            gint lookahead = -1;
            g_object_set(e.element, "lookahead", i % 7, "window", 0.6 + i % 30 / 100.0, NULL);
            g_object_set(e.element, "enabled", i % 2, "split", i % 3, "cubic", i % 5, NULL);
            g_object_get(e.element, "lookahead", &lookahead, NULL);
            EXPECT_EQ(lookahead, i % 7);
            EXPECT_LE(gst_harness_query_latency(e.harness), 6 * kFrame);
        }
    });
    e.Push(400);
    done = true;
    other.join();
    e.Send(gst_event_new_eos());
    EXPECT_EQ(e.Take(), Range(0, 400));
}

// Any order of anything: every frame comes out once and in order, but for those that a flush drops.
TEST(GstLife, TakesAnything) {
    std::mt19937 random(7);
    auto any = [&random](int most) { return (int)(random() % (unsigned)(most + 1)); };
    Element e;
    e.SetCaps("I420", 96, 80);
    guint64 expected = 0;
    for (int step = 0; step < 4000; step++) {
        const int what = any(60);
        if (what == 0) e.SetCaps(kFormats[any(15)].format, 1 + any(130), 1 + any(130));
        if (what == 1) g_object_set(e.element, "lookahead", any(12), NULL);
        if (what == 2) g_object_set(e.element, "window", 0.6 + any(38) / 100.0, "roll", any(1), NULL);
        if (what == 3)
            g_object_set(e.element, "enabled", any(1), "split", any(1), "cubic", any(1), NULL);
        if (what == 4) e.Send(gst_event_new_gap(e.next * kFrame, 1));
        if (what == 5) e.Send(gst_event_new_tag(gst_tag_list_new_empty()));
        if (what == 6) e.Flush();
        if (what == 6) expected = e.next;
        GstBuffer *frame = e.Frame({any(3) > 0, 2 * any(40), 2 * any(40), any(3) == 0});
        if (any(20) == 0) gst_buffer_set_size(frame, any((int)gst_buffer_get_size(frame)));
        if (any(20) == 0) GST_BUFFER_FLAG_SET(frame, GST_BUFFER_FLAG_DISCONT);
        if (any(20) == 0) GST_BUFFER_PTS(frame) = any(1) ? GST_CLOCK_TIME_NONE : 0;
        GstVideoMeta *meta = gst_buffer_get_video_meta(frame);
        if (meta && any(20) == 0) meta->stride[any(3)] = any(400) - 200;
        if (meta && any(20) == 0) meta->offset[any(3)] = (gsize)any(40000);
        ASSERT_EQ(e.Push(frame), GST_FLOW_OK);
        for (guint64 number : e.Take()) ASSERT_EQ(number, expected++) << "step " << step;
        e.Messages(GST_MESSAGE_ANY);
        e.Events();
    }
    e.Send(gst_event_new_eos());
    EXPECT_EQ(e.Take(), Range(expected, e.next));
    EXPECT_EQ(gLiveFrames, 0);
}

} // namespace

int main(int argc, char **argv) {
    testing::InitGoogleTest(&argc, argv);
    gst_init(&argc, &argv);
    g_log_set_always_fatal((GLogLevelFlags)(G_LOG_FATAL_MASK | G_LOG_LEVEL_CRITICAL)); // a wrong call
    return RUN_ALL_TESTS();
}

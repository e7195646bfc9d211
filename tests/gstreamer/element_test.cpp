// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>
#include <malloc.h>

#include <atomic>
#include <fstream>
#include <random>
#include <thread>

#include "common/stream.h"
#include "harness.h"

namespace {

using Numbers = std::vector<guint64>;

Numbers Range(guint64 first, guint64 end) {
    Numbers numbers;
    while (first < end) numbers.push_back(first++);
    return numbers;
}

// The types of the events that came out.
std::string Trace(Element &e) {
    std::string trace;
    while (GstEvent *event = gst_harness_try_pull_event(e.harness)) {
        trace += std::string(GST_EVENT_TYPE_NAME(event)) + " ";
        gst_event_unref(event);
    }
    return trace;
}

void Flush(Element &e) {
    GstSegment segment;
    gst_segment_init(&segment, GST_FORMAT_TIME);
    e.Send(gst_event_new_flush_start());
    e.Send(gst_event_new_flush_stop(TRUE));
    e.Send(gst_event_new_segment(&segment));
}

// ---- Pictures ----

struct Expected { // of the first plane, and of those behind it
    const char *format;
    int planes, luma;
    int channels[2], bytes, bits, lowest, log2X, log2Y;
    const char *caps = ",chroma-site=mpeg2";
    int siteX = 0, siteY = 2; // of planes of less width, of less height
};

const Expected kFormats[] = {
    {"I420", 3, 0, {1, 1}, 1, 8, 0, 1, 1},
    {"YV12", 3, 0, {1, 1}, 1, 8, 0, 1, 1},
    {"NV12", 2, 0, {1, 2}, 1, 8, 0, 1, 1},
    {"NV21", 2, 0, {1, 2}, 1, 8, 0, 1, 1},
    {"Y42B", 3, 0, {1, 1}, 1, 8, 0, 1, 0},
    {"Y444", 3, 0, {1, 1}, 1, 8, 0, 0, 0},
    {"NV16", 2, 0, {1, 2}, 1, 8, 0, 1, 0},
    {"Y41B", 3, 0, {1, 1}, 1, 8, 0, 2, 0},
    {"GRAY8", 1, 0, {1, 1}, 1, 8, 0, 0, 0},
    {"RGBA", 1, 1, {4, 4}, 1, 8, 0, 0, 0},
    {"BGRA", 1, 1, {4, 4}, 1, 8, 0, 0, 0},
    {"xRGB", 1, 2, {4, 4}, 1, 8, 0, 0, 0},
    {"RGB", 1, 1, {3, 3}, 1, 8, 0, 0, 0},
    {"AYUV", 1, 1, {4, 4}, 1, 8, 0, 0, 0},
    {"I420", 3, 0, {1, 1}, 1, 8, 0, 1, 1, ",chroma-site=jpeg", 2, 2},
    {"NV12", 2, 0, {1, 2}, 1, 8, 0, 1, 1, ",chroma-site=(string)v-cosited", 2, 0},
    {"NV12", 2, 0, {1, 2}, 1, 8, 0, 1, 1, ",chroma-site=(string)cosited", 0, 0},
    {"P010_10LE", 2, 0, {1, 2}, 2, 10, 6, 1, 1},
    {"I420_10LE", 3, 0, {1, 1}, 2, 10, 0, 1, 1},
};

std::vector<MVS_Plane> PlanesOf(const Expected &format, const GstVideoInfo &info, const guint8 *data) {
    std::vector<MVS_Plane> planes;
    for (int p = 0; p < format.planes; p++) {
        const int log2X = p ? format.log2X : 0, log2Y = p ? format.log2Y : 0;
        MVS_Plane plane = MakePlane(info.width, info.height, format.channels[p ? 1 : 0], log2X, log2Y,
                                    data + info.offset[p], info.stride[p]);
        plane.lSampleBytes = format.bytes;
        plane.lBits = format.bits;
        plane.lLowestBit = format.lowest;
        plane.lLuma = format.luma;
        plane.lSiteX = log2X ? format.siteX : 0;
        plane.lSiteY = log2Y ? format.siteY : 0;
        planes.push_back(plane);
    }
    return planes;
}

// What the library makes of the clip's first frames.
std::vector<std::vector<guint8>> Reference(const Expected &format, Element &e, int frames,
                                           int lookahead) {
    StreamSettings settings;
    settings.lookahead = lookahead;
    settings.rateNumerator = kRate;
    MVS_Context *handle = OpenStream(e.info.width, e.info.height, settings);
    std::vector<std::vector<guint8>> kept, pictures;
    for (int i = 0; i < frames; i++) {
        GstBuffer *frame = e.Frame();
        kept.emplace_back(e.info.size);
        gst_buffer_extract(frame, 0, kept.back().data(), e.info.size);
        gst_buffer_unref(frame);
        QEL_MVS_PushLuma(handle, PlanesOf(format, e.info, kept.back().data()).data());
    }
    QEL_MVS_EndStream(handle);
    MVS_Compensation record = {};
    record.lSize = (int32_t)sizeof(record);
    for (int i = 0; QEL_MVS_PullCompensation(handle, &record); i++) {
        GstBuffer *output = gst_buffer_new_allocate(NULL, e.info.size, NULL);
        GstMapInfo map;
        gst_buffer_map(output, &map, GST_MAP_WRITE);
        EXPECT_EQ(QEL_MVS_CompensateFrame(handle, &record,
                                          PlanesOf(format, e.info, kept[(size_t)i].data()).data(),
                                          PlanesOf(format, e.info, map.data).data(), format.planes),
                  1);
        gst_buffer_unmap(output, &map);
        pictures.push_back(VisibleBytes(e.info, output));
        gst_buffer_unref(output);
    }
    QEL_MVS_DestroyStabilizer(handle);
    e.next = 0;
    return pictures;
}

// All formats, odd sizes, and any way for the planes to lie in the buffer.
TEST(GstPictures, AreThoseOfTheLibrary) {
    const Layout layouts[] = {{}, {0, 0, true}, {64, 32, true}, {6, 10, true, true}};
    for (const Expected &format : kFormats) {
        for (const Layout &layout : layouts) {
            Element e("lookahead=5");
            e.SetCaps(format.format, 161, 99, format.caps);
            const auto expected = Reference(format, e, 8, 5);
            ASSERT_EQ(expected.size(), 8u);
            for (int i = 0; i < 8; i++) ASSERT_EQ(e.Push(e.Frame(layout)), GST_FLOW_OK);
            e.Send(gst_event_new_eos());
            for (int i = 0; i < 8; i++) {
                GstBuffer *output = gst_harness_try_pull(e.harness);
                ASSERT_TRUE(output);
                EXPECT_TRUE(VisibleBytes(e.info, output) == expected[(size_t)i])
                    << format.format << format.caps << ", frame " << i;
                gst_buffer_unref(output);
            }
            EXPECT_EQ(e.CountMessages(GST_MESSAGE_WARNING), 0) << format.format;
        }
    }
    EXPECT_EQ(gLiveFrames, 0);
}

TEST(GstPictures, TheSplitKeepsTheLeftHalf) {
    Element plain, split("split=true");
    for (Element *e : {&plain, &split}) e->SetCaps("GRAY8", 160, 96);
    for (int i = 0; i < 6; i++) {
        GstBuffer *frame = split.Frame();
        const std::vector<guint8> in = VisibleBytes(split.info, frame);
        split.Push(frame);
        plain.Push(1);
        GstBuffer *outputs[] = {gst_harness_try_pull(split.harness),
                                gst_harness_try_pull(plain.harness)};
        const std::vector<guint8> out = VisibleBytes(split.info, outputs[0]),
                                  whole = VisibleBytes(plain.info, outputs[1]);
        ASSERT_NE(out, whole);
        for (size_t x = 0; x < out.size(); x++) ASSERT_EQ(out[x], x % 160 < 80 ? in[x] : whole[x]);
        for (GstBuffer *output : outputs) gst_buffer_unref(output);
    }
}

// ---- The order and the time of frames ----

TEST(GstFlow, FramesWaitForTheLookahead) {
    for (int lookahead : {0, 4, 5, 12}) {
        Element e("lookahead=" + std::to_string(lookahead));
        e.SetCaps("NV12", 160, 96);
        const guint64 held = lookahead < 5 ? 0 : (guint64)lookahead;
        EXPECT_EQ(e.Latency(), held * GST_SECOND / kRate);
        EXPECT_EQ(e.CountMessages(GST_MESSAGE_LATENCY), held ? 1 : 0);
        e.Push(20);
        EXPECT_EQ(e.Take(), Range(0, 20 - held));
        e.Send(gst_event_new_eos());
        EXPECT_EQ(e.Take(), Range(20 - held, 20));
    }
    EXPECT_EQ(gLiveFrames, 0);
}

TEST(GstFlow, AFrameKeepsItsTimesFlagsAndMetas) {
    for (const char *settings : {"lookahead=6", "lookahead=6 enabled=false"}) {
        Element e(settings);
        e.SetCaps("I420", 160, 96);
        for (int i = 0; i < 16; i++) {
            GstBuffer *frame = e.Frame();
            if (i == 9) GST_BUFFER_FLAG_SET(frame, GST_BUFFER_FLAG_DISCONT);
            if (i % 2) GST_BUFFER_FLAG_SET(frame, GST_BUFFER_FLAG_MARKER);
            gst_buffer_add_video_region_of_interest_meta(frame, "face", (guint)i, 2, 3, 4);
            e.Push(frame);
        }
        e.Send(gst_event_new_eos());
        for (guint i = 0; i < 16; i++) {
            GstBuffer *output = gst_harness_try_pull(e.harness);
            ASSERT_TRUE(output);
            EXPECT_EQ(GST_BUFFER_PTS(output), i * GST_SECOND / kRate);
            EXPECT_EQ(GST_BUFFER_DURATION(output), GST_SECOND / kRate);
            EXPECT_EQ(GST_BUFFER_FLAG_IS_SET(output, GST_BUFFER_FLAG_DISCONT), i == 9) << i;
            EXPECT_EQ(GST_BUFFER_FLAG_IS_SET(output, GST_BUFFER_FLAG_MARKER), i % 2 != 0);
            const auto *meta = gst_buffer_get_video_region_of_interest_meta_id(output, 0);
            EXPECT_TRUE(meta && meta->x == i);
            gst_buffer_unref(output);
        }
    }
}

// What ends something lets the frames out first; what belongs between two frames waits with them.
TEST(GstFlow, EventsDoNotOvertakeFrames) {
    Element e("lookahead=6");
    e.SetCaps("I420", 160, 96);
    e.Push(8);
    e.Take();
    Trace(e);
    e.Send(gst_event_new_tag(gst_tag_list_new_empty())); // behind frame 7
    e.Push(5);
    EXPECT_EQ(Trace(e), "");
    e.Push(1); // lets frame 7 out
    EXPECT_EQ(Trace(e), "tag ");
    EXPECT_EQ(e.Take(), Range(2, 8));
    e.Push(1);
    e.Send(gst_event_new_gap(e.next * GST_SECOND / kRate, GST_SECOND / kRate));
    EXPECT_EQ(e.Take(), Range(8, 15));
    EXPECT_EQ(Trace(e), "gap ");
    e.Push(7);
    GstCaps *same = gst_pad_get_current_caps(e.harness->srcpad);
    e.Send(gst_event_new_caps(same));
    gst_caps_unref(same);
    EXPECT_EQ(e.Take(), Range(15, 16));
    e.SetCaps("NV12", 176, 128);
    EXPECT_EQ(e.Take(), Range(16, 22));
    EXPECT_EQ(Trace(e), "caps segment "); // the harness sends both
    e.Push(3);
    Flush(e);
    EXPECT_EQ(gLiveFrames, 0);
    e.Push(8);
    EXPECT_EQ(e.Take(), Range(25, 27));
    GstQuery *drain = gst_query_new_drain();
    gst_pad_peer_query(e.harness->srcpad, drain);
    gst_query_unref(drain);
    EXPECT_EQ(e.Take(), Range(27, 33));
}

TEST(GstFlow, ScenesStartWhereTimeJumps) {
    Element e("post-motion=true");
    e.SetCaps("I420", 160, 96);
    std::string scenes;
    for (int i = 0; i < 15; i++) {
        GstBuffer *frame = e.Frame();
        if (i == 4) GST_BUFFER_FLAG_SET(frame, GST_BUFFER_FLAG_DISCONT);
        if (i == 7) GST_BUFFER_FLAG_SET(frame, GST_BUFFER_FLAG_RESYNC);
        if (i >= 9) GST_BUFFER_PTS(frame) -= 5 * GST_SECOND / kRate;
        if (i == 12) e.Send(gst_event_new_gap(GST_BUFFER_PTS(frame), GST_SECOND / kRate));
        const GstClockTime pts = GST_BUFFER_PTS(frame);
        e.Push(frame);
        GstStructure *motion = e.Motion();
        ASSERT_TRUE(motion && gst_structure_has_name(motion, "quorvel-motion"));
        guint64 timestamp = 0;
        gdouble dx = 0, dy = 0;
        gboolean scene = FALSE, measured = FALSE;
        EXPECT_TRUE(gst_structure_get(motion, "timestamp", G_TYPE_UINT64, &timestamp, "dx",
                                      G_TYPE_DOUBLE, &dx, "dy", G_TYPE_DOUBLE, &dy, "new-scene",
                                      G_TYPE_BOOLEAN, &scene, "measured", G_TYPE_BOOLEAN, &measured,
                                      NULL));
        EXPECT_EQ(timestamp, pts);
        EXPECT_NE(scene, measured);
        EXPECT_EQ(measured, dx != 0 || dy != 0);
        scenes += scene ? "S" : ".";
        gst_structure_free(motion);
    }
    EXPECT_EQ(scenes, "S...S..S.S..S..");
}

// ---- Settings ----

TEST(GstSettings, ChangeWhilePlaying) {
    Element e("lookahead=10");
    e.SetCaps("I420", 160, 96);
    e.CountMessages(GST_MESSAGE_LATENCY);
    e.Push(12);
    EXPECT_EQ(e.Take(), Range(0, 2));
    g_object_set(e.element, "cubic", TRUE, "split", TRUE, "threads", 1, "lookahead", 10, NULL);
    e.Push(1);
    EXPECT_EQ(e.Take(), Range(2, 3)) << "these need no new scene";
    g_object_set(e.element, "window", 0.7, "strength", 2.0, "roll", FALSE, NULL);
    e.Push(1);
    EXPECT_EQ(e.Take(), Range(3, 13));
    EXPECT_EQ(e.CountMessages(GST_MESSAGE_LATENCY), 0);
    g_object_set(e.element, "lookahead", 6, NULL);
    e.Push(1);
    EXPECT_EQ(e.Take(), Range(13, 14));
    EXPECT_EQ(e.CountMessages(GST_MESSAGE_LATENCY), 1);
    EXPECT_EQ(e.Latency(), 6 * GST_SECOND / kRate);
    g_object_set(e.element, "lookahead", 0, NULL);
    e.Push(2);
    EXPECT_EQ(e.Take(), Range(14, 17));
}

TEST(GstSettings, ADisabledElementPassesTheVeryBuffers) {
    Element e("lookahead=5");
    e.SetCaps("I420", 160, 96);
    std::vector<GstBuffer *> in;
    for (int i = 0; i < 20; i++) {
        g_object_set(e.element, "enabled", i / 5 % 2 == 0, NULL);
        in.push_back(e.Frame({32, 0, true}));
        e.Push(gst_buffer_ref(in.back()));
        GstBuffer *output = gst_harness_try_pull(e.harness);
        ASSERT_EQ(output != NULL, i >= 5);
        if (!output) continue;
        EXPECT_EQ(output == in[(size_t)i - 5], i / 5 % 2 != 0) << i;
        gst_buffer_unref(output);
    }
    for (GstBuffer *frame : in) gst_buffer_unref(frame);
}

// ---- Memory and failures ----

// The library cannot write where there is no memory.
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

TEST(GstBuffers, ThatTheNextElementCannotReadAreCopied) {
    for (bool takesMeta : {false, true}) {
        Element e("enabled=false", takesMeta);
        e.SetCaps("I420", 160, 96);
        for (const Layout &layout : {Layout{}, Layout{0, 0, true}, Layout{32, 16, true}}) {
            GstBuffer *frame = e.Frame(layout);
            const std::vector<guint8> visible = VisibleBytes(e.info, frame);
            e.Push(gst_buffer_ref(frame));
            GstBuffer *output = gst_harness_try_pull(e.harness);
            EXPECT_EQ(output == frame, takesMeta || layout.padding == 0);
            gst_buffer_unref(frame);
            EXPECT_EQ(gst_buffer_get_video_meta(output) != NULL,
                      layout.hasMeta && (takesMeta || !layout.padding));
            EXPECT_EQ(VisibleBytes(e.info, output), visible);
            gst_buffer_unref(output);
        }
    }
}

// Whatever a frame lacks, it comes out in its place, as it is, and there is one warning.
TEST(GstBuffers, ThatAreWrongPassUntouched) {
    const Layout plain{0, 0, true};
    for (int fault = 0; fault < 6; fault++) {
        Element e("lookahead=5");
        e.SetCaps(fault == 5 ? "P010_10LE" : "I420", 160, 96);
        for (int i = 0; i < 20; i++) {
            GstBuffer *frame = e.Frame(i % 4 == 3 || fault == 0 ? plain : Layout{});
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
        EXPECT_EQ(e.CountMessages(GST_MESSAGE_WARNING), 1) << fault;
    }
    EXPECT_EQ(gLiveFrames, 0);
}

TEST(GstBuffers, PassUntouchedWithoutMemoryForTheOutput) {
    Element e("lookahead=5");
    GstAllocator *none = GST_ALLOCATOR(gst_object_ref_sink(g_object_new(no_memory_get_type(), NULL)));
    GstAllocationParams params;
    gst_allocation_params_init(&params);
    gst_harness_set_propose_allocator(e.harness, none, &params);
    e.SetCaps("I420", 160, 96);
    e.Push(12);
    EXPECT_EQ(e.Take(), Range(0, 7));
    EXPECT_EQ(e.CountMessages(GST_MESSAGE_WARNING), 1);
}

TEST(GstBuffers, OfAnySizeAreTaken) {
    for (int size : {1, 2, 3, 15, 16, 17, 71}) {
        Element e("lookahead=5");
        e.SetCaps("I420", size, size);
        e.Push(9);
        e.Send(gst_event_new_eos());
        EXPECT_EQ(e.Take(), Range(0, 9)) << size;
        EXPECT_EQ(e.CountMessages(GST_MESSAGE_WARNING), size == 1 ? 1 : 0) << size;
    }
    Element e;
    e.SetCaps("I420", 160, 96, ",interlace-mode=interleaved");
    EXPECT_EQ(e.Push(e.Frame()), GST_FLOW_NOT_NEGOTIATED);
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
        gst_buffer_memset(frame, 0, (guint8)i, e.info.size);
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
        if (i % 3 == 0) {
            e.Send(gst_event_new_eos());
            Flush(e);
        }
        gst_element_set_state(e.element, GST_STATE_NULL);
        e.Take();
        EXPECT_EQ(gLiveFrames, 0) << i;
        gst_element_set_state(e.element, GST_STATE_PLAYING);
        gst_harness_play(e.harness);
        Trace(e);
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
            gdouble window = 0;
            g_object_set(e.element, "lookahead", i % 7, "window", 0.6 + i % 30 / 100.0, NULL);
            g_object_set(e.element, "enabled", i % 2, "split", i % 3, "cubic", i % 5, NULL);
            g_object_get(e.element, "lookahead", &lookahead, "window", &window, NULL);
            EXPECT_EQ(lookahead, i % 7);
            EXPECT_LE(e.Latency(), 6 * GST_SECOND / kRate);
        }
    });
    e.Push(400);
    done = true;
    other.join();
    e.Send(gst_event_new_eos());
    EXPECT_EQ(e.Take(), Range(0, 400));
    EXPECT_EQ(gLiveFrames, 0);
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
        if (what == 4) e.Send(gst_event_new_gap(e.next * GST_SECOND / kRate, 1));
        if (what == 5) e.Send(gst_event_new_tag(gst_tag_list_new_empty()));
        if (what == 6) Flush(e);
        const Layout layout = {2 * any(40), 2 * any(40), any(3) > 0, any(3) == 0};
        GstBuffer *frame = e.Frame(layout.hasMeta ? layout : Layout{});
        if (any(20) == 0) gst_buffer_set_size(frame, any((int)gst_buffer_get_size(frame)));
        if (any(20) == 0) GST_BUFFER_FLAG_SET(frame, GST_BUFFER_FLAG_DISCONT);
        if (any(20) == 0) GST_BUFFER_PTS(frame) = any(1) ? GST_CLOCK_TIME_NONE : 0;
        GstVideoMeta *meta = gst_buffer_get_video_meta(frame);
        if (meta && any(20) == 0) meta->stride[any(3)] = any(400) - 200;
        if (meta && any(20) == 0) meta->offset[any(3)] = (gsize)any(40000);
        ASSERT_EQ(e.Push(frame), GST_FLOW_OK);
        for (guint64 number : e.Take()) {
            if (what == 6) expected = number;
            ASSERT_EQ(number, expected++) << "step " << step;
        }
        if (what == 6) expected = e.next - (guint64)gLiveFrames;
        e.CountMessages(GST_MESSAGE_ANY);
        Trace(e);
    }
    e.Send(gst_event_new_eos());
    EXPECT_EQ(e.Take(), Range(expected, e.next));
    EXPECT_EQ(gLiveFrames, 0);
}

} // namespace

int main(int argc, char **argv) {
    testing::InitGoogleTest(&argc, argv);
    gst_init(&argc, &argv);
    return RUN_ALL_TESTS();
}

// SPDX-License-Identifier: BSD-2-Clause
// quorvel_figures: what the pictures and tables of the documents show, computed by the library itself.
//
//     quorvel_figures FOLDER    data files for draw.gp
//     quorvel_figures --tables  the tables of integration.md
#include <malloc.h>
#include <math.h>
#include <stdio.h>
#include <string.h>

#include <memory>
#include <string>
#include <vector>

#include "clipgen/camera_path.h"
#include "clipgen/scene.h"
#include "context.h"
#include "model/model.h"
#include "motion/motion.h"
#include "quorvel/memory.h"
#include "quorvel/pitch.h"
#include "quorvel/stabilizer.h"
#include "warp/map.h"

namespace {

struct Size {
    int width, height;

    size_t Luma() const { return (size_t)width * (size_t)height; }
    size_t Frame() const { return Luma() * 3 / 2; }
};

struct Deleter {
    void operator()(MVS_Context *handle) const { QEL_MVS_DestroyStabilizer(handle); }
};
using Handle = std::unique_ptr<MVS_Context, Deleter>;
using Bytes = std::vector<uint8_t>;

Handle MakeHandle(Size in, Size out) {
    const MVS_InitParam param = {3, in.width, in.height, out.width, out.height, QEL_MVS_FORMAT_NV21, 0};
    return Handle(QEL_MVS_CreateStabilizer(&param));
}

class File {
  public:
    File(const std::string &folder, const char *name)
        : mFile(fopen((folder + "/" + name).c_str(), "wb")) {
        if (!mFile) throw std::string("cannot write ") + name + " to " + folder;
    }
    ~File() { fclose(mFile); }
    File(const File &) = delete;
    File &operator=(const File &) = delete;
    operator FILE *() const { return mFile; }

  private:
    FILE *mFile;
};

double Pixels(int32_t q10) { return q10 / 1024.0; }
double Milliradians(int32_t q16) { return q16 / 65.536; }

// ---- pictures of frames ----

uint8_t Byte(double value) { return (uint8_t)(value < 0 ? 0 : value > 255 ? 255 : value); }

// Full-range colour of an NV21 frame, in few levels: the files stay small.
void WriteColour(const std::string &folder, const char *name, const Bytes &frame, Size size) {
    const File file(folder, name);
    for (int y = 0; y < size.height; y++)
        for (int x = 0; x < size.width; x++) {
            const size_t row = (size_t)y, column = (size_t)x, width = (size_t)size.width;
            const uint8_t *pair = &frame[size.Luma() + row / 2 * width + (column & ~(size_t)1)];
            const double luma = frame[row * width + column], v = pair[0] - 128, u = pair[1] - 128;
            const double rgb[3] = {luma + 1.402 * v, luma - 0.344 * u - 0.714 * v, luma + 1.772 * u};
            for (double value : rgb) fputc(Byte(value) / 24 * 24 + 12, file);
        }
}

// Luma that leaves the foreground to what is drawn over it.
void WritePale(const std::string &folder, const char *name, const Bytes &luma) {
    const File file(folder, name);
    for (uint8_t value : luma) fputc(150 + value / 16 * 6, file);
}

// ---- the path before and after ----

const int kRate = 30;

// A hand's shake, and a pan that begins after three seconds.
CameraPose HandHeld(const CameraPath &path, int frame) {
    CameraPose pose = path.Pose(frame);
    pose.x += 80.0 * (frame > 3 * kRate ? frame - 3 * kRate : 0) / kRate;
    return pose;
}

MVS_MotionInfo MotionOf(const Handle &handle) {
    MVS_MotionInfo info = {};
    info.lSize = (int32_t)sizeof(info);
    QEL_MVS_GetMotion(handle.get(), &info);
    return info;
}

PoseMotion CutOf(const MVS_MotionInfo &info) {
    return {Pixels(info.lCompRow), Pixels(info.lCompCol), info.lCompTheta / 65536.0};
}

// Columns: seconds, and three each of the camera's path, the sum of the measured motion, and the path
// that the output shows: row and column in pixels, rotation in milliradians.
void DrawPath(const std::string &folder) {
    const Size size = {1280, 720};
    const Scene scene(1);
    const CameraPath path({PathKind::Hand, 0, kRate, 7, 0.003, 0, 0, 4});
    const Handle handle = MakeHandle(size, size);
    Bytes frame(size.Frame());
    const File file(folder, "path.dat");
    CameraPose measured = HandHeld(path, 0);
    for (int i = 0; i < 7 * kRate; i++) {
        const CameraPose pose = HandHeld(path, i);
        scene.RenderNV21(pose, size.width, size.height, frame.data());
        QEL_MVS_StabilizeFrame(handle.get(), frame.data(), frame.data());
        const MVS_MotionInfo info = MotionOf(handle);
        measured.y += Pixels(info.lMotionRow);
        measured.x += Pixels(info.lMotionCol);
        measured.angle += info.lMotionTheta / 65536.0;
        const CameraPose after = PoseOfCut(pose, CutOf(info), 1);
        fprintf(file, "%.3f", (double)i / kRate);
        for (const CameraPose *p : {&pose, (const CameraPose *)&measured, &after})
            fprintf(file, " %.3f %.3f %.4f", p->y, p->x, 1000 * p->angle);
        fprintf(file, "\n");
    }
}

// ---- the cost that the coarse shift descends on ----

void DrawShiftCost(const std::string &folder) {
    const Size size = {1280, 720};
    const Scene scene(1);
    const Handle handle = MakeHandle(size, size);
    Bytes before(size.Luma()), now(size.Luma());
    scene.RenderLuma({500, 500, 0, 1}, size.width, size.height, before.data());
    scene.RenderLuma({543, 472, 0.004, 1}, size.width, size.height, now.data());

    const int rangeX = handle->lShiftRangeX, rangeY = handle->lShiftRangeY;
    const int areaW = size.width - 2 * rangeX, areaH = size.height - 2 * rangeY;
    const int rowSkip = areaW - (areaW & ~63) + 2 * rangeX + 9 * size.width;
    const ptrdiff_t origin = (ptrdiff_t)rangeY * size.width + rangeX;
    uint8_t *samples = GetCurBuffer(now.data() + origin, areaW, areaH, rowSkip, areaH / 10);
    if (!samples) throw std::string("no memory");
    const File file(folder, "shift.dat");
    for (int row = -rangeY; row <= rangeY; row += 2) {
        for (int col = -rangeX; col <= rangeX; col += 2) {
            const uint8_t *area = before.data() + origin + (ptrdiff_t)row * size.width + col;
            const uint32_t cost = GetGlobalSADAlignF0(samples, area, areaW, areaH, rowSkip);
            fprintf(file, "%d %d %.2f\n", col, row, (double)cost / (areaW / 4 * (areaH / 10)));
        }
        fprintf(file, "\n");
    }
    MMemFree(nullptr, samples);
    GetBigShiftF0(handle.get(), now.data(), before.data());
    const File found(folder, "shift_found.dat");
    fprintf(found, "%d %d\n", -handle->lCurMotionCol, -handle->lCurMotionRow);
}

// ---- block vectors ----

// Something that moves on its own: another part of the scene, at (x, y) of the frame.
void PasteObject(const Scene &scene, int x, int y, Size size, Bytes &luma) {
    const Size object = {224, 128};
    Bytes picture(object.Luma());
    scene.RenderLuma({1500, 900, 0, 1}, object.width, object.height, picture.data());
    for (int i = 0; i < object.height; i++)
        memcpy(&luma[(size_t)((y + i) * size.width + x)], &picture[(size_t)(i * object.width)],
               (size_t)object.width);
}

// Columns: the block's centre and its vector. One file each for the blocks that the frame's motion
// rests on, for those that the model dropped, and for those without a vector.
void DrawBlocks(const std::string &folder) {
    const Size size = {768, 432};
    const Scene scene(1);
    const Handle handle = MakeHandle(size, size);
    Bytes before(size.Luma()), now(size.Luma());
    scene.RenderLuma({700, 300, 0, 1}, size.width, size.height, before.data());
    scene.RenderLuma({706, 297, 0.011, 1}, size.width, size.height, now.data());
    PasteObject(scene, 440, 200, size, before);
    PasteObject(scene, 446, 210, size, now);

    MVS_Context *ctx = handle.get();
    GetBigShiftF0(ctx, now.data(), before.data());
    BlockME32F0(ctx, now.data(), before.data());
    const std::vector<MVS_BlockMV> found(ctx->pBlockMV, ctx->pBlockMV + ctx->lBlockNum);
    GetGlobalMotionM3(ctx);

    const File kept(folder, "blocks_kept.dat"), dropped(folder, "blocks_dropped.dat"),
        none(folder, "blocks_none.dat");
    for (int i = 0; i < ctx->lBlockNum; i++) {
        const int columns = size.width / 32;
        FILE *file = !found[(size_t)i].bValid ? none : ctx->pBlockMV[i].bValid ? kept : dropped;
        fprintf(file, "%d %d %d %d\n", i % columns * 32 + 16, i / columns * 32 + 16,
                found[(size_t)i].lMvCol, found[(size_t)i].lMvRow);
    }
    WritePale(folder, "blocks.gray", now);
    const File motion(folder, "blocks_motion.dat");
    fprintf(motion, "%.2f %.2f %.2f\n", Pixels(ctx->lCurMotionRow), Pixels(ctx->lCurMotionCol),
            Milliradians(ctx->lCurMotionTheta));
}

// ---- the crop window ----

void WriteOutline(FILE *file, const WarpMap &map, Size out) {
    const int corners[5][2] = {
        {0, 0}, {out.width, 0}, {out.width, out.height}, {0, out.height}, {0, 0}};
    for (const auto &c : corners)
        fprintf(file, "%.2f %.2f\n", Pixels(map.lC0 + map.lZ * c[0] - map.lS * c[1]),
                Pixels(map.lR0 + map.lZ * c[1] + map.lS * c[0]));
}

// Draws the frame of a rough clip that is moved the most.
void DrawCrop(const std::string &folder) {
    const Size size = {480, 272};
    const Scene scene(1);
    const CameraPath path({PathKind::Hand, 0, kRate, 7, 0.016, 0, 0, 2});
    const Handle handle = MakeHandle(size, size);
    Bytes in(size.Frame()), out(size.Frame());
    double most = 0;
    for (int i = 0; i < 3 * kRate; i++) {
        CameraPose pose = path.Pose(i);
        pose.x += 900;
        pose.y += 500;
        scene.RenderNV21(pose, size.width, size.height, in.data());
        QEL_MVS_StabilizeFrame(handle.get(), in.data(), out.data());
        const PoseMotion cut = CutOf(MotionOf(handle));
        const double moved = fabs(cut.row) + fabs(cut.col) + 2000 * fabs(cut.theta);
        if (moved <= most) continue;
        most = moved;
        WriteColour(folder, "crop_in.rgb", in, size);
        WriteColour(folder, "crop_out.rgb", out, size);
        const File window(folder, "crop_window.dat"), centred(folder, "crop_centred.dat");
        WriteOutline(window, MapWithZoom(handle.get()), size);
        MVS_Context still = *handle;
        still.lCompRow = still.lCompCol = still.lCompTheta = 0;
        WriteOutline(centred, MapWithZoom(&still), size);
    }
}

// ---- tables ----

void PrintSizes() {
    const Size rows[][2] = {{{640, 480}, {640, 480}},     {{1280, 720}, {1280, 720}},
                            {{1920, 1080}, {1920, 1080}}, {{1408, 792}, {1280, 720}},
                            {{1440, 810}, {1280, 720}},   {{1472, 828}, {1280, 720}},
                            {{1600, 900}, {1280, 720}},   {{1920, 1080}, {1600, 1080}},
                            {{2112, 1188}, {1920, 1080}}, {{2208, 1242}, {1920, 1080}}};
    printf("| input | output | window | moves by | zoom | step | search |\n");
    printf("|---|---|---|---|---|---|---|\n");
    for (const auto &row : rows) {
        const Handle h = MakeHandle(row[0], row[1]);
        printf("| %dx%d | %dx%d | %dx%d | %d, %d | %d | %d | %d, %d |\n", row[0].width, row[0].height,
               row[1].width, row[1].height, row[1].width * h->lZoomStep / 1024,
               row[1].height * h->lZoomStep / 1024, h->lCropX, h->lCropY, h->lZoomScale, h->lZoomStep,
               h->lShiftRangeX, h->lShiftRangeY);
    }
}

double MegabytesInUse() {
    const struct mallinfo2 info = mallinfo2();
    return (double)(info.uordblks + info.hblkhd) / 1e6;
}

// What a handle holds between calls, measured; frame buffers are counted out.
double MegabytesOf(Size size, bool inPlace, bool pitched) {
    Bytes in(size.Frame()), out(size.Frame());
    const double before = MegabytesInUse();
    uint8_t *y = in.data(), *vu = y + size.Luma();
    uint8_t *outY = out.data(), *outVU = outY + size.Luma();
    const MVS_PitchImage imageIn = {QEL_MVS_FORMAT_NV21,
                                    size.width,
                                    size.height,
                                    {y, vu, vu, nullptr},
                                    {size.width, size.width, 0, 0}};
    MVS_PitchImage imageOut = imageIn;
    imageOut.pPlane[0] = outY;
    imageOut.pPlane[1] = imageOut.pPlane[2] = outVU;
    const Handle handle =
        pitched ? Handle(QEL_MVS_CreateStabilizerPitch(imageIn)) : MakeHandle(size, size);
    for (int i = 0; i < 2; i++) {
        if (pitched)
            QEL_MVS_StabilizeFramePitch(handle.get(), imageIn, inPlace ? imageIn : imageOut);
        else
            QEL_MVS_StabilizeFrame(handle.get(), y, inPlace ? y : outY);
    }
    return MegabytesInUse() - before;
}

void PrintMemory() {
    printf("| NV21 | two buffers | in place | pitched, two buffers | pitched, in place |\n");
    printf("|---|---|---|---|---|\n");
    for (Size size : {Size{640, 480}, Size{1280, 720}, Size{1920, 1080}, Size{3840, 2160}})
        printf("| %dx%d | %.1f MB | %.1f MB | %.1f MB | %.1f MB |\n", size.width, size.height,
               MegabytesOf(size, false, false), MegabytesOf(size, true, false),
               MegabytesOf(size, false, true), MegabytesOf(size, true, true));
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: quorvel_figures FOLDER | --tables\n");
        return 2;
    }
    const std::string argument = argv[1];
    if (argument == "--tables") {
        PrintSizes();
        printf("\n");
        PrintMemory();
        return 0;
    }
    try {
        DrawPath(argument);
        DrawShiftCost(argument);
        DrawBlocks(argument);
        DrawCrop(argument);
    } catch (const std::string &error) {
        fprintf(stderr, "quorvel_figures: %s\n", error.c_str());
        return 1;
    }
}

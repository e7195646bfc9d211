// SPDX-License-Identifier: BSD-2-Clause
#include "video/media_picture.h"

#include "video/media.h"

namespace {

// Pointers and pitches of a packed frame, as the libraries want them.
struct Planes {
    Planes(const Frame &frame, PictureSize size, PixelLayout layout) {
        auto *pixels = const_cast<uint8_t *>(frame.pixels.Data());
        bool pairs = layout == PixelLayout::NV21;
        data[0] = pixels;
        data[1] = pixels + LumaBytes(size);
        data[2] = pairs ? nullptr : data[1] + ChromaPlaneBytes(size);
        pitch[0] = size.width;
        pitch[1] = pairs ? size.width : size.width / 2;
        pitch[2] = pairs ? 0 : size.width / 2;
    }

    uint8_t *data[4] = {};
    int pitch[4] = {};
};

void SplitPairs(const uint8_t *pairs, ptrdiff_t pitch, uint8_t *first, uint8_t *second,
                ptrdiff_t planePitch, int width, int rows) {
    for (; rows > 0; rows--, pairs += pitch, first += planePitch, second += planePitch)
        for (int x = 0; x < width; x++) {
            first[x] = pairs[2 * x];
            second[x] = pairs[2 * x + 1];
        }
}

bool IsPlanar420(int format) { return format == AV_PIX_FMT_YUV420P || format == AV_PIX_FMT_YUVJ420P; }
bool IsPaired420(int format) { return format == AV_PIX_FMT_NV12 || format == AV_PIX_FMT_NV21; }

bool IsRgb(AVPixelFormat format) { return av_pix_fmt_desc_get(format)->flags & AV_PIX_FMT_FLAG_RGB; }

// 8-bit forms keep the matrix and range of their source; RGB gets a matrix.
void SetColours(SwsContext *scaler, const AVFrame &picture, PictureSize size) {
    AVColorSpace matrix = picture.colorspace;
    bool rgb = IsRgb((AVPixelFormat)picture.format);
    if (rgb || matrix == AVCOL_SPC_UNSPECIFIED) matrix = MatrixForRgb(size);
    const int *table = sws_getCoefficients(matrix);
    bool full = !rgb && picture.color_range == AVCOL_RANGE_JPEG;
    // Refused for formats without colours, which then need none.
    sws_setColorspaceDetails(scaler, table, full || rgb, table, full, 0, 1 << 16, 1 << 16);
}

void ReleaseFrame(void *holder, uint8_t *) { delete (FramePtr *)holder; }

} // namespace

AVColorSpace MatrixForRgb(PictureSize size) {
    return size.height >= 720 ? AVCOL_SPC_BT709 : AVCOL_SPC_SMPTE170M;
}

bool PictureImporter::IsDirect(int pixelFormat) {
    return IsPlanar420(pixelFormat) || IsPaired420(pixelFormat);
}

void PictureImporter::Import(const AVFrame &picture, PictureSize coded, PictureSize size,
                             Frame &frame) {
    PictureSize actual = {picture.width, picture.height};
    if (actual != coded || !IsDirect(picture.format)) {
        Convert(picture, actual == coded ? size : actual, size, frame);
        return;
    }
    Planes to(frame, size, PixelLayout::I420);
    CopyPlane(picture.data[0], picture.linesize[0], to.data[0], to.pitch[0], (size_t)size.width,
              size.height);
    if (IsPlanar420(picture.format)) {
        for (int plane = 1; plane < 3; plane++)
            CopyPlane(picture.data[plane], picture.linesize[plane], to.data[plane], to.pitch[plane],
                      (size_t)size.width / 2, size.height / 2);
        return;
    }
    int u = picture.format == AV_PIX_FMT_NV12 ? 1 : 2;
    SplitPairs(picture.data[1], picture.linesize[1], to.data[u], to.data[3 - u], to.pitch[1],
               size.width / 2, size.height / 2);
}

void PictureImporter::Convert(const AVFrame &picture, PictureSize from, PictureSize size,
                              Frame &frame) {
    if (!mScaler || from != mFrom || picture.format != mFormat) {
        mScaler.reset(NotNull(sws_getContext(from.width, from.height, (AVPixelFormat)picture.format,
                                             size.width, size.height, AV_PIX_FMT_YUV420P,
                                             SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INP,
                                             nullptr, nullptr, nullptr)));
        SetColours(mScaler.get(), picture, size);
        mFrom = from;
        mFormat = picture.format;
    }
    Planes to(frame, size, PixelLayout::I420);
    CheckMedia(
        sws_scale(mScaler.get(), picture.data, picture.linesize, 0, from.height, to.data, to.pitch),
        "converting a picture");
}

MediaPtr<AVFrame> ExportPicture(const FramePtr &frame, PictureSize size, PixelLayout layout,
                                AVPixelFormat format) {
    MediaPtr<AVFrame> picture(NotNull(av_frame_alloc()));
    picture->format = format;
    picture->width = size.width;
    picture->height = size.height;
    Planes from(*frame, size, layout);
    bool samePlanes = (layout == PixelLayout::NV21) == (format == AV_PIX_FMT_NV21);
    if (samePlanes && size.width % 64 == 0) { // rows as aligned as the libraries' own
        auto *holder = new FramePtr(frame);
        picture->buf[0] = av_buffer_create(from.data[0], frame->pixels.Size(), ReleaseFrame, holder, 0);
        if (!picture->buf[0]) delete holder;
        NotNull(picture->buf[0]);
        for (int plane = 0; plane < 3; plane++) {
            picture->data[plane] = from.data[plane];
            picture->linesize[plane] = from.pitch[plane];
        }
        return picture;
    }
    if (av_frame_get_buffer(picture.get(), 0) < 0) throw std::bad_alloc();
    CopyPlane(from.data[0], from.pitch[0], picture->data[0], picture->linesize[0], (size_t)size.width,
              size.height);
    if (!samePlanes) {
        SplitPairs(from.data[1], from.pitch[1], picture->data[2], picture->data[1],
                   picture->linesize[1], size.width / 2, size.height / 2);
        return picture;
    }
    for (int plane = 1; plane < 3 && from.data[plane]; plane++)
        CopyPlane(from.data[plane], from.pitch[plane], picture->data[plane], picture->linesize[plane],
                  (size_t)from.pitch[plane], size.height / 2);
    return picture;
}

namespace {

class SwsScaler : public FrameScaler {
  public:
    SwsScaler(PictureSize from, PictureSize to, PixelLayout layout)
        : mFrom(from), mTo(to), mLayout(layout) {
        AVPixelFormat format = layout == PixelLayout::NV21 ? AV_PIX_FMT_NV21 : AV_PIX_FMT_YUV420P;
        mScaler.reset(NotNull(sws_getContext(from.width, from.height, format, to.width, to.height,
                                             format, SWS_BICUBIC, nullptr, nullptr, nullptr)));
    }

    void Scale(const Frame &from, Frame &to) override {
        Planes in(from, mFrom, mLayout);
        Planes out(to, mTo, mLayout);
        CheckMedia(sws_scale(mScaler.get(), in.data, in.pitch, 0, mFrom.height, out.data, out.pitch),
                   "scaling a picture");
    }

  private:
    PictureSize mFrom;
    PictureSize mTo;
    PixelLayout mLayout;
    MediaPtr<SwsContext> mScaler;
};

} // namespace

std::unique_ptr<FrameScaler> MakeFrameScaler(PictureSize from, PictureSize to, PixelLayout layout) {
    return std::make_unique<SwsScaler>(from, to, layout);
}

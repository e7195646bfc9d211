// SPDX-License-Identifier: BSD-2-Clause
#include "video/media_picture.h"

#include "video/media.h"

const AVPixelFormat kFramePixels[] = {AV_PIX_FMT_YUV420P,   AV_PIX_FMT_YUV422P,   AV_PIX_FMT_YUV444P,
                                      AV_PIX_FMT_GRAY8,     AV_PIX_FMT_YUV420P10, AV_PIX_FMT_YUV422P10,
                                      AV_PIX_FMT_YUV444P10, AV_PIX_FMT_GRAY10,    AV_PIX_FMT_YUV420P12,
                                      AV_PIX_FMT_YUV422P12, AV_PIX_FMT_YUV444P12, AV_PIX_FMT_GRAY12,
                                      AV_PIX_FMT_YUV420P16, AV_PIX_FMT_YUV422P16, AV_PIX_FMT_YUV444P16,
                                      AV_PIX_FMT_GRAY16,    AV_PIX_FMT_NONE};

namespace {

const AVPixelFormat kFullRange[][2] = {{AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_YUV420P},
                                       {AV_PIX_FMT_YUVJ422P, AV_PIX_FMT_YUV422P},
                                       {AV_PIX_FMT_YUVJ444P, AV_PIX_FMT_YUV444P}};

// The same planes by the name without a range.
AVPixelFormat Plain(int format) {
    for (auto &[full, plain] : kFullRange)
        if (full == format) return plain;
    return (AVPixelFormat)format;
}

// Pointers and pitches of a frame, as the libraries want them.
struct Planes {
    Planes(const Frame &frame, PictureSize size, const PixelLayout &layout)
        : shapes(PlanesOf(size, layout)) {
        for (size_t i = 0; i < shapes.size(); i++) {
            data[i] = const_cast<uint8_t *>(frame.pixels.Data()) + shapes[i].start;
            pitch[i] = shapes[i].pitch;
        }
    }

    std::vector<PlaneShape> shapes;
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

bool IsPaired420(int format) { return format == AV_PIX_FMT_NV12 || format == AV_PIX_FMT_NV21; }

bool IsRgb(AVPixelFormat format) { return av_pix_fmt_desc_get(format)->flags & AV_PIX_FMT_FLAG_RGB; }

// Converted pictures keep the matrix and range of their source; those from RGB get a matrix, and the
// range 16 to 235.
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

PixelLayout LayoutOf(AVPixelFormat format) {
    const AVPixFmtDescriptor *descriptor = av_pix_fmt_desc_get(format);
    PixelLayout layout;
    layout.planes = av_pix_fmt_count_planes(format);
    layout.bits = descriptor->comp[0].depth;
    layout.log2X = descriptor->log2_chroma_w;
    layout.log2Y = descriptor->log2_chroma_h;
    return layout;
}

AVPixelFormat PixelsOf(const PixelLayout &layout) {
    if (layout == PixelLayout::NV21) return AV_PIX_FMT_NV21;
    const AVPixelFormat *format = kFramePixels;
    while (LayoutOf(*format) != layout) format++;
    return *format;
}

AVPixelFormat FullRangeForm(AVPixelFormat format) {
    for (auto &[full, plain] : kFullRange)
        if (plain == format) return full;
    return format;
}

bool IsFullRangeForm(AVPixelFormat format) { return Plain(format) != format; }

AVPixelFormat NearestFramePixels(AVPixelFormat format) {
    return IsPaired420(format)
               ? AV_PIX_FMT_YUV420P
               : avcodec_find_best_pix_fmt_of_list(kFramePixels, Plain(format), 0, nullptr);
}

bool HasSamePixels(AVPixelFormat format, AVPixelFormat other) {
    const AVPixFmtDescriptor *one = av_pix_fmt_desc_get(format), *two = av_pix_fmt_desc_get(other);
    const int alphaToo = 1;
    return one->nb_components == two->nb_components && one->log2_chroma_w == two->log2_chroma_w &&
           one->log2_chroma_h == two->log2_chroma_h && one->comp[0].depth == two->comp[0].depth &&
           av_get_pix_fmt_loss(Plain(other), Plain(format), alphaToo) == 0;
}

void PictureImporter::Import(const AVFrame &picture, PictureSize coded, PictureSize size,
                             Frame &frame) {
    PictureSize actual = {picture.width, picture.height};
    bool split = mTo == AV_PIX_FMT_YUV420P && IsPaired420(picture.format);
    if (actual != coded || (Plain(picture.format) != mTo && !split)) {
        Convert(picture, actual == coded ? size : actual, size, frame);
        return;
    }
    Planes to(frame, size, LayoutOf(mTo));
    for (size_t i = 0; i < (split ? 1 : to.shapes.size()); i++)
        CopyPlane(picture.data[i], picture.linesize[i], to.data[i], to.pitch[i], (size_t)to.pitch[i],
                  to.shapes[i].rows);
    if (!split) return;
    int u = picture.format == AV_PIX_FMT_NV12 ? 1 : 2;
    SplitPairs(picture.data[1], picture.linesize[1], to.data[u], to.data[3 - u], to.pitch[1],
               size.width / 2, size.height / 2);
}

void PictureImporter::Convert(const AVFrame &picture, PictureSize from, PictureSize size,
                              Frame &frame) {
    if (!mScaler || from != mFrom || picture.format != mFormat) {
        mScaler.reset(NotNull(sws_getContext(
            from.width, from.height, (AVPixelFormat)picture.format, size.width, size.height, mTo,
            SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INP, nullptr, nullptr, nullptr)));
        SetColours(mScaler.get(), picture, size);
        mFrom = from;
        mFormat = picture.format;
    }
    Planes to(frame, size, LayoutOf(mTo));
    CheckMedia(
        sws_scale(mScaler.get(), picture.data, picture.linesize, 0, from.height, to.data, to.pitch),
        "converting a picture");
}

PictureExporter::PictureExporter(PictureSize size, const PixelLayout &layout, AVPixelFormat to,
                                 AVColorRange range)
    : mSize(size), mLayout(layout), mTo(to), mSamePlanes(PixelsOf(layout) == Plain(to)) {
    bool splits = layout == PixelLayout::NV21 && Plain(to) == AV_PIX_FMT_YUV420P;
    if (mSamePlanes || splits) return;
    mConverter.reset(
        NotNull(sws_getContext(size.width, size.height, PixelsOf(layout), size.width, size.height,
                               Plain(to), SWS_BICUBIC | SWS_ACCURATE_RND, nullptr, nullptr, nullptr)));
    // By default the library takes grey for full range, which is right where nothing is known.
    // Elsewhere equal ranges on both sides keep the samples as they are, whatever the range is.
    const int *table = sws_getCoefficients(SWS_CS_DEFAULT);
    if (layout.planes > 1 || range != AVCOL_RANGE_UNSPECIFIED)
        sws_setColorspaceDetails(mConverter.get(), table, 0, table, 0, 0, 1 << 16, 1 << 16);
}

MediaPtr<AVFrame> PictureExporter::Export(const FramePtr &frame) {
    MediaPtr<AVFrame> picture(NotNull(av_frame_alloc()));
    picture->format = mTo;
    picture->width = mSize.width;
    picture->height = mSize.height;
    if (mSamePlanes && mSize.width % 64 == 0) // rows as aligned as the libraries' own
        Refer(frame, picture.get());
    else
        Copy(*frame, picture.get());
    return picture;
}

void PictureExporter::Refer(const FramePtr &frame, AVFrame *picture) const {
    Planes from(*frame, mSize, mLayout);
    auto *holder = new FramePtr(frame);
    picture->buf[0] = av_buffer_create(from.data[0], frame->pixels.Size(), ReleaseFrame, holder, 0);
    if (!picture->buf[0]) delete holder;
    NotNull(picture->buf[0]);
    for (size_t i = 0; i < from.shapes.size(); i++) {
        picture->data[i] = from.data[i];
        picture->linesize[i] = from.pitch[i];
    }
}

void PictureExporter::Copy(const Frame &frame, AVFrame *picture) {
    Planes from(frame, mSize, mLayout);
    if (av_frame_get_buffer(picture, 0) < 0) throw std::bad_alloc();
    if (mConverter) {
        CheckMedia(sws_scale(mConverter.get(), from.data, from.pitch, 0, mSize.height, picture->data,
                             picture->linesize),
                   "converting a picture");
        return;
    }
    for (size_t i = 0; i < (mSamePlanes ? from.shapes.size() : 1); i++)
        CopyPlane(from.data[i], from.pitch[i], picture->data[i], picture->linesize[i],
                  (size_t)from.pitch[i], from.shapes[i].rows);
    if (!mSamePlanes)
        SplitPairs(from.data[1], from.pitch[1], picture->data[2], picture->data[1],
                   picture->linesize[1], mSize.width / 2, mSize.height / 2);
}

namespace {

class SwsScaler : public FrameScaler {
  public:
    SwsScaler(PictureSize from, const PixelLayout &layout, PictureSize to, const PixelLayout &toLayout)
        : mFrom(from), mTo(to), mLayout(layout), mToLayout(toLayout) {
        mScaler.reset(
            NotNull(sws_getContext(from.width, from.height, PixelsOf(layout), to.width, to.height,
                                   PixelsOf(toLayout), SWS_BICUBIC, nullptr, nullptr, nullptr)));
    }

    void Scale(const Frame &from, Frame &to) override {
        Planes in(from, mFrom, mLayout);
        Planes out(to, mTo, mToLayout);
        CheckMedia(sws_scale(mScaler.get(), in.data, in.pitch, 0, mFrom.height, out.data, out.pitch),
                   "scaling a picture");
    }

  private:
    PictureSize mFrom;
    PictureSize mTo;
    PixelLayout mLayout;
    PixelLayout mToLayout;
    MediaPtr<SwsContext> mScaler;
};

} // namespace

std::unique_ptr<FrameScaler> MakeFrameScaler(PictureSize from, PictureSize to,
                                             const PixelLayout &layout, const PixelLayout &toLayout) {
    return std::make_unique<SwsScaler>(from, layout, to, toLayout);
}

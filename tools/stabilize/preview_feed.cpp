// SPDX-License-Identifier: BSD-2-Clause
#include "stabilize/preview_feed.h"

PreviewFeed::PreviewFeed(const std::string &title, PreviewPictures pictures) {
    PixelLayout layout = pictures.layout;
    if (layout != PixelLayout::I420 && layout != PixelLayout::NV21) {
        mBefore = std::make_unique<Converted>(pictures.before, layout);
        mAfter = std::make_unique<Converted>(pictures.after, layout);
        pictures.layout = PixelLayout::I420;
    }
    mPreview = OpenPreview(title, pictures);
}

bool PreviewFeed::Show(const Frame &input, const Frame &output, double seconds) {
    if (!mBefore) return mPreview->Show(input, output, seconds);
    return mPreview->Show(mBefore->Of(input), mAfter->Of(output), seconds);
}

// SPDX-License-Identifier: BSD-2-Clause
#include "stabilize/preview.h"

const bool kHasPreview = false;

std::string PreviewVersion() { return "without SDL (--preview)"; }

std::unique_ptr<Preview> OpenPreview(const std::string &, const PreviewPictures &) {
    throw VideoError("--preview needs SDL 2, which this program was built without");
}

// SPDX-License-Identifier: BSD-2-Clause
// How much fine detail a picture has kept of the one that it was cut out of.
#pragma once

#include <optional>

#include "quality/align.h"
#include "video/picture.h"

struct LumaPicture {
    const uint8_t *pixels = nullptr; // without padding
    PictureSize size;
};

// The variance of the picture's Laplacian over that of `other`, moved to the same place with a Lanczos
// kernel of 3 lobes. Small errors of the place do not matter. Null where too little detail or too few
// pixels can be compared.
std::optional<double> CompareSharpness(const LumaPicture &picture, const LumaPicture &other,
                                       const Placement &place);

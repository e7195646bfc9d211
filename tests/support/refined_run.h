// SPDX-License-Identifier: BSD-2-Clause
// Drives a clip through one refined handle, by frame calls or by planes, and hashes what comes out.
#pragma once

#include "quorvel/refined.h"
#include "support/run.h"

struct RefinedCase {
    Size in, out;
    int32_t format, cubic, lookahead;
    bool planes;
    std::string Name() const;
};

uint64_t RunRefined(const RefinedCase &c, const std::vector<Bytes> &planarClip);

MVS_Plane PlaneOf(const uint8_t *pixels, int32_t width, int32_t height, int32_t channels = 1);

// The planes of a packed frame, and how many they are: with pairs of chroma 2, else 3.
int32_t PlanesOfFrame(Size size, bool pairs, uint8_t *frame, MVS_Plane *planes);

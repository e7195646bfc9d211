// SPDX-License-Identifier: BSD-2-Clause
// The frame sizes that everything is measured at.
#pragma once

#include <string>

#include "clip.h"

struct NamedSize {
    const char *name;
    Size size;
};

const NamedSize kSizes[] = {{"176x144", {176, 144}}, {"240x176", {240, 176}}, {"320x239", {320, 239}},
                            {"320x240", {320, 240}}, {"640x480", {640, 480}}, {"720p", {1280, 720}},
                            {"1080p", {1920, 1080}}, {"4k", {3840, 2160}}};

const Size k1080p = {1920, 1080};

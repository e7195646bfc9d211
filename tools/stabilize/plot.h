// SPDX-License-Identifier: BSD-2-Clause
// A picture of the camera's path before and after, drawn by gnuplot.
#pragma once

#include <string>
#include <vector>

#include "stabilize/motion_record.h"
#include "video/output_file.h"
#include "video/picture.h"

// Throws VideoError when there is no gnuplot.
void CheckPlotter();

// The file's name ends in .png or .svg; `reach` is how far the picture can be moved each way.
void DrawPlot(OutputFile &file, const std::string &title, const std::vector<MotionRecord> &records,
              PictureSize reach);

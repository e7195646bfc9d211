// SPDX-License-Identifier: BSD-2-Clause
// The smoother for frames whose future is known: the smoothest path, by the sum of its squared second
// differences, that stays within the margins of every frame.
#pragma once

#include "smooth/path.h"

// Working memory for a plan of llFrames, in doubles.
int64_t PlanRoom(int64_t llFrames);

struct PlanTask {
    const SmoothSettings *pSettings;
    const View *pCamera; // of each frame, in the axes of one of them
    int64_t llFrames;
    const View *pHistory; // the two views before, in the same axes; null: none counts
    double dFollow;       // Hz: what is slower is followed
    double *pRoom;
};

// Each frame's view, measured from its camera, in the axes of pCamera. pViews has room for llFrames.
void PlanPath(const PlanTask *pTask, View *pViews);

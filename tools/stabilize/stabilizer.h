// SPDX-License-Identifier: BSD-2-Clause
// One stream's handle of the library, with faults as VideoError.
#pragma once

#include <memory>

#include "quorvel/stabilizer.h"
#include "stabilize/motion_record.h"
#include "video/frame_source.h"

class Stabilizer {
  public:
    // `in` is the stream's size. Faults of the other arguments are thrown with the options that set
    // them. `threads`: 0 is the library's own choice; more than its maximum is the maximum.
    Stabilizer(PictureSize in, PictureSize out, PixelLayout layout, int mode, int threads);

    // `input` is left as it is; `output` has the output size.
    void Run(const Frame &input, Frame &output);

    // Of the frame that Run was last given: what is known of its motion.
    void Describe(MotionRecord &record) const;

    // How far the picture can be moved each way, in pixels.
    PictureSize Reach() const;

  private:
    struct Destroy {
        void operator()(MVS_Context *context) const { QEL_MVS_DestroyStabilizer(context); }
    };

    void Create();
    MVS_MotionInfo Motion() const;

    MVS_InitParam mParam = {};
    std::unique_ptr<MVS_Context, Destroy> mContext;
    int32_t mThreads;
    int32_t mFrameCount = 0;
};

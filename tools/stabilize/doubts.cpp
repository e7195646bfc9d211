// SPDX-License-Identifier: BSD-2-Clause
#include "stabilize/doubts.h"

#include <utility>

Doubt DoubtOf(const MotionRecord &record) {
    if (record.reset) return Doubt::NewScene;
    if (record.frame == 1) return Doubt::None;
    if (record.held) return Doubt::Held;
    if (!record.measured) return Doubt::NotMeasured;
    const bool few = 2 * record.blocksKept < record.blocksValid;
    return few || !record.reliable ? Doubt::FewTiles : Doubt::None;
}

bool Doubts::Add(const MotionRecord &record) {
    const Doubt kind = DoubtOf(record);
    // A flash that lasts was a cut.
    const bool settled = kind == Doubt::NewScene && mOpen.kind == Doubt::Held;
    if (settled || (kind != Doubt::None && kind == mOpen.kind)) {
        mOpen.kind = kind;
        mOpen.last = record.frame;
        if (mOpenKept) mKept.back().kind = kind;
        if (mOpenKept) mKept.back().last = record.frame;
        return false;
    }
    mOpen = {
        kind, record.frame, record.frame, record.seconds, record.blocksValid, record.blocksKept, {},
        {}};
    mOpenKept = kind != Doubt::None && mCount % mStride == 0;
    mCount += kind != Doubt::None;
    if (!mOpenKept) return false;
    mKept.push_back(mOpen);
    if (mKept.size() <= 2 * kMostShown) return true;
    // Of an odd number every second one goes, so that the first and the newest stay.
    std::vector<DoubtfulFrames> half;
    for (size_t i = 0; i < mKept.size(); i += 2) half.push_back(std::move(mKept[i]));
    mKept = std::move(half);
    mStride *= 2;
    return true;
}

void Doubts::Show(Thumbnail before, Thumbnail after) {
    mKept.back().before = std::move(before);
    mKept.back().after = std::move(after);
}

std::vector<DoubtfulFrames> Doubts::Chosen() const {
    if (mKept.size() <= kMostShown) return mKept;
    std::vector<DoubtfulFrames> chosen;
    for (size_t i = 0; i < kMostShown; i++) chosen.push_back(mKept[i * mKept.size() / kMostShown]);
    return chosen;
}

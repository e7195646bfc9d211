// SPDX-License-Identifier: BSD-2-Clause
// The protocol by which block rows wait for each other (src/motion/block_drivers.cpp, and for the sleep
// src/platform/gate.cpp), searched exhaustively on small frames: every order of its steps, with
// wake-ups that nobody sent. No order may block for ever or price a block before its predictors are
// done. Planted mistakes must be found. QUORVEL_SWEEP searches larger frames and four participants.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <string>

#include "support/orders.h"

namespace {

enum Mistake {
    kLooksEarly = kGateMistakes,
    kNoWakeAtRowEnd,
    kWaitsForOneBlock,
    kLeadBeyondRow,
    kMistakes
};

struct Shape {
    int rows, columns, participants;
    int markEvery; // blocks between two marks of a row's progress
    int lead;      // of a row over the next one at its start, a multiple of that or the whole row
    int mistake;
};

// Before the step that the name tells, besides those of the gate, where it waits for the row above.
enum Step : uint8_t {
    kTake = kGateSteps, // a row of its own, or leave
    kSearch,            // the block
    kStore,             // how far its row is
    kDone
};

struct Participant {
    uint8_t step, row, column, seen; // seen: whether there are sleepers, looked at too early
};

struct State {
    Participant p[4];
    uint8_t done[4], nextRow, sleepers, locked;
};

struct Search : Orders<State> {
    Shape shape;
    std::string fault;

    explicit Search(const Shape &itsShape) : shape(itsShape) {}
    int Needed(const Participant &p) const {
        return std::min(p.column + (shape.mistake == kWaitsForOneBlock ? 1 : 2), shape.columns);
    }
    bool AboveReady(const State &s, const Participant &p) const {
        return p.row == 0 || s.done[p.row - 1] >= Needed(p);
    }
    bool HasLead(const State &s) const {
        const int lead = shape.lead + (shape.mistake == kLeadBeyondRow ? shape.columns : 0);
        return s.nextRow == 0 || s.done[s.nextRow - 1] >= lead;
    }
    bool Move(State s, int i); // false: it cannot
    void Run();
};

void NextBlock(Participant *p, int columns) { p->step = ++p->column == columns ? +kTake : +kSpin; }

bool Search::Move(State s, int i) {
    Participant &p = s.p[i];
    switch (p.step) {
    case kTake:
        // Without the lead it may leave at once or after more looks, which are no steps.
        p.column = 0;
        p.row = s.nextRow;
        p.step = s.nextRow == shape.rows || !HasLead(s) ? +kDone : +kSpin;
        if (p.step == kSpin) s.nextRow++;
        break;
    case kSearch:
        if (p.row > 0 && s.done[p.row - 1] < std::min(p.column + 2, shape.columns))
            fault = "early block";
        p.seen = s.sleepers > 0;
        p.step = kStore;
        break;
    case kStore: {
        const int count = p.column + 1;
        const bool last = count == shape.columns;
        if (last || count % shape.markEvery == 0) s.done[p.row] = (uint8_t)count;
        const bool wakes = last ? shape.mistake != kNoWakeAtRowEnd : count % shape.lead == 0;
        if (wakes && (p.seen || shape.mistake != kLooksEarly))
            p.step = shape.mistake == kLooksEarly ? kWakeLock : kSleepersAny;
        else
            NextBlock(&p, shape.columns);
        break;
    }
    default: {
        const bool wakes = p.step >= kSleepersAny;
        const Went went = MoveAtGate(&s, i, AboveReady(s, p), shape.mistake);
        if (went == Went::Nowhere) return false;
        if (went == Went::On) break;
        if (wakes)
            NextBlock(&p, shape.columns);
        else
            p.step = kSearch;
    }
    }
    Visit(s);
    return true;
}

void Search::Run() {
    State first;
    memset(&first, 0, sizeof(first));
    for (Participant &p : first.p) p.step = kTake;
    Visit(first);
    while (!open.empty() && fault.empty()) {
        const State s = open.back();
        open.pop_back();
        bool moves = false, allDone = true;
        for (int i = 0; i < shape.participants; i++) {
            moves |= Move(s, i);
            allDone &= s.p[i].step == kDone;
            if (s.p[i].step != kAsleep) continue;
            State woken = s; // for no reason; not counted on
            woken.p[i].step = kRelock;
            Visit(woken);
        }
        if (!moves && !allDone) fault = "deadlock";
        if (allDone && (s.sleepers || s.locked)) fault = "not left as found";
        if (allDone && s.done[shape.rows - 1] != shape.columns) fault = "rows left";
    }
}

Search Searched(const Shape &shape) {
    Search search(shape);
    search.Run();
    return search;
}

TEST(RowProtocol, NoOrderOfStepsBlocksOrRunsAhead) {
    size_t states = 0;
    const bool wide = getenv("QUORVEL_SWEEP") != nullptr;
    for (int participants = 1; participants <= (wide ? 4 : 3); participants++)
        for (int rows = 1; rows <= (participants == 3 ? 3 : 4); rows++)
            for (int columns = 1; columns <= (participants == 4 ? 2 : wide ? 4 : 3); columns++)
                for (const auto &[mark, lead] : {std::pair(1, 1), {1, 2}, {2, 2}, {1, 4}, {3, 3}}) {
                    const Search search = Searched(
                        {rows, columns, participants, mark, std::min(lead, columns), kNoMistake});
                    ASSERT_EQ(search.fault, "")
                        << participants << ' ' << rows << 'x' << columns << ' ' << mark << ' ' << lead;
                    states += search.known.size();
                }
    EXPECT_GT(states, 100000u);
    printf("%zu states\n", states);
}

TEST(RowProtocol, PlantedMistakesAreFound) {
    const char *const kFault[kMistakes] = {"",         "deadlock",    "deadlock", "deadlock",
                                           "deadlock", "early block", "rows left"};
    for (int mistake = 1; mistake < kMistakes; mistake++) {
        const Search search = Searched({3, 3, 3, 1, 1, mistake});
        EXPECT_EQ(search.fault, kFault[mistake]) << mistake;
    }
}

} // namespace
